#include "kvdutu/platform/containers/su_uint_array.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_SERIAL(su_CUIntArray, su_CObject, 0)
su_CUIntArray::su_CUIntArray() = default;
su_CUIntArray::~su_CUIntArray() = default;

void su_CUIntArray::Serialize(su_CArchive& ar) {
  su_CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD_PTR>(GetSize()));
    for (UINT v : m_data) ar << static_cast<DWORD>(v);
  } else {
    const DWORD_PTR nCount = ar.ReadCount();
    RemoveAll();
    for (DWORD_PTR i = 0; i < nCount; ++i) {
      DWORD v;
      ar >> v;
      Add(static_cast<UINT>(v));
    }
  }
}
