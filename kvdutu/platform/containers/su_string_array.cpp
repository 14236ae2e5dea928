#include "kvdutu/platform/containers/su_string_array.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_SERIAL(su_CStringArray, su_CObject, 0)
su_CStringArray::su_CStringArray() = default;
su_CStringArray::~su_CStringArray() = default;

void su_CStringArray::Serialize(su_CArchive& ar) {
  su_CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD_PTR>(GetSize()));
    for (const CString& s : m_data) ar << s;
  } else {
    const DWORD_PTR nCount = ar.ReadCount();
    // Grown as the strings arrive: a damaged count fails at the end of the data, not in memory.
    RemoveAll();
    for (DWORD_PTR i = 0; i < nCount; ++i) {
      CString s;
      ar >> s;
      Add(s);
    }
  }
}
