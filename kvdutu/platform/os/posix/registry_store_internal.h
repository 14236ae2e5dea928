// The hive store behind the registry operations: one SQLite database per hive (see
// kvdutu/platform/os/registry.h for the files and the schema). Names here are UTF-16 (char16_t)
// and value data raw bytes; the wchar_t boundary is in registry.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform::RegistryStore {

using Name = std::u16string;
using Bytes = std::string;

constexpr int64_t kRootKeyId = 1;
constexpr size_t kMaxKeyNameUnits = 255;
constexpr size_t kMaxValueNameUnits = 16383;

enum class HiveId { ClassesRoot = 0, CurrentUser, LocalMachine, UsersDefault, Count };

// One fixed upper-case mapping per UTF-16 unit.
KVDUTU_API char16_t upcaseUnit(char16_t c);

struct KeyInfo {
  DWORD subKeys = 0, maxSubKeyLen = 0, values = 0, maxValueNameLen = 0, maxValueLen = 0;
  int64_t mtime = 0;
};

// Every function returns a Win32 error code. `key` is a key id within the hive; a key id that no
// longer exists gives ERROR_KEY_DELETED. Thread-safe.
class Hive;
Hive& hive(HiveId id);

// Walks `path` below `key`; ERROR_FILE_NOT_FOUND when a component is missing.
LONG openPath(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out);
// Walks and creates what is missing, all in one transaction. `created` tells whether the last
// component was made.
LONG createPath(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out, bool* created);
// Deletes the key at `path` below `key` (the key itself when `path` is empty); a key with subkeys
// or the hive root gives ERROR_ACCESS_DENIED.
LONG deletePath(Hive& h, int64_t key, const std::vector<Name>& path);
LONG keyExists(Hive& h, int64_t key);
// False when the hive's file (or folder) may not be written; writes then fail with ERROR_ACCESS_DENIED.
bool hiveIsWritable(Hive& h);
LONG queryValue(Hive& h, int64_t key, const Name& name, DWORD* type, Bytes* data);
LONG setValue(Hive& h, int64_t key, const Name& name, DWORD type, const Bytes& data);
LONG deleteValue(Hive& h, int64_t key, const Name& name);
LONG enumKey(Hive& h, int64_t key, DWORD index, Name* name, int64_t* mtime);
LONG enumValue(Hive& h, int64_t key, DWORD index, Name* name, DWORD* type, Bytes* data);
LONG queryInfo(Hive& h, int64_t key, KeyInfo* info);

// For tests: the database file of a hive, and forgetting every open connection so that the next
// call opens the files afresh (as a new process would).
KVDUTU_API std::string hiveFilePath(HiveId id);
KVDUTU_API void resetForTesting();

// The value cache's bounds: values of more than kValueCacheMaxValueBytes are not kept.
constexpr size_t kValueCacheMaxEntries = 4096;
constexpr size_t kValueCacheMaxBytes = size_t(1) << 20;
constexpr size_t kValueCacheMaxValueBytes = 16384;

struct CacheStats {
  size_t values = 0, valueBytes = 0, edges = 0;
};
KVDUTU_API CacheStats cacheStatsForTesting(HiveId id);

// For tests that kill a writer mid-write: called, when set, after the writer has announced its
// write in the hive's change counters (Begun) and after its COMMIT (Committed), before it records
// the end. One relaxed load per write when unset.
enum class WritePoint { Begun, Committed };
using WriteHook = void (*)(WritePoint);
KVDUTU_API void setWriteHookForTesting(WriteHook hook);

}  // namespace KvdUtils::Platform::RegistryStore
