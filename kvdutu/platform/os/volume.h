// Volumes: free space, drive type, label. On POSIX a "root" may be any existing folder (mapped
// drive roots included); the answer is that of the file system it lies on.
//  - GetDriveTypeW: DRIVE_REMOTE for a drive mapped to a share and for network file systems,
//    DRIVE_REMOVABLE when the block device under the file system says so in
//    /sys/block/<dev>/removable, DRIVE_CDROM for ISO 9660 and UDF, DRIVE_RAMDISK for tmpfs and
//    ramfs, DRIVE_FIXED otherwise, DRIVE_NO_ROOT_DIR when the path does not exist or cannot be
//    mapped.
//  - The volume label is the file system's label from /dev/disk/by-label when it has one, else
//    empty. SetVolumeLabelW cannot store a label: it stands in for the question "does this volume
//    take writes" and fails with ERROR_WRITE_PROTECT on a read-only mount, succeeding otherwise.
//    A read-only mount also shows FILE_READ_ONLY_VOLUME in the file system flags.
//  - SetErrorMode keeps the mode word only; there are no critical-error boxes to suppress.
#pragma once

#include "kvdutu/platform/win_types.h"

#if !defined(_WIN32)
#define DRIVE_UNKNOWN 0u
#define DRIVE_NO_ROOT_DIR 1u
#define DRIVE_REMOVABLE 2u
#define DRIVE_FIXED 3u
#define DRIVE_REMOTE 4u
#define DRIVE_CDROM 5u
#define DRIVE_RAMDISK 6u

#define SEM_FAILCRITICALERRORS 0x0001u
#define SEM_NOGPFAULTERRORBOX 0x0002u
#define SEM_NOALIGNMENTFAULTEXCEPT 0x0004u
#define SEM_NOOPENFILEERRORBOX 0x8000u

#define FILE_CASE_SENSITIVE_SEARCH 0x00000001u
#define FILE_CASE_PRESERVED_NAMES 0x00000002u
#define FILE_UNICODE_ON_DISK 0x00000004u
#define FILE_PERSISTENT_ACLS 0x00000008u
#define FILE_SUPPORTS_HARD_LINKS 0x00400000u
#define FILE_READ_ONLY_VOLUME 0x00080000u
#endif

namespace KvdUtils::Platform {
#if defined(_WIN32)
using ::GetDiskFreeSpaceExW;
using ::GetDiskFreeSpaceW;
using ::GetDriveTypeW;
using ::GetVolumeInformationW;
using ::SetErrorMode;
using ::SetVolumeLabelW;
#else
// Sectors of 512 bytes; counts beyond 32 bits are clamped to 0xFFFFFFFF. Free clusters are those
// the caller may use. A null or empty root means the current folder.
KVDUTU_API BOOL GetDiskFreeSpaceW(LPCWSTR lpRootPathName, LPDWORD lpSectorsPerCluster, LPDWORD lpBytesPerSector,
                                  LPDWORD lpNumberOfFreeClusters, LPDWORD lpTotalNumberOfClusters);
KVDUTU_API BOOL GetDiskFreeSpaceExW(LPCWSTR lpDirectoryName, PULARGE_INTEGER lpFreeBytesAvailableToCaller,
                                    PULARGE_INTEGER lpTotalNumberOfBytes, PULARGE_INTEGER lpTotalNumberOfFreeBytes);
KVDUTU_API UINT GetDriveTypeW(LPCWSTR lpRootPathName);
// The serial number is the low 32 bits of the file system id; the file system name is the
// kernel's name in upper case ("EXT4", "TMPFS", "BTRFS" ...).
KVDUTU_API BOOL GetVolumeInformationW(LPCWSTR lpRootPathName, LPWSTR lpVolumeNameBuffer, DWORD nVolumeNameSize,
                                      LPDWORD lpVolumeSerialNumber, LPDWORD lpMaximumComponentLength,
                                      LPDWORD lpFileSystemFlags, LPWSTR lpFileSystemNameBuffer,
                                      DWORD nFileSystemNameSize);
KVDUTU_API BOOL SetVolumeLabelW(LPCWSTR lpRootPathName, LPCWSTR lpVolumeName);
KVDUTU_API UINT SetErrorMode(UINT uMode);
#endif
}  // namespace KvdUtils::Platform
