// Virtual component folders under the process's own temporary folder, natively and under Wine.
#include "kvdutu/files/virtual_components.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <filesystem>
#include <string>

#include "kvdutu/files/temp_folders.h"
#include "kvdutu/files/temp_variables_test.h"
#include "kvdutu/platform/os/file.h"
#include "support/test_env.h"

namespace {

namespace fs = std::filesystem;
namespace P = KvdUtils::Platform;

// h = h * 33 + c over UTF-16 units, written out from the definition for the expected values.
uint32_t hashOfUnits(const std::u16string& units) {
  uint32_t h = 0;
  for (char16_t c : units) h = h * 33u + c;
  return h;
}

class SuVirtualComponents : public ::testing::Test {
 protected:
  void SetUp() override {
    temp_ = KvdTest::scratchDir("vc");
    vars_ = std::make_unique<KvdFilesTest::TempVariables>(temp_.wstring().c_str(), nullptr);
    base_ = su_CreateTempDirectory(1) + L"VC~~\\";
    ownFolder_ = temp_ / ("kvx" + std::to_string(P::_getpid())) / "VC~~";
  }
  void TearDown() override { vars_.reset(); }

  fs::path temp_, ownFolder_;
  CString base_;
  std::unique_ptr<KvdFilesTest::TempVariables> vars_;
};

TEST_F(SuVirtualComponents, FolderPerComponentIsMadeUnlessAsked) {
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bracket", 1), base_ + L"Bracket");
  EXPECT_FALSE(fs::exists(ownFolder_)) << "doNotCreate makes nothing";

  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bracket", 0), base_ + L"Bracket");
  EXPECT_TRUE(fs::is_directory(ownFolder_ / "Bracket"));
  EXPECT_EQ(su_createVirtualCompFilePath(L"Bolt", L"Bolt.KVDPRT"), base_ + L"Bolt\\Bolt.KVDPRT");
  EXPECT_TRUE(fs::is_directory(ownFolder_ / "Bolt"));
#if !defined(_WIN32)
  EXPECT_EQ(fs::status(ownFolder_).permissions() & fs::perms::all, fs::perms::owner_all);
#endif
}

TEST_F(SuVirtualComponents, NamesAreTrimmedOnTheRight) {
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bolt  ", 1), base_ + L"Bolt");
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bolt...", 1), base_ + L"Bolt");
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bolt. ", 1), base_ + L"Bolt");
  // One pass each of blanks, dots and blanks: a dot behind the last blank run stays.
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"name. .", 1), base_ + L"name.");
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"  lead", 1), base_ + L"  lead") << "only the right side";
}

TEST_F(SuVirtualComponents, LongFoldersAreNamedByTheirHash) {
  const int room = 86 - base_.GetLength();
  if (room < 2) GTEST_SKIP() << "temporary folder too long to reach the edge";
  const CString fits(L'a', room);
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(fits, 1), base_ + fits) << "86 characters in all still fit";
  const CString over(L'a', room + 1);
  CString hashed;
  hashed.Format(L"%s%u", base_.GetString(), hashOfUnits(std::u16string(room + 1, u'a')));
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(over, 1), hashed);
  // The trimmed name is hashed and measured.
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(fits + L" . ", 1), base_ + fits);

  const CString longName(L'z', 200);
  CString expected;
  expected.Format(L"%s%u", base_.GetString(), hashOfUnits(std::u16string(200, u'z')));
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(longName, 0), expected);
  EXPECT_TRUE(fs::is_directory(ownFolder_ / std::to_string(hashOfUnits(std::u16string(200, u'z')))));
}

TEST_F(SuVirtualComponents, HashCountsUtf16UnitsOnEveryPlatform) {
  // U+1F529 is two units on Windows and one wchar_t on Linux; both must hash its surrogates.
  CString name;
  std::u16string units;
  for (int i = 0; i < 60; ++i) {
#if WCHAR_MAX > 0xFFFF
    name += static_cast<wchar_t>(0x1F529);
#else
    name += static_cast<wchar_t>(0xD83D);
    name += static_cast<wchar_t>(0xDD29);
#endif
    units += u"\xD83D\xDD29";
  }
  CString expected;
  expected.Format(L"%s%u", base_.GetString(), hashOfUnits(units));
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(name, 1), expected);
}

TEST_F(SuVirtualComponents, OnlyThisProcessesFoldersAreVirtual) {
  const CString folder = su_getOrCreateVirtualCompFolder(L"Bracket", 0);
  EXPECT_EQ(su_isVirtualCompPath(folder + L"\\Bracket.KVDPRT"), 1);
  CString upper = folder + L"\\x.KVDPRT";
  upper.MakeUpper();
  EXPECT_EQ(su_isVirtualCompPath(upper), 1) << "without regard to case";
  EXPECT_EQ(su_isVirtualCompPath(folder), 1);
  EXPECT_EQ(su_isVirtualCompPath(base_.Left(base_.GetLength() - 1)), 0) << "the folder text ends in a separator";

  CString other;
  other.Format(L"%skvx%d\\VC~~\\Bracket\\b.KVDPRT", su_CreateTempDirectory(0).GetString(), P::_getpid() + 1);
  EXPECT_EQ(su_isVirtualCompPath(other), 0);
  EXPECT_EQ(su_isVirtualCompPath(CString()), 0);
  EXPECT_EQ(su_isVirtualCompPath(L"C:\\work\\VC~~\\Bracket\\b.KVDPRT"), 0);
}

TEST_F(SuVirtualComponents, NoTemporaryFolderGivesNothing) {
  KvdFilesTest::TempVariables none(nullptr, nullptr);
  EXPECT_TRUE(su_getOrCreateVirtualCompFolder(L"Bracket", 0).IsEmpty());
  EXPECT_TRUE(su_createVirtualCompFilePath(L"Bracket", L"b.KVDPRT").IsEmpty()) << "not a path in the root";
  EXPECT_EQ(su_isVirtualCompPath(L"C:\\VC~~\\b.KVDPRT"), 0);
}

TEST_F(SuVirtualComponents, UnmakeableFolderGivesTheBase) {
  // A file where "VC~~" belongs: the folder cannot be made and the base comes back.
  const fs::path own = temp_ / ("kvx" + std::to_string(P::_getpid()));
  fs::create_directories(own);
  std::ofstream(own / "VC~~") << "x";
  EXPECT_EQ(su_getOrCreateVirtualCompFolder(L"Bracket", 0), base_);
}

}  // namespace
