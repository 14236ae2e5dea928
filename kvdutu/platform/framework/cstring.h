// CString: the framework's reference-counted string, wide (CStringW) and narrow (CStringA).
//
// One template, CStringT<XCHAR>, explicitly instantiated for wchar_t and char inside the library
// and exported from it. The object is one pointer to its characters; a header in front of them
// holds the length, the capacity and an atomic reference count, so copies share the text until
// one of them writes (copy-on-write). A copy may go to another thread: each thread then owns its
// own object and the shared block is only ever read or released through the atomic count.
//
// Text of the other width is converted through the system code page (UTF-8 on Linux). Format
// follows the Microsoft C runtime's printf conventions on every platform (see format.h). A bad
// index raises the framework's invalid-argument exception; counts out of range are clamped as the
// framework clamps them and never throw.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/win_types.h"

#include <cstdarg>
#include <type_traits>

template <typename BaseType>
class KVDUTU_TEMPLATE_API CStringT {
 public:
  typedef BaseType XCHAR;
  typedef XCHAR* PXSTR;
  typedef const XCHAR* PCXSTR;
  // The other character width.
  typedef std::conditional_t<std::is_same_v<BaseType, wchar_t>, char, wchar_t> YCHAR;
  typedef YCHAR* PYSTR;
  typedef const YCHAR* PCYSTR;

  CStringT() noexcept;
  CStringT(const CStringT& src) noexcept;
  CStringT(CStringT&& src) noexcept;
  CStringT(PCXSTR psz);
  CStringT(PCYSTR psz);                 // converted from/to the system code page
  CStringT(PCXSTR pch, int nLength);    // exactly nLength characters, embedded zeros kept
  CStringT(PCYSTR pch, int nLength);
  explicit CStringT(XCHAR ch, int nRepeat = 1);  // nRepeat < 1 gives an empty string
  explicit CStringT(YCHAR ch, int nRepeat = 1);
  ~CStringT();

  CStringT& operator=(const CStringT& src) noexcept;
  CStringT& operator=(CStringT&& src) noexcept;
  CStringT& operator=(PCXSTR psz);
  CStringT& operator=(PCYSTR psz);
  CStringT& operator=(XCHAR ch);
  CStringT& operator=(YCHAR ch);

  CStringT& operator+=(const CStringT& str);
  CStringT& operator+=(PCXSTR psz);
  CStringT& operator+=(PCYSTR psz);
  CStringT& operator+=(XCHAR ch);
  CStringT& operator+=(YCHAR ch);

  // ---- Length and access --------------------------------------------------------------------
  int GetLength() const noexcept;
  bool IsEmpty() const noexcept;
  void Empty() noexcept;
  PCXSTR GetString() const noexcept { return m_pszData; }
  operator PCXSTR() const noexcept { return m_pszData; }
  // 0 <= iChar <= length (the terminator may be read), else the invalid-argument exception.
  XCHAR GetAt(int iChar) const;
  XCHAR operator[](int iChar) const;
  void SetAt(int iChar, XCHAR ch);  // 0 <= iChar < length

  void SetString(PCXSTR psz);
  void SetString(PCXSTR pch, int nLength);
  void Append(const CStringT& str);
  void Append(PCXSTR psz);
  void Append(PCXSTR pch, int nLength);
  void AppendChar(XCHAR ch);
  void Truncate(int nNewLength);  // nNewLength beyond the length: invalid-argument exception

  // ---- Buffer access ------------------------------------------------------------------------
  // The buffer is writable up to the requested length plus its terminator; ReleaseBuffer(-1)
  // takes the length from the first zero, ReleaseBuffer(n) sets it to n.
  PXSTR GetBuffer();
  PXSTR GetBuffer(int nMinBufferLength);
  PXSTR GetBufferSetLength(int nLength);
  void ReleaseBuffer(int nNewLength = -1);
  void ReleaseBufferSetLength(int nNewLength);
  void Preallocate(int nLength);
  void FreeExtra();
  int GetAllocLength() const noexcept;

  // ---- Formatting (Microsoft C runtime conventions on every platform) --------------------------
  void Format(PCXSTR pszFormat, ...);
  void Format(UINT nFormatID, ...);  // the format is string resource nFormatID
  void AppendFormat(PCXSTR pszFormat, ...);
  void FormatV(PCXSTR pszFormat, va_list args);
  void AppendFormatV(PCXSTR pszFormat, va_list args);

  // ---- Extraction ---------------------------------------------------------------------------
  CStringT Left(int nCount) const;
  CStringT Right(int nCount) const;
  CStringT Mid(int iFirst) const;
  CStringT Mid(int iFirst, int nCount) const;
  CStringT SpanIncluding(PCXSTR pszCharSet) const;
  CStringT SpanExcluding(PCXSTR pszCharSet) const;
  // The next token after iStart, skipping leading delimiters; iStart is set past it, or to -1
  // (and an empty string returned) when no token is left.
  CStringT Tokenize(PCXSTR pszTokens, int& iStart) const;

  // ---- Searching ----------------------------------------------------------------------------
  int Find(XCHAR ch, int iStart = 0) const;
  int Find(PCXSTR pszSub, int iStart = 0) const;
  int ReverseFind(XCHAR ch) const;
  int FindOneOf(PCXSTR pszCharSet) const;

  // ---- Modification -------------------------------------------------------------------------
  int Replace(XCHAR chOld, XCHAR chNew);
  int Replace(PCXSTR pszOld, PCXSTR pszNew);
  int Remove(XCHAR chRemove);
  int Insert(int iIndex, XCHAR ch);
  int Insert(int iIndex, PCXSTR psz);
  int Delete(int iIndex, int nCount = 1);
  CStringT& MakeLower();
  CStringT& MakeUpper();
  CStringT& MakeReverse();
  CStringT& Trim();
  CStringT& Trim(XCHAR chTarget);
  CStringT& Trim(PCXSTR pszTargets);
  CStringT& TrimLeft();
  CStringT& TrimLeft(XCHAR chTarget);
  CStringT& TrimLeft(PCXSTR pszTargets);
  CStringT& TrimRight();
  CStringT& TrimRight(XCHAR chTarget);
  CStringT& TrimRight(PCXSTR pszTargets);

  // ---- Comparison (negative, zero or positive) ------------------------------------------------
  int Compare(PCXSTR psz) const;
  int CompareNoCase(PCXSTR psz) const;
  int Collate(PCXSTR psz) const;
  int CollateNoCase(PCXSTR psz) const;

  // ---- Resources ----------------------------------------------------------------------------
  BOOL LoadString(UINT nID);
  BOOL LoadString(HINSTANCE hInstance, UINT nID);

  // ---- Operators ----------------------------------------------------------------------------
  friend CStringT operator+(const CStringT& a, const CStringT& b) { CStringT r(a); r.Append(b); return r; }
  friend CStringT operator+(const CStringT& a, PCXSTR b) { CStringT r(a); r.Append(b); return r; }
  friend CStringT operator+(PCXSTR a, const CStringT& b) { CStringT r(a); r.Append(b); return r; }
  friend CStringT operator+(const CStringT& a, XCHAR b) { CStringT r(a); r.AppendChar(b); return r; }
  friend CStringT operator+(XCHAR a, const CStringT& b) { CStringT r(a, 1); r.Append(b); return r; }
  friend CStringT operator+(const CStringT& a, YCHAR b) { CStringT r(a); r += b; return r; }
  friend CStringT operator+(YCHAR a, const CStringT& b) { CStringT r(a, 1); r.Append(b); return r; }

  friend bool operator==(const CStringT& a, const CStringT& b) { return a.Compare(b) == 0; }
  friend bool operator==(const CStringT& a, PCXSTR b) { return a.Compare(b) == 0; }
  friend bool operator==(PCXSTR a, const CStringT& b) { return b.Compare(a) == 0; }
  friend bool operator!=(const CStringT& a, const CStringT& b) { return a.Compare(b) != 0; }
  friend bool operator!=(const CStringT& a, PCXSTR b) { return a.Compare(b) != 0; }
  friend bool operator!=(PCXSTR a, const CStringT& b) { return b.Compare(a) != 0; }
  friend bool operator<(const CStringT& a, const CStringT& b) { return a.Compare(b) < 0; }
  friend bool operator<(const CStringT& a, PCXSTR b) { return a.Compare(b) < 0; }
  friend bool operator<(PCXSTR a, const CStringT& b) { return b.Compare(a) > 0; }
  friend bool operator>(const CStringT& a, const CStringT& b) { return a.Compare(b) > 0; }
  friend bool operator>(const CStringT& a, PCXSTR b) { return a.Compare(b) > 0; }
  friend bool operator>(PCXSTR a, const CStringT& b) { return b.Compare(a) < 0; }
  friend bool operator<=(const CStringT& a, const CStringT& b) { return a.Compare(b) <= 0; }
  friend bool operator<=(const CStringT& a, PCXSTR b) { return a.Compare(b) <= 0; }
  friend bool operator<=(PCXSTR a, const CStringT& b) { return b.Compare(a) >= 0; }
  friend bool operator>=(const CStringT& a, const CStringT& b) { return a.Compare(b) >= 0; }
  friend bool operator>=(const CStringT& a, PCXSTR b) { return a.Compare(b) >= 0; }
  friend bool operator>=(PCXSTR a, const CStringT& b) { return b.Compare(a) <= 0; }

 private:
  PXSTR m_pszData;  // the characters; the shared header sits in front of them
};

// The two instantiations live in the library and are exported from it.
#if defined(_WIN32) && !defined(KVDUTU_BUILDING)
extern template class __declspec(dllimport) CStringT<wchar_t>;
extern template class __declspec(dllimport) CStringT<char>;
#elif !defined(KVDUTU_BUILDING)
extern template class KVDUTU_API CStringT<wchar_t>;
extern template class KVDUTU_API CStringT<char>;
#endif

typedef CStringT<wchar_t> CStringW;
typedef CStringT<char> CStringA;
typedef CStringW CString;
