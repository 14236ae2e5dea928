// su_CWordArray: an array of 16-bit values. Stored as a count, then each value in 2 bytes.
#pragma once

#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API su_CWordArray : public KvdUtils::Containers::ArrayT<WORD> {
  DECLARE_SERIAL(su_CWordArray)
 public:
  su_CWordArray();
  ~su_CWordArray() override;
  void Serialize(su_CArchive& ar) override;
};
