// The system registry: open, create, read, write, delete and enumerate keys and values.
//
// On Windows these are the real advapi32 functions. Elsewhere they are implemented over one SQLite
// database per hive, with the Win32 signatures, semantics and error codes:
//
//  * Hive files. In $KVDUTU_REGISTRY_DIR when set (all four there); otherwise the current user's
//    hive in $XDG_CONFIG_HOME/kvdutu/registry (~/.config/kvdutu/registry when unset) and the
//    machine hives in /var/lib/kvdutu/registry:
//        HKEY_CURRENT_USER      HKCU.db
//        HKEY_LOCAL_MACHINE     HKLM.db
//        HKEY_USERS\.DEFAULT    HKU.DEFAULT.db
//        HKEY_CLASSES_ROOT      HKCR.db
//    (each with its SQLite -wal and -shm companions and a change counter file "<file>-gen").
//    HKEY_USERS itself is a virtual key whose one
//    subkey is ".DEFAULT". A hive whose file cannot be made (a machine folder the user may not
//    write) reads as empty and refuses writes with ERROR_ACCESS_DENIED; so does a read-only file.
//    A file that is not a database or is corrupt is renamed to "<file>.corrupt-<unix time>" (never
//    emptied), the call that found it fails with ERROR_REGISTRY_CORRUPT, and the next call starts
//    a fresh hive.
//
//  * Schema (user_version 1):
//        keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,
//             name BLOB NOT NULL, folded BLOB NOT NULL, mtime INTEGER NOT NULL,
//             UNIQUE(parent, folded))
//        vals(id INTEGER PRIMARY KEY AUTOINCREMENT, key INTEGER NOT NULL,
//             name BLOB NOT NULL, folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,
//             UNIQUE(key, folded))
//    The hive's root key is keys.id 1 (parent 0). `name` is the name as created, UTF-16LE;
//    `folded` is the name upper-cased unit by unit with a fixed table (never the locale), stored
//    UTF-16BE so that byte order is the order of the folded units: names compare without regard
//    to case, subkeys enumerate in folded order, values in creation order (vals.id). Ids are never
//    reused, so a handle to a deleted key answers ERROR_KEY_DELETED even if the name comes back.
//    `data` holds the value's bytes as Windows keeps them; the string types (REG_SZ,
//    REG_EXPAND_SZ, REG_MULTI_SZ) as UTF-16LE, so every size in bytes is the Windows size.
//    `mtime` is the key's last write time as a FILETIME count.
//
//  * Strings at this interface. Data of the string types goes in and out as wchar_t arrays whose
//    sizes are counted in UTF-16 bytes, 2 per character with the terminator, as on Windows: a
//    buffer of cbData bytes is an array of cbData/2 wchar_t. Data of other types is raw bytes.
//    Name lengths (lpcchName ...) count wchar_t; the limits (255 per key name component, 16383 per
//    value name) and the longest-name figures of RegQueryInfoKeyW count UTF-16 units.
//
//  * Several threads and processes may use the hives at once: WAL with synchronous=FULL, one
//    transaction per call, writes under BEGIN IMMEDIATE, waits on a busy hive instead of failing.
//    Every call that returned ERROR_SUCCESS for a write is durable. REG_OPTION_VOLATILE keys are
//    kept like others.
//
//  * Caching. Each process remembers the key paths it walked and the values it read or wrote
//    (bounded), and trusts them only while the hive's change counter file shows that no write
//    began since: a write by another process is seen by the next read. "<file>-gen" is 4096 bytes,
//    made once by the first process that may write the hive, with the hive file's mode (and
//    owner, for root), never truncated; bytes 0-7 hold `begun` and bytes 8-15 `ended`, 64-bit
//    counters in the machine's byte order, changed atomically through a shared mapping. Every
//    transaction that changes the hive, under SQLite's write lock and before COMMIT, sets ended
//    to begun (closing the write of a writer that was killed) and increments begun; after COMMIT
//    it raises ended to its own begun value. begun != ended sends readers to SQLite. A process that
//    may write the hive but not this file is refused writes with ERROR_ACCESS_DENIED; where the
//    file cannot be made at all, every process checks SQLite's data_version on each walk instead.
//    Like the -wal and -shm files it must not be deleted while the hive is in use.
#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform {

#if defined(_WIN32)

using ::RegCloseKey;
using ::RegCreateKeyExW;
using ::RegCreateKeyW;
using ::RegDeleteKeyW;
using ::RegDeleteValueW;
using ::RegEnumKeyExW;
using ::RegEnumValueW;
using ::RegFlushKey;
using ::RegOpenKeyExW;
using ::RegOpenKeyW;
using ::RegQueryInfoKeyW;
using ::RegQueryValueExW;
using ::RegQueryValueW;
using ::RegSetValueExW;
using ::RegSetValueW;

#else

KVDUTU_API LONG RegOpenKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult);
KVDUTU_API LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult);
KVDUTU_API LONG RegCreateKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult);
KVDUTU_API LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass, DWORD dwOptions,
                                REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                                PHKEY phkResult, LPDWORD lpdwDisposition);
KVDUTU_API LONG RegCloseKey(HKEY hKey);
KVDUTU_API LONG RegQueryValueW(HKEY hKey, LPCWSTR lpSubKey, LPWSTR lpData, PLONG lpcbData);
KVDUTU_API LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                                 LPBYTE lpData, LPDWORD lpcbData);
KVDUTU_API LONG RegSetValueW(HKEY hKey, LPCWSTR lpSubKey, DWORD dwType, LPCWSTR lpData, DWORD cbData);
KVDUTU_API LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType, const BYTE* lpData,
                               DWORD cbData);
KVDUTU_API LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);
KVDUTU_API LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);
KVDUTU_API LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                              LPWSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime);
KVDUTU_API LONG RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
                              LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
KVDUTU_API LONG RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                                 LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                                 LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                                 LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime);
// Every acknowledged write is already on disk; this only checks the handle.
KVDUTU_API LONG RegFlushKey(HKEY hKey);

#endif

}  // namespace KvdUtils::Platform
