// su_CObject: the serialisable root class of the imported containers and of the library's own
// serialisable classes.
//
// Its virtual slots follow CObject's, in this order: Serialize(su_CArchive&), ConvertCreate,
// ConvertPass(CObject*), postSerializeConvert. The three conversion hooks do nothing here; they
// exist for classes that rebuild themselves after loading.
//
// Serialize(CArchive&) hands an su_CArchive to Serialize(su_CArchive&); a plain CArchive cannot
// carry these classes and raises CNotSupportedException. The root itself writes no bytes: what a
// class stores starts with its own fields.
//
// Objects are allocated by the library's operator new/delete (declared here), so an object made
// in one module can be freed in another even where each module has its own heap.
#pragma once

#include "kvdutu/platform/framework/archive.h"
#include "kvdutu/platform/framework/object.h"

#include <cstddef>

class su_CArchive;

class KVDUTU_API su_CObject : public CObject {
  DECLARE_SERIAL(su_CObject)
 public:
  su_CObject();
  virtual ~su_CObject();

  void Serialize(CArchive& ar) override;
  virtual void Serialize(su_CArchive& ar);
  virtual void ConvertCreate();
  virtual void ConvertPass(CObject* pObject);
  virtual void postSerializeConvert();

  static void* operator new(std::size_t nSize);
  static void operator delete(void* p);
  static void* operator new[](std::size_t nSize);
  static void operator delete[](void* p);
};
