// su_CStringArray: an array of wide strings. Stored as a count, then each string.
#pragma once

#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API su_CStringArray : public KvdUtils::Containers::ArrayT<CString> {
  DECLARE_SERIAL(su_CStringArray)
 public:
  su_CStringArray();
  ~su_CStringArray() override;
  void Serialize(su_CArchive& ar) override;
};
