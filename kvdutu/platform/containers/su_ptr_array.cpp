#include "kvdutu/platform/containers/su_ptr_array.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_DYNCREATE(su_CPtrArray, su_CObject)
su_CPtrArray::su_CPtrArray() = default;
su_CPtrArray::~su_CPtrArray() = default;

void su_CPtrArray::Serialize(su_CArchive& ar) { su_CObject::Serialize(ar); }
