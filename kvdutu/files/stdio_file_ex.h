// su_CStdioFileEx: a stdio file that carries whether the opened file holds Unicode text.
//
// This library only keeps and reports the flag; deciding it (typically with su_IsFileUnicode when
// a file is opened for reading) belongs to the code that derives from this class. A new object
// says false.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/stdio_file.h"

class KVDUTU_API su_CStdioFileEx : public CStdioFile {
 public:
  su_CStdioFileEx();
  ~su_CStdioFileEx() override;

  bool IsFileUnicodeText();

 protected:
  bool m_bIsUnicodeText;
};
