// su_CUIntArray: an array of unsigned 32-bit integers. Stored as a count, then each value in 4 bytes.
#pragma once

#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API su_CUIntArray : public KvdUtils::Containers::ArrayT<UINT> {
  DECLARE_SERIAL(su_CUIntArray)
 public:
  su_CUIntArray();
  ~su_CUIntArray() override;
  void Serialize(su_CArchive& ar) override;
};
