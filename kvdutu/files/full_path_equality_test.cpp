// Equality of two locations in their canonical form: a drive becomes the share it is mapped to or
// the administrative share of this computer, '/' becomes '\', and doubled separators behind a
// drive become one. What a drive stands for is asked of the platform here too, so the cases hold
// whichever way it answers (POSIX drive table, Windows, Wine's own drives).
#include "kvdutu/files/full_path.h"

#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/network.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/test_env.h"

namespace {

void setEnv(const char* name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name, value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

std::wstring computerName() {
  wchar_t buffer[MAX_PATH] = {};
  DWORD n = MAX_PATH;
  return KvdUtils::Platform::GetComputerNameW(buffer, &n) ? std::wstring(buffer) : std::wstring();
}

// What the platform says `drive` (without its colon) stands for: the remote name when it is
// mapped, else the administrative share of this computer, else the drive with its colon.
std::wstring rootOf(const std::wstring& drive) {
  std::wstring local = drive + L":";
  wchar_t buffer[MAX_PATH] = {};
  DWORD n = MAX_PATH;
  if (KvdUtils::Platform::WNetGetConnectionW(local.c_str(), buffer, &n) == NO_ERROR) return buffer;
  std::wstring host = computerName();
  return host.empty() ? local : L"\\\\" + host + L"\\" + drive;
}

// operator== in both directions; the two must agree.
int equal(const wchar_t* a, const wchar_t* b) {
  int ab = suFullPath_c(a) == suFullPath_c(b);
  int ba = suFullPath_c(b) == suFullPath_c(a);
  EXPECT_EQ(ab, ba) << "not symmetric";
  return ab;
}
int equal(const std::wstring& a, const std::wstring& b) { return equal(a.c_str(), b.c_str()); }

class FullPathEquality : public ::testing::Test {
 protected:
  // C stands for a local folder, N for a share. Under Windows and Wine the variable is not
  // read, and the drives are the system's own.
  static void SetUpTestSuite() {
    setEnv("KVDUTU_DRIVES", "C=" + (KvdTest::testRoot() / "c").string() + ";N=\\\\fileserver\\designs");
  }
};

TEST_F(FullPathEquality, EmptyPathsAreEqual) {
  EXPECT_EQ(suFullPath_c() == suFullPath_c(), 1);
  EXPECT_EQ(equal(L"", L"C:"), 0);
  EXPECT_EQ(equal(L"", L"\\"), 0);
}

TEST_F(FullPathEquality, SeparatorsDoubledSeparatorsAndCaseBehindADrive) {
  EXPECT_EQ(equal(L"c:/A//b", L"C:\\a\\B"), 1);
  EXPECT_EQ(equal(L"C:\\\\x", L"C:\\x"), 1);
  EXPECT_EQ(equal(L"C:\\x\\", L"C:\\x"), 0);
  EXPECT_EQ(equal(L"C:", L"C:\\"), 0);
  // Doubled separators are reduced in one pass from the left: three become two, four become two.
  EXPECT_EQ(equal(L"C:\\a\\\\\\b", L"C:\\a\\\\b"), 0);
  EXPECT_EQ(equal(L"C:\\a\\\\\\b", rootOf(L"C") + L"\\a\\\\b"), 1);
  EXPECT_EQ(equal(L"C:\\a////b", rootOf(L"C") + L"\\a\\\\b"), 1);
  EXPECT_EQ(equal(L"C:\\a\\\\\\b", rootOf(L"C") + L"\\a\\b"), 0);
}

TEST_F(FullPathEquality, LocalDriveEqualsItsAdministrativeForm) {
  const std::wstring root = rootOf(L"C");
#if !defined(_WIN32)
  // The drive table maps C to a local folder: no share stands behind it.
  ASSERT_FALSE(computerName().empty());
  EXPECT_EQ(root, L"\\\\" + computerName() + L"\\C");
#endif
  EXPECT_EQ(equal(L"C:\\x\\f.prt", root + L"\\x\\f.prt"), 1);
  EXPECT_EQ(equal(L"c:/X/F.PRT", root + L"\\x\\f.prt"), 1);
  EXPECT_EQ(equal(L"C:", root), 1);
  EXPECT_EQ(equal(L"c:\\x", L"C:\\X"), 1);
  const std::wstring host = computerName();
  if (!host.empty() && root == L"\\\\" + host + L"\\C") {
    CString lower(root.c_str());
    lower.MakeLower();
    EXPECT_EQ(equal(L"C:\\x\\f.prt", std::wstring(lower.GetString()) + L"\\x\\f.prt"), 1);
    EXPECT_EQ(equal(L"C:\\x\\f.prt", L"\\\\" + host + L"\\D\\x\\f.prt"), 0);
  }
}

TEST_F(FullPathEquality, MappedDriveEqualsItsShare) {
  const std::wstring root = rootOf(L"N");
#if !defined(_WIN32)
  EXPECT_EQ(root, L"\\\\fileserver\\designs");
  EXPECT_EQ(equal(L"N:\\proj\\a.KVDPRT", L"\\\\fileserver\\designs\\proj\\a.KVDPRT"), 1);
  EXPECT_EQ(equal(L"n:/proj//A.kvdprt", L"\\\\FILESERVER\\Designs\\proj\\a.KVDPRT"), 1);
  EXPECT_EQ(equal(L"N:\\proj\\a.KVDPRT", L"\\\\fileserver\\other\\proj\\a.KVDPRT"), 0);
#endif
  EXPECT_EQ(equal(L"N:\\proj\\a.KVDPRT", root + L"\\proj\\a.KVDPRT"), 1);
  EXPECT_EQ(equal(L"N:/proj//a.KVDPRT", root + L"\\proj\\a.KVDPRT"), 1);
  EXPECT_EQ(equal(L"N:\\proj\\a.KVDPRT", L"C:\\proj\\a.KVDPRT"), rootOf(L"N") == rootOf(L"C") ? 1 : 0);
}

TEST_F(FullPathEquality, InequalityIsTheStringsOwnComparisonOfTheText) {
  EXPECT_EQ(suFullPath_c(L"c:/A//b") == suFullPath_c(L"C:\\a\\B"), 1);
  EXPECT_TRUE(suFullPath_c(L"c:/A//b") != suFullPath_c(L"C:\\a\\B"));
  EXPECT_TRUE(suFullPath_c(L"C:\\a") != suFullPath_c(L"c:\\a"));
  EXPECT_FALSE(suFullPath_c(L"C:\\a") != suFullPath_c(L"C:\\a"));
}

TEST_F(FullPathEquality, PathsWithoutADriveOnlyTurnTheirSlashes) {
  EXPECT_EQ(equal(L"//srv/sh/a", L"\\\\srv\\sh\\a"), 1);
  EXPECT_EQ(equal(L"\\\\SRV\\sh\\A.prt", L"\\\\srv\\SH\\a.PRT"), 1);
  EXPECT_EQ(equal(L"\\\\srv\\sh\\\\a", L"\\\\srv\\sh\\a"), 0);
  EXPECT_EQ(equal(L"part.prt", L"PART.PRT"), 1);
  EXPECT_EQ(equal(L"a/b", L"a\\b"), 1);
  // A web location has no drive although it holds a colon.
  EXPECT_EQ(equal(L"HTTP://Host/A", L"http://host/a"), 1);
  EXPECT_EQ(equal(L"http://host//a", L"http://host/a"), 0);
  EXPECT_EQ(equal(L"http://host/a", L"http:\\\\host\\a"), 1);
  EXPECT_EQ(equal(L":x", L":X"), 1);
}

TEST_F(FullPathEquality, AnyTextBeforeTheFirstColonIsTakenForTheDrive) {
  // The drive here is "\\srv\a"; its root keeps its own doubled separators, only the rest is
  // reduced.
  const std::wstring root = rootOf(L"\\\\srv\\a");
  EXPECT_EQ(equal(L"\\\\srv\\a:b//c", root + L"b\\c"), 1);
  EXPECT_EQ(equal(L"\\\\srv\\a:b//c", L"\\\\srv\\a:b\\c"), 1);
}

}  // namespace
