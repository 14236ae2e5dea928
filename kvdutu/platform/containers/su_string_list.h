// su_CStringList: a doubly linked list of wide strings, walked by POSITION. Find compares with
// case. Stored as a count, then each string from head to tail.
#pragma once

#include "kvdutu/platform/containers/su_object.h"
#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/position.h"

class KVDUTU_API su_CStringList : public su_CObject {
  DECLARE_SERIAL(su_CStringList)
 public:
  explicit su_CStringList(INT_PTR nBlockSize = 10);
  ~su_CStringList() override;

  INT_PTR GetCount() const { return m_nCount; }
  INT_PTR GetSize() const { return m_nCount; }
  BOOL IsEmpty() const { return m_nCount == 0; }

  // Head and tail; an empty list raises the invalid-argument exception.
  CString& GetHead();
  const CString& GetHead() const;
  CString& GetTail();
  const CString& GetTail() const;
  CString RemoveHead();
  CString RemoveTail();

  POSITION AddHead(LPCWSTR newElement);
  POSITION AddHead(const CString& newElement);
  POSITION AddTail(LPCWSTR newElement);
  POSITION AddTail(const CString& newElement);
  // Copies of another list's strings (the list itself may be given).
  void AddHead(su_CStringList* pNewList);
  void AddTail(su_CStringList* pNewList);
  void RemoveAll();

  POSITION GetHeadPosition() const;
  POSITION GetTailPosition() const;
  // The element at rPosition; rPosition moves to the next (previous) one, NULL past the end.
  CString& GetNext(POSITION& rPosition);
  const CString& GetNext(POSITION& rPosition) const;
  CString& GetPrev(POSITION& rPosition);
  const CString& GetPrev(POSITION& rPosition) const;

  CString& GetAt(POSITION position);
  const CString& GetAt(POSITION position) const;
  void SetAt(POSITION pos, LPCWSTR newElement);
  void SetAt(POSITION pos, const CString& newElement);
  void RemoveAt(POSITION position);

  // NULL position: at the head (InsertBefore) or the tail (InsertAfter).
  POSITION InsertBefore(POSITION position, LPCWSTR newElement);
  POSITION InsertBefore(POSITION position, const CString& newElement);
  POSITION InsertAfter(POSITION position, LPCWSTR newElement);
  POSITION InsertAfter(POSITION position, const CString& newElement);

  // The first element equal to searchValue (with case) after startAfter (NULL: from the head).
  POSITION Find(LPCWSTR searchValue, POSITION startAfter = nullptr) const;
  // The nIndex-th position from the head; NULL when out of range.
  POSITION FindIndex(INT_PTR nIndex) const;

  void Serialize(su_CArchive& ar) override;

 protected:
  struct CNode {
    CNode* pNext;
    CNode* pPrev;
    CString data;
  };
  CNode* NewNode(CNode* pPrev, CNode* pNext, const CString& data);
  static CNode* Checked(POSITION position);

  CNode* m_pNodeHead = nullptr;
  CNode* m_pNodeTail = nullptr;
  INT_PTR m_nCount = 0;
  INT_PTR m_nBlockSize;
};
