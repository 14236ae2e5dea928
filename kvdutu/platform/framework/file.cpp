// CFile over the layer's file operations; the same code on every platform.
#include "kvdutu/platform/framework/file.h"

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/text.h"

namespace P = KvdUtils::Platform;

IMPLEMENT_DYNAMIC(CFile, CObject)

const HANDLE CFile::hFileNull = INVALID_HANDLE_VALUE;

namespace KvdUtils::Framework {

FILETIME FileTimeFromTime(const CTime& time) {
  const ULONGLONG t = static_cast<ULONGLONG>(time.GetTime() * 10000000LL + 116444736000000000LL);
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(t & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(t >> 32);
  return ft;
}

}  // namespace KvdUtils::Framework

namespace {

[[noreturn]] void throwLastError(const CString& name) {
  LONG error = static_cast<LONG>(P::GetLastError());
  // A failure that left no system error still has to throw.
  if (error == 0) AfxThrowFileException(CFileException::genericException, -1, name);
  CFileException::ThrowOsError(error, name);
  AfxThrowFileException(CFileException::genericException, error, name);
}

CTime timeOrZero(const FILETIME& ft) {
  if (!CTime::IsValidFILETIME(ft)) return CTime();
  return CTime(ft);
}

CString fullPath(LPCWSTR name) {
  wchar_t buffer[MAX_PATH];
  LPWSTR filePart = nullptr;
  DWORD n = P::GetFullPathNameW(name, MAX_PATH, buffer, &filePart);
  if (n == 0 || n >= MAX_PATH) return CString(name);
  return CString(buffer, static_cast<int>(n));
}

// The text behind the last separator (`\`, `/` or a drive's colon).
CString nameOf(const CString& path) {
  int cut = -1;
  for (int i = 0; i < path.GetLength(); ++i) {
    wchar_t c = path[i];
    if (c == L'\\' || c == L'/' || c == L':') cut = i;
  }
  return path.Mid(cut + 1);
}

}  // namespace

CFile::CFile() : m_hFile(INVALID_HANDLE_VALUE), m_bCloseOnDelete(FALSE) {}

CFile::CFile(HANDLE hFile) : m_hFile(hFile), m_bCloseOnDelete(FALSE) {}

CFile::CFile(LPCWSTR lpszFileName, UINT nOpenFlags) : m_hFile(INVALID_HANDLE_VALUE), m_bCloseOnDelete(FALSE) {
  CFileException e;
  if (!Open(lpszFileName, nOpenFlags, &e)) AfxThrowFileException(e.m_cause, e.m_lOsError, e.m_strFileName);
}

CFile::~CFile() {
  if (m_hFile != INVALID_HANDLE_VALUE && m_bCloseOnDelete) {
    try {
      Close();
    } catch (CException* e) {
      e->Delete();
    }
  }
}

BOOL CFile::Open(LPCWSTR lpszFileName, UINT nOpenFlags, CFileException* pError) {
  m_bCloseOnDelete = FALSE;
  m_hFile = INVALID_HANDLE_VALUE;
  m_strFileName.Empty();
  nOpenFlags &= ~static_cast<UINT>(typeBinary | typeText);

  if (!lpszFileName || P::lstrlenW(lpszFileName) >= MAX_PATH) {
    if (pError) {
      pError->m_cause = CFileException::badPath;
      pError->m_lOsError = -1;
      pError->m_strFileName = lpszFileName;
    }
    return FALSE;
  }
  m_strFileName = fullPath(lpszFileName);

  DWORD access = 0;
  switch (nOpenFlags & 3) {
    case modeRead: access = GENERIC_READ; break;
    case modeWrite: access = GENERIC_WRITE; break;
    case modeReadWrite: access = GENERIC_READ | GENERIC_WRITE; break;
    default: access = GENERIC_READ; break;
  }
  DWORD share = 0;
  switch (nOpenFlags & 0x70) {
    case shareDenyWrite: share = FILE_SHARE_READ; break;
    case shareDenyRead: share = FILE_SHARE_WRITE; break;
    case shareDenyNone: share = FILE_SHARE_READ | FILE_SHARE_WRITE; break;
    default: share = 0; break;  // shareCompat and shareExclusive
  }
  SECURITY_ATTRIBUTES sa;
  sa.nLength = sizeof sa;
  sa.lpSecurityDescriptor = nullptr;
#if defined(_WIN32)
  sa.bInheritHandle = (nOpenFlags & modeNoInherit) == 0;
#else
  // A POSIX child inherits every inheritable descriptor at exec, with its sharing marks; the
  // framework's inheritable default would leak them into every child.
  sa.bInheritHandle = FALSE;
#endif
  DWORD creation = (nOpenFlags & modeCreate) ? ((nOpenFlags & modeNoTruncate) ? OPEN_ALWAYS : CREATE_ALWAYS) : OPEN_EXISTING;
  DWORD flags = FILE_ATTRIBUTE_NORMAL;
  if (nOpenFlags & osNoBuffer) flags |= FILE_FLAG_NO_BUFFERING;
  if (nOpenFlags & osWriteThrough) flags |= FILE_FLAG_WRITE_THROUGH;
  if (nOpenFlags & osRandomAccess) flags |= FILE_FLAG_RANDOM_ACCESS;
  if (nOpenFlags & osSequentialScan) flags |= FILE_FLAG_SEQUENTIAL_SCAN;

  HANDLE h = P::CreateFileW(lpszFileName, access, share, &sa, creation, flags, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    if (pError) {
      pError->m_lOsError = static_cast<LONG>(P::GetLastError());
      pError->m_cause = CFileException::OsErrorToException(pError->m_lOsError);
      pError->m_strFileName = lpszFileName;  // the name as given, as the framework reports it
    }
    m_strFileName.Empty();
    return FALSE;
  }
  m_hFile = h;
  m_bCloseOnDelete = TRUE;
  return TRUE;
}

ULONGLONG CFile::GetPosition() const {
  LARGE_INTEGER zero, pos;
  zero.QuadPart = 0;
  if (!P::SetFilePointerEx(m_hFile, zero, &pos, FILE_CURRENT)) throwLastError(m_strFileName);
  return static_cast<ULONGLONG>(pos.QuadPart);
}

BOOL CFile::GetStatus(CFileStatus& rStatus) const {
  rStatus = CFileStatus{};
  int n = m_strFileName.GetLength() < MAX_PATH ? m_strFileName.GetLength() : MAX_PATH - 1;
  for (int i = 0; i < n; ++i) rStatus.m_szFullName[i] = m_strFileName[i];
  rStatus.m_szFullName[n] = L'\0';
  if (m_hFile == INVALID_HANDLE_VALUE) return TRUE;
  FILETIME created, accessed, written;
  if (!P::GetFileTime(m_hFile, &created, &accessed, &written)) return FALSE;
  LARGE_INTEGER size;
  if (!P::GetFileSizeEx(m_hFile, &size)) return FALSE;
  rStatus.m_size = static_cast<ULONGLONG>(size.QuadPart);
  if (m_strFileName.IsEmpty()) {
    rStatus.m_attribute = 0;
  } else {
    DWORD attributes = P::GetFileAttributesW(m_strFileName);
    rStatus.m_attribute = attributes == INVALID_FILE_ATTRIBUTES ? 0 : static_cast<BYTE>(attributes);
  }
  rStatus.m_ctime = timeOrZero(created);
  rStatus.m_atime = timeOrZero(accessed);
  rStatus.m_mtime = timeOrZero(written);
  if (rStatus.m_ctime.GetTime() == 0) rStatus.m_ctime = rStatus.m_mtime;
  if (rStatus.m_atime.GetTime() == 0) rStatus.m_atime = rStatus.m_mtime;
  return TRUE;
}

CString CFile::GetFileName() const { return nameOf(m_strFileName); }

CString CFile::GetFileTitle() const {
  CString name = GetFileName();
  int dot = name.ReverseFind(L'.');
  return dot < 0 ? name : name.Left(dot);
}

CString CFile::GetFilePath() const { return m_strFileName; }

void CFile::SetFilePath(LPCWSTR lpszNewName) { m_strFileName = lpszNewName; }

void CFile::Rename(LPCWSTR lpszOldName, LPCWSTR lpszNewName) {
  if (!P::MoveFileW(lpszOldName, lpszNewName)) throwLastError(lpszOldName);
}

void CFile::Remove(LPCWSTR lpszFileName) {
  if (!P::DeleteFileW(lpszFileName)) throwLastError(lpszFileName);
}

BOOL CFile::GetStatus(LPCWSTR lpszFileName, CFileStatus& rStatus) {
  if (!lpszFileName || P::lstrlenW(lpszFileName) >= MAX_PATH) return FALSE;
  wchar_t full[MAX_PATH];
  DWORD n = P::GetFullPathNameW(lpszFileName, MAX_PATH, full, nullptr);
  if (n == 0 || n >= MAX_PATH) {
    rStatus.m_szFullName[0] = L'\0';
    return FALSE;
  }
  for (DWORD i = 0; i <= n; ++i) rStatus.m_szFullName[i] = full[i];
  WIN32_FIND_DATAW data;
  HANDLE find = P::FindFirstFileW(lpszFileName, &data);
  if (find == INVALID_HANDLE_VALUE) return FALSE;
  P::FindClose(find);
  // The framework's attribute byte has no "normal" bit.
  rStatus.m_attribute = static_cast<BYTE>(data.dwFileAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
  rStatus.m_size = (static_cast<ULONGLONG>(data.nFileSizeHigh) << 32) + data.nFileSizeLow;
  rStatus.m_ctime = timeOrZero(data.ftCreationTime);
  rStatus.m_atime = timeOrZero(data.ftLastAccessTime);
  rStatus.m_mtime = timeOrZero(data.ftLastWriteTime);
  if (rStatus.m_ctime.GetTime() == 0) rStatus.m_ctime = rStatus.m_mtime;
  if (rStatus.m_atime.GetTime() == 0) rStatus.m_atime = rStatus.m_mtime;
  return TRUE;
}

void CFile::SetStatus(LPCWSTR lpszFileName, const CFileStatus& status) {
  DWORD current = P::GetFileAttributesW(lpszFileName);
  if (current == INVALID_FILE_ATTRIBUTES) throwLastError(lpszFileName);
  // A read-only file loses the attribute first, so that its times can be written.
  if (static_cast<DWORD>(status.m_attribute) != current && (current & readOnly)) {
    if (!P::SetFileAttributesW(lpszFileName, status.m_attribute)) throwLastError(lpszFileName);
  }
  if (status.m_mtime.GetTime() != 0) {
    FILETIME written = KvdUtils::Framework::FileTimeFromTime(status.m_mtime);
    FILETIME accessed = KvdUtils::Framework::FileTimeFromTime(status.m_atime.GetTime() ? status.m_atime : status.m_mtime);
    FILETIME created = KvdUtils::Framework::FileTimeFromTime(status.m_ctime.GetTime() ? status.m_ctime : status.m_mtime);
    HANDLE h = P::CreateFileW(lpszFileName, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) throwLastError(lpszFileName);
    if (!P::SetFileTime(h, &created, &accessed, &written)) {
      DWORD error = P::GetLastError();
      P::CloseHandle(h);
      P::SetLastError(error);
      throwLastError(lpszFileName);
    }
    if (!P::CloseHandle(h)) throwLastError(lpszFileName);
  }
  if (static_cast<DWORD>(status.m_attribute) != current && !(current & readOnly)) {
    if (!P::SetFileAttributesW(lpszFileName, status.m_attribute)) throwLastError(lpszFileName);
  }
}

ULONGLONG CFile::SeekToEnd() { return Seek(0, end); }

void CFile::SeekToBegin() { Seek(0, begin); }

ULONGLONG CFile::Seek(LONGLONG lOff, UINT nFrom) {
  LARGE_INTEGER distance, pos;
  distance.QuadPart = lOff;
  if (!P::SetFilePointerEx(m_hFile, distance, &pos, nFrom)) throwLastError(m_strFileName);
  return static_cast<ULONGLONG>(pos.QuadPart);
}

void CFile::SetLength(ULONGLONG dwNewLen) {
  Seek(static_cast<LONGLONG>(dwNewLen), begin);
  if (!P::SetEndOfFile(m_hFile)) throwLastError(m_strFileName);
}

ULONGLONG CFile::GetLength() const {
  LARGE_INTEGER size;
  if (!P::GetFileSizeEx(m_hFile, &size)) throwLastError(m_strFileName);
  return static_cast<ULONGLONG>(size.QuadPart);
}

UINT CFile::Read(void* lpBuf, UINT nCount) {
  if (nCount == 0) return 0;
  DWORD read = 0;
  if (!P::ReadFile(m_hFile, lpBuf, nCount, &read, nullptr)) throwLastError(m_strFileName);
  return static_cast<UINT>(read);
}

void CFile::Write(const void* lpBuf, UINT nCount) {
  if (nCount == 0) return;
  DWORD written = 0;
  if (!P::WriteFile(m_hFile, lpBuf, nCount, &written, nullptr)) throwLastError(m_strFileName);
  if (written != nCount) AfxThrowFileException(CFileException::diskFull, -1, m_strFileName);
}

void CFile::Abort() {
  if (m_hFile != INVALID_HANDLE_VALUE) {
    P::CloseHandle(m_hFile);
    m_hFile = INVALID_HANDLE_VALUE;
  }
  m_bCloseOnDelete = FALSE;
  m_strFileName.Empty();
}

void CFile::Flush() {
  if (m_hFile == INVALID_HANDLE_VALUE) return;
  if (!P::FlushFileBuffers(m_hFile)) throwLastError(m_strFileName);
}

void CFile::Close() {
  BOOL failed = FALSE;
  DWORD error = 0;
  if (m_hFile != INVALID_HANDLE_VALUE) {
    failed = !P::CloseHandle(m_hFile);
    if (failed) error = P::GetLastError();
  }
  m_hFile = INVALID_HANDLE_VALUE;
  m_bCloseOnDelete = FALSE;
  CString name = m_strFileName;
  m_strFileName.Empty();
  if (failed) {
    P::SetLastError(error);
    throwLastError(name);
  }
}
