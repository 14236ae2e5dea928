// The framework's exception classes. They are thrown as pointers to heap objects
// (`throw new CFileException(...)`, usually through the AfxThrow... functions) and the catcher
// frees them with Delete():
//
//   try { ... } catch (CFileException* e) { e->ReportError(); e->Delete(); }
//
// Messages come from the string table by their framework numbers (the host may register its own
// texts, e.g. translations) and fall back to built-in English texts.
#pragma once

#include "kvdutu/platform/framework/afx_throw.h"
#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/os/message_box.h"
#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
typedef UINT* PUINT;  // (a repeated identical typedef is harmless)
#endif

// Framework message numbers (string table ids).
#define AFX_IDS_UNNAMED_FILE 0xF006
#define AFX_IDP_NO_ERROR_AVAILABLE 0xF020
#define AFX_IDS_NOT_SUPPORTED_EXCEPTION 0xF021
#define AFX_IDS_RESOURCE_EXCEPTION 0xF022
#define AFX_IDS_MEMORY_EXCEPTION 0xF023
#define AFX_IDS_USER_EXCEPTION 0xF024
#define AFX_IDS_INVALID_ARG_EXCEPTION 0xF025
#define AFX_IDP_FILE_NONE 0xF0A0  // + CFileException::m_cause
#define AFX_IDP_ARCH_NONE 0xF0B0  // + CArchiveException::m_cause

class KVDUTU_API CException : public CObject {
  DECLARE_DYNAMIC(CException)
 public:
  CException();
  // FALSE for an exception object that is not on the heap: Delete() then leaves it alone.
  explicit CException(BOOL bAutoDelete);
  virtual ~CException();

  // Frees a heap exception; the way a catcher disposes of what it caught.
  void Delete();

  // Copies the message (at most nMaxError - 1 characters and a terminator) and the help context.
  // FALSE when the exception has no message.
  virtual BOOL GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext = nullptr) const;

  // Shows the message in a message box of type nType and returns the answer. Without a message
  // of its own the text is string nMessageID (0: "No error message is available.").
  virtual int ReportError(UINT nType = MB_OK, UINT nMessageID = 0);

  BOOL m_bAutoDelete;
};

// An exception whose message is one fixed string resource.
class KVDUTU_API CSimpleException : public CException {
  DECLARE_DYNAMIC(CSimpleException)
 public:
  CSimpleException();
  explicit CSimpleException(BOOL bAutoDelete);
  virtual ~CSimpleException();
  BOOL GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext = nullptr) const override;

 protected:
  UINT m_nResourceID = 0;
};

class KVDUTU_API CMemoryException : public CSimpleException {
  DECLARE_DYNAMIC(CMemoryException)
 public:
  CMemoryException();
  explicit CMemoryException(BOOL bAutoDelete);
  virtual ~CMemoryException();
};

class KVDUTU_API CNotSupportedException : public CSimpleException {
  DECLARE_DYNAMIC(CNotSupportedException)
 public:
  CNotSupportedException();
  explicit CNotSupportedException(BOOL bAutoDelete);
  virtual ~CNotSupportedException();
};

class KVDUTU_API CInvalidArgException : public CSimpleException {
  DECLARE_DYNAMIC(CInvalidArgException)
 public:
  CInvalidArgException();
  explicit CInvalidArgException(BOOL bAutoDelete);
  virtual ~CInvalidArgException();
};

class KVDUTU_API CFileException : public CException {
  DECLARE_DYNAMIC(CFileException)
 public:
  enum {
    none,
    genericException,
    fileNotFound,
    badPath,
    tooManyOpenFiles,
    accessDenied,
    invalidFile,
    removeCurrentDir,
    directoryFull,
    badSeek,
    hardIO,
    sharingViolation,
    lockViolation,
    diskFull,
    endOfFile
  };

  explicit CFileException(int cause = CFileException::none, LONG lOsError = -1, LPCWSTR lpszArchiveName = nullptr);
  virtual ~CFileException();

  // Sets the fields again, for an exception object that is reused.
  void SetFieldsFile(int cause, LONG lOsError, LPCWSTR lpszArchiveName);

  // The cause that a system error code stands for, by the framework's table; unknown codes are
  // genericException, 0 is none.
  static int OsErrorToException(LONG lOsError);
  // The cause for a C runtime errno value.
  static int ErrnoToException(int nErrno);

  // Throw the file exception for a system error code (nothing for 0) or for an errno value.
  static void ThrowOsError(LONG lOsError, LPCWSTR lpszFileName = nullptr);
  static void ThrowErrno(int nErrno, LPCWSTR lpszFileName = nullptr);

  BOOL GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext = nullptr) const override;

  int m_cause;
  LONG m_lOsError;
  CString m_strFileName;
};

class KVDUTU_API CArchiveException : public CException {
  DECLARE_DYNAMIC(CArchiveException)
 public:
  enum { none, genericException, readOnly, endOfFile, writeOnly, badIndex, badClass, badSchema };

  explicit CArchiveException(int cause = CArchiveException::none, LPCWSTR lpszArchiveName = nullptr);
  virtual ~CArchiveException();

  BOOL GetErrorMessage(LPWSTR lpszError, UINT nMaxError, PUINT pnHelpContext = nullptr) const override;

  int m_cause;
  CString m_strFileName;
};

// AfxThrowInvalidArgException is declared in afx_throw.h (strings use it without this header).
[[noreturn]] KVDUTU_API void AfxThrowMemoryException();
[[noreturn]] KVDUTU_API void AfxThrowNotSupportedException();
[[noreturn]] KVDUTU_API void AfxThrowFileException(int cause, LONG lOsError = -1, LPCWSTR lpszFileName = nullptr);
[[noreturn]] KVDUTU_API void AfxThrowArchiveException(int cause, LPCWSTR lpszArchiveName = nullptr);

namespace KvdUtils::Framework {
// The text of a framework or host message: the string table's entry when there is one, else the
// built-in English text of the framework's own numbers, else empty.
KVDUTU_API CString LoadFrameworkString(UINT nID);
// `text` with every "%1" replaced by `arg1`, as the framework formats its one-argument messages.
KVDUTU_API CString FormatString1(const CString& text, LPCWSTR arg1);
}  // namespace KvdUtils::Framework
