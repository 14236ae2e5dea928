#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/framework/module_state_internal.h"

#include "kvdutu/platform/framework/archive.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

namespace {

// The class list. Built on first use and never destroyed: records of other modules may register
// and unregister during any module's static initialisation and termination.
struct ClassList {
  std::mutex lock;
  std::vector<CRuntimeClass*> classes;  // registration order; look-ups go newest first
};

ClassList& classList() {
  static ClassList* list = new ClassList;
  return *list;
}

}  // namespace

// ---- CRuntimeClass -------------------------------------------------------------------------------

CObject* CRuntimeClass::CreateObject() const {
  if (m_pfnCreateObject == nullptr) return nullptr;
  return m_pfnCreateObject();
}

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* pBaseClass) const {
  if (pBaseClass == nullptr) return FALSE;
  for (const CRuntimeClass* p = this; p != nullptr; p = p->GetBaseClass())
    if (p == pBaseClass) return TRUE;
  return FALSE;
}

CRuntimeClass* CRuntimeClass::FromName(LPCSTR lpszClassName) {
  if (lpszClassName == nullptr) return nullptr;
  ClassList& list = classList();
  std::lock_guard<std::mutex> guard(list.lock);
  for (auto it = list.classes.rbegin(); it != list.classes.rend(); ++it)
    if (std::strcmp((*it)->m_lpszClassName, lpszClassName) == 0) return *it;
  return nullptr;
}

CRuntimeClass* CRuntimeClass::FromName(LPCWSTR lpszClassName) {
  if (lpszClassName == nullptr) return nullptr;
  // Class names are identifiers: plain ASCII. Anything else cannot name a class.
  std::string narrow;
  for (const wchar_t* p = lpszClassName; *p; ++p) {
    if (static_cast<unsigned>(*p) > 0x7F) return nullptr;
    narrow.push_back(static_cast<char>(*p));
  }
  return FromName(narrow.c_str());
}

CObject* CRuntimeClass::CreateObject(LPCSTR lpszClassName) {
  CRuntimeClass* pClass = FromName(lpszClassName);
  return pClass ? pClass->CreateObject() : nullptr;
}

CObject* CRuntimeClass::CreateObject(LPCWSTR lpszClassName) {
  CRuntimeClass* pClass = FromName(lpszClassName);
  return pClass ? pClass->CreateObject() : nullptr;
}

void CRuntimeClass::Store(CArchive& ar) const {
  const size_t nLen = std::strlen(m_lpszClassName);
  ar << static_cast<WORD>(m_wSchema);
  ar << static_cast<WORD>(nLen);
  ar.Write(m_lpszClassName, static_cast<UINT>(nLen));
}

CRuntimeClass* CRuntimeClass::Load(CArchive& ar, UINT* pwSchemaNum) {
  // Names longer than this never belonged to a class; the reader refuses them rather than
  // allocating what a damaged length asks for.
  constexpr WORD kMaxName = 64;
  WORD wSchema = 0, nLen = 0;
  ar >> wSchema;
  ar >> nLen;
  if (pwSchemaNum) *pwSchemaNum = wSchema;
  char szClassName[kMaxName];
  if (nLen >= kMaxName || ar.Read(szClassName, nLen) != nLen) return nullptr;
  szClassName[nLen] = '\0';
  return FromName(szClassName);
}

// ---- Registration -------------------------------------------------------------------------------

void AfxClassInit(CRuntimeClass* pNewClass) {
  if (pNewClass == nullptr) return;
  {
    ClassList& list = classList();
    std::lock_guard<std::mutex> guard(list.lock);
    list.classes.push_back(pNewClass);
  }
  // While a module loads, the module state collects what it registers (see module_state.h).
  KvdUtils::Framework::detail::moduleStateClassRegistered(pNewClass);
}

AFX_CLASSINIT::AFX_CLASSINIT(CRuntimeClass* pNewClass) : m_pClass(pNewClass) { AfxClassInit(pNewClass); }

AFX_CLASSINIT::~AFX_CLASSINIT() { KvdUtils::Framework::UnregisterClass(m_pClass); }

namespace KvdUtils::Framework {

std::vector<CRuntimeClass*> GetRegisteredClasses() {
  ClassList& list = classList();
  std::lock_guard<std::mutex> guard(list.lock);
  return std::vector<CRuntimeClass*>(list.classes.rbegin(), list.classes.rend());
}

void UnregisterClass(CRuntimeClass* pClass) {
  ClassList& list = classList();
  std::lock_guard<std::mutex> guard(list.lock);
  auto it = std::find(list.classes.rbegin(), list.classes.rend(), pClass);
  if (it != list.classes.rend()) list.classes.erase(std::next(it).base());
}

CObject* ArchiveReadObject(CArchive& ar, const CRuntimeClass* pClassRefRequested) {
  return ar.ReadObject(pClassRefRequested);
}

}  // namespace KvdUtils::Framework

// ---- CObject --------------------------------------------------------------------------------------

namespace {
CRuntimeClass* noBaseClass() { return nullptr; }
}  // namespace

const CRuntimeClass CObject::classCObject = {"CObject", sizeof(CObject), 0xFFFF, nullptr, &noBaseClass};
static const AFX_CLASSINIT _init_CObject(RUNTIME_CLASS(CObject));

CObject::~CObject() = default;

CRuntimeClass* CObject::GetRuntimeClass() const { return RUNTIME_CLASS(CObject); }
CRuntimeClass* CObject::GetThisClass() { return RUNTIME_CLASS(CObject); }

BOOL CObject::IsSerializable() const { return GetRuntimeClass()->m_wSchema != 0xFFFF; }

BOOL CObject::IsKindOf(const CRuntimeClass* pClass) const { return GetRuntimeClass()->IsDerivedFrom(pClass); }

void CObject::Serialize(CArchive&) {}
void CObject::AssertValid() const {}
void CObject::Dump(CDumpContext&) const {}
