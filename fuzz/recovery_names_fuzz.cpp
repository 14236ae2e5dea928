// Arbitrary bytes as a design file's path for the recovery names (suAutoRecoveryResolver_c). The
// first byte picks the host's recovery prefix from a few shapes (ordinary, empty, one that holds a
// separator or a dot) and whether crash files are being recovered; the rest is the path, decoded as
// fuzz_text.h says. Besides not crashing, the names must keep their rules:
//  * isABackupFile is exactly "the prefix stands in the path";
//  * the recovery name is the auto-save folder, the prefix, the name and the extension;
//  * the alias is the original's name for a recovery file and the recovery name otherwise;
//  * the original's name of a recovery name gives the name and extension back, where neither the
//    prefix nor the path's name and extension hold a separator or a dot of their own;
//  * resolving gives the path itself or its recovery name, and the path alone with the flag off.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "fuzz/fuzz_text.h"

#include "kvdutu/files/auto_recovery.h"
#include "kvdutu/files/full_path.h"
#include "kvdutu/platform/os/resources.h"

namespace {

using KvdFuzz::check;
using KvdFuzz::decode;

const wchar_t* const kPrefixes[] = {L"~KVDREC~", L"", L"r", L"~R\\", L"~.R"};

// A private temporary folder with the backup folder in it, so that the auto-save folder is made.
struct Setup {
  Setup() {
    char tmpl[] = "/tmp/kvdutu-fuzz-recovery-XXXXXX";
    const std::string temp = mkdtemp(tmpl);
    std::filesystem::create_directories(temp + "/KvdBak");
    setenv("temp", temp.c_str(), 1);
    KvdUtils::Platform::RegisterStringResource(12256, L"\\KvdBak");
  }
};

bool holdsSeparatorOrDot(const CString& text) { return text.FindOneOf(L"\\/.") >= 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Setup setup;
  if (size == 0) return 0;
  const CString prefix = kPrefixes[data[0] % (sizeof kPrefixes / sizeof kPrefixes[0])];
  const int recovering = (data[0] >> 4) & 1;
  const std::wstring text = decode(data + 1, size - 1);
  if (text.find(L'\0') != std::wstring::npos) return 0;  // a C string ends there
  KvdUtils::Platform::RegisterStringResource(12298, prefix);
  am_SetRecoveringCrashFiles(recovering);

  using R = suAutoRecoveryResolver_c;
  const CString path(text.c_str());
  const bool marked = !prefix.IsEmpty() && path.Find(prefix) >= 0;
  check(R::isABackupFile(path) == (marked ? 1 : 0));

  const suFullPath_c full(path);
  CString name, extension;
  full.getName(&name, 0);
  full.getExtension(&extension);
  const CString recovery = R::getRecoveryName(path);
  check(recovery.Compare(su_CreateAutoDirectory(CString()) + prefix + name + L'.' + extension) == 0);

  const CString original = R::getOrigName(path);
  check(original.Right(extension.GetLength() + 1).Compare(L'.' + extension) == 0);
  check(R::getAliasName(path).Compare(marked ? original : recovery) == 0);

  if (!prefix.IsEmpty() && !holdsSeparatorOrDot(prefix) && !holdsSeparatorOrDot(name) &&
      !holdsSeparatorOrDot(extension) && !extension.IsEmpty()) {
    check(R::getOrigName(recovery).Compare(name + L'.' + extension) == 0);
    check(R::isABackupFile(recovery) == 1);
  }

  const CString resolved = R::resolveFileNameWhileRecovery(path);
  if (!recovering || marked) check(resolved.Compare(path) == 0);
  else check(resolved.Compare(path) == 0 || resolved.Compare(recovery) == 0);
  return 0;
}
