// suFullPath_c: a file location that takes itself apart into drive, network share, folder, name
// and extension by plain string work.
//
// Three kinds of location: a drive path (C:\dir\name.ext), a network path
// (\\server\share\dir\name.ext) and a web location, which is any text whose first four characters
// are "http" in any case (so a local "httpd.log" counts as one too, on purpose). A web location
// splits on '/' alone; every other path splits on '\' and '/' alike, whichever stands further
// right.
//
// The accessors never normalise, never look at the disk and never throw. Callers (backup, recovery
// and file-search code) depend on their exact results at the edges, odd ones included:
//  * getDrive, getDirectory and getExtension clear the output first;
//  * getName, getNameWithExt and getLowestFolder start from the whole path;
//  * getNetDrive returns 0 with the whole path in the output for a path that does not begin
//    with "\\".
// Unless said otherwise an accessor returns 1 when its output is non-empty afterwards, else 0.
// A null output pointer is refused with 0.
//
// Only operator== asks the platform: it maps a drive to the network share behind it
// (WNetGetConnectionW) or to the administrative form \\HOST\C (GetComputerNameW) before it
// compares without regard to case.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API suFullPath_c : public CString {
 public:
  suFullPath_c();
  suFullPath_c(const CString& text);
  suFullPath_c(wchar_t ch, int repeat);
  suFullPath_c(const char* text);
  suFullPath_c(const wchar_t* text);
  suFullPath_c(const wchar_t* text, int length);
  suFullPath_c(const unsigned char* text);
  suFullPath_c(const suFullPath_c& other);
  ~suFullPath_c();

  suFullPath_c& operator=(const suFullPath_c& other);

  // The text before the first ':' anywhere in the path ("C" for C:\a). Empty for a web location
  // and for a path without a colon.
  int getDrive(CString* out) const;
  // \\server\share of a path that begins with "\\"; "\\server" alone gives an empty output.
  int getNetDrive(CString* out) const;
  // The text before the last separator, with that separator when withSeparator is non-zero.
  int getDirectory(CString* out, int withSeparator) const;
  // The name behind the last separator without its extension; with onlyKnownExtension non-zero
  // the extension goes only if it is a design file extension.
  int getName(CString* out, int onlyKnownExtension) const;
  // The text behind the last separator; the whole path if there is none.
  int getNameWithExt(CString* out) const;
  // The text behind the last '.' of the whole path; separators are not looked at.
  int getExtension(CString* out) const;
  // The path up to its first folder (C:\top of C:\top\sub\f); for a web location the text before
  // its last '/'.
  int getLowestFolder(CString* out) const;

  // 1 if the extension, given without its dot, is one of the design file extensions.
  static int isKorvalindeExt(CString& extension);

  // 1 if both paths name the same location once drives are replaced by the share or
  // administrative form behind them, '/' by '\' and doubled separators behind a drive by one.
  int operator==(const suFullPath_c& other) const;
  // The string's own inequality: the texts differ, case counted. Declared here because C++20
  // would otherwise rewrite != through the int-valued operator== above and refuse it.
  bool operator!=(const suFullPath_c& other) const { return Compare(other) != 0; }
};

namespace KvdUtils::File {

// 1 if the two texts are equal without regard to case; no other work (C:\a and C:/a differ).
KVDUTU_API int ComparePath(const CString& a, const CString& b);

}  // namespace KvdUtils::File
