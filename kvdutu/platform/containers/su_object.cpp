#include "kvdutu/platform/containers/su_object.h"

#include "kvdutu/platform/containers/su_archive.h"
#include "kvdutu/platform/framework/exceptions.h"

IMPLEMENT_SERIAL(su_CObject, CObject, 0)

su_CObject::su_CObject() = default;
su_CObject::~su_CObject() = default;

void su_CObject::Serialize(CArchive& ar) {
  su_CArchive* pArchive = dynamic_cast<su_CArchive*>(&ar);
  if (pArchive == nullptr) AfxThrowNotSupportedException();
  Serialize(*pArchive);
}

void su_CObject::Serialize(su_CArchive&) {}
void su_CObject::ConvertCreate() {}
void su_CObject::ConvertPass(CObject*) {}
void su_CObject::postSerializeConvert() {}

void* su_CObject::operator new(std::size_t nSize) { return ::operator new(nSize); }
void su_CObject::operator delete(void* p) { ::operator delete(p); }
void* su_CObject::operator new[](std::size_t nSize) { return ::operator new[](nSize); }
void su_CObject::operator delete[](void* p) { ::operator delete[](p); }
