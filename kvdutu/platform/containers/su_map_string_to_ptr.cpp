#include "kvdutu/platform/containers/su_map_string_to_ptr.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_DYNCREATE(su_CMapStringToPtr, su_CObject)

su_CMapStringToPtr::su_CMapStringToPtr(INT_PTR nBlockSize) : MapT(nBlockSize) {}
su_CMapStringToPtr::~su_CMapStringToPtr() = default;

// Addresses mean nothing in another process: nothing of the map is stored.
void su_CMapStringToPtr::Serialize(su_CArchive& ar) { su_CObject::Serialize(ar); }
