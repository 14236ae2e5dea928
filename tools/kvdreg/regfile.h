// The registry editor's text format (.reg files) and the key paths that kvdreg accepts.
//
// A file is read into a Document in one pass that checks everything and touches nothing, so that a
// bad file can be refused as a whole; applying it to the registry is a separate step (regstore.h).
// Writing always produces what the Windows registry editor writes: "Windows Registry Editor Version
// 5.00", UTF-16LE with a byte order mark, CRLF line ends, hex lines wrapped at its column width.
// Reading accepts that, the same text in UTF-8 or UTF-16 without a mark, and "REGEDIT4" files in the
// ANSI code page (UTF-8 on Linux).
//
// Names and key paths are UTF-16 (the registry's own units), so a file means the same thing on
// every platform; value data is the bytes the registry keeps (strings as UTF-16LE).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kvdutu/platform/win_types.h"

namespace KvdReg {

enum class Hive { ClassesRoot, CurrentUser, LocalMachine, Users };

// A key: its hive and the path below it ("" for the hive's root), components joined by '\'.
struct KeyPath {
  Hive hive = Hive::CurrentUser;
  std::u16string sub;
};

// "HKEY_CURRENT_USER\Software\X" or "HKCU\Software\X" (hive names without regard to case). A
// trailing backslash is dropped; an empty component or one longer than 255 units is refused.
bool parseKeyPath(std::u16string_view text, KeyPath* out);
std::u16string hiveName(Hive hive);         // the long name, "HKEY_CURRENT_USER"
std::u16string keyPathText(const KeyPath& key);  // long hive name and path
HKEY hiveHandle(Hive hive);

struct Value {
  int line = 0;  // where it stood in the file that was read (0 when made in code)
  bool isDefault = false;  // "@": the key's default (unnamed) value
  std::u16string name;
  bool remove = false;  // "name"=-
  DWORD type = REG_NONE;
  std::vector<uint8_t> data;
};

struct Section {
  int line = 0;
  KeyPath key;
  bool remove = false;  // [-HKEY_...]: the key and everything below it
  std::vector<Value> values;
};

struct Document {
  bool unicode = true;  // "Windows Registry Editor Version 5.00" rather than "REGEDIT4"
  std::vector<Section> sections;
};

struct ParseError {
  int line = 0;  // 1-based line of the file
  std::string message;  // UTF-8
};

// Reads and checks a whole file. On failure `out` is left empty and `err` names the first bad line.
bool parseRegFile(const uint8_t* bytes, size_t size, Document* out, ParseError* err);

// The file's bytes, in the form the Windows registry editor exports.
std::string writeRegFile(const Document& doc);

// ---- Helpers shared by the tool and its tests ----------------------------------------------

std::u16string utf8ToUtf16(std::string_view s);  // invalid sequences become U+FFFD
std::string utf16ToUtf8(std::u16string_view s);  // lone surrogates become U+FFFD
std::vector<uint8_t> utf16Bytes(std::u16string_view s, bool terminate);  // UTF-16LE
std::u16string bytesToUtf16(const std::vector<uint8_t>& data);  // an odd last byte is dropped

// "REG_SZ" ..., or "REG_0x1234" style for types without a name; and back (exact names only).
std::string typeName(DWORD type);
bool typeFromName(std::string_view name, DWORD* type);

}  // namespace KvdReg
