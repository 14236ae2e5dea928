// kvdreg: read, write, list, export and import the settings store from the command line.
// Exit codes: 0 done, 1 not found or failed, 2 bad usage.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "regfile.h"
#include "regstore.h"

#if defined(_WIN32)
#include <shellapi.h>
#endif

using namespace KvdReg;

namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

const char kHelp[] =
    "kvdreg: read and change the settings store.\n"
    "\n"
    "usage:\n"
    "  kvdreg get KEY [VALUE | --ve]           print a value's type and data (no VALUE: the default value)\n"
    "  kvdreg set KEY VALUE|--ve TYPE [DATA]   write a value, making the key when it is missing\n"
    "  kvdreg delete KEY [VALUE | --ve]        delete a value, or the key (-r: with all its subkeys)\n"
    "  kvdreg tree KEY                         list the key, its values and everything below it\n"
    "  kvdreg export KEY FILE                  write the key and everything below it to a .reg file\n"
    "  kvdreg import FILE                      apply a .reg file; nothing is written unless all of it is valid\n"
    "\n"
    "options:\n"
    "  --ve, /ve            the key's default (unnamed) value; so does an empty VALUE (\"\")\n"
    "  -r, --recursive      delete: also delete the subkeys, deepest first\n"
    "  -s, --separator SEP  set REG_MULTI_SZ: what separates the strings in DATA (default: \\0)\n"
    "  -h, --help           this text\n"
    "\n"
    "KEY begins with a hive:\n"
    "  HKEY_CURRENT_USER  (HKCU)   HKEY_LOCAL_MACHINE (HKLM)\n"
    "  HKEY_USERS         (HKU)    HKEY_CLASSES_ROOT  (HKCR)\n"
    "\n"
    "TYPE and DATA:\n"
    "  REG_SZ, REG_EXPAND_SZ  text\n"
    "  REG_MULTI_SZ           strings joined by the separator\n"
    "  REG_DWORD, REG_QWORD   a number, decimal or 0x hexadecimal\n"
    "  REG_BINARY, REG_NONE   hex bytes: 0a1b2c or 0a,1b,2c (REG_NONE: DATA may be left out)\n"
    "\n"
    ".reg files are written as the Windows registry editor writes them (version 5.00, UTF-16LE);\n"
    "REGEDIT4 files and UTF-8 files are read as well.\n"
    "\n"
    "examples:\n"
    "  kvdreg get \"HKCU\\Software\\Korvalinde\\Settings\" \"KV JOURNALING\"\n"
    "  kvdreg set HKCU\\Software\\Korvalinde\\Settings \"Backup Copies\" REG_DWORD 3\n"
    "  kvdreg set \"HKCU\\Software\\Test\" Paths REG_MULTI_SZ -s \";\" \"C:\\a;C:\\b\"\n"
    "  kvdreg delete HKCU\\Software\\Test -r\n"
    "  kvdreg export HKEY_CURRENT_USER\\Software\\Korvalinde settings.reg\n"
    "  kvdreg import settings.reg\n"
    "\n"
    "exit codes: 0 done, 1 not found or failed, 2 bad usage\n";

void out(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

void err(const std::string& s) {
  std::string line = "kvdreg: " + s + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

int usage(const std::string& message) {
  err(message);
  err("see kvdreg --help");
  return kUsage;
}

std::string u8(const std::u16string& s) { return utf16ToUtf8(s); }

std::filesystem::path toPath(const std::u16string& s) {
#if defined(_WIN32)
  return std::filesystem::path(std::wstring(s.begin(), s.end()));
#else
  return std::filesystem::path(utf16ToUtf8(s));
#endif
}

// ---- Data as text --------------------------------------------------------------------------

std::string hexUpper(const std::vector<uint8_t>& data) {
  std::string s;
  char buf[4];
  for (uint8_t b : data) {
    std::snprintf(buf, sizeof buf, "%02X", unsigned(b));
    s += buf;
  }
  return s;
}

uint64_t littleEndian(const std::vector<uint8_t>& data) {
  uint64_t v = 0;
  for (size_t k = data.size(); k-- > 0;) v = (v << 8) | data[k];
  return v;
}

// As reg.exe shows it: strings up to their terminator, multi strings joined by "\0", numbers in hex.
std::string dataText(DWORD type, const std::vector<uint8_t>& data) {
  std::u16string units = bytesToUtf16(data);
  char buf[32];
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      return u8(units.substr(0, units.find(u'\0')));
    case REG_MULTI_SZ: {
      std::string s;
      size_t start = 0;
      while (start < units.size()) {
        size_t end = units.find(u'\0', start);
        if (end == std::u16string::npos) end = units.size();
        if (end == start) break;  // the closing empty string
        if (!s.empty()) s += "\\0";
        s += u8(units.substr(start, end - start));
        start = end + 1;
      }
      return s;
    }
    case REG_DWORD:
      if (data.size() != 4) break;
      std::snprintf(buf, sizeof buf, "0x%x", unsigned(littleEndian(data)));
      return buf;
    case REG_QWORD:
      if (data.size() != 8) break;
      std::snprintf(buf, sizeof buf, "0x%llx", static_cast<unsigned long long>(littleEndian(data)));
      return buf;
  }
  return hexUpper(data);
}

std::string valueLine(const std::u16string& name, bool isDefault, DWORD type, const std::vector<uint8_t>& data) {
  return (isDefault ? std::string("(Default)") : u8(name)) + "    " + typeName(type) + "    " + dataText(type, data);
}

// ---- Data from text ------------------------------------------------------------------------

bool parseNumber(const std::string& s, uint64_t max, uint64_t* out) {
  if (s.empty()) return false;
  bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
  size_t k = hex ? 2 : 0;
  uint64_t v = 0;
  for (; k < s.size(); ++k) {
    int d;
    char c = s[k];
    if (c >= '0' && c <= '9') d = c - '0';
    else if (hex && c >= 'a' && c <= 'f') d = c - 'a' + 10;
    else if (hex && c >= 'A' && c <= 'F') d = c - 'A' + 10;
    else return false;
    uint64_t base = hex ? 16 : 10;
    if (v > (max - uint64_t(d)) / base) return false;
    v = v * base + uint64_t(d);
  }
  *out = v;
  return true;
}

bool parseHexBytes(const std::string& s, std::vector<uint8_t>* out) {
  out->clear();
  auto digit = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (s.find(',') != std::string::npos) {
    size_t start = 0;
    for (;;) {
      size_t end = s.find(',', start);
      std::string tok = s.substr(start, end == std::string::npos ? std::string::npos : end - start);
      while (!tok.empty() && tok.front() == ' ') tok.erase(tok.begin());
      while (!tok.empty() && tok.back() == ' ') tok.pop_back();
      if (tok.empty() || tok.size() > 2) return false;
      int v = 0;
      for (char c : tok) {
        if (digit(c) < 0) return false;
        v = v * 16 + digit(c);
      }
      out->push_back(uint8_t(v));
      if (end == std::string::npos) return true;
      start = end + 1;
    }
  }
  std::string t;
  for (char c : s)
    if (c != ' ') t += c;
  if (t.size() % 2) return false;
  for (size_t k = 0; k < t.size(); k += 2) {
    if (digit(t[k]) < 0 || digit(t[k + 1]) < 0) return false;
    out->push_back(uint8_t(digit(t[k]) * 16 + digit(t[k + 1])));
  }
  return true;
}

bool dataFromText(DWORD type, const std::u16string& text, const std::u16string& separator, std::vector<uint8_t>* out,
                  std::string* why) {
  std::string narrow = u8(text);
  uint64_t n;
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      *out = utf16Bytes(text, true);
      return true;
    case REG_MULTI_SZ: {
      std::u16string all;
      if (!text.empty()) {
        size_t start = 0;
        for (;;) {
          size_t end = separator.empty() ? std::u16string::npos : text.find(separator, start);
          std::u16string item = text.substr(start, end == std::u16string::npos ? std::u16string::npos : end - start);
          if (item.empty()) {
            *why = "REG_MULTI_SZ cannot hold an empty string";
            return false;
          }
          all += item;
          all += u'\0';
          if (end == std::u16string::npos) break;
          start = end + separator.size();
        }
      }
      *out = utf16Bytes(all, true);
      return true;
    }
    case REG_DWORD:
      if (!parseNumber(narrow, 0xFFFFFFFFull, &n)) {
        *why = "REG_DWORD data must be a number from 0 to 4294967295 (or 0x0 to 0xffffffff)";
        return false;
      }
      *out = {uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16), uint8_t(n >> 24)};
      return true;
    case REG_QWORD:
      if (!parseNumber(narrow, ~0ull, &n)) {
        *why = "REG_QWORD data must be a number from 0 to 18446744073709551615 (or 0x hexadecimal)";
        return false;
      }
      out->clear();
      for (int k = 0; k < 8; ++k) out->push_back(uint8_t(n >> (8 * k)));
      return true;
    default:
      if (!parseHexBytes(narrow, out)) {
        *why = typeName(type) + " data must be hex bytes, as 0a1b2c or 0a,1b,2c";
        return false;
      }
      return true;
  }
}

// ---- Commands ------------------------------------------------------------------------------

struct Args {
  std::vector<std::u16string> positional;
  bool defaultValue = false;
  bool recursive = false;
  bool help = false;
  std::u16string separator = u"\\0";
};

bool parseArgs(const std::vector<std::u16string>& argv, Args* a, std::string* bad) {
  for (size_t k = 0; k < argv.size(); ++k) {
    const std::u16string& s = argv[k];
    if (s == u"--ve" || s == u"/ve" || s == u"/VE") {
      a->defaultValue = true;
    } else if (s == u"-r" || s == u"--recursive") {
      a->recursive = true;
    } else if (s == u"-h" || s == u"--help" || s == u"/?") {
      a->help = true;
    } else if (s == u"-s" || s == u"--separator") {
      if (k + 1 >= argv.size()) {
        *bad = "-s needs a separator";
        return false;
      }
      a->separator = argv[++k];
    } else if (s == u"--") {
      a->positional.insert(a->positional.end(), argv.begin() + long(k) + 1, argv.end());
      break;
    } else if (s.size() > 1 && s[0] == u'-' && s[1] == u'-') {
      *bad = "unknown option " + u8(s);
      return false;
    } else {
      a->positional.push_back(s);
    }
  }
  return true;
}

bool keyArg(const std::u16string& text, KeyPath* key) { return parseKeyPath(text, key); }

int openFailed(const KeyPath& key, LONG rc) {
  err("cannot open " + u8(keyPathText(key)) + ": " + errorText(rc));
  return kFailed;
}

int cmdGet(const Args& a) {
  size_t n = a.positional.size();
  if (n < 2 || n > 3 || (a.defaultValue && n != 2)) return usage("get takes KEY and an optional VALUE");
  KeyPath key;
  if (!keyArg(a.positional[1], &key)) return usage("not a key: " + u8(a.positional[1]));
  bool isDefault = n == 2 || a.positional[2].empty();
  std::u16string name = isDefault ? u"" : a.positional[2];
  Key k;
  if (LONG rc = openKey(key, KEY_READ, &k)) return openFailed(key, rc);
  DWORD type = 0;
  std::vector<uint8_t> data;
  if (LONG rc = queryValue(k.get(), isDefault ? nullptr : &name, &type, &data)) {
    err("cannot read " + (isDefault ? std::string("the default value") : "value \"" + u8(name) + "\"") + " of " +
        u8(keyPathText(key)) + ": " + errorText(rc));
    return kFailed;
  }
  out(valueLine(name, isDefault, type, data) + "\n");
  return kOk;
}

int cmdSet(const Args& a) {
  // set KEY VALUE TYPE [DATA], or set KEY --ve TYPE [DATA]
  size_t n = a.positional.size();
  size_t typeAt = a.defaultValue ? 2 : 3;
  if (n < typeAt + 1 || n > typeAt + 2) return usage("set takes KEY, VALUE (or --ve), TYPE and DATA");
  KeyPath key;
  if (!keyArg(a.positional[1], &key)) return usage("not a key: " + u8(a.positional[1]));
  bool isDefault = a.defaultValue || a.positional[2].empty();
  std::u16string name = a.defaultValue ? u"" : a.positional[2];
  if (name.size() > 16383) return usage("a value name is at most 16383 characters long");
  DWORD type;
  if (!typeFromName(u8(a.positional[typeAt]), &type))
    return usage("unknown type " + u8(a.positional[typeAt]) +
                 " (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY, REG_NONE)");
  if (n == typeAt + 1 && type != REG_NONE) return usage("set needs DATA for " + typeName(type));
  std::u16string text = n == typeAt + 2 ? a.positional[typeAt + 1] : u"";
  std::vector<uint8_t> data;
  std::string why;
  if (!dataFromText(type, text, a.separator, &data, &why)) return usage(why);
  Key k;
  if (LONG rc = createKey(key, &k)) {
    err("cannot create " + u8(keyPathText(key)) + ": " + errorText(rc));
    return kFailed;
  }
  if (LONG rc = setValue(k.get(), isDefault ? nullptr : &name, type, data)) {
    err("cannot write " + (isDefault ? std::string("the default value") : "value \"" + u8(name) + "\"") + " of " +
        u8(keyPathText(key)) + ": " + errorText(rc));
    return kFailed;
  }
  return kOk;
}

int cmdDelete(const Args& a) {
  size_t n = a.positional.size();
  if (n < 2 || n > 3 || (a.defaultValue && n != 2)) return usage("delete takes KEY and an optional VALUE");
  KeyPath key;
  if (!keyArg(a.positional[1], &key)) return usage("not a key: " + u8(a.positional[1]));
  if (n == 3 || a.defaultValue) {
    bool isDefault = a.defaultValue || a.positional[2].empty();
    std::u16string name = isDefault ? u"" : a.positional[2];
    Key k;
    if (LONG rc = openKey(key, KEY_SET_VALUE, &k)) return openFailed(key, rc);
    if (LONG rc = deleteValue(k.get(), isDefault ? nullptr : &name)) {
      err("cannot delete " + (isDefault ? std::string("the default value") : "value \"" + u8(name) + "\"") +
          " of " + u8(keyPathText(key)) + ": " + errorText(rc));
      return kFailed;
    }
    return kOk;
  }
  if (key.sub.empty()) return usage("a whole hive cannot be deleted");
  std::vector<std::u16string> children;
  {
    Key k;
    if (LONG rc = openKey(key, KEY_READ, &k)) return openFailed(key, rc);
    if (LONG rc = listSubKeys(k.get(), &children)) return openFailed(key, rc);
  }
  if (!children.empty() && !a.recursive) {
    err(u8(keyPathText(key)) + " has subkeys; give -r to delete them as well");
    return kFailed;
  }
  if (LONG rc = deleteTree(key)) {
    err("cannot delete " + u8(keyPathText(key)) + ": " + errorText(rc));
    return kFailed;
  }
  return kOk;
}

int printTree(const KeyPath& key, const std::u16string& label, int depth) {
  Key k;
  if (LONG rc = openKey(key, KEY_READ, &k)) return openFailed(key, rc);
  std::string indent(size_t(depth) * 2, ' ');
  out(indent + (depth == 0 ? u8(label) : "[" + u8(label) + "]") + "\n");
  std::vector<std::u16string> names;
  if (LONG rc = listValueNames(k.get(), &names)) return openFailed(key, rc);
  for (const auto& name : names) {
    DWORD type;
    std::vector<uint8_t> data;
    if (queryValue(k.get(), name.empty() ? nullptr : &name, &type, &data) != ERROR_SUCCESS) continue;
    out(indent + "  " + valueLine(name, name.empty(), type, data) + "\n");
  }
  std::vector<std::u16string> children;
  if (LONG rc = listSubKeys(k.get(), &children)) return openFailed(key, rc);
  int result = kOk;
  for (const auto& child : children) {
    KeyPath sub{key.hive, key.sub.empty() ? child : key.sub + u'\\' + child};
    if (printTree(sub, child, depth + 1) != kOk) result = kFailed;
  }
  return result;
}

int cmdTree(const Args& a) {
  if (a.positional.size() != 2) return usage("tree takes KEY");
  KeyPath key;
  if (!keyArg(a.positional[1], &key)) return usage("not a key: " + u8(a.positional[1]));
  return printTree(key, keyPathText(key), 0);
}

int cmdExport(const Args& a) {
  if (a.positional.size() != 3) return usage("export takes KEY and FILE");
  KeyPath key;
  if (!keyArg(a.positional[1], &key)) return usage("not a key: " + u8(a.positional[1]));
  Document doc;
  if (LONG rc = collectTree(key, &doc)) {
    err("cannot export " + u8(keyPathText(key)) + ": " + errorText(rc));
    return kFailed;
  }
  std::string bytes = writeRegFile(doc);
  std::ofstream f(toPath(a.positional[2]), std::ios::binary | std::ios::trunc);
  if (!f || !f.write(bytes.data(), std::streamsize(bytes.size())) || !f.flush()) {
    err("cannot write " + u8(a.positional[2]));
    return kFailed;
  }
  return kOk;
}

int cmdImport(const Args& a) {
  if (a.positional.size() != 2) return usage("import takes FILE");
  std::ifstream f(toPath(a.positional[1]), std::ios::binary);
  if (!f) {
    err("cannot read " + u8(a.positional[1]) + ": " + errorText(ERROR_FILE_NOT_FOUND));
    return kFailed;
  }
  std::string bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  Document doc;
  ParseError perr;
  if (!parseRegFile(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &doc, &perr)) {
    err(u8(a.positional[1]) + ", line " + std::to_string(perr.line) + ": " + perr.message +
        "; nothing was imported");
    return kFailed;
  }
  ApplyError aerr;
  if (!applyDocument(doc, &aerr)) {
    err(u8(a.positional[1]) + ", line " + std::to_string(aerr.line) + ": cannot write " + aerr.what + ": " +
        errorText(aerr.code));
    return kFailed;
  }
  return kOk;
}

std::vector<std::u16string> commandLine(int argc, char** argv) {
  std::vector<std::u16string> args;
#if defined(_WIN32)
  // The narrow arguments would lose every character outside the ANSI code page.
  (void)argv;
  int n = 0;
  if (LPWSTR* w = CommandLineToArgvW(GetCommandLineW(), &n)) {
    for (int k = 1; k < n; ++k) args.emplace_back(w[k], w[k] + wcslen(w[k]));
    LocalFree(w);
    return args;
  }
#endif
  for (int k = 1; k < argc; ++k) args.push_back(utf8ToUtf16(argv[k]));
  return args;
}

}  // namespace

int main(int argc, char** argv) {
  Args a;
  std::string bad;
  if (!parseArgs(commandLine(argc, argv), &a, &bad)) return usage(bad);
  if (a.help) {
    out(kHelp);
    return kOk;
  }
  if (a.positional.empty()) {
    std::fwrite(kHelp, 1, sizeof kHelp - 1, stderr);
    return kUsage;
  }
  const std::u16string& cmd = a.positional[0];
  if (cmd == u"get") return cmdGet(a);
  if (cmd == u"set") return cmdSet(a);
  if (cmd == u"delete") return cmdDelete(a);
  if (cmd == u"tree") return cmdTree(a);
  if (cmd == u"export") return cmdExport(a);
  if (cmd == u"import") return cmdImport(a);
  return usage("unknown command " + u8(cmd));
}
