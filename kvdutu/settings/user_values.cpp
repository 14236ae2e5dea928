#include "kvdutu/settings/user_values.h"

#include "kvdutu/platform/os/registry.h"
#include "kvdutu/settings/chunked_strings_internal.h"
#include "kvdutu/settings/numeric_text_internal.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/registry_roots_internal.h"
#include "kvdutu/settings/tree_values_internal.h"
#include "kvdutu/settings/utf16_text_internal.h"

namespace P = KvdUtils::Platform;
namespace R = KvdUtils::Registry;

namespace {

// Read limits, in bytes as the registry counts them (UTF-16 for text).
constexpr DWORD kStringBytes = 2048;
constexpr DWORD kDoubleBytes = 256;

R::ReadingLadderObserver g_ladderObserver = nullptr;
void* g_ladderContext = nullptr;

void enterStage(R::ReadingLadderStage stage) {
  if (g_ladderObserver) g_ladderObserver(stage, g_ladderContext);
}

// The value whose root text this is falls back to nothing.
bool isViewerRoot(const CString& rootText) {
  return rootText == R::getCurrKorvalindeRegRootKey() + L"\\Korvalinde 2001 Viewer";
}

// The output that goes with the type must be there.
bool hasOutput(valueTypes type, const int* intOut, const double* dblOut) {
  if (type == valueTypeInt) return intOut != nullptr;
  if (type == valueTypeString) return true;
  return dblOut != nullptr;
}

// "Software" of the machine hive, read one more time.
int readMachineStage(const CString& section, const CString& rootText, const CString& valueName, valueTypes type,
                     CString& strOut, int* intOut, double* dblOut) {
  HKEY software = nullptr;
  if (P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &software) != ERROR_SUCCESS) return 0;
  const int found = readTreeValue(section, software, rootText, valueName, type, strOut, intOut, dblOut);
  P::RegCloseKey(software);
  return found;
}

}  // namespace

namespace KvdUtils::Registry {
void setReadingLadderObserverForTesting(ReadingLadderObserver observer, void* context) {
  g_ladderObserver = observer;
  g_ladderContext = context;
}
}  // namespace KvdUtils::Registry

int regGetValue(HKEY key, const CString& valueName, valueTypes type, CString& strOut, int* intOut, double* dblOut) {
  if (key == nullptr || !hasOutput(type, intOut, dblOut)) return 0;
  DWORD valueType = REG_NONE;
  if (type == valueTypeInt) {
    DWORD data = 0;
    DWORD size = sizeof(data);
    if (P::RegQueryValueExW(key, valueName, nullptr, &valueType, reinterpret_cast<BYTE*>(&data), &size) !=
            ERROR_SUCCESS ||
        valueType != REG_DWORD)
      return 0;
    *intOut = static_cast<int>(data);
  } else if (type == valueTypeString) {
    wchar_t buffer[kStringBytes / 2];
    DWORD size = kStringBytes;
    if (P::RegQueryValueExW(key, valueName, nullptr, &valueType, reinterpret_cast<BYTE*>(buffer), &size) ==
        ERROR_SUCCESS) {
      if (valueType != REG_SZ) return 0;
      strOut = R::textOfBuffer(buffer, kStringBytes / 2);
    } else if (!readLongString(strOut, key, valueName)) {
      // Missing or too long for one read: either way the chunks decide.
      return 0;
    }
  } else {
    wchar_t buffer[kDoubleBytes / 2];
    DWORD size = kDoubleBytes;
    if (P::RegQueryValueExW(key, valueName, nullptr, &valueType, reinterpret_cast<BYTE*>(buffer), &size) !=
            ERROR_SUCCESS ||
        valueType != REG_SZ)
      return 0;
    R::scanRegDouble(R::textOfBuffer(buffer, kDoubleBytes / 2), dblOut);
  }
  return 1;
}

int readTreeValue(const CString& section, HKEY softwareKey, const CString& rootText, const CString& valueName,
                  valueTypes type, CString& strOut, int* intOut, double* dblOut) {
  HKEY root = nullptr;
  if (P::RegOpenKeyExW(softwareKey, rootText, 0, KEY_READ, &root) != ERROR_SUCCESS) return 0;
  HKEY key = root;
  if (!section.IsEmpty()) {
    const LONG rc = P::RegOpenKeyExW(root, section, 0, KEY_READ, &key);
    P::RegCloseKey(root);
    if (rc != ERROR_SUCCESS) return 0;
  }
  const int found = regGetValue(key, valueName, type, strOut, intOut, dblOut);
  P::RegCloseKey(key);
  return found;
}

int regGetUserValue(const CString& section, const CString& valueName, valueTypes type, CString& strOut, int* intOut,
                    double* dblOut, int skipUser, int versioned, CString* altRoot, int userOnly, int readInSafeMode,
                    int readPrevious, int readInPerfMode) {
  if (!hasOutput(type, intOut, dblOut)) return 0;
  const CString rootText = altRoot ? *altRoot : versioned ? getCurrentSubKeyFilled() : R::getCurrKorvalindeRegRootKey();

  bool userAllowed = true;
  if (regGetUseSafeMode())
    userAllowed = readInSafeMode != 0;
  else if (regGetUsePerformanceTestMode())
    userAllowed = readInPerfMode != 0;

  if (!skipUser && userAllowed) {
    HKEY software = nullptr;
    if (P::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &software) != ERROR_SUCCESS) return 0;
    enterStage(R::kStageUserCurrent);
    int found = readTreeValue(section, software, rootText, valueName, type, strOut, intOut, dblOut);
    if (!found && isViewerRoot(rootText)) {
      P::RegCloseKey(software);
      return 0;
    }
    if (!found && readPrevious) {
      // Whatever the root text was, the previous version's key stands in for it.
      enterStage(R::kStageUserPrevious);
      found = readTreeValue(section, software, getPreviousSubKey(), valueName, type, strOut, intOut, dblOut);
    }
    P::RegCloseKey(software);
    if (found) return 1;
  }
  if (userOnly) return 0;

  enterStage(R::kStageMachine);
  if (readMachineStage(section, rootText, valueName, type, strOut, intOut, dblOut)) return 1;

  HKEY defaultUser = nullptr;
  if (P::RegOpenKeyExW(HKEY_USERS, L".DEFAULT", 0, KEY_READ, &defaultUser) != ERROR_SUCCESS) return 0;
  HKEY software = nullptr;
  const LONG rc = P::RegOpenKeyExW(defaultUser, L"Software", 0, KEY_READ, &software);
  P::RegCloseKey(defaultUser);
  if (rc != ERROR_SUCCESS) return 0;
  enterStage(R::kStageDefaultUser);
  const int found = readTreeValue(section, software, rootText, valueName, type, strOut, intOut, dblOut);
  P::RegCloseKey(software);
  if (found) return 1;

  // The machine hive is asked a second time; the order of the ladder includes this repetition.
  enterStage(R::kStageMachineAgain);
  return readMachineStage(section, rootText, valueName, type, strOut, intOut, dblOut);
}

int regGetUserValue(const CString& section, const CString& valueName, CString& out, int skipUser, int versioned,
                    CString* altRoot, int userOnly, int readInSafeMode, int readInPerfMode) {
  return regGetUserValue(section, valueName, valueTypeString, out, nullptr, nullptr, skipUser, versioned, altRoot,
                         userOnly, readInSafeMode, 1, readInPerfMode);
}

int regGetUserValue(const CString& section, const CString& valueName, int* out, int skipUser, int versioned,
                    CString* altRoot, int userOnly, int readInSafeMode, int readInPerfMode) {
  CString unused;
  return regGetUserValue(section, valueName, valueTypeInt, unused, out, nullptr, skipUser, versioned, altRoot,
                         userOnly, readInSafeMode, 1, readInPerfMode);
}

int regGetUserValue(const CString& section, const CString& valueName, double* out, int skipUser, int versioned,
                    CString* altRoot, int userOnly, int readInSafeMode, int readInPerfMode) {
  CString unused;
  return regGetUserValue(section, valueName, valueTypeDouble, unused, nullptr, out, skipUser, versioned, altRoot,
                         userOnly, readInSafeMode, 1, readInPerfMode);
}

int writeTreeValue(HKEY softwareKey, const CString& section, const CString& rootText, const CString& valueName,
                   valueTypes type, const CString& strValue, int* intValue, double* dblValue) {
  if (!hasOutput(type, intValue, dblValue)) return 0;
  HKEY root = nullptr;
  if (P::RegCreateKeyW(softwareKey, rootText, &root) != ERROR_SUCCESS) return 0;
  // An empty section is the root key itself (RegCreateKeyW may hand back the same handle for it).
  HKEY key = root;
  if (!section.IsEmpty()) {
    const LONG rc = P::RegCreateKeyW(root, section, &key);
    P::RegCloseKey(root);
    if (rc != ERROR_SUCCESS) return 0;
  }

  int written = 0;
  if (type == valueTypeInt) {
    const DWORD data = static_cast<DWORD>(*intValue);
    written = P::RegSetValueExW(key, valueName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof(data)) ==
              ERROR_SUCCESS;
  } else if (type == valueTypeString) {
    // The size as the registry counts it: UTF-16 units, terminator included.
    const DWORD size = static_cast<DWORD>(R::toUtf16(strValue).size()) * 2 + 2;
    deleteLongStringChunks(valueName, key);
    if (size < kStringBytes)
      written = P::RegSetValueExW(key, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(strValue.GetString()),
                                  R::regSzSize(strValue)) == ERROR_SUCCESS;
    else
      written = writeLongString(key, valueName, strValue);
  } else {
    const CString text = R::formatRegDouble(*dblValue);
    written = P::RegSetValueExW(key, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.GetString()),
                                R::regSzSize(text)) == ERROR_SUCCESS;
  }
  P::RegCloseKey(key);
  return written ? 1 : 0;
}

int regSetUserValue(const CString& section, const CString& valueName, valueTypes type, const CString& strValue,
                    int* intValue, double* dblValue, int versioned, int writeInSafeMode, int writeInPerfMode) {
  const CString rootText = versioned ? getCurrentSubKeyFilled() : R::getCurrKorvalindeRegRootKey();
  // Each mode has its own test: with both on, both overrides are needed.
  if (regGetUseSafeMode() && !writeInSafeMode) return 1;
  if (regGetUsePerformanceTestMode() && !writeInPerfMode) return 1;
  HKEY software = nullptr;
  if (P::RegOpenKeyW(HKEY_CURRENT_USER, L"Software", &software) != ERROR_SUCCESS) return 0;
  const int written = writeTreeValue(software, section, rootText, valueName, type, strValue, intValue, dblValue);
  P::RegCloseKey(software);
  return written;
}

int regSetUserValue(const CString& section, const CString& valueName, CString& value, int versioned,
                    int writeInSafeMode, int writeInPerfMode) {
  return regSetUserValue(section, valueName, valueTypeString, value, nullptr, nullptr, versioned, writeInSafeMode,
                         writeInPerfMode);
}

int regSetUserValue(const CString& section, const CString& valueName, int* value, int versioned, int writeInSafeMode,
                    int writeInPerfMode) {
  return regSetUserValue(section, valueName, valueTypeInt, CString(), value, nullptr, versioned, writeInSafeMode,
                         writeInPerfMode);
}

int regSetUserValue(const CString& section, const CString& valueName, double* value, int versioned,
                    int writeInSafeMode, int writeInPerfMode) {
  return regSetUserValue(section, valueName, valueTypeDouble, CString(), nullptr, value, versioned, writeInSafeMode,
                         writeInPerfMode);
}
