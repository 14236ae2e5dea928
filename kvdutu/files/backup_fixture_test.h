// The fixture of the backup, auto-save and recovery tests: a settings fixture of its own (the
// backup settings live in the user's "General" section), the host's three texts, and a private
// temporary folder named by "temp".
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "kvdutu/files/auto_recovery.h"
#include "kvdutu/files/temp_variables_test.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdFilesTest {

namespace fs = std::filesystem;

class BackupFixture : public KvdSettingsTest::SettingsTest {
 protected:
  static constexpr const wchar_t* kPrefixText = L"Backup %sof ";
  static constexpr const wchar_t* kFolderText = L"\\KvdBak";
  static constexpr const wchar_t* kRecoveryText = L"KVDRECOVERED_";

  void SetUp() override {
    SettingsTest::SetUp();
    setUpVersions();
    KvdUtils::Platform::RegisterStringResource(10122, kPrefixText);
    KvdUtils::Platform::RegisterStringResource(12256, kFolderText);
    KvdUtils::Platform::RegisterStringResource(12298, kRecoveryText);
    temp_ = dir_ / "temp";
    work_ = dir_ / "work";
    fs::create_directories(temp_);
    fs::create_directories(work_);
    vars_ = std::make_unique<TempVariables>(temp_.wstring().c_str(), nullptr);
  }

  void TearDown() override {
    vars_.reset();
    am_SetRecoveringCrashFiles(0);
    am_SetRecoveringUserSavedFiles(0);
    for (UINT id : {10122u, 12256u, 12298u}) KvdUtils::Platform::UnregisterStringResource(id);
    SettingsTest::TearDown();
  }

  // The default backup folder as the file system sees it.
  fs::path backupFolder() const { return temp_ / "KvdBak"; }

  static CString wide(const fs::path& path) { return CString(path.wstring().c_str()); }
  static void write(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
  static std::string read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return "<missing>";
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  fs::path temp_, work_;
  std::unique_ptr<TempVariables> vars_;
};

}  // namespace KvdFilesTest
