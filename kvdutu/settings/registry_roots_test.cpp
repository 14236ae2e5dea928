// The roots of the settings tree: the product key from "reg.ini", the current key, the search
// for the previous version's key, the process modes and the executable folder.
#include <filesystem>
#include <ostream>

#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

using RegistryRoots = SettingsTest;

TEST_F(RegistryRoots, WithoutRegIniTheProductKeyIsKorvalindeWithTheFlagOnOrOff) {
  R::setRegIniPathForTesting(widePath(dir_ / "no-such-file.ini"));
  EXPECT_EQ(getUseAlternateRegPath(), 1);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"Korvalinde");
  setUseAlternateRegPath(0);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"Korvalinde");
}

struct RegIniCase {
  const char* title;
  std::string content;
  const wchar_t* productKey;
};

void PrintTo(const RegIniCase& c, std::ostream* os) { *os << c.title; }

class RegIniTokens : public SettingsTest, public ::testing::WithParamInterface<RegIniCase> {};

TEST_P(RegIniTokens, DecideTheProductKey) {
  useRegIni(GetParam().content);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), GetParam().productKey);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RegIniTokens,
    ::testing::Values(
        RegIniCase{"plain", "OEMREGISTRYNAME=Acme\n", L"Acme"},
        RegIniCase{"threeCharactersAreTooFew", "OEMREGISTRYNAME=Abc\n", L"Korvalinde"},
        RegIniCase{"fourCharactersAreEnough", "OEMREGISTRYNAME=Abcd", L"Abcd"},
        RegIniCase{"textBeforeThePrefixIsDropped", "xxOEMREGISTRYNAME=Acme2\n", L"Acme2"},
        RegIniCase{"theFirstMatchDecidesEvenWhenRejected", "OEMREGISTRYNAME=Abc OEMREGISTRYNAME=Acme\n",
                   L"Korvalinde"},
        RegIniCase{"otherTokensAreSkipped",
                   "; edition file\r\nOEMCLSID={6C5D5355-BC23-40BE-9C6F-483468C506E5}\r\n"
                   "OEMPROGID=Acme.Application\r\n\tOEMREGISTRYNAME=AcmeCad\r\n",
                   L"AcmeCad"},
        RegIniCase{"theValueIsWhatFollowsTheFirstPrefix", "OEMREGISTRYNAME=OEMREGISTRYNAME=X",
                   L"OEMREGISTRYNAME=X"},
        RegIniCase{"blanksEndTheValue", "OEMREGISTRYNAME=Acme Cad", L"Acme"},
        RegIniCase{"anEmptyValueIsRejected", "OEMREGISTRYNAME= Acme", L"Korvalinde"},
        RegIniCase{"theLowerCasePrefixIsNoMatch", "oemregistryname=Acme", L"Korvalinde"},
        RegIniCase{"ctrlZEndsTheTextFile", std::string("OEMPROGID=Some.App\n\x1A\nOEMREGISTRYNAME=Acme\n"),
                   L"Korvalinde"},
        RegIniCase{"emptyFile", "", L"Korvalinde"}),
    [](const ::testing::TestParamInfo<RegIniCase>& info) { return std::string(info.param.title); });

TEST_F(RegistryRoots, RegIniTextIsInTheSystemCodePage) {
  const CString name(L"\u00C7\u00E9\u00F1\u00FC");  // four characters of every Western code page
  useRegIni("OEMREGISTRYNAME=" + std::string(CStringA(name).GetString()) + "\n");
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), name);
}

TEST_F(RegistryRoots, TheTokenScannerServesEveryPrefixFromTheStart) {
  const auto path = dir_ / "tokens.ini";
  writeFile(path, "OEMPROGID=Acme.App OEMCLSID={6C5D5355-BC23-40BE-9C6F-483468C506E5} OEMPROGID=Later.App");
  for (const wchar_t* prefix : {R::kRegIniClsidPrefix, R::kRegIniProgIdPrefix}) {
    std::FILE* stream = R::openRegIniStream(widePath(path));
    ASSERT_NE(stream, nullptr);
    CString value(L"untouched");
    EXPECT_EQ(R::scanRegIniToken(stream, prefix, value), 1);
    EXPECT_EQ(value, CString(prefix) == R::kRegIniClsidPrefix ? CString(L"{6C5D5355-BC23-40BE-9C6F-483468C506E5}")
                                                                 : CString(L"Acme.App"));
    std::fclose(stream);
  }
  std::FILE* stream = R::openRegIniStream(widePath(path));
  ASSERT_NE(stream, nullptr);
  CString value(L"untouched");
  EXPECT_EQ(R::scanRegIniToken(stream, R::kRegIniRegistryNamePrefix, value), 0);
  EXPECT_EQ(value, L"untouched");
  std::fclose(stream);
  EXPECT_EQ(R::openRegIniStream(widePath(dir_ / "missing.ini")), nullptr);
}

TEST_F(RegistryRoots, TheProductKeyIsReadOnceAndTheFlagOnlyBypassesTheCache) {
  useRegIni("OEMREGISTRYNAME=First\n");
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"First");
  useRegIni("OEMREGISTRYNAME=Second\n");
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"First");
  setUseAlternateRegPath(0);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"Korvalinde");
  setUseAlternateRegPath(5);  // any integer other than 0 is on
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"First");
}

TEST_F(RegistryRoots, WithTheFlagOffTheFileIsNotRead) {
  useRegIni("OEMREGISTRYNAME=First\n");
  setUseAlternateRegPath(0);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"Korvalinde");
  // Nothing was cached while the flag was off: the file is read when it comes on.
  useRegIni("OEMREGISTRYNAME=Second\n");
  setUseAlternateRegPath(1);
  EXPECT_EQ(R::getCurrKorvalindeRegRootKey(), L"Second");
}

TEST_F(RegistryRoots, TheExecutableFolderIsThatOfTheMainProgramAndHoldsTheRealRegIni) {
  const CString folder = GetKvDirectory();
  ASSERT_FALSE(folder.IsEmpty());
  R::setRegIniPathForTesting(CString());
  EXPECT_EQ(R::regIniPath(), folder + L"\\reg.ini");
  EXPECT_NE(folder[folder.GetLength() - 1], L'\\');
  EXPECT_NE(folder[folder.GetLength() - 1], L'/');
  std::error_code ec;
  CString windowsForm = folder;
  EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(std::wstring(windowsForm.GetString())),
                                          KvdTest::binDir(), ec))
      << CStringA(folder).GetString();
  CString out(L"left alone");
  EXPECT_EQ(getExecutableFolder(out), 1);
  EXPECT_EQ(out, folder);
}

TEST_F(RegistryRoots, TheCurrentKeyIsTheProductKeyUntilTheVersionIsSet) {
  useRegIni("OEMREGISTRYNAME=Acme\n");
  EXPECT_TRUE(getCurrentSubKeyRaw().IsEmpty());
  EXPECT_EQ(externalGetCurrKorvalindeRegSubKey(), L"Acme");
  EXPECT_EQ(getCurrentSubKeyRaw(), L"Acme");  // the reader stored it
  setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
  EXPECT_EQ(externalGetCurrKorvalindeRegSubKey(), L"Acme\\Korvalinde 2013");
  EXPECT_EQ(getCurrentSubKeyFilled(), L"Acme\\Korvalinde 2013");
  setCurrKorvalindeRegSubKey(L"Beta");  // no check of the argument, the last call wins
  EXPECT_EQ(externalGetCurrKorvalindeRegSubKey(), L"Acme\\Beta");
}

TEST_F(RegistryRoots, EveryRowOfTheVersionTableIsFoundNewestFirst) {
  ASSERT_EQ(R::kPreviousVersionCount, 15);
  const wchar_t* const expectedRows[] = {
      L"Korvalinde 2012", L"Korvalinde 2011", L"Korvalinde 2010", L"Korvalinde 2009",     L"Korvalinde 2008",
      L"Korvalinde 2007", L"Korvalinde 2006", L"Korvalinde 2005", L"Korvalinde 2004",     L"Korvalinde 2003",
      L"Korvalinde 2002", L"Korvalinde 2001Plus", L"Korvalinde 2001", L"Korvalinde 2000", L"Korvalinde 99"};
  // Build the branches oldest first; after each the search must name the newest one present.
  for (int row = R::kPreviousVersionCount - 1; row >= 0; --row) {
    EXPECT_STREQ(R::kPreviousVersionKeys[row], expectedRows[row]);
    ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(expectedRows[row])));
    EXPECT_EQ(R::searchPreviousSubKey(product_), product_ + L"\\" + expectedRows[row]) << row;
  }
  // Each row alone is found too.
  for (int row = 0; row < R::kPreviousVersionCount; ++row) {
    cleanTree();
    ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(expectedRows[row])));
    EXPECT_EQ(R::searchPreviousSubKey(product_), product_ + L"\\" + expectedRows[row]) << row;
  }
}

TEST_F(RegistryRoots, NoOlderVersionGivesTheProductKey) {
  // Newer or unknown branches, the machine hive and a differently spelt row do not count.
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2013")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2014")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 98")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde2012")));
  ASSERT_TRUE(createKey(HKEY_LOCAL_MACHINE, productPath(L"Korvalinde 2012")));
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_);
  EXPECT_EQ(externalCheckPrevKorvalindeRegSubKey(), 0);
}

TEST_F(RegistryRoots, TheVersionRowsAreLiteralsBelowAnOverriddenProductKey) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2010")));
  // Rows named after the product key are not searched for.
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(product_ + L" 2012")));
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_ + L"\\Korvalinde 2010");
  EXPECT_EQ(externalCheckPrevKorvalindeRegSubKey(), 1);
}

TEST_F(RegistryRoots, ThePreviousKeyIsSearchedOnce) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2012")));
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2009")));
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_ + L"\\Korvalinde 2012");
  HKEY root = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, productPath(CString()), 0, KEY_ALL_ACCESS, &root), ERROR_SUCCESS);
  ASSERT_EQ(P::RegDeleteKeyW(root, L"Korvalinde 2012"), ERROR_SUCCESS);
  P::RegCloseKey(root);
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_ + L"\\Korvalinde 2012");
  EXPECT_EQ(R::searchPreviousSubKey(product_), product_ + L"\\Korvalinde 2009");
}

TEST_F(RegistryRoots, AFirstSearchInSafeModeKeepsTheProductKeyForTheProcess) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2011")));
  regSetUseSafeMode(1);
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_);
  regSetUseSafeMode(0);
  EXPECT_EQ(externalGetPrevKorvalindeRegSubKey(), product_);
  EXPECT_EQ(externalCheckPrevKorvalindeRegSubKey(), 0);
}

TEST_F(RegistryRoots, PerformanceTestModeAlsoSkipsTheSearch) {
  ASSERT_TRUE(createKey(HKEY_CURRENT_USER, productPath(L"Korvalinde 2011")));
  regSetUsePerformanceTestMode(3);
  EXPECT_EQ(R::searchPreviousSubKey(product_), product_);
  regSetUsePerformanceTestMode(0);
  EXPECT_EQ(R::searchPreviousSubKey(product_), product_ + L"\\Korvalinde 2011");
}

TEST_F(RegistryRoots, TheModeFlagsKeepWhateverIntegerIsSet) {
  EXPECT_EQ(regGetUseSafeMode(), 0);
  EXPECT_EQ(regGetUsePerformanceTestMode(), 0);
  regSetUseSafeMode(-2);
  regSetUsePerformanceTestMode(9);
  EXPECT_EQ(regGetUseSafeMode(), -2);
  EXPECT_EQ(regGetUsePerformanceTestMode(), 9);
  setUseAlternateRegPath(42);
  EXPECT_EQ(getUseAlternateRegPath(), 42);
}

}  // namespace
}  // namespace KvdSettingsTest
