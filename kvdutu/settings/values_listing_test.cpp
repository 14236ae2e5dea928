// The values log of a section and the listing of its integer fields.
#include "kvdutu/settings/values_listing.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

using ValuesListing = VersionedSettingsTest;

// The lines of a log after its heading, in any order: Wine keeps values sorted by name, Windows
// and the POSIX hives in creation order.
std::vector<std::wstring> sortedLines(const CString& text, int from) {
  std::vector<std::wstring> lines;
  std::wstring rest(text.Mid(from).GetString());
  size_t start = 0;
  for (size_t end; (end = rest.find(L'\n', start)) != std::wstring::npos; start = end + 1)
    lines.push_back(rest.substr(start, end - start));
  EXPECT_EQ(start, rest.size()) << "every line ends with a line feed";
  std::sort(lines.begin(), lines.end());
  return lines;
}

// The names and values of a listing as sorted pairs, checked to be of equal number.
using Fields = std::vector<std::pair<std::wstring, UINT>>;
Fields fields(const su_CStringArray& names, const su_CUIntArray& values) {
  EXPECT_EQ(names.GetSize(), values.GetSize());
  Fields out;
  for (INT_PTR i = 0; i < names.GetSize() && i < values.GetSize(); ++i)
    out.emplace_back(names[i].GetString(), values[i]);
  std::sort(out.begin(), out.end());
  return out;
}

TEST_F(ValuesListing, TheLogLeavesOutPathsAndShowsIntegersUnsigned) {
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Log"), L"Folder", L"C:\\Designs\\Parts"));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Log"), L"Count", 3));
  CString out(L"replaced");
  EXPECT_EQ(regGetUserValuesLog(L"Log", out), 1);
  const CString heading = L"[" + product_ + L"\\Korvalinde 2013] [Log]:\n";
  EXPECT_EQ(out, heading + L"Count=3\n");

  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Log"), L"Name", L"Bracket"));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Log"), L"Minus", 0xFFFFFFFFu));
  const BYTE raw[] = {'r', 0, 'a', 0, 'w', 0, 0, 0, 'x', 0};
  ASSERT_TRUE(setRaw(HKEY_CURRENT_USER, currentPath(L"Log"), L"Bytes", REG_BINARY, raw, sizeof(raw)));
  EXPECT_EQ(regGetUserValuesLog(L"Log", out), 1);
  ASSERT_EQ(out.Left(heading.GetLength()), heading);
  EXPECT_EQ(sortedLines(out, heading.GetLength()),
            (std::vector<std::wstring>{L"Bytes=raw", L"Count=3", L"Minus=4294967295", L"Name=Bracket"}));
}

TEST_F(ValuesListing, TheLogRootFollowsAltRootAndVersioned) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, productPath(L"Log"), L"Shared", 1));
  CString out;
  EXPECT_EQ(regGetUserValuesLog(L"Log", out, 0), 1);
  EXPECT_EQ(out, L"[" + product_ + L"] [Log]:\nShared=1\n");
  CString altRoot = product_ + L"\\Korvalinde 2012";
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, treePath(altRoot, L"Log"), L"Old", 2));
  EXPECT_EQ(regGetUserValuesLog(L"Log", out, 1, &altRoot), 1);
  EXPECT_EQ(out, L"[" + altRoot + L"] [Log]:\nOld=2\n");
}

TEST_F(ValuesListing, TheLogOfAMissingSectionOrInEitherModeLeavesTheOutputAlone) {
  CString out(L"as it was");
  EXPECT_EQ(regGetUserValuesLog(L"Missing", out), 0);
  EXPECT_EQ(out, L"as it was");
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Log"), L"Count", 3));
  regSetUseSafeMode(1);
  EXPECT_EQ(regGetUserValuesLog(L"Log", out), 0);
  regSetUseSafeMode(0);
  regSetUsePerformanceTestMode(1);
  EXPECT_EQ(regGetUserValuesLog(L"Log", out), 0);
  EXPECT_EQ(out, L"as it was");
}

TEST_F(ValuesListing, TheLogShowsChunksAsTheValuesTheyAre) {
  CString longText(L'x', 1100);
  ASSERT_EQ(regSetUserValue(L"Log", L"Long", longText), 1);
  CString out;
  EXPECT_EQ(regGetUserValuesLog(L"Log", out), 1);
  const CString heading = L"[" + product_ + L"\\Korvalinde 2013] [Log]:\n";
  EXPECT_EQ(sortedLines(out, heading.GetLength()),
            (std::vector<std::wstring>{L"Long0+=" + std::wstring(1015, L'x'), L"Long1+=" + std::wstring(85, L'x')}));
}

TEST_F(ValuesListing, FieldNamesListTheIntegersOfTheCurrentKey) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Fields"), L"Width", 640));
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Fields"), L"Title", L"not an integer"));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Fields"), L"Height", 480));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, productPath(L"Fields"), L"Unversioned", 1));
  su_CStringArray names;
  su_CUIntArray values;
  names.Add(L"stale");
  values.Add(99);
  EXPECT_EQ(regGetFieldNamesAndValues(L"Fields", 0, names, values), 1);
  EXPECT_EQ(fields(names, values), (Fields{{L"Height", 480}, {L"Width", 640}}));
}

TEST_F(ValuesListing, FieldNamesOfTheMachineAreServedInEitherMode) {
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Fields"), L"Seats", 12));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Fields"), L"Mine", 1));
  su_CStringArray names;
  su_CUIntArray values;
  regSetUseSafeMode(1);
  EXPECT_EQ(regGetFieldNamesAndValues(L"Fields", 1, names, values), 1);
  EXPECT_EQ(fields(names, values), (Fields{{L"Seats", 12}}));
  EXPECT_EQ(regGetFieldNamesAndValues(L"Fields", 0, names, values), 0);
  EXPECT_EQ(fields(names, values), Fields());  // emptied all the same
  regSetUseSafeMode(0);
  regSetUsePerformanceTestMode(1);
  EXPECT_EQ(regGetFieldNamesAndValues(L"Fields", 0, names, values), 0);
  regSetUsePerformanceTestMode(0);
  EXPECT_EQ(regGetFieldNamesAndValues(L"Fields", 0, names, values), 1);
  EXPECT_EQ(fields(names, values), (Fields{{L"Mine", 1}}));
}

TEST_F(ValuesListing, FieldNamesOfAMissingSection) {
  su_CStringArray names;
  su_CUIntArray values;
  names.Add(L"stale");
  EXPECT_EQ(regGetFieldNamesAndValues(L"Missing", 0, names, values), 0);
  EXPECT_EQ(names.GetSize(), 0);
  EXPECT_EQ(regGetFieldNamesAndValues(CString(L's', 300), 1, names, values), 0);
}

}  // namespace
}  // namespace KvdSettingsTest
