#include "regfile.h"

#include <cstdio>

#if defined(_WIN32)
#include "kvdutu/platform/os/text.h"
#endif

namespace KvdReg {

namespace {

constexpr size_t kMaxKeyComponent = 255;  // UTF-16 units, as Windows limits a key name
constexpr size_t kMaxValueName = 16383;
// regedit breaks a hex line once it reaches this many characters (the '\' then makes 78 at most).
constexpr size_t kHexLineWidth = 77;

const char16_t kHeader5[] = u"Windows Registry Editor Version 5.00";
const char16_t kHeader4[] = u"REGEDIT4";

bool isSpace(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view trimLeft(std::u16string_view s) {
  size_t i = 0;
  while (i < s.size() && isSpace(s[i])) ++i;
  return s.substr(i);
}

std::u16string_view trimRight(std::u16string_view s) {
  size_t n = s.size();
  while (n > 0 && isSpace(s[n - 1])) --n;
  return s.substr(0, n);
}

char16_t upper(char16_t c) { return (c >= u'a' && c <= u'z') ? char16_t(c - 32) : c; }

bool equalsAsciiNoCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (upper(a[i]) != upper(b[i])) return false;
  return true;
}

bool startsWithNoCase(std::u16string_view s, std::u16string_view prefix) {
  return s.size() >= prefix.size() && equalsAsciiNoCase(s.substr(0, prefix.size()), prefix);
}

int hexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// ---- Character sets ------------------------------------------------------------------------

// Strict UTF-8 check: tells a UTF-8 file from one in a legacy ANSI code page.
bool isValidUtf8(const uint8_t* s, size_t n) {
  size_t i = 0;
  while (i < n) {
    uint8_t c = s[i];
    size_t len;
    uint32_t cp;
    if (c < 0x80) {
      ++i;
      continue;
    } else if (c >= 0xC2 && c <= 0xDF) {
      len = 2;
      cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      len = 3;
      cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > n) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (s[i + k] & 0x3F);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp < 0xE000))
      return false;
    i += len;
  }
  return true;
}

void appendCodePoint(uint32_t cp, std::u16string* out) {
  if (cp < 0x10000) {
    out->push_back(char16_t(cp));
  } else {
    cp -= 0x10000;
    out->push_back(char16_t(0xD800 + (cp >> 10)));
    out->push_back(char16_t(0xDC00 + (cp & 0x3FF)));
  }
}

// Narrow text of a file: UTF-8 when it is valid UTF-8, else the ANSI code page (which is UTF-8
// on Linux, where the bad sequences then become U+FFFD).
std::u16string decodeNarrow(const uint8_t* s, size_t n) {
  if (isValidUtf8(s, n)) return utf8ToUtf16(std::string_view(reinterpret_cast<const char*>(s), n));
#if defined(_WIN32)
  if (n > 0 && n < 0x7FFFFFFF) {
    const auto* src = reinterpret_cast<const char*>(s);
    int len = KvdUtils::Platform::MultiByteToWideChar(CP_ACP, 0, src, int(n), nullptr, 0);
    if (len > 0) {
      std::wstring w(size_t(len), L'\0');
      KvdUtils::Platform::MultiByteToWideChar(CP_ACP, 0, src, int(n), w.data(), len);
      return std::u16string(w.begin(), w.end());
    }
  }
#endif
  return utf8ToUtf16(std::string_view(reinterpret_cast<const char*>(s), n));
}

std::u16string decodeUtf16(const uint8_t* s, size_t n, bool bigEndian) {
  std::u16string out;
  out.reserve(n / 2);
  for (size_t i = 0; i + 1 < n; i += 2)
    out.push_back(bigEndian ? char16_t((s[i] << 8) | s[i + 1]) : char16_t(s[i] | (s[i + 1] << 8)));
  return out;
}

// The text of a file, whatever of the accepted encodings it is in.
std::u16string decodeFile(const uint8_t* b, size_t n) {
  if (n >= 2 && b[0] == 0xFF && b[1] == 0xFE) return decodeUtf16(b + 2, n - 2, false);
  if (n >= 2 && b[0] == 0xFE && b[1] == 0xFF) return decodeUtf16(b + 2, n - 2, true);
  if (n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) return decodeNarrow(b + 3, n - 3);
  // Without a mark: the first character of either header is ASCII, so a zero byte beside it
  // gives UTF-16 away.
  if (n >= 2 && b[0] != 0 && b[1] == 0) return decodeUtf16(b, n, false);
  if (n >= 2 && b[0] == 0 && b[1] != 0) return decodeUtf16(b, n, true);
  return decodeNarrow(b, n);
}

std::vector<std::u16string_view> splitLines(const std::u16string& text) {
  std::vector<std::u16string_view> lines;
  std::u16string_view all(text);
  size_t start = 0;
  for (size_t i = 0; i < all.size(); ++i) {
    if (all[i] == u'\r' || all[i] == u'\n') {
      lines.push_back(all.substr(start, i - start));
      if (all[i] == u'\r' && i + 1 < all.size() && all[i + 1] == u'\n') ++i;
      start = i + 1;
    }
  }
  if (start < all.size()) lines.push_back(all.substr(start));
  return lines;
}

// ---- Reading -------------------------------------------------------------------------------

class Parser {
 public:
  Parser(const uint8_t* bytes, size_t size) : text_(decodeFile(bytes, size)), lines_(splitLines(text_)) {}

  bool run(Document* doc, ParseError* err) {
    err_ = err;
    if (lines_.empty()) return fail(1, "the file is empty");
    std::u16string_view header = trimRight(lines_[0]);
    if (header == kHeader5) {
      doc->unicode = true;
    } else if (header == kHeader4) {
      doc->unicode = false;
    } else {
      return fail(1, "not a registry file: the first line must be \"Windows Registry Editor Version 5.00\" or "
                     "\"REGEDIT4\"");
    }
    unicode_ = doc->unicode;
    Section* current = nullptr;
    for (i_ = 1; i_ < lines_.size(); ++i_) {
      std::u16string_view s = trimLeft(lines_[i_]);
      if (s.empty() || s[0] == u';' || s[0] == u'#') continue;
      if (s[0] == u'[') {
        Section section;
        if (!parseKeyLine(s, &section)) return false;
        doc->sections.push_back(std::move(section));
        current = &doc->sections.back();
      } else if (s[0] == u'"' || s[0] == u'@') {
        if (!current) return fail(lineNo(), "a value stands before any [key] line");
        if (current->remove) return fail(lineNo(), "a value stands under a key that the file deletes");
        Value value;
        value.line = lineNo();
        if (!parseValueLine(s, &value)) return false;
        current->values.push_back(std::move(value));
      } else {
        return fail(lineNo(), "expected a [key] line, a value line or a comment");
      }
    }
    return true;
  }

 private:
  int lineNo() const { return int(i_) + 1; }

  bool fail(int line, std::string message) {
    err_->line = line;
    err_->message = std::move(message);
    return false;
  }

  // Whatever follows an item on its line must be blank or a comment.
  bool restIsEmpty(std::u16string_view rest) {
    rest = trimLeft(rest);
    return rest.empty() || rest[0] == u';';
  }

  bool parseKeyLine(std::u16string_view s, Section* section) {
    section->line = lineNo();
    // Key names may hold ']' themselves: the last one on the line closes.
    size_t close = s.rfind(u']');
    if (close == std::u16string_view::npos) return fail(lineNo(), "a key line without its closing ']'");
    if (!restIsEmpty(s.substr(close + 1))) return fail(lineNo(), "text after the closing ']' of a key line");
    std::u16string_view inner = s.substr(1, close - 1);
    if (!inner.empty() && inner[0] == u'-') {
      section->remove = true;
      inner.remove_prefix(1);
    }
    if (!parseKeyPath(inner, &section->key))
      return fail(lineNo(), "not a key of a known hive (HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS, "
                            "HKEY_CLASSES_ROOT), or a key name that is empty or longer than 255 characters");
    if (section->remove && section->key.sub.empty()) return fail(lineNo(), "a whole hive cannot be deleted");
    return true;
  }

  // A quoted string starting at s[0] == '"'; sets *end past the closing quote.
  bool parseQuoted(std::u16string_view s, std::u16string* out, size_t* end) {
    out->clear();
    for (size_t k = 1; k < s.size(); ++k) {
      char16_t c = s[k];
      if (c == u'"') {
        *end = k + 1;
        return true;
      }
      if (c == u'\\') {
        if (++k >= s.size()) break;
        switch (s[k]) {
          case u'\\': out->push_back(u'\\'); break;
          case u'"': out->push_back(u'"'); break;
          // Line breaks cannot stand in a line; Wine's regedit writes them so.
          case u'n': out->push_back(u'\n'); break;
          case u'r': out->push_back(u'\r'); break;
          default: return fail(lineNo(), "an unknown escape in a quoted string (only \\\\ and \\\" are known)");
        }
        continue;
      }
      out->push_back(c);
    }
    return fail(lineNo(), "a quoted string without its closing quote");
  }

  bool parseValueLine(std::u16string_view s, Value* value) {
    size_t pos;
    if (s[0] == u'@') {
      value->isDefault = true;
      pos = 1;
    } else {
      if (!parseQuoted(s, &value->name, &pos)) return false;
      if (value->name.size() > kMaxValueName) return fail(lineNo(), "a value name longer than 16383 characters");
    }
    std::u16string_view rest = trimLeft(s.substr(pos));
    if (rest.empty() || rest[0] != u'=') return fail(lineNo(), "expected '=' after the value name");
    rest = trimLeft(rest.substr(1));

    if (!rest.empty() && rest[0] == u'-') {
      if (!restIsEmpty(rest.substr(1))) return fail(lineNo(), "text after '-' of a value deletion");
      value->remove = true;
      return true;
    }
    if (!rest.empty() && rest[0] == u'"') {
      std::u16string str;
      size_t end;
      if (!parseQuoted(rest, &str, &end)) return false;
      if (!restIsEmpty(rest.substr(end))) return fail(lineNo(), "text after the closing quote of a string value");
      value->type = REG_SZ;
      value->data = utf16Bytes(str, true);
      return true;
    }
    if (startsWithNoCase(rest, u"dword:")) {
      rest.remove_prefix(6);
      uint32_t v = 0;
      size_t k = 0;
      for (; k < rest.size() && hexDigit(rest[k]) >= 0; ++k) {
        if (k == 8) return fail(lineNo(), "a dword of more than 8 hex digits");
        v = (v << 4) | uint32_t(hexDigit(rest[k]));
      }
      if (k == 0) return fail(lineNo(), "a dword without its hex digits");
      if (!restIsEmpty(rest.substr(k))) return fail(lineNo(), "text after the hex digits of a dword");
      value->type = REG_DWORD;
      value->data = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
      return true;
    }
    if (startsWithNoCase(rest, u"hex")) {
      rest.remove_prefix(3);
      DWORD type = REG_BINARY;
      if (!rest.empty() && rest[0] == u'(') {
        size_t k = 1;
        uint32_t t = 0;
        for (; k < rest.size() && hexDigit(rest[k]) >= 0; ++k) {
          if (k > 8) return fail(lineNo(), "a hex(type) of more than 8 hex digits");
          t = (t << 4) | uint32_t(hexDigit(rest[k]));
        }
        if (k == 1 || k >= rest.size() || rest[k] != u')') return fail(lineNo(), "a malformed hex(type)");
        type = t;
        rest.remove_prefix(k + 1);
      }
      if (rest.empty() || rest[0] != u':') return fail(lineNo(), "expected ':' after hex");
      value->type = type;
      if (!parseHexBytes(rest.substr(1), &value->data)) return false;
      // REGEDIT4 files hold these two as ANSI bytes; the registry keeps UTF-16.
      if (!unicode_ && (type == REG_EXPAND_SZ || type == REG_MULTI_SZ))
        value->data = utf16Bytes(decodeNarrow(value->data.data(), value->data.size()), false);
      return true;
    }
    return fail(lineNo(), "unknown value data (expected \"string\", dword:, hex: or hex(type):, or -)");
  }

  // Comma-separated bytes; a line ending in '\' continues on the next. May advance i_.
  bool parseHexBytes(std::u16string_view text, std::vector<uint8_t>* out) {
    out->clear();
    int acc = 0;
    int digits = 0;     // of the byte being read
    bool gap = false;   // a space after some of its digits
    for (;;) {
      std::u16string_view t = trimRight(text);
      size_t comment = t.find(u';');
      if (comment != std::u16string_view::npos) t = trimRight(t.substr(0, comment));
      bool more = !t.empty() && t.back() == u'\\';
      if (more) t.remove_suffix(1);
      for (char16_t c : t) {
        if (isSpace(c)) {
          gap = digits > 0;
          continue;
        }
        if (c == u',') {
          if (digits == 0) return fail(lineNo(), "an empty byte between commas in hex data");
          out->push_back(uint8_t(acc));
          acc = digits = 0;
          gap = false;
          continue;
        }
        int d = hexDigit(c);
        if (d < 0) return fail(lineNo(), "a character that is not a hex digit in hex data");
        if (gap) return fail(lineNo(), "a space inside a byte of hex data");
        if (++digits > 2) return fail(lineNo(), "a byte of more than two hex digits in hex data (missing comma?)");
        acc = acc * 16 + d;
      }
      if (!more) break;
      // The next line continues this value; comment lines between are skipped, as regedit does.
      do {
        if (i_ + 1 >= lines_.size()) return fail(lineNo(), "the file ends inside hex data that a '\\' continues");
        ++i_;
        text = trimLeft(lines_[i_]);
      } while (!text.empty() && text[0] == u';');
    }
    if (digits > 0) out->push_back(uint8_t(acc));  // a trailing comma is accepted as well
    return true;
  }

  std::u16string text_;
  std::vector<std::u16string_view> lines_;
  size_t i_ = 0;
  bool unicode_ = true;
  ParseError* err_ = nullptr;
};

// ---- Writing -------------------------------------------------------------------------------

std::u16string escape(std::u16string_view s, bool breaks) {
  std::u16string out;
  out.reserve(s.size() + 2);
  for (char16_t c : s) {
    if (c == u'\\' || c == u'"') {
      out.push_back(u'\\');
      out.push_back(c);
    } else if (breaks && c == u'\n') {
      out += u"\\n";
    } else if (breaks && c == u'\r') {
      out += u"\\r";
    } else {
      out.push_back(c);
    }
  }
  return out;
}

// A REG_SZ that reads back to the same bytes from "..." form: terminated once, at the end, and
// with no line break (regedit would write one raw and break the file). Others go as hex(1).
bool quotable(const std::vector<uint8_t>& data) {
  if (data.size() < 2 || data.size() % 2) return false;
  size_t units = data.size() / 2;
  for (size_t k = 0; k < units; ++k) {
    char16_t c = char16_t(data[2 * k] | (data[2 * k + 1] << 8));
    bool last = k + 1 == units;
    if ((c == 0) != last) return false;
    if (c == u'\r' || c == u'\n') return false;
  }
  return true;
}

std::u16string ascii(const char* s) { return std::u16string(s, s + std::char_traits<char>::length(s)); }

void writeHex(std::u16string* out, size_t lineLen, DWORD type, const std::vector<uint8_t>& data) {
  char buf[24];
  if (type == REG_BINARY)
    std::snprintf(buf, sizeof buf, "hex:");
  else
    std::snprintf(buf, sizeof buf, "hex(%x):", unsigned(type));
  *out += ascii(buf);
  lineLen += std::char_traits<char>::length(buf);
  // regedit's rule: each byte adds "xx,"; once the line has reached the width it is broken
  // with '\' and the next line is indented by two spaces.
  for (size_t k = 0; k < data.size(); ++k) {
    std::snprintf(buf, sizeof buf, "%02x", unsigned(data[k]));
    *out += ascii(buf);
    if (k + 1 == data.size()) break;
    *out += u',';
    lineLen += 3;
    if (lineLen >= kHexLineWidth) {
      *out += u"\\\r\n  ";
      lineLen = 2;
    }
  }
}

}  // namespace

// ---- Key paths -----------------------------------------------------------------------------

bool parseKeyPath(std::u16string_view text, KeyPath* out) {
  struct Name {
    const char16_t* longName;
    const char16_t* shortName;
    Hive hive;
  };
  static const Name kNames[] = {
      {u"HKEY_CURRENT_USER", u"HKCU", Hive::CurrentUser},
      {u"HKEY_LOCAL_MACHINE", u"HKLM", Hive::LocalMachine},
      {u"HKEY_USERS", u"HKU", Hive::Users},
      {u"HKEY_CLASSES_ROOT", u"HKCR", Hive::ClassesRoot},
  };
  size_t slash = text.find(u'\\');
  std::u16string_view hive = text.substr(0, slash);
  const Name* found = nullptr;
  for (const Name& n : kNames)
    if (equalsAsciiNoCase(hive, n.longName) || equalsAsciiNoCase(hive, n.shortName)) found = &n;
  if (!found) return false;
  std::u16string_view sub = slash == std::u16string_view::npos ? std::u16string_view() : text.substr(slash + 1);
  if (!sub.empty() && sub.back() == u'\\') sub.remove_suffix(1);
  if (!sub.empty()) {
    size_t start = 0;
    for (;;) {
      size_t end = sub.find(u'\\', start);
      size_t len = (end == std::u16string_view::npos ? sub.size() : end) - start;
      if (len == 0 || len > kMaxKeyComponent) return false;
      if (end == std::u16string_view::npos) break;
      start = end + 1;
    }
  }
  out->hive = found->hive;
  out->sub = std::u16string(sub);
  return true;
}

std::u16string hiveName(Hive hive) {
  switch (hive) {
    case Hive::ClassesRoot: return u"HKEY_CLASSES_ROOT";
    case Hive::CurrentUser: return u"HKEY_CURRENT_USER";
    case Hive::LocalMachine: return u"HKEY_LOCAL_MACHINE";
    case Hive::Users: return u"HKEY_USERS";
  }
  return u"";
}

std::u16string keyPathText(const KeyPath& key) {
  std::u16string s = hiveName(key.hive);
  if (!key.sub.empty()) s += u'\\' + key.sub;
  return s;
}

HKEY hiveHandle(Hive hive) {
  switch (hive) {
    case Hive::ClassesRoot: return HKEY_CLASSES_ROOT;
    case Hive::CurrentUser: return HKEY_CURRENT_USER;
    case Hive::LocalMachine: return HKEY_LOCAL_MACHINE;
    case Hive::Users: return HKEY_USERS;
  }
  return HKEY_CURRENT_USER;
}

// ---- Files ---------------------------------------------------------------------------------

bool parseRegFile(const uint8_t* bytes, size_t size, Document* out, ParseError* err) {
  Document doc;
  ParseError ignored;
  Parser parser(bytes, size);
  if (!parser.run(&doc, err ? err : &ignored)) {
    *out = Document();
    return false;
  }
  *out = std::move(doc);
  return true;
}

std::string writeRegFile(const Document& doc) {
  std::u16string text = kHeader5;
  text += u"\r\n\r\n";
  for (const Section& section : doc.sections) {
    text += section.remove ? u"[-" : u"[";
    text += keyPathText(section.key);
    text += u"]\r\n";
    if (!section.remove) {
      for (const Value& v : section.values) {
        std::u16string line = v.isDefault ? std::u16string(u"@=") : u"\"" + escape(v.name, true) + u"\"=";
        if (v.remove) {
          line += u'-';
        } else if (v.type == REG_SZ && quotable(v.data)) {
          std::u16string s = bytesToUtf16(v.data);
          s.pop_back();  // the terminator
          line += u'"' + escape(s, false) + u'"';
        } else if (v.type == REG_DWORD && v.data.size() == 4) {
          char buf[16];
          uint32_t d = uint32_t(v.data[0]) | uint32_t(v.data[1]) << 8 | uint32_t(v.data[2]) << 16 |
                       uint32_t(v.data[3]) << 24;
          std::snprintf(buf, sizeof buf, "dword:%08x", unsigned(d));
          line += ascii(buf);
        } else {
          writeHex(&line, line.size(), v.type, v.data);
        }
        text += line;
        text += u"\r\n";
      }
    }
    text += u"\r\n";
  }
  std::string out;
  out.reserve(2 + text.size() * 2);
  out += '\xFF';
  out += '\xFE';
  for (char16_t c : text) {
    out += char(c & 0xFF);
    out += char(c >> 8);
  }
  return out;
}

// ---- Helpers -------------------------------------------------------------------------------

std::u16string utf8ToUtf16(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  size_t i = 0;
  const auto* b = reinterpret_cast<const uint8_t*>(s.data());
  while (i < s.size()) {
    uint8_t c = b[i];
    size_t len = c < 0x80 ? 1 : (c >= 0xC2 && c <= 0xDF) ? 2 : (c >= 0xE0 && c <= 0xEF) ? 3 : (c >= 0xF0 && c <= 0xF4) ? 4 : 0;
    if (len == 1) {
      out.push_back(c);
      ++i;
      continue;
    }
    uint32_t cp = len == 2 ? (c & 0x1F) : len == 3 ? (c & 0x0F) : (c & 0x07);
    size_t k = 1;
    for (; len && k < len && i + k < s.size() && (b[i + k] & 0xC0) == 0x80; ++k) cp = (cp << 6) | (b[i + k] & 0x3F);
    bool ok = len && k == len && !(len == 3 && cp < 0x800) && !(len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) &&
              !(cp >= 0xD800 && cp < 0xE000);
    if (!ok) {
      out.push_back(u'\xFFFD');
      i += k > 1 ? k : 1;  // skip the lead byte and the continuation bytes it took
      continue;
    }
    appendCodePoint(cp, &out);
    i += len;
  }
  return out;
}

std::string utf16ToUtf8(std::u16string_view s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    uint32_t cp = s[i];
    if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp < 0xE000) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out += char(cp);
    } else if (cp < 0x800) {
      out += char(0xC0 | (cp >> 6));
      out += char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      out += char(0xE0 | (cp >> 12));
      out += char(0x80 | ((cp >> 6) & 0x3F));
      out += char(0x80 | (cp & 0x3F));
    } else {
      out += char(0xF0 | (cp >> 18));
      out += char(0x80 | ((cp >> 12) & 0x3F));
      out += char(0x80 | ((cp >> 6) & 0x3F));
      out += char(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

std::vector<uint8_t> utf16Bytes(std::u16string_view s, bool terminate) {
  std::vector<uint8_t> out;
  out.reserve(2 * s.size() + 2);
  for (char16_t c : s) {
    out.push_back(uint8_t(c & 0xFF));
    out.push_back(uint8_t(c >> 8));
  }
  if (terminate) out.insert(out.end(), {0, 0});
  return out;
}

std::u16string bytesToUtf16(const std::vector<uint8_t>& data) {
  std::u16string out;
  out.reserve(data.size() / 2);
  for (size_t k = 0; k + 1 < data.size(); k += 2) out.push_back(char16_t(data[k] | (data[k + 1] << 8)));
  return out;
}

std::string typeName(DWORD type) {
  switch (type) {
    case REG_NONE: return "REG_NONE";
    case REG_SZ: return "REG_SZ";
    case REG_EXPAND_SZ: return "REG_EXPAND_SZ";
    case REG_BINARY: return "REG_BINARY";
    case REG_DWORD: return "REG_DWORD";
    case REG_DWORD_BIG_ENDIAN: return "REG_DWORD_BIG_ENDIAN";
    case REG_LINK: return "REG_LINK";
    case REG_MULTI_SZ: return "REG_MULTI_SZ";
    case 8: return "REG_RESOURCE_LIST";
    case 9: return "REG_FULL_RESOURCE_DESCRIPTOR";
    case 10: return "REG_RESOURCE_REQUIREMENTS_LIST";
    case REG_QWORD: return "REG_QWORD";
  }
  char buf[24];
  std::snprintf(buf, sizeof buf, "0x%x", unsigned(type));
  return buf;
}

bool typeFromName(std::string_view name, DWORD* type) {
  static const struct {
    const char* name;
    DWORD type;
  } kTypes[] = {{"REG_NONE", REG_NONE},     {"REG_SZ", REG_SZ},       {"REG_EXPAND_SZ", REG_EXPAND_SZ},
                {"REG_BINARY", REG_BINARY}, {"REG_DWORD", REG_DWORD}, {"REG_MULTI_SZ", REG_MULTI_SZ},
                {"REG_QWORD", REG_QWORD}};
  for (const auto& t : kTypes) {
    if (name == t.name) {
      *type = t.type;
      return true;
    }
  }
  return false;
}

}  // namespace KvdReg
