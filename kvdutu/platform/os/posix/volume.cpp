// Volumes on POSIX: statvfs for space and the read-only flag, /proc/self/mountinfo for the file
// system's name, sysfs for removable devices, /dev/disk/by-label for labels.
#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/posix/text_internal.h"
#include "kvdutu/platform/os/volume.h"

namespace KvdUtils::Platform {
namespace {

using namespace detail;

bool mapRoot(LPCWSTR root, std::string& native) {
  if (!root || !*root) {
    native = ".";
    return true;
  }
  DWORD error = 0;
  if (!toNativePath(root, native, error)) {
    SetLastError(error);
    return false;
  }
  return true;
}

// The file system type of the mount that holds `dev` ("ext4", "tmpfs" ...), from the mount table.
std::string fileSystemType(const std::string& native, dev_t dev) {
  std::ifstream in("/proc/self/mountinfo");
  std::string line, found;
  size_t bestLength = 0;
  char real[PATH_MAX];
  std::string path = ::realpath(native.c_str(), real) ? std::string(real) : native;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string id, parent, majmin, root, mountPoint;
    fields >> id >> parent >> majmin >> root >> mountPoint;
    unsigned maj = 0, min = 0;
    if (std::sscanf(majmin.c_str(), "%u:%u", &maj, &min) != 2 || makedev(maj, min) != dev) continue;
    size_t dash = line.find(" - ");
    if (dash == std::string::npos) continue;
    std::istringstream rest(line.substr(dash + 3));
    std::string type;
    rest >> type;
    // Several mounts may share a device (bind mounts); the deepest one that holds the path wins.
    const bool holds = mountPoint == "/" || path == mountPoint || path.rfind(mountPoint + "/", 0) == 0;
    if (found.empty() || (holds && mountPoint.size() >= bestLength)) {
      found = type;
      if (holds) bestLength = mountPoint.size();
    }
  }
  return found;
}

bool removableDevice(dev_t dev) {
  char link[64];
  std::snprintf(link, sizeof link, "/sys/dev/block/%u:%u", major(dev), minor(dev));
  char real[PATH_MAX];
  if (!::realpath(link, real)) return false;
  std::string device(real);
  // A partition's own folder has no "removable"; its disk's folder above it has.
  for (int level = 0; level < 2; ++level) {
    std::ifstream in(device + "/removable");
    int value = 0;
    if (in >> value) return value == 1;
    size_t slash = device.rfind('/');
    if (slash == std::string::npos) break;
    device.resize(slash);
  }
  return false;
}

std::string labelOf(dev_t dev) {
  DIR* dir = ::opendir("/dev/disk/by-label");
  if (!dir) return std::string();
  std::string label;
  while (struct dirent* d = ::readdir(dir)) {
    if (d->d_name[0] == '.') continue;
    std::string link = std::string("/dev/disk/by-label/") + d->d_name;
    struct stat st;
    if (::stat(link.c_str(), &st) == 0 && S_ISBLK(st.st_mode) && st.st_rdev == dev) {
      // udev writes unusual bytes of a label as \xHH.
      std::string raw(d->d_name);
      for (size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\\' && i + 3 < raw.size() + 0 && raw[i + 1] == 'x' && std::isxdigit(static_cast<unsigned char>(raw[i + 2])) &&
            std::isxdigit(static_cast<unsigned char>(raw[i + 3]))) {
          label += static_cast<char>(std::strtol(raw.substr(i + 2, 2).c_str(), nullptr, 16));
          i += 3;
        } else {
          label += raw[i];
        }
      }
      break;
    }
  }
  ::closedir(dir);
  return label;
}

DWORD clamp32(unsigned long long v) { return v > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<DWORD>(v); }

std::atomic<UINT> g_errorMode{0};

// The file system that holds a root path, or FALSE with the last error set.
bool statRoot(LPCWSTR root, struct statvfs& vfs) {
  std::string native;
  if (!mapRoot(root, native)) return false;
  if (::statvfs(native.c_str(), &vfs) != 0) {
    SetLastError(fileError(errno, native));
    return false;
  }
  return true;
}

}  // namespace

BOOL GetDiskFreeSpaceW(LPCWSTR lpRootPathName, LPDWORD lpSectorsPerCluster, LPDWORD lpBytesPerSector,
                       LPDWORD lpNumberOfFreeClusters, LPDWORD lpTotalNumberOfClusters) {
  struct statvfs vfs;
  if (!statRoot(lpRootPathName, vfs)) return FALSE;
  unsigned long long fragment = vfs.f_frsize ? vfs.f_frsize : vfs.f_bsize;
  DWORD bytesPerSector = fragment >= 512 ? 512 : static_cast<DWORD>(fragment);
  DWORD sectorsPerCluster = static_cast<DWORD>(fragment / bytesPerSector);
  if (lpSectorsPerCluster) *lpSectorsPerCluster = sectorsPerCluster;
  if (lpBytesPerSector) *lpBytesPerSector = bytesPerSector;
  if (lpNumberOfFreeClusters) *lpNumberOfFreeClusters = clamp32(vfs.f_bavail);
  if (lpTotalNumberOfClusters) *lpTotalNumberOfClusters = clamp32(vfs.f_blocks);
  return TRUE;
}

BOOL GetDiskFreeSpaceExW(LPCWSTR lpDirectoryName, PULARGE_INTEGER lpFreeBytesAvailableToCaller,
                         PULARGE_INTEGER lpTotalNumberOfBytes, PULARGE_INTEGER lpTotalNumberOfFreeBytes) {
  struct statvfs vfs;
  if (!statRoot(lpDirectoryName, vfs)) return FALSE;
  unsigned long long fragment = vfs.f_frsize ? vfs.f_frsize : vfs.f_bsize;
  if (lpFreeBytesAvailableToCaller) lpFreeBytesAvailableToCaller->QuadPart = vfs.f_bavail * fragment;
  if (lpTotalNumberOfBytes) lpTotalNumberOfBytes->QuadPart = vfs.f_blocks * fragment;
  if (lpTotalNumberOfFreeBytes) lpTotalNumberOfFreeBytes->QuadPart = vfs.f_bfree * fragment;
  return TRUE;
}

UINT GetDriveTypeW(LPCWSTR lpRootPathName) {
  if (lpRootPathName && lpRootPathName[0] && lpRootPathName[1] == L':') {
    std::wstring target;
    if (lookupDrive(lpRootPathName[0], target) && target.rfind(L"\\\\", 0) == 0) return DRIVE_REMOTE;
  }
  std::string native;
  if (!mapRoot(lpRootPathName, native)) return DRIVE_NO_ROOT_DIR;
  struct stat st;
  if (::stat(native.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return DRIVE_NO_ROOT_DIR;
  std::string type = fileSystemType(native, st.st_dev);
  static const char* const remote[] = {"nfs", "nfs4", "cifs", "smb3", "smbfs", "9p", "ceph", "afs", "fuse.sshfs", "glusterfs"};
  for (const char* r : remote)
    if (type == r) return DRIVE_REMOTE;
  if (type == "tmpfs" || type == "ramfs") return DRIVE_RAMDISK;
  if (type == "iso9660" || type == "udf") return DRIVE_CDROM;
  if (removableDevice(st.st_dev)) return DRIVE_REMOVABLE;
  return DRIVE_FIXED;
}

BOOL GetVolumeInformationW(LPCWSTR lpRootPathName, LPWSTR lpVolumeNameBuffer, DWORD nVolumeNameSize,
                           LPDWORD lpVolumeSerialNumber, LPDWORD lpMaximumComponentLength, LPDWORD lpFileSystemFlags,
                           LPWSTR lpFileSystemNameBuffer, DWORD nFileSystemNameSize) {
  std::string native;
  if (!mapRoot(lpRootPathName, native)) return FALSE;
  struct stat st;
  struct statvfs vfs;
  if (::stat(native.c_str(), &st) != 0 || ::statvfs(native.c_str(), &vfs) != 0) {
    SetLastError(fileError(errno, native));
    return FALSE;
  }
  std::wstring label = fromUtf8(labelOf(st.st_dev));
  std::string type = fileSystemType(native, st.st_dev);
  std::wstring typeName = fromUtf8(type.empty() ? std::string("UNKNOWN") : type);
  for (auto& c : typeName) c = static_cast<wchar_t>(std::towupper(c));
  if ((lpVolumeNameBuffer && nVolumeNameSize <= label.size()) ||
      (lpFileSystemNameBuffer && nFileSystemNameSize <= typeName.size())) {
    SetLastError(24 /* ERROR_BAD_LENGTH */);
    return FALSE;
  }
  if (lpVolumeNameBuffer) copyOut(label, lpVolumeNameBuffer, nVolumeNameSize);
  if (lpFileSystemNameBuffer) copyOut(typeName, lpFileSystemNameBuffer, nFileSystemNameSize);
  if (lpVolumeSerialNumber) *lpVolumeSerialNumber = static_cast<DWORD>(vfs.f_fsid & 0xFFFFFFFFu);
  if (lpMaximumComponentLength) *lpMaximumComponentLength = static_cast<DWORD>(vfs.f_namemax);
  if (lpFileSystemFlags) {
    DWORD flags = FILE_CASE_SENSITIVE_SEARCH | FILE_CASE_PRESERVED_NAMES | FILE_UNICODE_ON_DISK |
                  FILE_PERSISTENT_ACLS | FILE_SUPPORTS_HARD_LINKS;
    if (vfs.f_flag & ST_RDONLY) flags |= FILE_READ_ONLY_VOLUME;
    *lpFileSystemFlags = flags;
  }
  return TRUE;
}

BOOL SetVolumeLabelW(LPCWSTR lpRootPathName, LPCWSTR /*lpVolumeName*/) {
  struct statvfs vfs;
  if (!statRoot(lpRootPathName, vfs)) return FALSE;
  // No label is stored: what callers learn from this call is whether the volume takes writes.
  if (vfs.f_flag & ST_RDONLY) {
    SetLastError(ERROR_WRITE_PROTECT);
    return FALSE;
  }
  return TRUE;
}

UINT SetErrorMode(UINT uMode) { return g_errorMode.exchange(uMode); }

}  // namespace KvdUtils::Platform
