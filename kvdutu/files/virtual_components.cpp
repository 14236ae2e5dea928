#include "kvdutu/files/virtual_components.h"

#include "kvdutu/files/backup_names_internal.h"
#include "kvdutu/files/folders.h"
#include "kvdutu/files/temp_folders.h"
#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/settings/reg_ini_internal.h"

using KvdUtils::File::Detail::refusedAsPrivateFolder;

namespace {

constexpr int kLongestFolder = 86;

CString virtualCompBase() {
  const CString temp = su_CreateTempDirectory(1);
  if (temp.IsEmpty()) return temp;
  return temp + L"VC~~\\";
}

}  // namespace

int su_isVirtualCompPath(CString path) {
  if (path.IsEmpty()) return 0;
  CString base = virtualCompBase();
  if (base.IsEmpty()) return 0;
  path.MakeLower();
  base.MakeLower();
  return path.Find(base) >= 0 ? 1 : 0;
}

CString su_getOrCreateVirtualCompFolder(CString componentName, int doNotCreate) {
  const CString base = virtualCompBase();
  if (base.IsEmpty()) return base;
  if (!doNotCreate) {
    // kvx<pid> is already private; "VC~~" is checked all the same, as every folder the library
    // puts under the temporary folder is.
    if (refusedAsPrivateFolder(base)) return CString();
    if (!su_createIfDoesNotExist(base)) return base;
  }
  componentName.TrimRight();
  componentName.TrimRight(L'.');
  componentName.TrimRight();
  CString folder = base + componentName;
  if (KvdUtils::Registry::utf16Length(folder) > kLongestFolder) {
    const UINT hash = KvdUtils::Containers::HashStringKey(componentName.GetString());
    folder.Format(L"%s%u", base.GetString(), hash);
  }
  if (!doNotCreate) su_createIfDoesNotExist(folder);
  return folder;
}

CString su_createVirtualCompFilePath(CString componentName, CString fileName) {
  const CString folder = su_getOrCreateVirtualCompFolder(componentName, 0);
  // Without a folder the name would land in the root of the current drive.
  if (folder.IsEmpty()) return folder;
  return folder + L'\\' + fileName;
}
