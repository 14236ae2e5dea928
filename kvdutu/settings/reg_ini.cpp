#include "kvdutu/settings/reg_ini_internal.h"

#include "kvdutu/settings/registry_roots_internal.h"

#include <cstdio>
#include <string>
#include <vector>

namespace KvdUtils::Registry {

namespace {

// Set by tests only; empty means the file beside the executable.
CString& pathOverride() {
  static CString path;
  return path;
}

// Streams that the readers leave open. Held here so that they stay reachable until the process
// ends (the list is never freed, as the streams are never closed).
std::vector<FILE*>& openStreams() {
  static std::vector<FILE*>* streams = new std::vector<FILE*>();
  return *streams;
}

// The blanks of the runtime's "%s" conversion in the "C" locale.
bool isTokenSpace(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

// One token as "%s" reads it, without its width limit; false at the end of the file. A Ctrl-Z
// ends a text-mode stream of the Microsoft runtime, and so it does here on every platform.
bool nextToken(FILE* stream, std::string& token) {
  token.clear();
  int c;
  do {
    c = std::fgetc(stream);
  } while (c != EOF && c != 0x1A && isTokenSpace(c));
  if (c == EOF || c == 0x1A) return false;
  while (c != EOF && c != 0x1A && !isTokenSpace(c)) {
    token.push_back(static_cast<char>(c));
    c = std::fgetc(stream);
  }
  // A blank or Ctrl-Z that ended the token stays unread, as the runtime puts it back.
  if (c != EOF) std::ungetc(c, stream);
  return true;
}

}  // namespace

CString regIniPath() {
  if (!pathOverride().IsEmpty()) return pathOverride();
  CString folder;
  if (!getExecutableFolder(folder)) folder.Empty();
  return folder + L"\\reg.ini";
}

void setRegIniPathForTesting(const CString& path) { pathOverride() = path; }

FILE* openRegIniStream(const CString& path) {
#if defined(_WIN32)
  return _wfopen(path.GetString(), L"r");
#else
  // Windows-form path: either slash separates.
  CStringA narrow(path);
  std::string native(narrow.GetString(), static_cast<size_t>(narrow.GetLength()));
  for (char& c : native)
    if (c == '\\') c = '/';
  return std::fopen(native.c_str(), "r");
#endif
}

int scanRegIniToken(FILE* stream, const wchar_t* prefix, CString& value) {
  if (stream == nullptr || prefix == nullptr || *prefix == 0) return 0;
  const int prefixLength = CString(prefix).GetLength();
  std::string token;
  while (nextToken(stream, token)) {
    // Through the system code page; a zero byte ends the text as it ends a C string.
    CString wide(token.c_str());
    const int at = wide.Find(prefix);
    if (at < 0) continue;
    value = wide.Mid(at + prefixLength);
    return 1;
  }
  return 0;
}

int readRegIniToken(const wchar_t* prefix, CString& value) {
  FILE* stream = openRegIniStream(regIniPath());
  if (stream == nullptr) return 0;
  openStreams().push_back(stream);
  return scanRegIniToken(stream, prefix, value);
}

int utf16Length(const CString& text) {
  int units = 0;
  for (int i = 0; i < text.GetLength(); ++i) units += static_cast<unsigned long>(text[i]) > 0xFFFF ? 2 : 1;
  return units;
}

}  // namespace KvdUtils::Registry
