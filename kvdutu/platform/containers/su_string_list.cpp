#include "kvdutu/platform/containers/su_string_list.h"

#include "kvdutu/platform/containers/su_archive.h"
#include "kvdutu/platform/framework/exceptions.h"

#include <vector>

IMPLEMENT_SERIAL(su_CStringList, su_CObject, 0)

su_CStringList::su_CStringList(INT_PTR nBlockSize) : m_nBlockSize(nBlockSize > 0 ? nBlockSize : 10) {}

su_CStringList::~su_CStringList() { RemoveAll(); }

su_CStringList::CNode* su_CStringList::NewNode(CNode* pPrev, CNode* pNext, const CString& data) {
  CNode* pNode = new CNode{pNext, pPrev, data};
  ++m_nCount;
  return pNode;
}

su_CStringList::CNode* su_CStringList::Checked(POSITION position) {
  // A null position names nothing; the framework would crash on it, here it is a bad argument.
  if (position == nullptr) AfxThrowInvalidArgException();
  return reinterpret_cast<CNode*>(position);
}

CString& su_CStringList::GetHead() {
  if (m_pNodeHead == nullptr) AfxThrowInvalidArgException();
  return m_pNodeHead->data;
}
const CString& su_CStringList::GetHead() const {
  if (m_pNodeHead == nullptr) AfxThrowInvalidArgException();
  return m_pNodeHead->data;
}
CString& su_CStringList::GetTail() {
  if (m_pNodeTail == nullptr) AfxThrowInvalidArgException();
  return m_pNodeTail->data;
}
const CString& su_CStringList::GetTail() const {
  if (m_pNodeTail == nullptr) AfxThrowInvalidArgException();
  return m_pNodeTail->data;
}

CString su_CStringList::RemoveHead() {
  if (m_pNodeHead == nullptr) AfxThrowInvalidArgException();
  CString value = m_pNodeHead->data;
  RemoveAt(reinterpret_cast<POSITION>(m_pNodeHead));
  return value;
}

CString su_CStringList::RemoveTail() {
  if (m_pNodeTail == nullptr) AfxThrowInvalidArgException();
  CString value = m_pNodeTail->data;
  RemoveAt(reinterpret_cast<POSITION>(m_pNodeTail));
  return value;
}

POSITION su_CStringList::AddHead(LPCWSTR newElement) { return AddHead(CString(newElement)); }
POSITION su_CStringList::AddHead(const CString& newElement) {
  CNode* pNewNode = NewNode(nullptr, m_pNodeHead, newElement);
  if (m_pNodeHead != nullptr)
    m_pNodeHead->pPrev = pNewNode;
  else
    m_pNodeTail = pNewNode;
  m_pNodeHead = pNewNode;
  return reinterpret_cast<POSITION>(pNewNode);
}

POSITION su_CStringList::AddTail(LPCWSTR newElement) { return AddTail(CString(newElement)); }
POSITION su_CStringList::AddTail(const CString& newElement) {
  CNode* pNewNode = NewNode(m_pNodeTail, nullptr, newElement);
  if (m_pNodeTail != nullptr)
    m_pNodeTail->pNext = pNewNode;
  else
    m_pNodeHead = pNewNode;
  m_pNodeTail = pNewNode;
  return reinterpret_cast<POSITION>(pNewNode);
}

void su_CStringList::AddHead(su_CStringList* pNewList) {
  if (pNewList == nullptr) AfxThrowInvalidArgException();
  std::vector<CString> items;
  for (CNode* p = pNewList->m_pNodeHead; p != nullptr; p = p->pNext) items.push_back(p->data);
  // Added from the tail of the other list backwards, so that its order is kept at the head.
  for (auto it = items.rbegin(); it != items.rend(); ++it) AddHead(*it);
}

void su_CStringList::AddTail(su_CStringList* pNewList) {
  if (pNewList == nullptr) AfxThrowInvalidArgException();
  std::vector<CString> items;
  for (CNode* p = pNewList->m_pNodeHead; p != nullptr; p = p->pNext) items.push_back(p->data);
  for (const CString& s : items) AddTail(s);
}

void su_CStringList::RemoveAll() {
  CNode* p = m_pNodeHead;
  while (p != nullptr) {
    CNode* pNext = p->pNext;
    delete p;
    p = pNext;
  }
  m_pNodeHead = m_pNodeTail = nullptr;
  m_nCount = 0;
}

POSITION su_CStringList::GetHeadPosition() const { return reinterpret_cast<POSITION>(m_pNodeHead); }
POSITION su_CStringList::GetTailPosition() const { return reinterpret_cast<POSITION>(m_pNodeTail); }

CString& su_CStringList::GetNext(POSITION& rPosition) {
  CNode* pNode = Checked(rPosition);
  rPosition = reinterpret_cast<POSITION>(pNode->pNext);
  return pNode->data;
}
const CString& su_CStringList::GetNext(POSITION& rPosition) const {
  CNode* pNode = Checked(rPosition);
  rPosition = reinterpret_cast<POSITION>(pNode->pNext);
  return pNode->data;
}
CString& su_CStringList::GetPrev(POSITION& rPosition) {
  CNode* pNode = Checked(rPosition);
  rPosition = reinterpret_cast<POSITION>(pNode->pPrev);
  return pNode->data;
}
const CString& su_CStringList::GetPrev(POSITION& rPosition) const {
  CNode* pNode = Checked(rPosition);
  rPosition = reinterpret_cast<POSITION>(pNode->pPrev);
  return pNode->data;
}

CString& su_CStringList::GetAt(POSITION position) { return Checked(position)->data; }
const CString& su_CStringList::GetAt(POSITION position) const { return Checked(position)->data; }
void su_CStringList::SetAt(POSITION pos, LPCWSTR newElement) { Checked(pos)->data = newElement; }
void su_CStringList::SetAt(POSITION pos, const CString& newElement) { Checked(pos)->data = newElement; }

void su_CStringList::RemoveAt(POSITION position) {
  CNode* pOldNode = Checked(position);
  if (pOldNode == m_pNodeHead)
    m_pNodeHead = pOldNode->pNext;
  else
    pOldNode->pPrev->pNext = pOldNode->pNext;
  if (pOldNode == m_pNodeTail)
    m_pNodeTail = pOldNode->pPrev;
  else
    pOldNode->pNext->pPrev = pOldNode->pPrev;
  delete pOldNode;
  --m_nCount;
}

POSITION su_CStringList::InsertBefore(POSITION position, LPCWSTR newElement) {
  return InsertBefore(position, CString(newElement));
}
POSITION su_CStringList::InsertBefore(POSITION position, const CString& newElement) {
  if (position == nullptr) return AddHead(newElement);
  CNode* pOldNode = reinterpret_cast<CNode*>(position);
  CNode* pNewNode = NewNode(pOldNode->pPrev, pOldNode, newElement);
  if (pOldNode->pPrev != nullptr)
    pOldNode->pPrev->pNext = pNewNode;
  else
    m_pNodeHead = pNewNode;
  pOldNode->pPrev = pNewNode;
  return reinterpret_cast<POSITION>(pNewNode);
}

POSITION su_CStringList::InsertAfter(POSITION position, LPCWSTR newElement) {
  return InsertAfter(position, CString(newElement));
}
POSITION su_CStringList::InsertAfter(POSITION position, const CString& newElement) {
  if (position == nullptr) return AddTail(newElement);
  CNode* pOldNode = reinterpret_cast<CNode*>(position);
  CNode* pNewNode = NewNode(pOldNode, pOldNode->pNext, newElement);
  if (pOldNode->pNext != nullptr)
    pOldNode->pNext->pPrev = pNewNode;
  else
    m_pNodeTail = pNewNode;
  pOldNode->pNext = pNewNode;
  return reinterpret_cast<POSITION>(pNewNode);
}

POSITION su_CStringList::Find(LPCWSTR searchValue, POSITION startAfter) const {
  CNode* pNode = startAfter == nullptr ? m_pNodeHead : reinterpret_cast<CNode*>(startAfter)->pNext;
  const CString value(searchValue ? searchValue : L"");
  for (; pNode != nullptr; pNode = pNode->pNext)
    if (pNode->data == value) return reinterpret_cast<POSITION>(pNode);
  return nullptr;
}

POSITION su_CStringList::FindIndex(INT_PTR nIndex) const {
  if (nIndex < 0 || nIndex >= m_nCount) return nullptr;
  CNode* pNode = m_pNodeHead;
  while (nIndex--) pNode = pNode->pNext;
  return reinterpret_cast<POSITION>(pNode);
}

void su_CStringList::Serialize(su_CArchive& ar) {
  su_CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD_PTR>(m_nCount));
    for (CNode* p = m_pNodeHead; p != nullptr; p = p->pNext) ar << p->data;
  } else {
    DWORD_PTR nNewCount = ar.ReadCount();
    while (nNewCount--) {
      CString newData;
      ar >> newData;
      AddTail(newData);
    }
  }
}
