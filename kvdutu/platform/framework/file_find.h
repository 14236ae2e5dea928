// CFileFind: the framework's folder search. FindFile starts it; each FindNextFile moves to the next
// entry and says whether there is one more after it, so the last entry is used after a FALSE:
//
//   CFileFind finder;
//   BOOL more = finder.FindFile(L"C:\\designs\\*.KVDPRT");
//   while (more) { more = finder.FindNextFile(); use(finder.GetFilePath()); }
//
// Before the first FindNextFile, and after Close, the entry getters answer empty or 0.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/framework/time.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/win_types.h"

class KVDUTU_API CFileFind : public CObject {
  DECLARE_DYNAMIC(CFileFind)
 public:
  CFileFind();
  ~CFileFind() override;

  // pstrName null: "*.*" in the current folder. FALSE with the system's last error when nothing
  // matches or the folder does not exist.
  virtual BOOL FindFile(LPCWSTR pstrName = nullptr, DWORD dwUnused = 0);
  virtual BOOL FindNextFile();
  void Close();

  ULONGLONG GetLength() const;
  virtual CString GetFileName() const;
  virtual CString GetFilePath() const;
  virtual CString GetFileTitle() const;
  // The folder searched, as a full path with its trailing separator.
  virtual CString GetRoot() const;

  virtual BOOL GetLastWriteTime(FILETIME* pTimeStamp) const;
  virtual BOOL GetLastAccessTime(FILETIME* pTimeStamp) const;
  virtual BOOL GetCreationTime(FILETIME* pTimeStamp) const;
  virtual BOOL GetLastWriteTime(CTime& refTime) const;
  virtual BOOL GetLastAccessTime(CTime& refTime) const;
  virtual BOOL GetCreationTime(CTime& refTime) const;

  virtual BOOL MatchesMask(DWORD dwMask) const;
  virtual BOOL IsDots() const;
  BOOL IsReadOnly() const { return MatchesMask(0x01); }
  BOOL IsDirectory() const { return MatchesMask(0x10); }
  BOOL IsCompressed() const { return MatchesMask(0x800); }
  BOOL IsSystem() const { return MatchesMask(0x04); }
  BOOL IsHidden() const { return MatchesMask(0x02); }
  BOOL IsTemporary() const { return MatchesMask(0x100); }
  BOOL IsNormal() const { return MatchesMask(0x80); }
  BOOL IsArchived() const { return MatchesMask(0x20); }

 protected:
  WIN32_FIND_DATAW* m_pFoundInfo;
  WIN32_FIND_DATAW* m_pNextInfo;
  HANDLE m_hContext;
  CString m_strRoot;
  wchar_t m_chDirSeparator;
};
