// CObject, the root of the framework's class tree, and CRuntimeClass, the record that names a
// class at run time, creates it by name and carries its serialisation schema.
//
// A class joins the scheme with a pair of macros, as framework code has always written them:
//
//   class Shape : public CObject { DECLARE_SERIAL(Shape) ... };      // in the header
//   IMPLEMENT_SERIAL(Shape, CObject, VERSIONABLE_SCHEMA | 2)          // in one source file
//
// DECLARE_DYNAMIC gives run-time type questions only, DECLARE_DYNCREATE adds creation from the
// record, DECLARE_SERIAL adds a schema and `ar >> pShape`. The record of class X is the static
// member `X::classX`; RUNTIME_CLASS(X) is its address.
//
// Every IMPLEMENT_... puts its record into one process-wide class list at static initialisation
// (thread-safe; modules may load on any thread). `CRuntimeClass::FromName` and the archive look
// classes up there; a module that unloads takes its records out again. Which module a record
// belongs to follows from the record's own address, which lies in that module's data.
//
// Serialize takes a `CArchive&`: the framework's binary archive (archive.h). The imported
// containers use `su_CArchive`, a distinct class derived from it, so that `su_CObject` can carry
// both `Serialize(CArchive&)` and `Serialize(su_CArchive&)` as separate virtual slots.
#pragma once

#include "kvdutu/platform/win_types.h"

#include <vector>

class CObject;
class CArchive;
class CDumpContext;  // diagnostic output; the slot exists, the class is not provided

// Schema flag: a class written with this flag accepts any stored schema on load and asks the
// archive for it with GetObjectSchema.
#ifndef VERSIONABLE_SCHEMA
#define VERSIONABLE_SCHEMA (0x80000000u)
#endif

struct KVDUTU_API CRuntimeClass {
  LPCSTR m_lpszClassName;
  int m_nObjectSize;
  UINT m_wSchema;  // 0xFFFF: not serialisable
  CObject* (*m_pfnCreateObject)();  // NULL: abstract, or dynamic only
  // Through a function, so that a record never needs another module's data address in a
  // constant initialiser (a DLL import is not a constant).
  CRuntimeClass* (*m_pfnGetBaseClass)();

  CRuntimeClass* GetBaseClass() const { return m_pfnGetBaseClass ? m_pfnGetBaseClass() : nullptr; }

  // A new object of the class, or NULL when the class cannot be created from its record.
  CObject* CreateObject() const;
  BOOL IsDerivedFrom(const CRuntimeClass* pBaseClass) const;

  // Look-up by class name among the registered classes; the name compares with case.
  static CRuntimeClass* FromName(LPCSTR lpszClassName);
  static CRuntimeClass* FromName(LPCWSTR lpszClassName);
  static CObject* CreateObject(LPCSTR lpszClassName);
  static CObject* CreateObject(LPCWSTR lpszClassName);

  // The class reference inside an archive: schema (16 bits), name length (16 bits), name.
  void Store(CArchive& ar) const;
  // NULL when the stored name is unknown or malformed; *pwSchemaNum gets the stored schema.
  static CRuntimeClass* Load(CArchive& ar, UINT* pwSchemaNum);
};

// Registers a class record for the lifetime of the object (one static object per class).
struct KVDUTU_API AFX_CLASSINIT {
  explicit AFX_CLASSINIT(CRuntimeClass* pNewClass);
  ~AFX_CLASSINIT();
  AFX_CLASSINIT(const AFX_CLASSINIT&) = delete;
  AFX_CLASSINIT& operator=(const AFX_CLASSINIT&) = delete;

 private:
  CRuntimeClass* m_pClass;
};

KVDUTU_API void AfxClassInit(CRuntimeClass* pNewClass);

namespace KvdUtils::Framework {
// Every registered class record, most recently registered first.
KVDUTU_API std::vector<CRuntimeClass*> GetRegisteredClasses();
// Removes a record from the class list (done by AFX_CLASSINIT when its module unloads).
KVDUTU_API void UnregisterClass(CRuntimeClass* pClass);
}  // namespace KvdUtils::Framework

#define RUNTIME_CLASS(class_name) (const_cast<CRuntimeClass*>(&class_name::class##class_name))

class KVDUTU_API CObject {
 public:
  virtual CRuntimeClass* GetRuntimeClass() const;
  virtual ~CObject() = 0;

  BOOL IsSerializable() const;
  BOOL IsKindOf(const CRuntimeClass* pClass) const;

  // Writes or reads the object's own state; the root has none.
  virtual void Serialize(CArchive& ar);

  // Diagnostic slots: nothing to check or print at the root.
  virtual void AssertValid() const;
  virtual void Dump(CDumpContext& dc) const;

  static const CRuntimeClass classCObject;
  static CRuntimeClass* GetThisClass();

 protected:
  CObject() = default;

 private:
  CObject(const CObject&) = delete;
  CObject& operator=(const CObject&) = delete;
};

// ---- Declaration macros ------------------------------------------------------------------------

#define DECLARE_DYNAMIC(class_name)                      \
 protected:                                              \
  static CRuntimeClass* _GetBaseClass();                 \
                                                         \
 public:                                                 \
  static const CRuntimeClass class##class_name;          \
  static CRuntimeClass* GetThisClass();                  \
  virtual CRuntimeClass* GetRuntimeClass() const;

#define DECLARE_DYNCREATE(class_name) \
  DECLARE_DYNAMIC(class_name)         \
  static CObject* CreateObject();

// `ar >> pObject` reads an object of this class (or a derived one) from an archive. A hidden
// friend, so that it needs no export and is found for the class's pointers wherever they are read.
#define DECLARE_SERIAL(class_name)                                                       \
  DECLARE_DYNCREATE(class_name)                                                          \
  friend CArchive& operator>>(CArchive& ar, class_name*& pOb) {                          \
    pOb = static_cast<class_name*>(::KvdUtils::Framework::ArchiveReadObject(             \
        ar, RUNTIME_CLASS(class_name)));                                                 \
    return ar;                                                                           \
  }

#define IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, pfnNew)                     \
  CRuntimeClass* class_name::_GetBaseClass() { return RUNTIME_CLASS(base_class_name); }          \
  const CRuntimeClass class_name::class##class_name = {#class_name, sizeof(class class_name),    \
                                                       (wSchema), (pfnNew),                      \
                                                       &class_name::_GetBaseClass};              \
  CRuntimeClass* class_name::GetThisClass() { return RUNTIME_CLASS(class_name); }                \
  CRuntimeClass* class_name::GetRuntimeClass() const { return RUNTIME_CLASS(class_name); }       \
  static const AFX_CLASSINIT _init_##class_name(RUNTIME_CLASS(class_name));

#define IMPLEMENT_DYNAMIC(class_name, base_class_name) \
  IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)           \
  CObject* class_name::CreateObject() { return new class_name; } \
  IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, class_name::CreateObject)

#define IMPLEMENT_SERIAL(class_name, base_class_name, wSchema)     \
  CObject* class_name::CreateObject() { return new class_name; } \
  IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, class_name::CreateObject)

namespace KvdUtils::Framework {
// Out of line so that object.h does not need the archive's definition.
KVDUTU_API CObject* ArchiveReadObject(CArchive& ar, const CRuntimeClass* pClassRefRequested);
}  // namespace KvdUtils::Framework
