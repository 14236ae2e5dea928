#include "kvdutu/platform/framework/exceptions.h"

#include "kvdutu/platform/framework/afx_message_box.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/resources.h"

#include <cerrno>
#include <cstdlib>
#include <cwchar>

namespace KvdUtils::Framework {

namespace {

// The framework's own texts, used when the string table has no entry of that number.
const wchar_t* builtInText(UINT nID) {
  switch (nID) {
    case AFX_IDS_UNNAMED_FILE: return L"an unnamed file";
    case AFX_IDP_NO_ERROR_AVAILABLE: return L"No error message is available.";
    case AFX_IDS_NOT_SUPPORTED_EXCEPTION: return L"An unsupported operation was attempted.";
    case AFX_IDS_RESOURCE_EXCEPTION: return L"A required resource was unavailable.";
    case AFX_IDS_MEMORY_EXCEPTION: return L"Out of memory.";
    case AFX_IDS_USER_EXCEPTION: return L"An unknown error has occurred.";
    case AFX_IDS_INVALID_ARG_EXCEPTION: return L"Encountered an improper argument.";

    case AFX_IDP_FILE_NONE + CFileException::none: return L"No error occurred.";
    case AFX_IDP_FILE_NONE + CFileException::genericException: return L"An unknown error occurred while accessing %1.";
    case AFX_IDP_FILE_NONE + CFileException::fileNotFound: return L"%1 was not found.";
    case AFX_IDP_FILE_NONE + CFileException::badPath: return L"%1 contains an invalid path.";
    case AFX_IDP_FILE_NONE + CFileException::tooManyOpenFiles:
      return L"%1 could not be opened because there are too many open files.";
    case AFX_IDP_FILE_NONE + CFileException::accessDenied: return L"Access to %1 was denied.";
    case AFX_IDP_FILE_NONE + CFileException::invalidFile: return L"An invalid file handle was associated with %1.";
    case AFX_IDP_FILE_NONE + CFileException::removeCurrentDir:
      return L"%1 could not be removed because it is the current directory.";
    case AFX_IDP_FILE_NONE + CFileException::directoryFull:
      return L"%1 could not be created because the directory is full.";
    case AFX_IDP_FILE_NONE + CFileException::badSeek: return L"Seek failed on %1";
    case AFX_IDP_FILE_NONE + CFileException::hardIO: return L"A hardware I/O error was reported while accessing %1.";
    case AFX_IDP_FILE_NONE + CFileException::sharingViolation:
      return L"A sharing violation occurred while accessing %1.";
    case AFX_IDP_FILE_NONE + CFileException::lockViolation: return L"A locking violation occurred while accessing %1.";
    case AFX_IDP_FILE_NONE + CFileException::diskFull: return L"Disk full while accessing %1.";
    case AFX_IDP_FILE_NONE + CFileException::endOfFile: return L"An attempt was made to access %1 past its end.";

    case AFX_IDP_ARCH_NONE + CArchiveException::none: return L"No error occurred.";
    case AFX_IDP_ARCH_NONE + CArchiveException::genericException:
      return L"An unknown error occurred while accessing %1.";
    case AFX_IDP_ARCH_NONE + CArchiveException::readOnly: return L"An attempt was made to write to the reading %1.";
    case AFX_IDP_ARCH_NONE + CArchiveException::endOfFile: return L"An attempt was made to access %1 past its end.";
    case AFX_IDP_ARCH_NONE + CArchiveException::writeOnly: return L"An attempt was made to read from the writing %1.";
    case AFX_IDP_ARCH_NONE + CArchiveException::badIndex: return L"%1 has a bad format.";
    case AFX_IDP_ARCH_NONE + CArchiveException::badClass: return L"%1 contained an unexpected object.";
    case AFX_IDP_ARCH_NONE + CArchiveException::badSchema: return L"%1 contains an incorrect schema.";
    default: return nullptr;
  }
}

// Copies text into the caller's buffer, cut to fit, always terminated.
void copyTruncated(LPWSTR dst, UINT nMax, const CString& text) {
  if (dst == nullptr || nMax == 0) return;
  const UINT n = std::min<UINT>(static_cast<UINT>(text.GetLength()), nMax - 1);
  std::wmemcpy(dst, text.GetString(), n);
  dst[n] = L'\0';
}

}  // namespace

CString LoadFrameworkString(UINT nID) {
  CString text;
  if (text.LoadString(nID)) return text;
  const wchar_t* builtIn = builtInText(nID);
  return builtIn ? CString(builtIn) : CString();
}

CString FormatString1(const CString& text, LPCWSTR arg1) {
  CString result(text);
  result.Replace(L"%1", arg1 ? arg1 : L"");
  return result;
}

}  // namespace KvdUtils::Framework

using KvdUtils::Framework::copyTruncated;
using KvdUtils::Framework::LoadFrameworkString;

// ---- CException ----------------------------------------------------------------------------------

IMPLEMENT_DYNAMIC(CException, CObject)

CException::CException() : m_bAutoDelete(TRUE) {}
CException::CException(BOOL bAutoDelete) : m_bAutoDelete(bAutoDelete) {}
CException::~CException() = default;

void CException::Delete() {
  if (m_bAutoDelete > 0) delete this;
}

BOOL CException::GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const {
  if (pnHelpContext) *pnHelpContext = 0;
  if (lpszError && nMaxError) *lpszError = L'\0';
  return FALSE;
}

int CException::ReportError(UINT nType, UINT nMessageID) {
  wchar_t szMessage[512];
  UINT nHelpContext = 0;
  if (GetErrorMessage(szMessage, 512, &nHelpContext)) return AfxMessageBox(szMessage, nType, nHelpContext);
  if (nMessageID == 0) nMessageID = AFX_IDP_NO_ERROR_AVAILABLE;
  return AfxMessageBox(nMessageID, nType, nHelpContext);
}

// ---- The simple exceptions ------------------------------------------------------------------------

IMPLEMENT_DYNAMIC(CSimpleException, CException)

CSimpleException::CSimpleException() = default;
CSimpleException::CSimpleException(BOOL bAutoDelete) : CException(bAutoDelete) {}
CSimpleException::~CSimpleException() = default;

BOOL CSimpleException::GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const {
  if (pnHelpContext) *pnHelpContext = 0;
  if (lpszError == nullptr || nMaxError == 0) return FALSE;
  const CString text = LoadFrameworkString(m_nResourceID);
  copyTruncated(lpszError, nMaxError, text);
  return text.IsEmpty() ? FALSE : TRUE;
}

IMPLEMENT_DYNAMIC(CMemoryException, CSimpleException)
CMemoryException::CMemoryException() { m_nResourceID = AFX_IDS_MEMORY_EXCEPTION; }
CMemoryException::CMemoryException(BOOL bAutoDelete) : CSimpleException(bAutoDelete) {
  m_nResourceID = AFX_IDS_MEMORY_EXCEPTION;
}
CMemoryException::~CMemoryException() = default;

IMPLEMENT_DYNAMIC(CNotSupportedException, CSimpleException)
CNotSupportedException::CNotSupportedException() { m_nResourceID = AFX_IDS_NOT_SUPPORTED_EXCEPTION; }
CNotSupportedException::CNotSupportedException(BOOL bAutoDelete) : CSimpleException(bAutoDelete) {
  m_nResourceID = AFX_IDS_NOT_SUPPORTED_EXCEPTION;
}
CNotSupportedException::~CNotSupportedException() = default;

IMPLEMENT_DYNAMIC(CInvalidArgException, CSimpleException)
CInvalidArgException::CInvalidArgException() { m_nResourceID = AFX_IDS_INVALID_ARG_EXCEPTION; }
CInvalidArgException::CInvalidArgException(BOOL bAutoDelete) : CSimpleException(bAutoDelete) {
  m_nResourceID = AFX_IDS_INVALID_ARG_EXCEPTION;
}
CInvalidArgException::~CInvalidArgException() = default;

// ---- CFileException ------------------------------------------------------------------------------

IMPLEMENT_DYNAMIC(CFileException, CException)

CFileException::CFileException(int cause, LONG lOsError, LPCWSTR lpszArchiveName)
    : m_cause(cause), m_lOsError(lOsError), m_strFileName(lpszArchiveName ? lpszArchiveName : L"") {}

CFileException::~CFileException() = default;

void CFileException::SetFieldsFile(int cause, LONG lOsError, LPCWSTR lpszArchiveName) {
  m_cause = cause;
  m_lOsError = lOsError;
  m_strFileName = lpszArchiveName ? lpszArchiveName : L"";
}

BOOL CFileException::GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const {
  if (pnHelpContext) *pnHelpContext = static_cast<UINT>(m_cause + AFX_IDP_FILE_NONE);
  if (lpszError == nullptr || nMaxError == 0) return FALSE;
  CString fileName = m_strFileName;
  if (fileName.IsEmpty()) fileName = LoadFrameworkString(AFX_IDS_UNNAMED_FILE);
  const CString text = KvdUtils::Framework::FormatString1(
      LoadFrameworkString(static_cast<UINT>(m_cause + AFX_IDP_FILE_NONE)), fileName.GetString());
  copyTruncated(lpszError, nMaxError, text);
  return TRUE;
}

int CFileException::OsErrorToException(LONG lOsError) {
  // The framework's table from system error codes to causes.
  switch (static_cast<UINT>(lOsError)) {
    case 0: return none;                       // NO_ERROR
    case 2: return fileNotFound;               // ERROR_FILE_NOT_FOUND
    case 3: return badPath;                    // ERROR_PATH_NOT_FOUND
    case 4: return tooManyOpenFiles;           // ERROR_TOO_MANY_OPEN_FILES
    case 5: return accessDenied;               // ERROR_ACCESS_DENIED
    case 6: return fileNotFound;               // ERROR_INVALID_HANDLE
    case 11: return invalidFile;               // ERROR_BAD_FORMAT
    case 12: return accessDenied;              // ERROR_INVALID_ACCESS
    case 15: return badPath;                   // ERROR_INVALID_DRIVE
    case 16: return removeCurrentDir;          // ERROR_CURRENT_DIRECTORY
    case 17: return badPath;                   // ERROR_NOT_SAME_DEVICE
    case 18: return fileNotFound;              // ERROR_NO_MORE_FILES
    case 19: return accessDenied;              // ERROR_WRITE_PROTECT
    case 20: return hardIO;                    // ERROR_BAD_UNIT
    case 21: return hardIO;                    // ERROR_NOT_READY
    case 22: return hardIO;                    // ERROR_BAD_COMMAND
    case 23: return hardIO;                    // ERROR_CRC
    case 24: return badSeek;                   // ERROR_BAD_LENGTH
    case 25: return badSeek;                   // ERROR_SEEK
    case 26: return invalidFile;               // ERROR_NOT_DOS_DISK
    case 27: return badSeek;                   // ERROR_SECTOR_NOT_FOUND
    case 29: return accessDenied;              // ERROR_WRITE_FAULT
    case 30: return badSeek;                   // ERROR_READ_FAULT
    case 32: return sharingViolation;          // ERROR_SHARING_VIOLATION
    case 33: return lockViolation;             // ERROR_LOCK_VIOLATION
    case 34: return badPath;                   // ERROR_WRONG_DISK
    case 36: return tooManyOpenFiles;          // ERROR_SHARING_BUFFER_EXCEEDED
    case 38: return endOfFile;                 // ERROR_HANDLE_EOF
    case 39: return diskFull;                  // ERROR_HANDLE_DISK_FULL
    case 52: return badPath;                   // ERROR_DUP_NAME
    case 53: return badPath;                   // ERROR_BAD_NETPATH
    case 54: return accessDenied;              // ERROR_NETWORK_BUSY
    case 55: return badPath;                   // ERROR_DEV_NOT_EXIST
    case 57: return hardIO;                    // ERROR_ADAP_HDW_ERR
    case 58: return accessDenied;              // ERROR_BAD_NET_RESP
    case 59: return hardIO;                    // ERROR_UNEXP_NET_ERR
    case 60: return invalidFile;               // ERROR_BAD_REM_ADAP
    case 62: return directoryFull;             // ERROR_NO_SPOOL_SPACE
    case 64: return accessDenied;              // ERROR_NETNAME_DELETED
    case 65: return accessDenied;              // ERROR_NETWORK_ACCESS_DENIED
    case 66: return invalidFile;               // ERROR_BAD_DEV_TYPE
    case 67: return badPath;                   // ERROR_BAD_NET_NAME
    case 68: return tooManyOpenFiles;          // ERROR_TOO_MANY_NAMES
    case 70: return badPath;                   // ERROR_SHARING_PAUSED
    case 71: return accessDenied;              // ERROR_REQ_NOT_ACCEP
    case 80: return accessDenied;              // ERROR_FILE_EXISTS
    case 82: return accessDenied;              // ERROR_CANNOT_MAKE
    case 85: return badPath;                   // ERROR_ALREADY_ASSIGNED
    case 86: return accessDenied;              // ERROR_INVALID_PASSWORD
    case 88: return hardIO;                    // ERROR_NET_WRITE_FAULT
    case 107: return fileNotFound;             // ERROR_DISK_CHANGE
    case 108: return lockViolation;            // ERROR_DRIVE_LOCKED
    case 111: return badPath;                  // ERROR_BUFFER_OVERFLOW
    case 112: return diskFull;                 // ERROR_DISK_FULL
    case 113: return tooManyOpenFiles;         // ERROR_NO_MORE_SEARCH_HANDLES
    case 114: return invalidFile;              // ERROR_INVALID_TARGET_HANDLE
    case 117: return hardIO;                   // ERROR_INVALID_CATEGORY
    case 123: return badPath;                  // ERROR_INVALID_NAME
    case 124: return badPath;                  // ERROR_INVALID_LEVEL
    case 125: return badPath;                  // ERROR_NO_VOLUME_LABEL
    case 131: return badSeek;                  // ERROR_NEGATIVE_SEEK
    case 132: return badSeek;                  // ERROR_SEEK_ON_DEVICE
    case 144: return badPath;                  // ERROR_DIR_NOT_ROOT
    case 145: return removeCurrentDir;         // ERROR_DIR_NOT_EMPTY
    case 154: return badPath;                  // ERROR_LABEL_TOO_LONG
    case 161: return badPath;                  // ERROR_BAD_PATHNAME
    case 167: return lockViolation;            // ERROR_LOCK_FAILED
    case 170: return accessDenied;             // ERROR_BUSY
    case 182: return invalidFile;              // ERROR_INVALID_ORDINAL
    case 183: return accessDenied;             // ERROR_ALREADY_EXISTS
    case 191: return invalidFile;              // ERROR_INVALID_EXE_SIGNATURE
    case 193: return invalidFile;              // ERROR_BAD_EXE_FORMAT
    case 206: return badPath;                  // ERROR_FILENAME_EXCED_RANGE
    case 208: return badPath;                  // ERROR_META_EXPANSION_TOO_LONG
    case 267: return badPath;                  // ERROR_DIRECTORY
    case 995: return hardIO;                   // ERROR_OPERATION_ABORTED
    case 996: return hardIO;                   // ERROR_IO_INCOMPLETE
    case 997: return hardIO;                   // ERROR_IO_PENDING
    case 999: return accessDenied;             // ERROR_SWAPERROR
    default: return genericException;
  }
}

int CFileException::ErrnoToException(int nErrno) {
  switch (nErrno) {
    case EPERM:
    case EACCES: return accessDenied;
    case EBADF: return invalidFile;
    case EDEADLK: return sharingViolation;
    case EMFILE: return tooManyOpenFiles;
    case ENOENT:
    case ENFILE: return fileNotFound;
    case ENOSPC: return diskFull;
    case EINVAL:
    case EIO: return hardIO;
    default: return genericException;
  }
}

void CFileException::ThrowOsError(LONG lOsError, LPCWSTR lpszFileName) {
  if (lOsError != 0) AfxThrowFileException(OsErrorToException(lOsError), lOsError, lpszFileName);
}

void CFileException::ThrowErrno(int nErrno, LPCWSTR lpszFileName) {
  if (nErrno == 0) return;
#if defined(_WIN32)
  const LONG osError = static_cast<LONG>(_doserrno);
#else
  const LONG osError = static_cast<LONG>(KvdUtils::Platform::Win32ErrorFromErrno(nErrno));
#endif
  AfxThrowFileException(ErrnoToException(nErrno), osError, lpszFileName);
}

// ---- CArchiveException ---------------------------------------------------------------------------

IMPLEMENT_DYNAMIC(CArchiveException, CException)

CArchiveException::CArchiveException(int cause, LPCWSTR lpszArchiveName)
    : m_cause(cause), m_strFileName(lpszArchiveName ? lpszArchiveName : L"") {}

CArchiveException::~CArchiveException() = default;

BOOL CArchiveException::GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const {
  if (pnHelpContext) *pnHelpContext = static_cast<UINT>(m_cause + AFX_IDP_ARCH_NONE);
  if (lpszError == nullptr || nMaxError == 0) return FALSE;
  CString fileName = m_strFileName;
  if (fileName.IsEmpty()) fileName = LoadFrameworkString(AFX_IDS_UNNAMED_FILE);
  const CString text = KvdUtils::Framework::FormatString1(
      LoadFrameworkString(static_cast<UINT>(m_cause + AFX_IDP_ARCH_NONE)), fileName.GetString());
  copyTruncated(lpszError, nMaxError, text);
  return TRUE;
}

// ---- Throwers ------------------------------------------------------------------------------------

namespace {
// Made at load: when memory has run out there may be none left to make the exception with.
// Not auto-deleting, so the catcher's Delete() leaves it for the next throw.
CMemoryException* const g_memoryException = new CMemoryException(FALSE);
}  // namespace

void AfxThrowMemoryException() { throw g_memoryException; }
void AfxThrowNotSupportedException() { throw new CNotSupportedException; }
void AfxThrowInvalidArgException() { throw new CInvalidArgException; }

void AfxThrowFileException(int cause, LONG lOsError, LPCWSTR lpszFileName) {
  throw new CFileException(cause, lOsError, lpszFileName);
}

void AfxThrowArchiveException(int cause, LPCWSTR lpszArchiveName) {
  throw new CArchiveException(cause, lpszArchiveName);
}
