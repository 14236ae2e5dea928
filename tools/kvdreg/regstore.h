// kvdreg's access to the registry, through the library's Win32-style registry operations.
//
// Names are UTF-16 and data the bytes Windows keeps, as in regfile.h; the conversion to the wchar_t
// arrays of the registry interface (UTF-32 units on Linux, sized in UTF-16 bytes) happens here only.
#pragma once

#include <string>
#include <vector>

#include "regfile.h"

namespace KvdReg {

// An open key that closes itself.
class Key {
 public:
  Key() = default;
  ~Key();
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  HKEY get() const { return h_; }
  HKEY* put();

 private:
  HKEY h_ = nullptr;
};

LONG openKey(const KeyPath& key, REGSAM access, Key* out);
LONG createKey(const KeyPath& key, Key* out);

// `name` null for the default value.
LONG queryValue(HKEY key, const std::u16string* name, DWORD* type, std::vector<uint8_t>* data);
LONG setValue(HKEY key, const std::u16string* name, DWORD type, const std::vector<uint8_t>& data);
LONG deleteValue(HKEY key, const std::u16string* name);

LONG listSubKeys(HKEY key, std::vector<std::u16string>* names);
// Value names in the registry's order; the default value, when set, is the empty name.
LONG listValueNames(HKEY key, std::vector<std::u16string>* names);

// Deletes a key and everything below it, deepest keys first.
LONG deleteTree(const KeyPath& key);

// The key and all keys below it, each followed by its subkeys, as the registry editor exports.
LONG collectTree(const KeyPath& key, Document* doc);

struct ApplyError {
  int line = 0;  // the file line of the section or value that failed
  LONG code = ERROR_SUCCESS;
  std::string what;  // UTF-8: the key or value concerned
};

// Checks what can be known before writing (rights to write each key or its nearest existing
// parent, and that keys of HKEY_USERS name a profile that is there), then
// applies the sections in order: creates keys, sets and deletes values, deletes key trees.
bool applyDocument(const Document& doc, ApplyError* err);

// "Access is denied. (error 5)": the system message of a Win32 error code.
std::string errorText(LONG code);

}  // namespace KvdReg
