#include "kvdutu/platform/framework/archive.h"

#include "kvdutu/platform/framework/exceptions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

constexpr WORD wNullTag = 0;
constexpr WORD wNewClassTag = 0xFFFF;
constexpr WORD wClassTag = 0x8000;
constexpr DWORD dwBigClassTag = 0x80000000u;
constexpr WORD wBigObjectTag = 0x7FFF;
constexpr UINT nMaxMapCount = 0x3FFFFFFEu;
constexpr UINT nMinBufSize = 128;

std::u16string toUtf16(const wchar_t* p, int n) {
  std::u16string out;
  out.reserve(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    const uint32_t c = static_cast<uint32_t>(p[i]);
    if (c > 0xFFFF && c <= 0x10FFFF) {
      out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c > 0xFFFF ? 0xFFFD : c));
    }
  }
  return out;
}

CStringW fromUtf16(const std::u16string& units) {
  std::wstring text;
  text.reserve(units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    const char32_t u = units[i];
    if (sizeof(wchar_t) == 4 && u >= 0xD800 && u < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] < 0xE000) {
      text.push_back(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00)));
      ++i;
    } else {
      text.push_back(static_cast<wchar_t>(u));
    }
  }
  return CStringW(text.data(), static_cast<int>(text.size()));
}


}  // namespace

namespace KvdUtils::Framework {

// ---- Streams -----------------------------------------------------------------------------------

ArchiveStream::~ArchiveStream() = default;
void ArchiveStream::Flush() {}
CString ArchiveStream::GetFilePath() const { return CString(); }

MemoryArchiveStream::MemoryArchiveStream() = default;
MemoryArchiveStream::MemoryArchiveStream(std::vector<BYTE> bytes) : m_bytes(std::move(bytes)) {}
MemoryArchiveStream::~MemoryArchiveStream() = default;

UINT MemoryArchiveStream::Read(void* lpBuf, UINT nCount) {
  const size_t n = std::min<size_t>(nCount, m_bytes.size() - std::min(m_pos, m_bytes.size()));
  if (n) std::memcpy(lpBuf, m_bytes.data() + m_pos, n);
  m_pos += n;
  return static_cast<UINT>(n);
}

void MemoryArchiveStream::Write(const void* lpBuf, UINT nCount) {
  if (nCount == 0) return;
  if (m_pos + nCount > m_bytes.size()) m_bytes.resize(m_pos + nCount);
  std::memcpy(m_bytes.data() + m_pos, lpBuf, nCount);
  m_pos += nCount;
}

ULONGLONG MemoryArchiveStream::Seek(LONGLONG lOff, UINT nFrom) {
  LONGLONG base = nFrom == begin ? 0 : nFrom == current ? static_cast<LONGLONG>(m_pos)
                                                         : static_cast<LONGLONG>(m_bytes.size());
  const LONGLONG target = base + lOff;
  if (target < 0) AfxThrowFileException(CFileException::badSeek, 131 /* ERROR_NEGATIVE_SEEK */, m_path);
  m_pos = static_cast<size_t>(target);
  return static_cast<ULONGLONG>(target);
}

CString MemoryArchiveStream::GetFilePath() const { return m_path; }
void MemoryArchiveStream::SetFilePath(LPCWSTR path) { m_path = path ? path : L""; }

StdioArchiveStream::StdioArchiveStream(FILE* file, LPCWSTR path) : m_file(file), m_path(path ? path : L"") {}
StdioArchiveStream::~StdioArchiveStream() = default;

UINT StdioArchiveStream::Read(void* lpBuf, UINT nCount) {
  const size_t n = std::fread(lpBuf, 1, nCount, m_file);
  if (n < nCount && std::ferror(m_file)) CFileException::ThrowErrno(errno ? errno : EIO, m_path);
  return static_cast<UINT>(n);
}

void StdioArchiveStream::Write(const void* lpBuf, UINT nCount) {
  if (nCount && std::fwrite(lpBuf, 1, nCount, m_file) != nCount) {
    const int err = errno;
    if (err == ENOSPC) AfxThrowFileException(CFileException::diskFull, 112 /* ERROR_DISK_FULL */, m_path);
    CFileException::ThrowErrno(err ? err : EIO, m_path);
  }
}

ULONGLONG StdioArchiveStream::Seek(LONGLONG lOff, UINT nFrom) {
  const int whence = nFrom == begin ? SEEK_SET : nFrom == current ? SEEK_CUR : SEEK_END;
#if defined(_WIN32)
  if (_fseeki64(m_file, lOff, whence) != 0)
    AfxThrowFileException(CFileException::badSeek, 131 /* ERROR_NEGATIVE_SEEK */, m_path);
  return static_cast<ULONGLONG>(_ftelli64(m_file));
#else
  if (fseeko(m_file, static_cast<off_t>(lOff), whence) != 0)
    AfxThrowFileException(CFileException::badSeek, 131 /* ERROR_NEGATIVE_SEEK */, m_path);
  return static_cast<ULONGLONG>(ftello(m_file));
#endif
}

void StdioArchiveStream::Flush() {
  if (std::fflush(m_file) != 0) CFileException::ThrowErrno(errno ? errno : EIO, m_path);
}

CString StdioArchiveStream::GetFilePath() const { return m_path; }

}  // namespace KvdUtils::Framework

// ---- CArchive: set-up and raw bytes --------------------------------------------------------------

CArchive::CArchive(KvdUtils::Framework::ArchiveStream* pFile, UINT nMode, int nBufSize, void* lpBuf)
    : m_pFile(pFile), m_nMode(nMode) {
  if (pFile == nullptr) AfxThrowInvalidArgException();
  m_strFileName = pFile->GetFilePath();
  m_nBufSize = std::max<UINT>(nBufSize > 0 ? static_cast<UINT>(nBufSize) : 0u, nMinBufSize);
  if (lpBuf != nullptr && nBufSize >= static_cast<int>(nMinBufSize)) {
    m_buf = static_cast<BYTE*>(lpBuf);
  } else {
    m_ownBuffer.reset(new BYTE[m_nBufSize]);
    m_buf = m_ownBuffer.get();
  }
  m_loadArray.push_back({nullptr, false, 0});  // index 0: the null reference
}

CArchive::~CArchive() {
  if (m_pFile != nullptr && !(m_nMode & bNoFlushOnDelete)) {
    // A destructor cannot pass the failure on; whoever needs to know closes explicitly.
    try {
      Close();
    } catch (CException* e) {
      e->Delete();
    }
  }
  Abort();
}

BOOL CArchive::IsBufferEmpty() const { return IsLoading() ? m_nCur == m_nMax : m_nCur == 0; }

UINT CArchive::GetObjectSchema() {
  const UINT nResult = m_nObjectSchema;
  m_nObjectSchema = (UINT)-1;  // can be asked once per object
  return nResult;
}

void CArchive::SetObjectSchema(UINT nSchema) { m_nObjectSchema = nSchema; }

void CArchive::ThrowArchive(int cause) const { AfxThrowArchiveException(cause, m_strFileName); }

void CArchive::RequireStoring() const {
  if (m_pFile == nullptr) ThrowArchive(CArchiveException::genericException);
  if (!IsStoring()) ThrowArchive(CArchiveException::readOnly);
}

void CArchive::RequireLoading() const {
  if (m_pFile == nullptr) ThrowArchive(CArchiveException::genericException);
  if (!IsLoading()) ThrowArchive(CArchiveException::writeOnly);
}

void CArchive::FlushStoreBuffer() {
  if (m_nCur != 0) {
    const UINT n = m_nCur;
    m_nCur = 0;
    m_pFile->Write(m_buf, n);
  }
}

BOOL CArchive::FillBuffer() {
  m_nCur = 0;
  m_nMax = m_pFile->Read(m_buf, m_nBufSize);
  return m_nMax != 0;
}

UINT CArchive::Read(void* lpBuf, UINT nMax) {
  RequireLoading();
  BYTE* dst = static_cast<BYTE*>(lpBuf);
  UINT nDone = 0;
  while (nDone < nMax) {
    if (m_nCur == m_nMax && !FillBuffer()) break;
    const UINT n = std::min(nMax - nDone, m_nMax - m_nCur);
    std::memcpy(dst + nDone, m_buf + m_nCur, n);
    m_nCur += n;
    nDone += n;
  }
  return nDone;
}

void CArchive::Write(const void* lpBuf, UINT nMax) {
  RequireStoring();
  const BYTE* src = static_cast<const BYTE*>(lpBuf);
  if (nMax >= m_nBufSize) {
    // Large blocks go straight through, after what is already buffered.
    FlushStoreBuffer();
    m_pFile->Write(src, nMax);
    return;
  }
  while (nMax > 0) {
    if (m_nCur == m_nBufSize) FlushStoreBuffer();
    const UINT n = std::min(nMax, m_nBufSize - m_nCur);
    std::memcpy(m_buf + m_nCur, src, n);
    m_nCur += n;
    src += n;
    nMax -= n;
  }
}

void CArchive::Flush() {
  if (m_pFile == nullptr) return;
  if (IsLoading()) {
    if (m_nMax != m_nCur) m_pFile->Seek(-static_cast<LONGLONG>(m_nMax - m_nCur), KvdUtils::Framework::ArchiveStream::current);
    m_nCur = m_nMax = 0;
  } else {
    FlushStoreBuffer();
  }
}

void CArchive::Close() {
  Flush();
  m_pFile = nullptr;
}

void CArchive::Abort() {
  m_pFile = nullptr;
  m_nCur = m_nMax = 0;
  m_storeMap.clear();
  m_loadArray.clear();
}

void CArchive::WriteLE(ULONGLONG value, UINT nBytes) {
  RequireStoring();
  BYTE bytes[8];
  for (UINT i = 0; i < nBytes; ++i) bytes[i] = static_cast<BYTE>(value >> (8 * i));
  Write(bytes, nBytes);
}

ULONGLONG CArchive::ReadLE(UINT nBytes) {
  RequireLoading();
  BYTE bytes[8];
  if (Read(bytes, nBytes) != nBytes) ThrowArchive(CArchiveException::endOfFile);
  ULONGLONG value = 0;
  for (UINT i = 0; i < nBytes; ++i) value |= static_cast<ULONGLONG>(bytes[i]) << (8 * i);
  return value;
}

// ---- Values --------------------------------------------------------------------------------------

namespace {
constexpr UINT kLongBytes = KvdUtils::Framework::kArchiveLongIs64 ? 8 : 4;
}

CArchive& CArchive::operator<<(bool b) { WriteLE(b ? 1 : 0, 1); return *this; }
CArchive& CArchive::operator<<(char ch) { WriteLE(static_cast<unsigned char>(ch), 1); return *this; }
CArchive& CArchive::operator<<(signed char ch) { WriteLE(static_cast<unsigned char>(ch), 1); return *this; }
CArchive& CArchive::operator<<(unsigned char by) { WriteLE(by, 1); return *this; }
CArchive& CArchive::operator<<(short w) { WriteLE(static_cast<uint16_t>(w), 2); return *this; }
CArchive& CArchive::operator<<(unsigned short w) { WriteLE(w, 2); return *this; }
CArchive& CArchive::operator<<(wchar_t ch) { WriteLE(static_cast<uint16_t>(ch), 2); return *this; }
CArchive& CArchive::operator<<(int i) { WriteLE(static_cast<uint32_t>(i), 4); return *this; }
CArchive& CArchive::operator<<(unsigned int u) { WriteLE(u, 4); return *this; }
CArchive& CArchive::operator<<(long l) { WriteLE(static_cast<ULONGLONG>(static_cast<long long>(l)), kLongBytes); return *this; }
CArchive& CArchive::operator<<(unsigned long dw) { WriteLE(static_cast<ULONGLONG>(dw), kLongBytes); return *this; }
CArchive& CArchive::operator<<(long long dwdw) { WriteLE(static_cast<ULONGLONG>(dwdw), 8); return *this; }
CArchive& CArchive::operator<<(unsigned long long dwdw) { WriteLE(dwdw, 8); return *this; }

CArchive& CArchive::operator<<(float f) {
  static_assert(sizeof(float) == 4);
  uint32_t bits;
  std::memcpy(&bits, &f, 4);
  WriteLE(bits, 4);
  return *this;
}

CArchive& CArchive::operator<<(double d) {
  static_assert(sizeof(double) == 8);
  uint64_t bits;
  std::memcpy(&bits, &d, 8);
  WriteLE(bits, 8);
  return *this;
}

CArchive& CArchive::operator>>(bool& b) { b = ReadLE(1) != 0; return *this; }
CArchive& CArchive::operator>>(char& ch) { ch = static_cast<char>(ReadLE(1)); return *this; }
CArchive& CArchive::operator>>(signed char& ch) { ch = static_cast<signed char>(ReadLE(1)); return *this; }
CArchive& CArchive::operator>>(unsigned char& by) { by = static_cast<unsigned char>(ReadLE(1)); return *this; }
CArchive& CArchive::operator>>(short& w) { w = static_cast<short>(static_cast<uint16_t>(ReadLE(2))); return *this; }
CArchive& CArchive::operator>>(unsigned short& w) { w = static_cast<unsigned short>(ReadLE(2)); return *this; }
CArchive& CArchive::operator>>(wchar_t& ch) { ch = static_cast<wchar_t>(static_cast<uint16_t>(ReadLE(2))); return *this; }
CArchive& CArchive::operator>>(int& i) { i = static_cast<int>(static_cast<uint32_t>(ReadLE(4))); return *this; }
CArchive& CArchive::operator>>(unsigned int& u) { u = static_cast<unsigned int>(ReadLE(4)); return *this; }

CArchive& CArchive::operator>>(long& l) {
  const ULONGLONG v = ReadLE(kLongBytes);
  l = kLongBytes == 8 ? static_cast<long>(static_cast<long long>(v)) : static_cast<long>(static_cast<int32_t>(v));
  return *this;
}

CArchive& CArchive::operator>>(unsigned long& dw) { dw = static_cast<unsigned long>(ReadLE(kLongBytes)); return *this; }
CArchive& CArchive::operator>>(long long& dwdw) { dwdw = static_cast<long long>(ReadLE(8)); return *this; }
CArchive& CArchive::operator>>(unsigned long long& dwdw) { dwdw = ReadLE(8); return *this; }

CArchive& CArchive::operator>>(float& f) {
  const uint32_t bits = static_cast<uint32_t>(ReadLE(4));
  std::memcpy(&f, &bits, 4);
  return *this;
}

CArchive& CArchive::operator>>(double& d) {
  const uint64_t bits = ReadLE(8);
  std::memcpy(&d, &bits, 8);
  return *this;
}

void CArchive::WriteCount(DWORD_PTR dwCount) {
  const ULONGLONG n = dwCount;
  if (n < 0xFFFF) {
    WriteLE(n, 2);
  } else {
    WriteLE(0xFFFF, 2);
    if (n < 0xFFFFFFFFull) {
      WriteLE(n, 4);
    } else {
      WriteLE(0xFFFFFFFFull, 4);
      WriteLE(n, 8);
    }
  }
}

DWORD_PTR CArchive::ReadCount() {
  const ULONGLONG w = ReadLE(2);
  if (w != 0xFFFF) return static_cast<DWORD_PTR>(w);
  const ULONGLONG dw = ReadLE(4);
  if (dw != 0xFFFFFFFFull) return static_cast<DWORD_PTR>(dw);
  return static_cast<DWORD_PTR>(ReadLE(8));
}

// ---- Text lines ------------------------------------------------------------------------------------

void CArchive::WriteString(LPCWSTR lpsz) {
  RequireStoring();
  if (lpsz == nullptr) return;
  for (char16_t unit : toUtf16(lpsz, static_cast<int>(std::wcslen(lpsz)))) WriteLE(unit, 2);
}

LPWSTR CArchive::ReadString(LPWSTR lpsz, UINT nMax) {
  RequireLoading();
  UINT nRead = 0;
  try {
    while (nRead < nMax) {
      wchar_t ch;
      *this >> ch;
      if (ch == L'\n' || ch == L'\r') {
        if (ch == L'\r') *this >> ch;  // the '\n' of a "\r\n" pair
        break;
      }
      lpsz[nRead++] = ch;
    }
  } catch (CArchiveException* e) {
    if (e->m_cause != CArchiveException::endOfFile) throw;
    e->Delete();
    if (nRead == 0) return nullptr;
  }
  lpsz[nRead] = L'\0';
  return lpsz;
}

BOOL CArchive::ReadString(CString& rString) {
  RequireLoading();
  std::u16string units;
  bool any = false;
  try {
    for (;;) {
      WORD unit;
      *this >> unit;
      any = true;
      if (unit == u'\n') break;
      if (unit == u'\r') {
        *this >> unit;  // the '\n' of a "\r\n" pair
        break;
      }
      units.push_back(static_cast<char16_t>(unit));
    }
  } catch (CArchiveException* e) {
    if (e->m_cause != CArchiveException::endOfFile) throw;
    e->Delete();
  }
  rString = fromUtf16(units);
  return any ? TRUE : FALSE;
}

// ---- Object graphs -------------------------------------------------------------------------------

UINT CArchive::NextMapIndex() {
  if (m_nMapCount >= nMaxMapCount) ThrowArchive(CArchiveException::badIndex);
  return m_nMapCount++;
}

void CArchive::MapObject(const CObject* pOb) {
  if (IsStoring()) {
    if (pOb != nullptr && m_storeMap.find(pOb) == m_storeMap.end()) m_storeMap[pOb] = NextMapIndex();
  } else {
    NextMapIndex();
    m_loadArray.push_back({const_cast<CObject*>(pOb), false, 0});
  }
}

void CArchive::WriteClass(const CRuntimeClass* pClassRef) {
  RequireStoring();
  if (pClassRef == nullptr) AfxThrowInvalidArgException();
  if (pClassRef->m_wSchema == 0xFFFF) AfxThrowNotSupportedException();  // not a serialisable class
  auto it = m_storeMap.find(pClassRef);
  if (it != m_storeMap.end()) {
    const UINT nClassIndex = it->second;
    if (nClassIndex < wBigObjectTag) {
      WriteLE(wClassTag | nClassIndex, 2);
    } else {
      WriteLE(wBigObjectTag, 2);
      WriteLE(dwBigClassTag | nClassIndex, 4);
    }
    return;
  }
  WriteLE(wNewClassTag, 2);
  pClassRef->Store(*this);
  m_storeMap[pClassRef] = NextMapIndex();
}

void CArchive::WriteObject(const CObject* pOb) {
  RequireStoring();
  if (pOb == nullptr) {
    WriteLE(wNullTag, 2);
    return;
  }
  auto it = m_storeMap.find(pOb);
  if (it != m_storeMap.end()) {
    const UINT nObIndex = it->second;
    if (nObIndex < wBigObjectTag) {
      WriteLE(nObIndex, 2);
    } else {
      WriteLE(wBigObjectTag, 2);
      WriteLE(nObIndex, 4);
    }
    return;
  }
  WriteClass(pOb->GetRuntimeClass());
  m_storeMap[pOb] = NextMapIndex();
  const_cast<CObject*>(pOb)->Serialize(*this);
}

CRuntimeClass* CArchive::ReadClass(const CRuntimeClass* pClassRefRequested, UINT* pSchema, DWORD* pObTag) {
  RequireLoading();
  const WORD wTag = static_cast<WORD>(ReadLE(2));
  DWORD obTag;
  if (wTag == wBigObjectTag)
    obTag = static_cast<DWORD>(ReadLE(4));
  else
    obTag = (static_cast<DWORD>(wTag & wClassTag) << 16) | (wTag & ~wClassTag);

  if (!(obTag & dwBigClassTag)) {
    // An object reference where a class was expected.
    if (pObTag == nullptr) ThrowArchive(CArchiveException::badIndex);
    *pObTag = obTag;
    return nullptr;
  }

  CRuntimeClass* pClassRef;
  UINT nSchema;
  if (wTag == wNewClassTag) {
    pClassRef = CRuntimeClass::Load(*this, &nSchema);
    if (pClassRef == nullptr) ThrowArchive(CArchiveException::badClass);
    if ((pClassRef->m_wSchema & ~VERSIONABLE_SCHEMA) != nSchema && !(pClassRef->m_wSchema & VERSIONABLE_SCHEMA))
      ThrowArchive(CArchiveException::badSchema);
    NextMapIndex();
    m_loadArray.push_back({pClassRef, true, nSchema});
  } else {
    const DWORD nClassIndex = obTag & ~dwBigClassTag;
    if (nClassIndex == 0 || nClassIndex >= m_loadArray.size() || !m_loadArray[nClassIndex].isClass)
      ThrowArchive(CArchiveException::badIndex);
    pClassRef = static_cast<CRuntimeClass*>(m_loadArray[nClassIndex].p);
    nSchema = m_loadArray[nClassIndex].schema;
  }

  if (pClassRefRequested != nullptr && !pClassRef->IsDerivedFrom(pClassRefRequested))
    ThrowArchive(CArchiveException::badClass);

  if (pSchema != nullptr)
    *pSchema = nSchema;
  else
    m_nObjectSchema = nSchema;
  return pClassRef;
}

void CArchive::SerializeClass(const CRuntimeClass* pClassRef) {
  if (IsStoring())
    WriteClass(pClassRef);
  else
    ReadClass(pClassRef);
}

CObject* CArchive::ReadObject(const CRuntimeClass* pClassRefRequested) {
  RequireLoading();
  UINT nSchema = 0;
  DWORD obTag = 0;
  CRuntimeClass* pClassRef = ReadClass(pClassRefRequested, &nSchema, &obTag);

  if (pClassRef == nullptr) {
    // A back-reference (or null).
    if (obTag >= m_loadArray.size() || m_loadArray[obTag].isClass) ThrowArchive(CArchiveException::badIndex);
    CObject* pOb = static_cast<CObject*>(m_loadArray[obTag].p);
    if (pOb != nullptr && pClassRefRequested != nullptr && !pOb->IsKindOf(pClassRefRequested))
      ThrowArchive(CArchiveException::badClass);
    return pOb;
  }

  CObject* pOb = pClassRef->CreateObject();
  if (pOb == nullptr) AfxThrowMemoryException();
  const size_t index = m_loadArray.size();
  try {
    NextMapIndex();
    m_loadArray.push_back({pOb, false, 0});
    const UINT nSchemaSave = m_nObjectSchema;
    m_nObjectSchema = nSchema;
    pOb->Serialize(*this);
    m_nObjectSchema = nSchemaSave;
  } catch (...) {
    // The half-read object is nobody's yet: free it, and let no later reference reach it.
    if (index < m_loadArray.size()) m_loadArray[index].p = nullptr;
    delete pOb;
    throw;
  }
  return pOb;
}

// ---- Free operators --------------------------------------------------------------------------------

CArchive& operator<<(CArchive& ar, const CObject* pOb) {
  ar.WriteObject(pOb);
  return ar;
}

CArchive& operator>>(CArchive& ar, CObject*& pOb) {
  pOb = ar.ReadObject(nullptr);
  return ar;
}

CArchive& operator>>(CArchive& ar, const CObject*& pOb) {
  pOb = ar.ReadObject(nullptr);
  return ar;
}

namespace {

void writeStringLength(CArchive& ar, ULONGLONG nLength, bool bUnicode) {
  if (bUnicode) {
    ar << static_cast<BYTE>(0xFF);
    ar << static_cast<WORD>(0xFFFE);
  }
  if (nLength < 0xFF) {
    ar << static_cast<BYTE>(nLength);
    return;
  }
  ar << static_cast<BYTE>(0xFF);
  if (nLength < 0xFFFE) {
    ar << static_cast<WORD>(nLength);
    return;
  }
  ar << static_cast<WORD>(0xFFFF);
  if (nLength < 0xFFFFFFFFull) {
    ar << static_cast<DWORD>(nLength);
    return;
  }
  ar << static_cast<DWORD>(0xFFFFFFFFu);
  ar << static_cast<unsigned long long>(nLength);
}

ULONGLONG readStringLength(CArchive& ar, bool& bUnicode) {
  bUnicode = false;
  BYTE bLength;
  WORD wLength;
  ar >> bLength;
  if (bLength < 0xFF) return bLength;
  ar >> wLength;
  if (wLength == 0xFFFE) {
    bUnicode = true;
    ar >> bLength;
    if (bLength < 0xFF) return bLength;
    ar >> wLength;
  }
  if (wLength < 0xFFFF) return wLength;
  DWORD dwLength;
  ar >> dwLength;
  if (dwLength < 0xFFFFFFFFu) return dwLength;
  unsigned long long qwLength;
  ar >> qwLength;
  return qwLength;
}

// Refuses lengths that the rest of the data cannot hold before allocating for them: a damaged
// prefix must not ask for gigabytes.
void readUnits(CArchive& ar, ULONGLONG nLength, UINT unitSize, std::string& bytes) {
  constexpr ULONGLONG kChunk = 1u << 16;
  ULONGLONG remaining = nLength * unitSize;
  if (nLength > 0x7FFFFFFF) AfxThrowArchiveException(CArchiveException::badIndex, ar.m_strFileName);
  while (remaining > 0) {
    const UINT n = static_cast<UINT>(std::min(remaining, kChunk));
    const size_t at = bytes.size();
    bytes.resize(at + n);
    if (ar.Read(bytes.data() + at, n) != n) AfxThrowArchiveException(CArchiveException::endOfFile, ar.m_strFileName);
    remaining -= n;
  }
}

}  // namespace

CArchive& operator<<(CArchive& ar, const CStringW& str) {
  const std::u16string units = toUtf16(str.GetString(), str.GetLength());
  writeStringLength(ar, units.size(), true);
  for (char16_t u : units) ar << static_cast<WORD>(u);
  return ar;
}

CArchive& operator<<(CArchive& ar, const CStringA& str) {
  writeStringLength(ar, static_cast<ULONGLONG>(str.GetLength()), false);
  ar.Write(str.GetString(), static_cast<UINT>(str.GetLength()));
  return ar;
}

// A stored string of either width: UTF-16 units when it was stored wide (the result is true), else
// its narrow bytes.
static bool readStoredString(CArchive& ar, std::u16string& units, std::string& bytes) {
  bool bUnicode = false;
  const ULONGLONG nLength = readStringLength(ar, bUnicode);
  readUnits(ar, nLength, bUnicode ? 2 : 1, bytes);
  if (bUnicode) {
    units.assign(static_cast<size_t>(nLength), u'\0');
    for (size_t i = 0; i < units.size(); ++i)
      units[i] = static_cast<char16_t>(static_cast<BYTE>(bytes[2 * i]) | (static_cast<BYTE>(bytes[2 * i + 1]) << 8));
  }
  return bUnicode;
}

CArchive& operator>>(CArchive& ar, CStringW& str) {
  std::u16string units;
  std::string bytes;
  if (readStoredString(ar, units, bytes))
    str = fromUtf16(units);
  else
    str = CStringW(CStringA(bytes.data(), static_cast<int>(bytes.size())));
  return ar;
}

CArchive& operator>>(CArchive& ar, CStringA& str) {
  std::u16string units;
  std::string bytes;
  if (readStoredString(ar, units, bytes))
    str = CStringA(fromUtf16(units));
  else
    str = CStringA(bytes.data(), static_cast<int>(bytes.size()));
  return ar;
}

CArchive& operator<<(CArchive& ar, const wchar_t* psz) { return ar << CStringW(psz ? psz : L""); }
CArchive& operator<<(CArchive& ar, const char* psz) { return ar << CStringA(psz ? psz : ""); }
