#include "kvdutu/platform/containers/su_map_ptr_to_ptr.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_DYNCREATE(su_CMapPtrToPtr, su_CObject)

su_CMapPtrToPtr::su_CMapPtrToPtr(INT_PTR nBlockSize) : MapT(nBlockSize) {}
su_CMapPtrToPtr::~su_CMapPtrToPtr() = default;

// Addresses mean nothing in another process: nothing of the map is stored.
void su_CMapPtrToPtr::Serialize(su_CArchive& ar) { su_CObject::Serialize(ar); }
