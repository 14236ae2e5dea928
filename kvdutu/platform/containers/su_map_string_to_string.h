// su_CMapStringToString: a hash map from wide strings to wide strings; keys compare with case.
// Stored as a count, then key and value of each entry in iteration order.
#pragma once

#include "kvdutu/platform/containers/su_map_traits.h"

class KVDUTU_API su_CMapStringToString
    : public KvdUtils::Containers::MapT<CString, CString, KvdUtils::Containers::StringKeyTraits> {
  DECLARE_SERIAL(su_CMapStringToString)
 public:
  explicit su_CMapStringToString(INT_PTR nBlockSize = 10);
  ~su_CMapStringToString() override;
  void Serialize(su_CArchive& ar) override;
};
