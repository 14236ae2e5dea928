// The shared machinery of the imported arrays and maps: the framework's array and hash map,
// written once as templates. The exported classes (su_CStringArray, su_CMapStringToString ...)
// derive from them and add their serialisation.
//
// As in the framework, a bad index or a missing element raises AfxThrowInvalidArgException, and
// references and positions stay valid until the container changes shape.
#pragma once

#include "kvdutu/platform/containers/su_object.h"
#include "kvdutu/platform/framework/afx_throw.h"
#include "kvdutu/platform/framework/position.h"
#include "kvdutu/platform/win_types.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace KvdUtils::Containers {

template <class TYPE>
class ArrayT : public su_CObject {
 public:
  ArrayT() = default;

  INT_PTR GetSize() const { return static_cast<INT_PTR>(m_data.size()); }
  INT_PTR GetCount() const { return GetSize(); }
  BOOL IsEmpty() const { return m_data.empty(); }
  INT_PTR GetUpperBound() const { return GetSize() - 1; }

  // nGrowBy: elements to add room for when the array grows (-1 keeps the present setting, 0
  // lets the array choose).
  void SetSize(INT_PTR nNewSize, INT_PTR nGrowBy = -1) {
    if (nNewSize < 0) AfxThrowInvalidArgException();
    if (nGrowBy >= 0) m_nGrowBy = nGrowBy;
    if (static_cast<size_t>(nNewSize) > m_data.capacity()) m_data.reserve(grownCapacity(nNewSize));
    m_data.resize(static_cast<size_t>(nNewSize), TYPE());
  }
  void FreeExtra() { m_data.shrink_to_fit(); }
  void RemoveAll() { m_data.clear(); }

  const TYPE& GetAt(INT_PTR nIndex) const { return m_data[checked(nIndex)]; }
  void SetAt(INT_PTR nIndex, const TYPE& newElement) { m_data[checked(nIndex)] = newElement; }
  TYPE& ElementAt(INT_PTR nIndex) { return m_data[checked(nIndex)]; }
  const TYPE& ElementAt(INT_PTR nIndex) const { return m_data[checked(nIndex)]; }
  const TYPE& operator[](INT_PTR nIndex) const { return GetAt(nIndex); }
  TYPE& operator[](INT_PTR nIndex) { return ElementAt(nIndex); }

  const TYPE* GetData() const { return m_data.empty() ? nullptr : m_data.data(); }
  TYPE* GetData() { return m_data.empty() ? nullptr : m_data.data(); }

  void SetAtGrow(INT_PTR nIndex, const TYPE& newElement) {
    if (nIndex < 0) AfxThrowInvalidArgException();
    if (nIndex >= GetSize()) {
      const TYPE copy(newElement);  // newElement may live in this array
      SetSize(nIndex + 1, -1);
      m_data[static_cast<size_t>(nIndex)] = copy;
      return;
    }
    m_data[static_cast<size_t>(nIndex)] = newElement;
  }
  INT_PTR Add(const TYPE& newElement) {
    const INT_PTR nIndex = GetSize();
    SetAtGrow(nIndex, newElement);
    return nIndex;
  }
  // Appends src; returns the index of its first element here. An array cannot append itself.
  INT_PTR Append(const ArrayT& src) {
    if (this == &src) AfxThrowInvalidArgException();
    const INT_PTR nOldSize = GetSize();
    reserveFor(nOldSize + src.GetSize());
    m_data.insert(m_data.end(), src.m_data.begin(), src.m_data.end());
    return nOldSize;
  }
  void Copy(const ArrayT& src) {
    if (this != &src) m_data = src.m_data;
  }

  // nCount copies of newElement before nIndex; an index past the end grows the array first.
  void InsertAt(INT_PTR nIndex, const TYPE& newElement, INT_PTR nCount = 1) {
    if (nIndex < 0 || nCount <= 0) AfxThrowInvalidArgException();
    const TYPE copy(newElement);
    if (nIndex >= GetSize()) {
      SetSize(nIndex + nCount, -1);
    } else {
      reserveFor(GetSize() + nCount);
      m_data.insert(m_data.begin() + nIndex, static_cast<size_t>(nCount), TYPE());
    }
    std::fill(m_data.begin() + nIndex, m_data.begin() + nIndex + nCount, copy);
  }
  void InsertAt(INT_PTR nStartIndex, const ArrayT* pNewArray) {
    if (pNewArray == nullptr || nStartIndex < 0) AfxThrowInvalidArgException();
    if (pNewArray->GetSize() == 0) return;
    const std::vector<TYPE> elements(pNewArray->m_data);  // the array may insert itself
    InsertAt(nStartIndex, elements[0], static_cast<INT_PTR>(elements.size()));
    std::copy(elements.begin(), elements.end(), m_data.begin() + nStartIndex);
  }
  void RemoveAt(INT_PTR nIndex, INT_PTR nCount = 1) {
    const INT_PTR nUpperBound = nIndex + nCount;
    if (nIndex < 0 || nCount < 0 || nUpperBound > GetSize() || nUpperBound < nIndex || nUpperBound < nCount)
      AfxThrowInvalidArgException();
    m_data.erase(m_data.begin() + nIndex, m_data.begin() + nUpperBound);
  }

 protected:
  std::vector<TYPE> m_data;
  INT_PTR m_nGrowBy = 0;

 private:
  size_t checked(INT_PTR nIndex) const {
    if (nIndex < 0 || nIndex >= GetSize()) AfxThrowInvalidArgException();
    return static_cast<size_t>(nIndex);
  }
  // Capacity for nNewSize elements with the array's growth step (0: an eighth of the size,
  // between 4 and 1024, as the framework's arrays grow).
  size_t grownCapacity(INT_PTR nNewSize) const {
    INT_PTR nGrowBy = m_nGrowBy;
    if (nGrowBy == 0) nGrowBy = std::clamp<INT_PTR>(GetSize() / 8, 4, 1024);
    return static_cast<size_t>(std::max(nNewSize, GetSize() + nGrowBy));
  }
  void reserveFor(INT_PTR nNewSize) {
    if (static_cast<size_t>(nNewSize) > m_data.capacity()) m_data.reserve(grownCapacity(nNewSize));
  }
};

// A chained hash map in the framework's manner: GetStartPosition and GetNextAssoc walk the
// buckets in order and each bucket's chain from its newest entry, so the iteration order is the
// framework's for the same hash function, table size and insertion history.
//
// Traits supply `static UINT Hash(const KEY&)` and `static bool Equal(const KEY&, const KEY&)`.
template <class KEY, class VALUE, class Traits>
class MapT : public su_CObject {
 public:
  explicit MapT(INT_PTR nBlockSize = 10) : m_nBlockSize(nBlockSize > 0 ? nBlockSize : 10) {}
  ~MapT() override { RemoveAll(); }

  INT_PTR GetCount() const { return m_nCount; }
  INT_PTR GetSize() const { return m_nCount; }
  BOOL IsEmpty() const { return m_nCount == 0; }
  UINT GetHashTableSize() const { return m_nHashTableSize; }

  BOOL Lookup(const KEY& key, VALUE& rValue) const {
    const Assoc* pAssoc = find(key);
    if (pAssoc == nullptr) return FALSE;
    rValue = pAssoc->value;
    return TRUE;
  }
  // The stored key equal to key (as it was stored).
  BOOL LookupKey(const KEY& key, KEY& rKey) const {
    const Assoc* pAssoc = find(key);
    if (pAssoc == nullptr) return FALSE;
    rKey = pAssoc->key;
    return TRUE;
  }
  // The value of key, made (default value) when the key is new.
  VALUE& operator[](const KEY& key) {
    if (Assoc* pAssoc = find(key)) return pAssoc->value;
    if (m_table.empty()) m_table.assign(m_nHashTableSize, nullptr);
    const UINT nHash = Traits::Hash(key);
    Assoc* pAssoc = new Assoc{key, VALUE(), m_table[nHash % m_nHashTableSize], nHash};
    m_table[nHash % m_nHashTableSize] = pAssoc;
    ++m_nCount;
    return pAssoc->value;
  }
  void SetAt(const KEY& key, const VALUE& newValue) { (*this)[key] = newValue; }

  BOOL RemoveKey(const KEY& key) {
    if (m_table.empty()) return FALSE;
    const UINT nHash = Traits::Hash(key);
    Assoc** ppPrev = &m_table[nHash % m_nHashTableSize];
    for (Assoc* pAssoc = *ppPrev; pAssoc != nullptr; ppPrev = &pAssoc->pNext, pAssoc = pAssoc->pNext) {
      if (pAssoc->nHashValue == nHash && Traits::Equal(pAssoc->key, key)) {
        *ppPrev = pAssoc->pNext;
        delete pAssoc;
        --m_nCount;
        return TRUE;
      }
    }
    return FALSE;
  }
  void RemoveAll() {
    for (Assoc*& head : m_table) {
      while (head != nullptr) {
        Assoc* pNext = head->pNext;
        delete head;
        head = pNext;
      }
    }
    m_table.clear();
    m_nCount = 0;
  }

  POSITION GetStartPosition() const { return m_nCount == 0 ? nullptr : BEFORE_START_POSITION; }
  void GetNextAssoc(POSITION& rNextPosition, KEY& rKey, VALUE& rValue) const {
    const Assoc* pAssoc = reinterpret_cast<const Assoc*>(rNextPosition);
    if (pAssoc == nullptr || m_table.empty()) AfxThrowInvalidArgException();
    if (rNextPosition == BEFORE_START_POSITION) {
      pAssoc = nullptr;
      for (UINT nBucket = 0; nBucket < m_nHashTableSize && pAssoc == nullptr; ++nBucket) pAssoc = m_table[nBucket];
      if (pAssoc == nullptr) AfxThrowInvalidArgException();
    }
    const Assoc* pNext = pAssoc->pNext;
    for (UINT nBucket = pAssoc->nHashValue % m_nHashTableSize + 1; pNext == nullptr && nBucket < m_nHashTableSize;
         ++nBucket)
      pNext = m_table[nBucket];
    rNextPosition = reinterpret_cast<POSITION>(const_cast<Assoc*>(pNext));
    rKey = pAssoc->key;
    rValue = pAssoc->value;
  }

  // Sets the number of buckets (a prime does best). Entries already stored move to their new
  // buckets.
  void InitHashTable(UINT nHashSize, BOOL bAllocNow = TRUE) {
    if (nHashSize == 0) AfxThrowInvalidArgException();
    std::vector<Assoc*> old;
    old.swap(m_table);
    m_nHashTableSize = nHashSize;
    if (bAllocNow || m_nCount > 0) m_table.assign(nHashSize, nullptr);
    // Re-chain bucket by bucket, oldest entry of each chain first, so chains keep their order.
    for (Assoc* head : old) {
      std::vector<Assoc*> chain;
      for (Assoc* p = head; p != nullptr; p = p->pNext) chain.push_back(p);
      for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        Assoc*& bucket = m_table[(*it)->nHashValue % m_nHashTableSize];
        (*it)->pNext = bucket;
        bucket = *it;
      }
    }
  }

 protected:
  struct Assoc {
    KEY key;
    VALUE value;
    Assoc* pNext;
    UINT nHashValue;
  };

  Assoc* find(const KEY& key) const {
    if (m_table.empty()) return nullptr;
    const UINT nHash = Traits::Hash(key);
    for (Assoc* pAssoc = m_table[nHash % m_nHashTableSize]; pAssoc != nullptr; pAssoc = pAssoc->pNext)
      if (pAssoc->nHashValue == nHash && Traits::Equal(pAssoc->key, key)) return pAssoc;
    return nullptr;
  }

  std::vector<Assoc*> m_table;
  UINT m_nHashTableSize = 17;
  INT_PTR m_nCount = 0;
  INT_PTR m_nBlockSize;
};

// The framework's string hash, taken over UTF-16 units so that both platforms agree.
inline UINT HashStringKey(const wchar_t* key) {
  if (key == nullptr) AfxThrowInvalidArgException();
  UINT nHash = 0;
  for (; *key; ++key) {
    const uint32_t c = static_cast<uint32_t>(*key);
    if (c > 0xFFFF && c <= 0x10FFFF) {
      nHash = (nHash << 5) + nHash + (0xD800 + ((c - 0x10000) >> 10));
      nHash = (nHash << 5) + nHash + (0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      nHash = (nHash << 5) + nHash + static_cast<uint16_t>(c);
    }
  }
  return nHash;
}

}  // namespace KvdUtils::Containers
