// fileAccess: a line-oriented text file over the framework's stdio file.
//
// Every operation goes through the virtual operations of CStdioFile (Open, both ReadString forms,
// WriteString), so a subclass that redirects those redirects this class too. It adds no state.
//
// ReadLine has two forms, chosen by `anyLength`:
//  * zero: at most 258 characters per call, with the line end kept in `line`. A longer line
//    arrives in pieces over several calls; only the last piece ends in "\n". The result is the
//    number of characters read, so an empty line gives 1 and 0 means the end of the file. A
//    piece that fills the whole buffer (259 characters, which only a subclass's ReadString can
//    deliver) also gives 0, with the text left in `line`: callers treat it like the end. The
//    length is taken from the first zero character, so a zero character cuts a piece short, and
//    one at the start of a piece reads as the end of the file.
//  * non-zero: a whole line of any length without its line end; the result is its length plus
//    one, so again only the end of the file gives 0.
//
// WriteLine and WritePartLine are the same operation and neither adds a line end: existing callers
// put the "\n" into the text themselves.
//
// Read and write errors arrive as the file class's CFileException and are not caught here.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/stdio_file.h"

class KVDUTU_API fileAccess : public CStdioFile {
 public:
  fileAccess();
  ~fileAccess() override;

  // The file's Open without an exception record, so nothing is thrown: 1 opened, 0 not.
  int SafeOpen(const CString& name, unsigned int flags);
  int ReadLine(CString& line, int anyLength);
  void WriteLine(const CString& text);
  void WritePartLine(const CString& text);
};
