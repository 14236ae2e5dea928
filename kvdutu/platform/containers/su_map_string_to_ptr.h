// su_CMapStringToPtr: a hash map from wide strings (compared with case) to untyped pointers,
// which it does not own. The pointers are never written to an archive: Serialize stores and loads
// nothing, and the class cannot be written with WriteObject (it is dynamic, not serial).
#pragma once

#include "kvdutu/platform/containers/su_map_traits.h"

class KVDUTU_API su_CMapStringToPtr
    : public KvdUtils::Containers::MapT<CString, void*, KvdUtils::Containers::StringKeyTraits> {
  DECLARE_DYNCREATE(su_CMapStringToPtr)
 public:
  explicit su_CMapStringToPtr(INT_PTR nBlockSize = 10);
  ~su_CMapStringToPtr() override;
  void Serialize(su_CArchive& ar) override;
};
