// The accessors are plain string work on the path's own text; each follows its rule to the
// letter, because backup and recovery code builds on the results at the edges.
#include "kvdutu/files/full_path.h"

#include "kvdutu/files/full_path_internal.h"

namespace KvdUtils::File::Detail {

bool isWebLocation(const CString& path) {
  static const wchar_t kHttp[] = L"http";
  if (path.GetLength() < 4) return false;
  const wchar_t* p = path.GetString();
  for (int i = 0; i < 4; ++i) {
    // Only 'H'/'h', 'T'/'t' and 'P'/'p' fold onto the letters of "http" with the ASCII case bit.
    wchar_t c = p[i];
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + (L'a' - L'A'));
    if (c != kHttp[i]) return false;
  }
  return true;
}

int lastSeparator(const CString& path) {
  int slash = path.ReverseFind(L'/');
  if (isWebLocation(path)) return slash;
  int backslash = path.ReverseFind(L'\\');
  return backslash > slash ? backslash : slash;
}

}  // namespace KvdUtils::File::Detail

using KvdUtils::File::Detail::isWebLocation;
using KvdUtils::File::Detail::lastSeparator;

namespace {

// The design file extensions in the order they are compared; the last one is the literal "ext".
const wchar_t* const kDesignExtensions[] = {
    L"KVDASM", L"ASM",    L"KVDDRW", L"DRW",    L"KVDLFP", L"LFP",    L"KVDFTP", L"KVDPRT",
    L"PRT",    L"KVDBLK", L"KVDSYM", L"PRTDOT", L"ASMDOT", L"DRWDOT", L"ext",
};

int nonEmpty(const CString* out) { return out->IsEmpty() ? 0 : 1; }

}  // namespace

suFullPath_c::suFullPath_c() = default;
suFullPath_c::suFullPath_c(const CString& text) : CString(text) {}
suFullPath_c::suFullPath_c(wchar_t ch, int repeat) : CString(ch, repeat) {}
suFullPath_c::suFullPath_c(const char* text) : CString(text) {}
suFullPath_c::suFullPath_c(const wchar_t* text) : CString(text) {}
suFullPath_c::suFullPath_c(const wchar_t* text, int length) : CString(text, length) {}
suFullPath_c::suFullPath_c(const unsigned char* text) : CString(reinterpret_cast<const char*>(text)) {}
suFullPath_c::suFullPath_c(const suFullPath_c& other) : CString(other) {}
suFullPath_c::~suFullPath_c() = default;

suFullPath_c& suFullPath_c::operator=(const suFullPath_c& other) {
  CString::operator=(other);
  return *this;
}

int suFullPath_c::getDrive(CString* out) const {
  if (!out) return 0;
  out->Empty();
  if (IsEmpty() || isWebLocation(*this)) return 0;
  // Any colon counts, wherever it stands.
  int colon = Find(L':');
  if (colon >= 0) *out = Left(colon);
  return nonEmpty(out);
}

int suFullPath_c::getNetDrive(CString* out) const {
  if (!out) return 0;
  *out = *this;
  if (Left(2).Compare(L"\\\\") != 0) return 0;  // the output keeps the whole path
  // From position 3 so that a one-letter server name still has its end found. Without that
  // backslash the second search starts at 0 and finds the leading one: "\\server" gives "".
  int p1 = Find(L'\\', 3);
  int p2 = Find(L'\\', p1 + 1);
  if (p2 >= 0) *out = Left(p2);
  return nonEmpty(out);
}

int suFullPath_c::getDirectory(CString* out, int withSeparator) const {
  if (!out) return 0;
  out->Empty();
  if (IsEmpty()) return 0;
  int p = lastSeparator(*this);
  if (p >= 0) *out = Left(withSeparator ? p + 1 : p);
  return nonEmpty(out);
}

int suFullPath_c::getName(CString* out, int onlyKnownExtension) const {
  if (!out) return 0;
  if (!getNameWithExt(out)) return 0;
  int dot = out->ReverseFind(L'.');
  if (dot < 0) return 1;
  if (onlyKnownExtension) {
    CString extension = out->Mid(dot + 1);
    if (!isKorvalindeExt(extension)) return 1;
  }
  *out = out->Left(dot);
  return nonEmpty(out);
}

int suFullPath_c::getNameWithExt(CString* out) const {
  if (!out) return 0;
  *out = *this;
  if (IsEmpty()) return 0;
  int p = lastSeparator(*this);
  if (p >= 0) *out = Mid(p + 1);
  return nonEmpty(out);
}

int suFullPath_c::getExtension(CString* out) const {
  if (!out) return 0;
  out->Empty();
  if (IsEmpty()) return 0;
  int dot = ReverseFind(L'.');
  if (dot >= 0) *out = Mid(dot + 1);
  return nonEmpty(out);
}

int suFullPath_c::getLowestFolder(CString* out) const {
  if (!out) return 0;
  *out = *this;
  if (IsEmpty()) return 0;
  int p;
  if (isWebLocation(*this)) {
    p = ReverseFind(L'/');
  } else {
    // Only '\' counts here. On \\srv\sh the second backslash is found at once, which leaves "\".
    p = Find(L'\\', Find(L'\\') + 1);
  }
  if (p >= 0) *out = Left(p);
  return nonEmpty(out);
}

int suFullPath_c::isKorvalindeExt(CString& extension) {
  // Plain ASCII text folds alike under every case rule, so it takes a quick road: the list holds
  // names of three and six letters only. Other text goes through the string's own comparison.
  const wchar_t* text = extension.GetString();
  size_t length = 0;
  bool ascii = true;
  for (; text[length]; ++length)
    if (static_cast<unsigned>(text[length]) >= 0x80) ascii = false;
  if (ascii) {
    if (length != 3 && length != 6) return 0;
    auto fold = [](wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; };
    for (const wchar_t* known : kDesignExtensions) {
      size_t i = 0;
      while (i < length && known[i] && fold(text[i]) == fold(known[i])) ++i;
      if (i == length && !known[i]) return 1;
    }
    return 0;
  }
  for (const wchar_t* known : kDesignExtensions)
    if (extension.CompareNoCase(known) == 0) return 1;
  return 0;
}

namespace KvdUtils::File {

int ComparePath(const CString& a, const CString& b) { return a.CompareNoCase(b) == 0 ? 1 : 0; }

}  // namespace KvdUtils::File
