// CStdioFile: a buffered stream over the file handle with the Microsoft runtime's text and binary
// stream rules, written here so that both platforms read and write the same bytes.
#include "kvdutu/platform/framework/stdio_file.h"

#include <string>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/text.h"

namespace P = KvdUtils::Platform;

IMPLEMENT_DYNAMIC(CStdioFile, CFile)

namespace KvdUtils::Framework {

class StdioStream {
 public:
  StdioStream(HANDLE h, bool text, bool append, bool canRead, bool canWrite)
      : m_h(h), m_text(text), m_append(append), m_canRead(canRead), m_canWrite(canWrite) {}

  bool text() const { return m_text; }
  bool canRead() const { return m_canRead; }
  bool canWrite() const { return m_canWrite; }
  bool eof() const { return m_eof; }
  DWORD lastError() const { return m_error; }

  // ---- Writing ----
  bool put(const void* data, size_t n) {
    if (!m_canWrite) return fail(ERROR_ACCESS_DENIED);
    if (!leaveReading()) return false;
    const BYTE* p = static_cast<const BYTE*>(data);
    for (size_t i = 0; i < n; ++i) {
      if (m_text && p[i] == '\n') m_out.push_back('\r');
      m_out.push_back(p[i]);
      if (m_out.size() >= kBufferSize && !flushOut()) return false;
    }
    return true;
  }

  bool flushOut() {
    if (m_out.empty()) return true;
    if (m_append) {
      LARGE_INTEGER zero;
      zero.QuadPart = 0;
      if (!P::SetFilePointerEx(m_h, zero, nullptr, FILE_END)) return fail(P::GetLastError());
    }
    DWORD written = 0;
    BOOL ok = P::WriteFile(m_h, m_out.data(), static_cast<DWORD>(m_out.size()), &written, nullptr);
    m_out.clear();
    if (!ok) return fail(P::GetLastError());
    return true;
  }

  // ---- Reading ----
  // The next byte after the text mode's translation, or -1 at the end (or on an error).
  int getByte() {
    int b = rawByte();
    if (b < 0 || !m_text) return b;
    if (b == 0x1A) {  // Ctrl-Z ends text input where it stands
      --m_pos;
      m_eof = true;
      return -1;
    }
    if (b == '\r') {
      int next = peekAt(0);
      if (next == '\n') {
        ++m_pos;
        return '\n';
      }
    }
    return b;
  }

  // The next wide character, or -1.
  long getWide() {
    if (!m_text) {
      int lo = rawByte();
      if (lo < 0) return -1;
      int hi = rawByte();
      if (hi < 0) return -1;  // half a unit at the end is no character
      long unit = lo | (hi << 8);
#if !defined(_WIN32)
      // UTF-32 wide characters: a surrogate pair is one character.
      if (unit >= 0xD800 && unit < 0xDC00) {
        int lo2 = peekAt(0), hi2 = peekAt(1);
        if (lo2 >= 0 && hi2 >= 0) {
          long unit2 = lo2 | (hi2 << 8);
          if (unit2 >= 0xDC00 && unit2 < 0xE000) {
            m_pos += 2;
            return 0x10000 + ((unit - 0xD800) << 10) + (unit2 - 0xDC00);
          }
        }
      }
#endif
      return unit;
    }
    int b0 = getByte();
    if (b0 < 0) return -1;
    char bytes[4] = {static_cast<char>(b0)};
    int n = 1;
#if defined(_WIN32)
    if (::IsDBCSLeadByte(static_cast<BYTE>(b0))) {
      int b1 = getByte();
      if (b1 >= 0) bytes[n++] = static_cast<char>(b1);
    }
#else
    int want = (b0 & 0xE0) == 0xC0 ? 2 : (b0 & 0xF0) == 0xE0 ? 3 : (b0 & 0xF8) == 0xF0 ? 4 : 1;
    while (n < want) {
      int c = peekAt(0);
      if (c < 0 || (c & 0xC0) != 0x80) break;
      ++m_pos;
      bytes[n++] = static_cast<char>(c);
    }
#endif
    if (b0 < 0x80) return b0;
    wchar_t out[2] = {};
    int got = P::MultiByteToWideChar(CP_ACP, 0, bytes, n, out, 2);
    return got > 0 ? static_cast<long>(out[0]) : 0xFFFD;
  }

  size_t read(void* data, size_t n) {
    BYTE* p = static_cast<BYTE*>(data);
    size_t got = 0;
    while (got < n) {
      int b = getByte();
      if (b < 0) break;
      p[got++] = static_cast<BYTE>(b);
    }
    return got;
  }

  // ---- Position ----
  // Pending writes out, unread input given back: the handle stands where the stream does.
  bool sync() { return flushOut() && leaveReading(); }

  bool seek(LONGLONG off, DWORD from, ULONGLONG& pos) {
    if (!sync()) return false;
    m_eof = false;
    LARGE_INTEGER distance, result;
    distance.QuadPart = off;
    if (!P::SetFilePointerEx(m_h, distance, &result, from)) return fail(P::GetLastError());
    pos = static_cast<ULONGLONG>(result.QuadPart);
    return true;
  }

  bool tell(ULONGLONG& pos) const {
    LARGE_INTEGER zero, here;
    zero.QuadPart = 0;
    if (!P::SetFilePointerEx(m_h, zero, &here, FILE_CURRENT)) return false;
    pos = static_cast<ULONGLONG>(here.QuadPart) + m_out.size() - (m_in.size() - m_pos);
    return true;
  }

 private:
  static constexpr size_t kBufferSize = 4096;

  bool fail(DWORD error) {
    m_error = error ? error : ERROR_INVALID_FUNCTION;
    return false;
  }

  // At least n unread bytes in the buffer, reading more behind what is still unread.
  bool ensure(size_t n) {
    while (m_in.size() - m_pos < n) {
      if (m_eof) return false;
      if (!m_canRead) return fail(ERROR_ACCESS_DENIED);
      if (!flushOut()) return false;
      m_in.erase(m_in.begin(), m_in.begin() + static_cast<std::ptrdiff_t>(m_pos));
      m_pos = 0;
      const size_t old = m_in.size();
      m_in.resize(old + kBufferSize);
      DWORD got = 0;
      if (!P::ReadFile(m_h, m_in.data() + old, static_cast<DWORD>(kBufferSize), &got, nullptr)) {
        m_in.resize(old);
        return fail(P::GetLastError());
      }
      m_in.resize(old + got);
      if (got == 0) {
        m_eof = true;
        return false;
      }
    }
    return true;
  }

  int rawByte() {
    if (!ensure(1)) return -1;
    return m_in[m_pos++];
  }

  int peekAt(size_t k) {
    if (!ensure(k + 1)) return -1;
    return m_in[m_pos + k];
  }

  bool leaveReading() {
    if (m_pos < m_in.size()) {
      LARGE_INTEGER back;
      back.QuadPart = -static_cast<LONGLONG>(m_in.size() - m_pos);
      if (!P::SetFilePointerEx(m_h, back, nullptr, FILE_CURRENT)) return fail(P::GetLastError());
    }
    m_in.clear();
    m_pos = 0;
    return true;
  }

  HANDLE m_h;
  bool m_text, m_append, m_canRead, m_canWrite;
  bool m_eof = false;
  DWORD m_error = 0;
  std::vector<BYTE> m_in;
  size_t m_pos = 0;
  std::vector<BYTE> m_out;
};

}  // namespace KvdUtils::Framework

using KvdUtils::Framework::StdioStream;

namespace {

std::string narrowText(LPCWSTR text) {
  int n = P::WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (n <= 1) return std::string();
  std::string out(static_cast<size_t>(n), '\0');
  P::WideCharToMultiByte(CP_ACP, 0, text, -1, out.data(), n, nullptr, nullptr);
  out.resize(static_cast<size_t>(n - 1));
  return out;
}

std::vector<BYTE> utf16Bytes(LPCWSTR text) {
  std::vector<BYTE> out;
  for (const wchar_t* p = text; *p; ++p) {
    unsigned long u = static_cast<unsigned long>(*p);
    auto unit = [&](unsigned long v) {
      out.push_back(static_cast<BYTE>(v & 0xFF));
      out.push_back(static_cast<BYTE>((v >> 8) & 0xFF));
    };
    if (u >= 0x10000 && u <= 0x10FFFF) {
      u -= 0x10000;
      unit(0xD800 + (u >> 10));
      unit(0xDC00 + (u & 0x3FF));
    } else {
      unit(u);
    }
  }
  return out;
}

}  // namespace

CStdioFile::CStdioFile() : m_pStream(nullptr) {}

CStdioFile::CStdioFile(LPCWSTR lpszFileName, UINT nOpenFlags) : m_pStream(nullptr) {
  CFileException e;
  if (!Open(lpszFileName, nOpenFlags, &e)) AfxThrowFileException(e.m_cause, e.m_lOsError, e.m_strFileName);
}

CStdioFile::~CStdioFile() {
  if (m_pStream && m_bCloseOnDelete) {
    try {
      Close();
    } catch (CException* e) {
      e->Delete();
    }
  }
  delete m_pStream;
  m_pStream = nullptr;
}

BOOL CStdioFile::Open(LPCWSTR lpszFileName, UINT nOpenFlags, CFileException* pError) {
  delete m_pStream;
  m_pStream = nullptr;
  if (!CFile::Open(lpszFileName, nOpenFlags & ~static_cast<UINT>(typeText), pError)) return FALSE;
  // The stream's mode, as the framework derives its fopen mode from the flags.
  char mode;
  if (nOpenFlags & modeCreate) mode = (nOpenFlags & modeNoTruncate) ? 'a' : 'w';
  else if (nOpenFlags & modeWrite) mode = 'a';
  else mode = 'r';
  const bool plus = (mode == 'r' && (nOpenFlags & modeReadWrite)) || (mode != 'r' && !(nOpenFlags & modeWrite));
  const bool canRead = mode == 'r' || plus;
  const bool canWrite = mode != 'r' || plus;
  const bool text = !(nOpenFlags & typeBinary);
  m_pStream = new StdioStream(m_hFile, text, mode == 'a', canRead, canWrite);
  return TRUE;
}

void CStdioFile::WriteString(LPCWSTR lpsz) {
  if (!lpsz) AfxThrowInvalidArgException();
  bool ok;
  if (!m_pStream) {
    ok = false;
  } else if (m_pStream->text()) {
    std::string bytes = narrowText(lpsz);
    ok = m_pStream->put(bytes.data(), bytes.size());
  } else {
    std::vector<BYTE> bytes = utf16Bytes(lpsz);
    ok = m_pStream->put(bytes.data(), bytes.size());
  }
  if (!ok) AfxThrowFileException(CFileException::diskFull, m_pStream ? static_cast<LONG>(m_pStream->lastError()) : -1, m_strFileName);
}

LPWSTR CStdioFile::ReadString(LPWSTR lpsz, UINT nMax) {
  if (!lpsz || nMax == 0 || !m_pStream) AfxThrowInvalidArgException();
  UINT n = 0;
  while (n + 1 < nMax) {
    long c = m_pStream->getWide();
    if (c < 0) break;
    lpsz[n++] = static_cast<wchar_t>(c);
    if (c == L'\n') break;
  }
  lpsz[n] = L'\0';
  if (n == 0 && nMax > 1) {
    if (m_pStream->lastError() != 0 && !m_pStream->eof())
      AfxThrowFileException(CFileException::genericException, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
    return nullptr;
  }
  return lpsz;
}

BOOL CStdioFile::ReadString(CString& rString) {
  rString.Empty();
  if (!m_pStream) AfxThrowInvalidArgException();
  std::wstring line;
  for (;;) {
    long c = m_pStream->getWide();
    if (c < 0) {
      if (m_pStream->lastError() != 0 && !m_pStream->eof())
        AfxThrowFileException(CFileException::genericException, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
      break;
    }
    line.push_back(static_cast<wchar_t>(c));
    if (c == L'\n') break;
  }
  const bool any = !line.empty();
  if (any && line.back() == L'\n') line.pop_back();
  rString = CString(line.c_str(), static_cast<int>(line.size()));
  return any;
}

ULONGLONG CStdioFile::GetPosition() const {
  if (!m_pStream) return CFile::GetPosition();
  ULONGLONG pos = 0;
  if (!m_pStream->tell(pos)) CFileException::ThrowOsError(static_cast<LONG>(P::GetLastError()), m_strFileName);
  return pos;
}

ULONGLONG CStdioFile::GetLength() const {
  if (m_pStream && !m_pStream->flushOut())
    AfxThrowFileException(CFileException::diskFull, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
  return CFile::GetLength();
}

ULONGLONG CStdioFile::Seek(LONGLONG lOff, UINT nFrom) {
  if (!m_pStream) return CFile::Seek(lOff, nFrom);
  ULONGLONG pos = 0;
  if (!m_pStream->seek(lOff, nFrom, pos)) CFileException::ThrowOsError(static_cast<LONG>(m_pStream->lastError()), m_strFileName);
  return pos;
}

void CStdioFile::SetLength(ULONGLONG dwNewLen) {
  if (m_pStream && !m_pStream->sync()) CFileException::ThrowOsError(static_cast<LONG>(m_pStream->lastError()), m_strFileName);
  CFile::SetLength(dwNewLen);
}

UINT CStdioFile::Read(void* lpBuf, UINT nCount) {
  if (nCount == 0) return 0;
  if (!lpBuf || !m_pStream) AfxThrowInvalidArgException();
  size_t got = m_pStream->read(lpBuf, nCount);
  if (got == 0 && m_pStream->lastError() != 0 && !m_pStream->eof())
    AfxThrowFileException(CFileException::genericException, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
  return static_cast<UINT>(got);
}

void CStdioFile::Write(const void* lpBuf, UINT nCount) {
  if (nCount == 0) return;
  if (!lpBuf || !m_pStream) AfxThrowInvalidArgException();
  if (!m_pStream->put(lpBuf, nCount))
    AfxThrowFileException(CFileException::genericException, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
}

void CStdioFile::Abort() {
  delete m_pStream;  // buffered data is dropped
  m_pStream = nullptr;
  CFile::Abort();
}

void CStdioFile::Flush() {
  if (m_pStream && !m_pStream->flushOut())
    AfxThrowFileException(CFileException::diskFull, static_cast<LONG>(m_pStream->lastError()), m_strFileName);
}

void CStdioFile::Close() {
  bool flushed = true;
  DWORD error = 0;
  if (m_pStream) {
    flushed = m_pStream->flushOut();
    error = m_pStream->lastError();
    delete m_pStream;
    m_pStream = nullptr;
  }
  CString name = m_strFileName;
  if (m_hFile != INVALID_HANDLE_VALUE && !P::CloseHandle(m_hFile) && flushed) {
    flushed = false;
    error = P::GetLastError();
  }
  m_hFile = INVALID_HANDLE_VALUE;
  m_bCloseOnDelete = FALSE;
  m_strFileName.Empty();
  if (!flushed) AfxThrowFileException(CFileException::diskFull, static_cast<LONG>(error), name);
}
