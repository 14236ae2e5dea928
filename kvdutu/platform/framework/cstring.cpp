#include "kvdutu/platform/framework/cstring.h"

#include "kvdutu/platform/framework/afx_throw.h"
#include "kvdutu/platform/framework/case_map_internal.h"
#include "kvdutu/platform/framework/format.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/platform/os/text.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

namespace {

// The block in front of a string's characters. The characters follow the header directly, with
// room for `alloc` characters and a terminator.
struct StringData {
  std::atomic<long> refs;
  int length;
  int alloc;
};

// Every empty string points at this block; it is never counted nor freed.
template <typename X>
struct NilBlock {
  StringData header{{1}, 0, 0};
  X chars[2] = {0, 0};
};
template <typename X>
NilBlock<X> g_nil;

template <typename X>
X* CharsOf(StringData* d) {
  return reinterpret_cast<X*>(d + 1);
}
template <typename X>
StringData* DataOf(const X* psz) {
  return reinterpret_cast<StringData*>(const_cast<X*>(psz)) - 1;
}
template <typename X>
bool IsNil(const StringData* d) {
  return d == &g_nil<X>.header;
}

template <typename X>
X* Allocate(int nLength) {
  if (nLength < 0) AfxThrowInvalidArgException();
  // Grow in steps so that repeated appends stay linear.
  long long alloc = nLength;
  if (alloc > 64) alloc += alloc / 2;
  if (alloc > INT_MAX - 1) alloc = INT_MAX - 1;
  if (nLength > alloc) throw std::bad_alloc();
  size_t bytes = sizeof(StringData) + (static_cast<size_t>(alloc) + 1) * sizeof(X);
  void* mem = std::malloc(bytes);
  if (!mem) throw std::bad_alloc();
  StringData* d = new (mem) StringData;
  d->refs.store(1, std::memory_order_relaxed);
  d->length = 0;
  d->alloc = static_cast<int>(alloc);
  CharsOf<X>(d)[0] = 0;
  return CharsOf<X>(d);
}

template <typename X>
void Release(X* psz) {
  StringData* d = DataOf(psz);
  if (IsNil<X>(d)) return;
  if (d->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    d->~StringData();
    std::free(d);
  }
}

template <typename X>
X* AddRef(X* psz) {
  StringData* d = DataOf(psz);
  if (!IsNil<X>(d)) d->refs.fetch_add(1, std::memory_order_relaxed);
  return psz;
}

template <typename X>
int CStrLen(const X* p) {
  if (!p) return 0;
  size_t n = std::char_traits<X>::length(p);
  if (n > static_cast<size_t>(INT_MAX - 1)) throw std::bad_alloc();
  return static_cast<int>(n);
}

template <typename X>
bool InSet(X c, const X* set) {
  for (; *set; ++set)
    if (*set == c) return true;
  return false;
}

// Whitespace for Trim(): the Unicode White_Space characters of the BMP for wide strings, the ASCII
// ones for narrow strings (no UTF-8 byte of a longer sequence is whitespace).
bool IsSpaceChar(wchar_t c) {
  unsigned u = static_cast<unsigned>(c);
  return (u >= 0x09 && u <= 0x0D) || u == 0x20 || u == 0x85 || u == 0xA0 || u == 0x1680 ||
         (u >= 0x2000 && u <= 0x200A) || u == 0x2028 || u == 0x2029 || u == 0x202F || u == 0x205F ||
         u == 0x3000;
}
bool IsSpaceChar(char c) { return (c >= 0x09 && c <= 0x0D) || c == 0x20; }

// Case mapping: the fixed simple mapping of the BMP for wide strings; for narrow strings ASCII only,
// as the runtime's _strupr/_strlwr do in the "C" locale (and so that UTF-8 lengths never change).
wchar_t ToUpperChar(wchar_t c) { return static_cast<wchar_t>(KvdUtils::Platform::SimpleUpperCase(static_cast<unsigned>(c))); }
wchar_t ToLowerChar(wchar_t c) { return static_cast<wchar_t>(KvdUtils::Platform::SimpleLowerCase(static_cast<unsigned>(c))); }
char ToUpperChar(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }
char ToLowerChar(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Ordering keys. Wide strings order as their UTF-16 code units do on Windows: a character above the
// BMP (a surrogate pair there) sorts before U+E000..U+FFFF. Narrow strings order as unsigned bytes.
unsigned long OrderKey(wchar_t c) {
  unsigned long u = static_cast<unsigned long>(static_cast<std::make_unsigned_t<wchar_t>>(c));
  return (u >= 0xE000 && u <= 0xFFFF) ? u + 0x200000 : u;
}
unsigned long OrderKey(char c) { return static_cast<unsigned char>(c); }

// C-string comparison, as wcscmp/_wcsicmp compare (up to the first terminator). The no-case form
// compares the lower-case forms, as _wcsicmp does.
template <typename X>
int CompareStrings(const X* a, const X* b, bool noCase) {
  static const X empty[1] = {0};
  if (!a) a = empty;
  if (!b) b = empty;
  for (;; ++a, ++b) {
    X ca = noCase ? ToLowerChar(*a) : *a;
    X cb = noCase ? ToLowerChar(*b) : *b;
    unsigned long ka = OrderKey(ca), kb = OrderKey(cb);
    if (ka != kb) return ka < kb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

// Text of the other width, through the system code page.
std::wstring Convert(const char* p, int n) {
  std::wstring out;
  if (!p || n <= 0) return out;
  int need = KvdUtils::Platform::MultiByteToWideChar(CP_ACP, 0, p, n, nullptr, 0);
  if (need <= 0) return out;
  out.resize(static_cast<size_t>(need));
  int got = KvdUtils::Platform::MultiByteToWideChar(CP_ACP, 0, p, n, out.data(), need);
  out.resize(static_cast<size_t>(got > 0 ? got : 0));
  return out;
}
std::string Convert(const wchar_t* p, int n) {
  std::string out;
  if (!p || n <= 0) return out;
  int need = KvdUtils::Platform::WideCharToMultiByte(CP_ACP, 0, p, n, nullptr, 0, nullptr, nullptr);
  if (need <= 0) return out;
  out.resize(static_cast<size_t>(need));
  int got = KvdUtils::Platform::WideCharToMultiByte(CP_ACP, 0, p, n, out.data(), need, nullptr, nullptr);
  out.resize(static_cast<size_t>(got > 0 ? got : 0));
  return out;
}

// Loads string resource nID (wide), growing the buffer until the text fits.
bool LoadWide(HINSTANCE hInstance, UINT nID, std::wstring& out) {
  std::wstring buf(256, L'\0');
  for (;;) {
    int n = KvdUtils::Platform::LoadStringW(hInstance, nID, buf.data(), static_cast<int>(buf.size()));
    if (n <= 0) return false;
    if (n < static_cast<int>(buf.size()) - 1 || buf.size() >= (1u << 24)) {
      out.assign(buf.data(), static_cast<size_t>(n));
      return true;
    }
    buf.assign(buf.size() * 2, L'\0');
  }
}

}  // namespace

// ---- Construction ----------------------------------------------------------------------------

template <typename X>
CStringT<X>::CStringT() noexcept : m_pszData(g_nil<X>.chars) {}

template <typename X>
CStringT<X>::CStringT(const CStringT& src) noexcept : m_pszData(AddRef(src.m_pszData)) {}

template <typename X>
CStringT<X>::CStringT(CStringT&& src) noexcept : m_pszData(src.m_pszData) {
  src.m_pszData = g_nil<X>.chars;
}

template <typename X>
CStringT<X>::CStringT(PCXSTR psz) : m_pszData(g_nil<X>.chars) {
  SetString(psz);
}

template <typename X>
CStringT<X>::CStringT(PCYSTR psz) : m_pszData(g_nil<X>.chars) {
  *this = psz;
}

template <typename X>
CStringT<X>::CStringT(PCXSTR pch, int nLength) : m_pszData(g_nil<X>.chars) {
  SetString(pch, nLength);
}

template <typename X>
CStringT<X>::CStringT(PCYSTR pch, int nLength) : m_pszData(g_nil<X>.chars) {
  if (nLength < 0) AfxThrowInvalidArgException();
  auto converted = Convert(pch, nLength);
  SetString(converted.data(), static_cast<int>(converted.size()));
}

template <typename X>
CStringT<X>::CStringT(XCHAR ch, int nRepeat) : m_pszData(g_nil<X>.chars) {
  if (nRepeat < 1) return;
  PXSTR p = GetBuffer(nRepeat);
  for (int i = 0; i < nRepeat; ++i) p[i] = ch;
  ReleaseBufferSetLength(nRepeat);
}

template <typename X>
CStringT<X>::CStringT(YCHAR ch, int nRepeat) : m_pszData(g_nil<X>.chars) {
  if (nRepeat < 1) return;
  auto one = Convert(&ch, 1);
  for (int i = 0; i < nRepeat; ++i) Append(one.data(), static_cast<int>(one.size()));
}

template <typename X>
CStringT<X>::~CStringT() {
  Release(m_pszData);
}

// ---- Assignment ------------------------------------------------------------------------------

template <typename X>
CStringT<X>& CStringT<X>::operator=(const CStringT& src) noexcept {
  if (src.m_pszData != m_pszData) {
    PXSTR old = m_pszData;
    m_pszData = AddRef(src.m_pszData);
    Release(old);
  }
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator=(CStringT&& src) noexcept {
  if (this != &src) {
    Release(m_pszData);
    m_pszData = src.m_pszData;
    src.m_pszData = g_nil<X>.chars;
  }
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator=(PCXSTR psz) {
  SetString(psz);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator=(PCYSTR psz) {
  auto converted = Convert(psz, CStrLen(psz));
  SetString(converted.data(), static_cast<int>(converted.size()));
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator=(XCHAR ch) {
  SetString(&ch, 1);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator=(YCHAR ch) {
  auto converted = Convert(&ch, 1);
  SetString(converted.data(), static_cast<int>(converted.size()));
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator+=(const CStringT& str) {
  Append(str);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator+=(PCXSTR psz) {
  Append(psz);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator+=(PCYSTR psz) {
  auto converted = Convert(psz, CStrLen(psz));
  Append(converted.data(), static_cast<int>(converted.size()));
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator+=(XCHAR ch) {
  AppendChar(ch);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::operator+=(YCHAR ch) {
  auto converted = Convert(&ch, 1);
  Append(converted.data(), static_cast<int>(converted.size()));
  return *this;
}

// ---- Length and access -----------------------------------------------------------------------

template <typename X>
int CStringT<X>::GetLength() const noexcept {
  return DataOf(m_pszData)->length;
}

template <typename X>
bool CStringT<X>::IsEmpty() const noexcept {
  return GetLength() == 0;
}

template <typename X>
void CStringT<X>::Empty() noexcept {
  Release(m_pszData);
  m_pszData = g_nil<X>.chars;
}

template <typename X>
X CStringT<X>::GetAt(int iChar) const {
  if (iChar < 0 || iChar > GetLength()) AfxThrowInvalidArgException();
  return m_pszData[iChar];
}

template <typename X>
X CStringT<X>::operator[](int iChar) const {
  return GetAt(iChar);
}

template <typename X>
void CStringT<X>::SetAt(int iChar, XCHAR ch) {
  if (iChar < 0 || iChar >= GetLength()) AfxThrowInvalidArgException();
  int n = GetLength();
  PXSTR p = GetBuffer();
  p[iChar] = ch;
  ReleaseBufferSetLength(n);
}

template <typename X>
void CStringT<X>::SetString(PCXSTR psz) {
  SetString(psz, CStrLen(psz));
}

template <typename X>
void CStringT<X>::SetString(PCXSTR pch, int nLength) {
  if (nLength < 0) AfxThrowInvalidArgException();
  if (nLength == 0) {
    Empty();
    return;
  }
  if (!pch) AfxThrowInvalidArgException();
  StringData* d = DataOf(m_pszData);
  // The source may lie inside this string's own buffer: build the new text first when it does.
  bool overlaps = pch >= m_pszData && pch <= m_pszData + d->alloc;
  if (overlaps || IsNil<X>(d) || d->refs.load(std::memory_order_acquire) > 1 || d->alloc < nLength) {
    PXSTR fresh = Allocate<X>(nLength);
    std::memcpy(fresh, pch, static_cast<size_t>(nLength) * sizeof(X));
    Release(m_pszData);
    m_pszData = fresh;
  } else {
    std::memcpy(m_pszData, pch, static_cast<size_t>(nLength) * sizeof(X));
  }
  DataOf(m_pszData)->length = nLength;
  m_pszData[nLength] = 0;
}

template <typename X>
void CStringT<X>::Append(const CStringT& str) {
  // A copy holds the text alive even when str is this string.
  CStringT keep(str);
  Append(keep.m_pszData, keep.GetLength());
}

template <typename X>
void CStringT<X>::Append(PCXSTR psz) {
  Append(psz, CStrLen(psz));
}

template <typename X>
void CStringT<X>::Append(PCXSTR pch, int nLength) {
  if (nLength < 0) AfxThrowInvalidArgException();
  if (nLength == 0) return;
  if (!pch) AfxThrowInvalidArgException();
  int old = GetLength();
  if (nLength > INT_MAX - 1 - old) throw std::bad_alloc();
  // The source may be part of this string; it stays valid until GetBuffer reallocates, so copy it.
  std::basic_string<X> tmp;
  StringData* d = DataOf(m_pszData);
  if (pch >= m_pszData && pch <= m_pszData + d->alloc) {
    tmp.assign(pch, static_cast<size_t>(nLength));
    pch = tmp.data();
  }
  PXSTR p = GetBuffer(old + nLength);
  std::memcpy(p + old, pch, static_cast<size_t>(nLength) * sizeof(X));
  ReleaseBufferSetLength(old + nLength);
}

template <typename X>
void CStringT<X>::AppendChar(XCHAR ch) {
  Append(&ch, 1);
}

template <typename X>
void CStringT<X>::Truncate(int nNewLength) {
  if (nNewLength < 0 || nNewLength > GetLength()) AfxThrowInvalidArgException();
  if (nNewLength == GetLength()) return;
  GetBuffer();
  ReleaseBufferSetLength(nNewLength);
}

// ---- Buffer access ---------------------------------------------------------------------------

template <typename X>
X* CStringT<X>::GetBuffer() {
  return GetBuffer(0);
}

template <typename X>
X* CStringT<X>::GetBuffer(int nMinBufferLength) {
  if (nMinBufferLength < 0) AfxThrowInvalidArgException();
  StringData* d = DataOf(m_pszData);
  int length = d->length;
  int need = std::max(nMinBufferLength, length);
  if (IsNil<X>(d) || d->refs.load(std::memory_order_acquire) > 1 || d->alloc < need) {
    PXSTR fresh = Allocate<X>(need);
    std::memcpy(fresh, m_pszData, (static_cast<size_t>(length) + 1) * sizeof(X));
    DataOf(fresh)->length = length;
    Release(m_pszData);
    m_pszData = fresh;
  }
  return m_pszData;
}

template <typename X>
X* CStringT<X>::GetBufferSetLength(int nLength) {
  PXSTR p = GetBuffer(nLength);
  ReleaseBufferSetLength(nLength);
  return p;
}

template <typename X>
void CStringT<X>::ReleaseBuffer(int nNewLength) {
  if (nNewLength == -1) {
    StringData* d = DataOf(m_pszData);
    int n = 0;
    while (n < d->alloc && m_pszData[n] != 0) ++n;
    nNewLength = n;
  }
  ReleaseBufferSetLength(nNewLength);
}

template <typename X>
void CStringT<X>::ReleaseBufferSetLength(int nNewLength) {
  StringData* d = DataOf(m_pszData);
  if (nNewLength < 0 || nNewLength > d->alloc) AfxThrowInvalidArgException();
  if (IsNil<X>(d)) return;  // only a zero length fits the shared empty block
  if (d->refs.load(std::memory_order_acquire) > 1) {
    // Never write into text that another string still shares.
    GetBuffer(nNewLength);
    d = DataOf(m_pszData);
  }
  d->length = nNewLength;
  m_pszData[nNewLength] = 0;
}

template <typename X>
void CStringT<X>::Preallocate(int nLength) {
  int n = GetLength();
  GetBuffer(nLength);
  ReleaseBufferSetLength(n);
}

template <typename X>
void CStringT<X>::FreeExtra() {
  StringData* d = DataOf(m_pszData);
  if (IsNil<X>(d) || d->refs.load(std::memory_order_acquire) > 1) return;
  if (d->length == 0) {
    Empty();
    return;
  }
  CStringT exact(m_pszData, d->length);
  *this = std::move(exact);
}

template <typename X>
int CStringT<X>::GetAllocLength() const noexcept {
  return DataOf(m_pszData)->alloc;
}

// ---- Formatting ------------------------------------------------------------------------------

template <typename X>
void CStringT<X>::Format(PCXSTR pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  FormatV(pszFormat, args);
  va_end(args);
}

template <typename X>
void CStringT<X>::Format(UINT nFormatID, ...) {
  CStringT format;
  if (!format.LoadString(nFormatID)) {
    Empty();
    return;
  }
  va_list args;
  va_start(args, nFormatID);
  FormatV(format, args);
  va_end(args);
}

template <typename X>
void CStringT<X>::AppendFormat(PCXSTR pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  AppendFormatV(pszFormat, args);
  va_end(args);
}

template <typename X>
void CStringT<X>::FormatV(PCXSTR pszFormat, va_list args) {
  if (!pszFormat) AfxThrowInvalidArgException();
  std::basic_string<X> out;
  KvdUtils::Platform::FormatV(out, pszFormat, args);
  SetString(out.data(), static_cast<int>(out.size()));
}

template <typename X>
void CStringT<X>::AppendFormatV(PCXSTR pszFormat, va_list args) {
  if (!pszFormat) AfxThrowInvalidArgException();
  std::basic_string<X> out;
  KvdUtils::Platform::FormatV(out, pszFormat, args);
  Append(out.data(), static_cast<int>(out.size()));
}

// ---- Extraction ------------------------------------------------------------------------------

template <typename X>
CStringT<X> CStringT<X>::Left(int nCount) const {
  if (nCount < 0) nCount = 0;
  if (nCount >= GetLength()) return *this;
  return CStringT(m_pszData, nCount);
}

template <typename X>
CStringT<X> CStringT<X>::Right(int nCount) const {
  if (nCount < 0) nCount = 0;
  int n = GetLength();
  if (nCount >= n) return *this;
  return CStringT(m_pszData + n - nCount, nCount);
}

template <typename X>
CStringT<X> CStringT<X>::Mid(int iFirst) const {
  return Mid(iFirst, GetLength() - std::max(iFirst, 0));
}

template <typename X>
CStringT<X> CStringT<X>::Mid(int iFirst, int nCount) const {
  if (iFirst < 0) iFirst = 0;
  if (nCount < 0) nCount = 0;
  int n = GetLength();
  if (iFirst >= n) return CStringT();
  if (static_cast<long long>(iFirst) + nCount > n) nCount = n - iFirst;
  if (iFirst == 0 && nCount == n) return *this;
  return CStringT(m_pszData + iFirst, nCount);
}

template <typename X>
CStringT<X> CStringT<X>::SpanIncluding(PCXSTR pszCharSet) const {
  if (!pszCharSet) AfxThrowInvalidArgException();
  int i = 0;
  while (m_pszData[i] && InSet(m_pszData[i], pszCharSet)) ++i;
  return Left(i);
}

template <typename X>
CStringT<X> CStringT<X>::SpanExcluding(PCXSTR pszCharSet) const {
  if (!pszCharSet) AfxThrowInvalidArgException();
  int i = 0;
  while (m_pszData[i] && !InSet(m_pszData[i], pszCharSet)) ++i;
  return Left(i);
}

template <typename X>
CStringT<X> CStringT<X>::Tokenize(PCXSTR pszTokens, int& iStart) const {
  if (iStart < 0) AfxThrowInvalidArgException();
  int n = GetLength();
  if (!pszTokens || *pszTokens == 0) {
    // No delimiters: the rest of the string is the token, and the position stays where it is.
    if (iStart < n) return CStringT(m_pszData + iStart, n - iStart);
  } else if (iStart < n) {
    int i = iStart;
    while (i < n && m_pszData[i] && InSet(m_pszData[i], pszTokens)) ++i;
    if (i < n) {
      int j = i;
      while (j < n && m_pszData[j] && !InSet(m_pszData[j], pszTokens)) ++j;
      iStart = j + 1;
      return Mid(i, j - i);
    }
  }
  iStart = -1;
  return CStringT();
}

// ---- Searching -------------------------------------------------------------------------------

template <typename X>
int CStringT<X>::Find(XCHAR ch, int iStart) const {
  int n = GetLength();
  if (iStart < 0 || iStart >= n) return -1;
  for (int i = iStart; i < n; ++i)
    if (m_pszData[i] == ch) return i;
  return -1;
}

template <typename X>
int CStringT<X>::Find(PCXSTR pszSub, int iStart) const {
  if (!pszSub) return -1;
  int n = GetLength();
  if (iStart < 0 || iStart > n) return -1;
  std::basic_string_view<X> hay(m_pszData, static_cast<size_t>(n));
  size_t pos = hay.find(pszSub, static_cast<size_t>(iStart));
  return pos == std::basic_string_view<X>::npos ? -1 : static_cast<int>(pos);
}

template <typename X>
int CStringT<X>::ReverseFind(XCHAR ch) const {
  if (ch == 0) return CStrLen(m_pszData);
  for (int i = GetLength() - 1; i >= 0; --i)
    if (m_pszData[i] == ch) return i;
  return -1;
}

template <typename X>
int CStringT<X>::FindOneOf(PCXSTR pszCharSet) const {
  if (!pszCharSet) return -1;
  for (int i = 0; m_pszData[i]; ++i)
    if (InSet(m_pszData[i], pszCharSet)) return i;
  return -1;
}

// ---- Modification ----------------------------------------------------------------------------

template <typename X>
int CStringT<X>::Replace(XCHAR chOld, XCHAR chNew) {
  if (chOld == chNew) return 0;
  int n = GetLength();
  int count = 0;
  for (int i = 0; i < n; ++i) {
    if (m_pszData[i] != chOld) continue;
    PXSTR p = GetBuffer();  // unshares once; later calls find the block already private
    p[i] = chNew;
    ++count;
  }
  if (count) ReleaseBufferSetLength(n);
  return count;
}

template <typename X>
int CStringT<X>::Replace(PCXSTR pszOld, PCXSTR pszNew) {
  int oldLen = CStrLen(pszOld);
  if (oldLen == 0) return 0;
  int newLen = CStrLen(pszNew);
  std::basic_string_view<X> hay(m_pszData, static_cast<size_t>(GetLength()));
  std::basic_string_view<X> needle(pszOld, static_cast<size_t>(oldLen));
  std::basic_string<X> out;
  int count = 0;
  size_t from = 0;
  for (size_t pos; (pos = hay.find(needle, from)) != std::basic_string_view<X>::npos; from = pos + needle.size()) {
    out.append(hay.substr(from, pos - from));
    if (newLen) out.append(pszNew, static_cast<size_t>(newLen));
    ++count;
  }
  if (count == 0) return 0;
  out.append(hay.substr(from));
  if (out.size() > static_cast<size_t>(INT_MAX - 1)) throw std::bad_alloc();
  SetString(out.data(), static_cast<int>(out.size()));
  return count;
}

template <typename X>
int CStringT<X>::Remove(XCHAR chRemove) {
  int n = GetLength();
  int count = 0;
  for (int i = 0; i < n; ++i)
    if (m_pszData[i] == chRemove) ++count;
  if (count == 0) return 0;
  PXSTR p = GetBuffer();
  int w = 0;
  for (int i = 0; i < n; ++i)
    if (p[i] != chRemove) p[w++] = p[i];
  ReleaseBufferSetLength(w);
  return count;
}

template <typename X>
int CStringT<X>::Insert(int iIndex, XCHAR ch) {
  int n = GetLength();
  if (iIndex < 0) iIndex = 0;
  if (iIndex > n) iIndex = n;
  PXSTR p = GetBuffer(n + 1);
  std::memmove(p + iIndex + 1, p + iIndex, static_cast<size_t>(n - iIndex) * sizeof(X));
  p[iIndex] = ch;
  ReleaseBufferSetLength(n + 1);
  return n + 1;
}

template <typename X>
int CStringT<X>::Insert(int iIndex, PCXSTR psz) {
  int n = GetLength();
  if (iIndex < 0) iIndex = 0;
  if (iIndex > n) iIndex = n;
  int add = CStrLen(psz);
  if (add == 0) return n;
  if (add > INT_MAX - 1 - n) throw std::bad_alloc();
  std::basic_string<X> piece(psz, static_cast<size_t>(add));  // psz may point into this string
  PXSTR p = GetBuffer(n + add);
  std::memmove(p + iIndex + add, p + iIndex, static_cast<size_t>(n - iIndex) * sizeof(X));
  std::memcpy(p + iIndex, piece.data(), static_cast<size_t>(add) * sizeof(X));
  ReleaseBufferSetLength(n + add);
  return n + add;
}

template <typename X>
int CStringT<X>::Delete(int iIndex, int nCount) {
  if (iIndex < 0) iIndex = 0;
  if (nCount < 0) nCount = 0;
  int n = GetLength();
  if (static_cast<long long>(iIndex) + nCount > n) nCount = n - iIndex;
  if (nCount > 0) {
    PXSTR p = GetBuffer();
    std::memmove(p + iIndex, p + iIndex + nCount, static_cast<size_t>(n - iIndex - nCount) * sizeof(X));
    ReleaseBufferSetLength(n - nCount);
  }
  return GetLength();
}

template <typename X>
CStringT<X>& CStringT<X>::MakeLower() {
  int n = GetLength();
  for (int i = 0; i < n; ++i) {
    XCHAR c = ToLowerChar(m_pszData[i]);
    if (c != m_pszData[i]) GetBuffer()[i] = c;
  }
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::MakeUpper() {
  int n = GetLength();
  for (int i = 0; i < n; ++i) {
    XCHAR c = ToUpperChar(m_pszData[i]);
    if (c != m_pszData[i]) GetBuffer()[i] = c;
  }
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::MakeReverse() {
  int n = GetLength();
  if (n > 1) {
    PXSTR p = GetBuffer();
    std::reverse(p, p + n);
  }
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::Trim() {
  return TrimRight().TrimLeft();
}

template <typename X>
CStringT<X>& CStringT<X>::Trim(XCHAR chTarget) {
  return TrimRight(chTarget).TrimLeft(chTarget);
}

template <typename X>
CStringT<X>& CStringT<X>::Trim(PCXSTR pszTargets) {
  return TrimRight(pszTargets).TrimLeft(pszTargets);
}

namespace {
// Keeps `keep` characters from `first` on.
template <typename S>
void KeepRange(S& s, int first, int keep) {
  if (first == 0 && keep == s.GetLength()) return;
  s = s.Mid(first, keep);
}
}  // namespace

template <typename X>
CStringT<X>& CStringT<X>::TrimLeft() {
  int n = GetLength(), i = 0;
  while (i < n && IsSpaceChar(m_pszData[i])) ++i;
  KeepRange(*this, i, n - i);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::TrimLeft(XCHAR chTarget) {
  int n = GetLength(), i = 0;
  while (i < n && m_pszData[i] == chTarget) ++i;
  KeepRange(*this, i, n - i);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::TrimLeft(PCXSTR pszTargets) {
  if (!pszTargets || !*pszTargets) return *this;
  int n = GetLength(), i = 0;
  while (i < n && m_pszData[i] && InSet(m_pszData[i], pszTargets)) ++i;
  KeepRange(*this, i, n - i);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::TrimRight() {
  int n = GetLength(), k = n;
  while (k > 0 && IsSpaceChar(m_pszData[k - 1])) --k;
  if (k != n) Truncate(k);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::TrimRight(XCHAR chTarget) {
  int n = GetLength(), k = n;
  while (k > 0 && m_pszData[k - 1] == chTarget) --k;
  if (k != n) Truncate(k);
  return *this;
}

template <typename X>
CStringT<X>& CStringT<X>::TrimRight(PCXSTR pszTargets) {
  if (!pszTargets || !*pszTargets) return *this;
  int n = GetLength(), k = n;
  while (k > 0 && m_pszData[k - 1] && InSet(m_pszData[k - 1], pszTargets)) --k;
  if (k != n) Truncate(k);
  return *this;
}

// ---- Comparison ------------------------------------------------------------------------------

template <typename X>
int CStringT<X>::Compare(PCXSTR psz) const {
  return CompareStrings(m_pszData, psz, false);
}

template <typename X>
int CStringT<X>::CompareNoCase(PCXSTR psz) const {
  return CompareStrings(m_pszData, psz, true);
}

// The library runs in the "C" locale, where collation is the ordinal order.
template <typename X>
int CStringT<X>::Collate(PCXSTR psz) const {
  return Compare(psz);
}

template <typename X>
int CStringT<X>::CollateNoCase(PCXSTR psz) const {
  return CompareNoCase(psz);
}

// ---- Resources -------------------------------------------------------------------------------

template <typename X>
BOOL CStringT<X>::LoadString(UINT nID) {
  return LoadString(nullptr, nID);
}

template <typename X>
BOOL CStringT<X>::LoadString(HINSTANCE hInstance, UINT nID) {
  std::wstring text;
  if (!LoadWide(hInstance, nID, text)) return FALSE;
  if constexpr (std::is_same_v<X, wchar_t>) {
    SetString(text.data(), static_cast<int>(text.size()));
  } else {
    std::string narrow = Convert(text.data(), static_cast<int>(text.size()));
    SetString(narrow.data(), static_cast<int>(narrow.size()));
  }
  return TRUE;
}

template class KVDUTU_API CStringT<wchar_t>;
template class KVDUTU_API CStringT<char>;
