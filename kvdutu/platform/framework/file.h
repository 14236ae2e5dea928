// CFile: the framework's binary file over a system file handle, and CFileStatus. Errors are thrown
// as CFileException heap objects (catch by pointer, Delete()); Open reports instead of throwing.
// A CFile can stand under a CArchive: it is an archive stream.
#pragma once

#include "kvdutu/platform/framework/archive.h"
#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/exceptions.h"
#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/framework/time.h"
#include "kvdutu/platform/win_types.h"

struct CFileStatus {
  CTime m_ctime;       // creation
  CTime m_mtime;       // last write
  CTime m_atime;       // last access
  ULONGLONG m_size;
  BYTE m_attribute;    // CFile::Attribute bits
  BYTE _m_padding;
  wchar_t m_szFullName[MAX_PATH];
};

class KVDUTU_API CFile : public CObject, public KvdUtils::Framework::ArchiveStream {
  DECLARE_DYNAMIC(CFile)
 public:
  enum OpenFlags {
    modeRead = 0x00000,
    modeWrite = 0x00001,
    modeReadWrite = 0x00002,
    shareCompat = 0x00000,
    shareExclusive = 0x00010,
    shareDenyWrite = 0x00020,
    shareDenyRead = 0x00030,
    shareDenyNone = 0x00040,
    modeNoInherit = 0x00080,
    typeUnicode = 0x00400,
    modeCreate = 0x01000,
    modeNoTruncate = 0x02000,
    typeText = 0x04000,
    typeBinary = 0x08000,
    osNoBuffer = 0x10000,
    osWriteThrough = 0x20000,
    osRandomAccess = 0x40000,
    osSequentialScan = 0x80000,
  };
  enum Attribute { normal = 0x00, readOnly = 0x01, hidden = 0x02, system = 0x04, volume = 0x08, directory = 0x10, archive = 0x20 };
  enum SeekPosition { begin = 0x0, current = 0x1, end = 0x2 };

  static const HANDLE hFileNull;

  CFile();
  explicit CFile(HANDLE hFile);
  // Opens or throws the CFileException that Open reported.
  CFile(LPCWSTR lpszFileName, UINT nOpenFlags);
  // Closes the file when this object opened it; errors on that close are swallowed.
  ~CFile() override;

  operator HANDLE() const { return m_hFile; }

  // FALSE on failure; pError, when given, receives the cause, the system error and the name as
  // given. The name kept for GetFilePath is the full path.
  virtual BOOL Open(LPCWSTR lpszFileName, UINT nOpenFlags, CFileException* pError = nullptr);

  virtual ULONGLONG GetPosition() const;
  BOOL GetStatus(CFileStatus& rStatus) const;
  virtual CString GetFileName() const;
  virtual CString GetFileTitle() const;
  CString GetFilePath() const override;
  virtual void SetFilePath(LPCWSTR lpszNewName);

  static void Rename(LPCWSTR lpszOldName, LPCWSTR lpszNewName);
  static void Remove(LPCWSTR lpszFileName);
  // FALSE when the path names nothing that a search finds (a drive root, a missing file).
  static BOOL GetStatus(LPCWSTR lpszFileName, CFileStatus& rStatus);
  static void SetStatus(LPCWSTR lpszFileName, const CFileStatus& status);

  ULONGLONG SeekToEnd();
  void SeekToBegin();

  ULONGLONG Seek(LONGLONG lOff, UINT nFrom) override;
  virtual void SetLength(ULONGLONG dwNewLen);
  virtual ULONGLONG GetLength() const;
  UINT Read(void* lpBuf, UINT nCount) override;
  void Write(const void* lpBuf, UINT nCount) override;
  virtual void Abort();
  void Flush() override;
  virtual void Close();

  HANDLE m_hFile;
  BOOL m_bCloseOnDelete;
  CString m_strFileName;
};

namespace KvdUtils::Framework {
// FILETIME for a CTime (UTC, 100 ns since 1601).
KVDUTU_API FILETIME FileTimeFromTime(const CTime& time);
}  // namespace KvdUtils::Framework
