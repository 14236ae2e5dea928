#include "kvdutu/platform/containers/su_map_string_to_string.h"

#include "kvdutu/platform/containers/su_archive.h"

IMPLEMENT_SERIAL(su_CMapStringToString, su_CObject, 0)

su_CMapStringToString::su_CMapStringToString(INT_PTR nBlockSize) : MapT(nBlockSize) {}
su_CMapStringToString::~su_CMapStringToString() = default;

void su_CMapStringToString::Serialize(su_CArchive& ar) {
  su_CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD_PTR>(GetCount()));
    POSITION pos = GetStartPosition();
    while (pos != nullptr) {
      CString key, value;
      GetNextAssoc(pos, key, value);
      ar << key;
      ar << value;
    }
  } else {
    DWORD_PTR nNewCount = ar.ReadCount();
    while (nNewCount--) {
      CString newKey, newValue;
      ar >> newKey;
      ar >> newValue;
      SetAt(newKey, newValue);
    }
  }
}
