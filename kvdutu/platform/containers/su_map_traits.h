// Key traits of the imported maps: the framework's hash functions, and comparison with case.
#pragma once

#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/platform/framework/cstring.h"

namespace KvdUtils::Containers {

struct StringKeyTraits {
  static UINT Hash(const CString& key) { return HashStringKey(key.GetString()); }
  static bool Equal(const CString& a, const CString& b) { return a == b; }
};

struct PtrKeyTraits {
  // Allocations are aligned: the low bits carry nothing.
  static UINT Hash(void* key) { return static_cast<UINT>(reinterpret_cast<uintptr_t>(key) >> 4); }
  static bool Equal(void* a, void* b) { return a == b; }
};

}  // namespace KvdUtils::Containers
