// One value below an open "Software" key of some hive: root text, then section, then the value.
// Shared by the readers and writers of the settings store.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"
#include "kvdutu/settings/value_types.h"

// Opens rootText below softwareKey and section below that (rootText alone when section is
// empty) and reads the value with regGetValue. 0 if a key is missing or the value not found.
KVDUTU_API int readTreeValue(const CString& section, HKEY softwareKey, const CString& rootText,
                             const CString& valueName, valueTypes type, CString& strOut, int* intOut,
                             double* dblOut);

// Creates rootText below softwareKey and section below that, and writes the value: an integer as
// REG_DWORD, a double as its "%.15g" text, a string as one REG_SZ below 2048 bytes and as chunks
// from there (chunks of the name are always deleted first). 1 if the write succeeded.
KVDUTU_API int writeTreeValue(HKEY softwareKey, const CString& section, const CString& rootText,
                              const CString& valueName, valueTypes type, const CString& strValue, int* intValue,
                              double* dblValue);

namespace KvdUtils::Registry {
// The stages of the reading ladder, in the order regGetUserValue takes them.
enum ReadingLadderStage {
  kStageUserCurrent = 1,   // HKEY_CURRENT_USER, the chosen root text
  kStageUserPrevious = 2,  // HKEY_CURRENT_USER, the previous key
  kStageMachine = 3,       // HKEY_LOCAL_MACHINE
  kStageDefaultUser = 4,   // HKEY_USERS\.DEFAULT
  kStageMachineAgain = 5,  // HKEY_LOCAL_MACHINE once more
};
// Tests watch the ladder: the observer is told of each stage just before it reads. Null: none.
using ReadingLadderObserver = void (*)(ReadingLadderStage stage, void* context);
KVDUTU_API void setReadingLadderObserverForTesting(ReadingLadderObserver observer, void* context);
}  // namespace KvdUtils::Registry
