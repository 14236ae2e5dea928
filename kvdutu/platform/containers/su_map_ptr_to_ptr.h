// su_CMapPtrToPtr: a hash map from untyped pointers to untyped pointers, owning neither.
// Pointers are addresses of this process and are never written to an archive: Serialize stores
// and loads nothing, and the class cannot be written with WriteObject (it is dynamic, not serial).
#pragma once

#include "kvdutu/platform/containers/su_map_traits.h"

class KVDUTU_API su_CMapPtrToPtr
    : public KvdUtils::Containers::MapT<void*, void*, KvdUtils::Containers::PtrKeyTraits> {
  DECLARE_DYNCREATE(su_CMapPtrToPtr)
 public:
  explicit su_CMapPtrToPtr(INT_PTR nBlockSize = 10);
  ~su_CMapPtrToPtr() override;
  void Serialize(su_CArchive& ar) override;
};
