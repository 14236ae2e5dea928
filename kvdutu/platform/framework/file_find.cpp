// CFileFind over the layer's folder search; the same code on every platform.
#include "kvdutu/platform/framework/file_find.h"

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/text.h"

namespace P = KvdUtils::Platform;

IMPLEMENT_DYNAMIC(CFileFind, CObject)

CFileFind::CFileFind() : m_pFoundInfo(nullptr), m_pNextInfo(nullptr), m_hContext(nullptr), m_chDirSeparator(L'\\') {}

CFileFind::~CFileFind() { Close(); }

void CFileFind::Close() {
  delete m_pFoundInfo;
  m_pFoundInfo = nullptr;
  delete m_pNextInfo;
  m_pNextInfo = nullptr;
  if (m_hContext != nullptr) {
    if (m_hContext != INVALID_HANDLE_VALUE) P::FindClose(m_hContext);
    m_hContext = nullptr;
  }
  m_strRoot.Empty();
}

BOOL CFileFind::FindFile(LPCWSTR pstrName, DWORD /*dwUnused*/) {
  Close();
  if (!pstrName) pstrName = L"*.*";
  else if (P::lstrlenW(pstrName) >= MAX_PATH) {
    P::SetLastError(ERROR_BAD_ARGUMENTS);
    return FALSE;
  }
  m_pNextInfo = new WIN32_FIND_DATAW;
  m_hContext = P::FindFirstFileW(pstrName, m_pNextInfo);
  if (m_hContext == INVALID_HANDLE_VALUE) {
    DWORD error = P::GetLastError();
    Close();
    P::SetLastError(error);
    return FALSE;
  }
  // The root is the folder part of the full pattern, with its separator.
  wchar_t full[MAX_PATH];
  DWORD n = P::GetFullPathNameW(pstrName, MAX_PATH, full, nullptr);
  if (n == 0 || n >= MAX_PATH) {
    Close();
    P::SetLastError(ERROR_INVALID_NAME);
    return FALSE;
  }
  CString root(full, static_cast<int>(n));
  int cut = -1;
  for (int i = 0; i < root.GetLength(); ++i)
    if (root[i] == L'\\' || root[i] == L'/' || (i == 1 && root[i] == L':')) cut = i;
  m_strRoot = root.Left(cut + 1);
  return TRUE;
}

BOOL CFileFind::FindNextFile() {
  if (m_hContext == nullptr || m_pNextInfo == nullptr) return FALSE;
  if (m_pFoundInfo == nullptr) m_pFoundInfo = new WIN32_FIND_DATAW;
  WIN32_FIND_DATAW* swap = m_pFoundInfo;
  m_pFoundInfo = m_pNextInfo;
  m_pNextInfo = swap;
  return P::FindNextFileW(m_hContext, m_pNextInfo);
}

ULONGLONG CFileFind::GetLength() const {
  if (!m_pFoundInfo) return 0;
  return (static_cast<ULONGLONG>(m_pFoundInfo->nFileSizeHigh) << 32) + m_pFoundInfo->nFileSizeLow;
}

CString CFileFind::GetFileName() const { return m_pFoundInfo ? CString(m_pFoundInfo->cFileName) : CString(); }

CString CFileFind::GetFilePath() const {
  if (!m_pFoundInfo) return CString();
  CString result = m_strRoot;
  if (!result.IsEmpty()) {
    wchar_t last = result[result.GetLength() - 1];
    if (last != L'\\' && last != L'/') result += m_chDirSeparator;
  }
  return result + GetFileName();
}

CString CFileFind::GetFileTitle() const {
  CString name = GetFileName();
  int dot = name.ReverseFind(L'.');
  return dot < 0 ? name : name.Left(dot);
}

CString CFileFind::GetRoot() const { return m_strRoot; }

BOOL CFileFind::GetLastWriteTime(FILETIME* pTimeStamp) const {
  if (!m_pFoundInfo || !pTimeStamp) return FALSE;
  *pTimeStamp = m_pFoundInfo->ftLastWriteTime;
  return TRUE;
}

BOOL CFileFind::GetLastAccessTime(FILETIME* pTimeStamp) const {
  if (!m_pFoundInfo || !pTimeStamp) return FALSE;
  *pTimeStamp = m_pFoundInfo->ftLastAccessTime;
  return TRUE;
}

BOOL CFileFind::GetCreationTime(FILETIME* pTimeStamp) const {
  if (!m_pFoundInfo || !pTimeStamp) return FALSE;
  *pTimeStamp = m_pFoundInfo->ftCreationTime;
  return TRUE;
}

BOOL CFileFind::GetLastWriteTime(CTime& refTime) const {
  if (!m_pFoundInfo || !CTime::IsValidFILETIME(m_pFoundInfo->ftLastWriteTime)) return FALSE;
  refTime = CTime(m_pFoundInfo->ftLastWriteTime);
  return TRUE;
}

BOOL CFileFind::GetLastAccessTime(CTime& refTime) const {
  if (!m_pFoundInfo || !CTime::IsValidFILETIME(m_pFoundInfo->ftLastAccessTime)) return FALSE;
  refTime = CTime(m_pFoundInfo->ftLastAccessTime);
  return TRUE;
}

BOOL CFileFind::GetCreationTime(CTime& refTime) const {
  if (!m_pFoundInfo || !CTime::IsValidFILETIME(m_pFoundInfo->ftCreationTime)) return FALSE;
  refTime = CTime(m_pFoundInfo->ftCreationTime);
  return TRUE;
}

BOOL CFileFind::MatchesMask(DWORD dwMask) const {
  return m_pFoundInfo ? ((m_pFoundInfo->dwFileAttributes & dwMask) != 0) : FALSE;
}

BOOL CFileFind::IsDots() const {
  if (!m_pFoundInfo || !IsDirectory()) return FALSE;
  const wchar_t* n = m_pFoundInfo->cFileName;
  return (n[0] == L'.' && (n[1] == L'\0' || (n[1] == L'.' && n[2] == L'\0'))) ? TRUE : FALSE;
}
