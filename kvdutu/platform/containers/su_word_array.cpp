#include "kvdutu/platform/containers/su_word_array.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_SERIAL(su_CWordArray, su_CObject, 0)
su_CWordArray::su_CWordArray() = default;
su_CWordArray::~su_CWordArray() = default;

void su_CWordArray::Serialize(su_CArchive& ar) {
  su_CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD_PTR>(GetSize()));
    for (WORD v : m_data) ar << v;
  } else {
    const DWORD_PTR nCount = ar.ReadCount();
    RemoveAll();
    for (DWORD_PTR i = 0; i < nCount; ++i) {
      WORD v;
      ar >> v;
      Add(v);
    }
  }
}
