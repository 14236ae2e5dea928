// CStdioFile: a buffered file with lines, as the Microsoft C runtime's streams behave under the
// framework's class, on every platform:
//  - Text mode (the default, or typeText): "\n" is written as "\r\n", "\r\n" is read as "\n", a
//    Ctrl-Z byte ends the input. Wide text is converted through the system code page (UTF-8 on
//    Linux) as it is written and read.
//  - Binary mode (typeBinary): bytes go through unchanged; wide text is UTF-16LE units, so a line
//    read back keeps its "\r" before the "\n".
//  - The stream's mode follows the open flags as the framework builds it: modeWrite without
//    modeCreate, and modeCreate with modeNoTruncate, append (every write goes to the end).
// ReadString(CString&) drops the "\n" and says FALSE only at the end of the data; the buffer form
// reads at most nMax - 1 characters, keeps the "\n", and returns null at the end. Write errors
// throw CFileException::diskFull, read errors genericException.
#pragma once

#include "kvdutu/platform/framework/file.h"

namespace KvdUtils::Framework {
class StdioStream;
}

class KVDUTU_API CStdioFile : public CFile {
  DECLARE_DYNAMIC(CStdioFile)
 public:
  CStdioFile();
  CStdioFile(LPCWSTR lpszFileName, UINT nOpenFlags);
  ~CStdioFile() override;

  BOOL Open(LPCWSTR lpszFileName, UINT nOpenFlags, CFileException* pError = nullptr) override;

  virtual void WriteString(LPCWSTR lpsz);
  virtual LPWSTR ReadString(LPWSTR lpsz, UINT nMax);
  virtual BOOL ReadString(CString& rString);

  ULONGLONG GetPosition() const override;
  ULONGLONG GetLength() const override;
  ULONGLONG Seek(LONGLONG lOff, UINT nFrom) override;
  void SetLength(ULONGLONG dwNewLen) override;
  UINT Read(void* lpBuf, UINT nCount) override;
  void Write(const void* lpBuf, UINT nCount) override;
  void Abort() override;
  void Flush() override;
  void Close() override;

  // Null while no file is open.
  KvdUtils::Framework::StdioStream* m_pStream;
};
