// Typed user values: writing, the reading ladder stage by stage, the process modes, and doubles
// in the "C" numeric locale.
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

using UserValues = VersionedSettingsTest;

// A typed read into an output that holds `start`: the result and what the output holds afterwards
// (a string as std::wstring, so that a failure shows its text).
template <class T, class... More>
auto read(const CString& section, const CString& name, T start, More... more) {
  if constexpr (std::is_same_v<T, CString>) {
    const int found = regGetUserValue(section, name, start, more...);
    return std::pair(found, std::wstring(start.GetString(), static_cast<size_t>(start.GetLength())));
  } else {
    const int found = regGetUserValue(section, name, &start, more...);
    return std::pair(found, start);
  }
}

TEST_F(UserValues, EachTypeIsWrittenToTheCurrentKeyAndReadBack) {
  int count = 17;
  double ratio = 2.75;
  CString name(L"Design \u00E9t\u00E9");
  ASSERT_EQ(regSetUserValue(L"Sec", L"Count", &count), 1);
  ASSERT_EQ(regSetUserValue(L"Sec", L"Ratio", &ratio), 1);
  ASSERT_EQ(regSetUserValue(L"Sec", L"Name", name), 1);

  DWORD type = 0;
  DWORD dword = 0;
  CString text;
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Sec"), L"Count", &type, nullptr, &dword));
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(dword, 17u);
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Sec"), L"Ratio", &type, &text));
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(text, L"2.75");
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Sec"), L"Name", &type, &text));
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(text, name);

  EXPECT_EQ(read(L"Sec", L"Count", 0), std::pair(1, 17));
  EXPECT_EQ(read(L"Sec", L"Ratio", 0.0), std::pair(1, 2.75));
  EXPECT_EQ(read(L"Sec", L"Name", CString()), std::pair(1, std::wstring(name)));
}

TEST_F(UserValues, UnversionedValuesLiveUnderTheProductKey) {
  int negative = -5;
  ASSERT_EQ(regSetUserValue(L"Shared", L"Offset", &negative, 0), 1);
  DWORD type = 0;
  DWORD dword = 0;
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, productPath(L"Shared"), L"Offset", &type, nullptr, &dword));
  EXPECT_EQ(dword, 0xFFFFFFFBu);
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Shared")));
  EXPECT_EQ(read(L"Shared", L"Offset", 0, 0, 0), std::pair(1, -5));
  EXPECT_EQ(read(L"Shared", L"Offset", 1), std::pair(0, 1));  // not under the current key
}

TEST_F(UserValues, AnEmptySectionIsTheRootKeyItself) {
  int value = 4;
  ASSERT_EQ(regSetUserValue(CString(), L"AtRoot", &value), 1);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(CString()), L"AtRoot"));
  EXPECT_EQ(read(CString(), L"AtRoot", 0), std::pair(1, 4));
}

TEST_F(UserValues, ThePreviousVersionIsReadButNotCopied) {
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, previousPath(L"Sec"), L"S", L"old"));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Sec"), L"S", 9));  // wrong type for a string
  EXPECT_EQ(read(L"Sec", L"S", CString(L"default")), std::pair(1, std::wstring(L"old")));
  EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, currentPath(L"Sec")));

  CString text(L"default");
  EXPECT_EQ(regGetUserValue(L"Sec", L"S", valueTypeString, text, nullptr, nullptr, 0, 1, nullptr, 0, 0, 0, 0), 0);
  EXPECT_EQ(text, L"default");
}

TEST_F(UserValues, ThePreviousStageReplacesAnyRootText) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Sec"), L"V", 12));
  CString altRoot = product_ + L"\\Elsewhere";
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, &altRoot), std::pair(1, 12));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 0), std::pair(1, 12));  // unversioned falls back to it too
}

TEST_F(UserValues, AnAlternateRootIsReadInEveryHive) {
  CString altRoot = product_ + L"\\Addins\\Tool";
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, treePath(altRoot, L"Sec"), L"V", 31));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Sec"), L"V", 32));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, &altRoot), std::pair(1, 31));
}

// The ladder stage by stage: the value is stored at some of the stages and asked for plainly, with
// skipUser or with userOnly; the first stage that holds it answers.
TEST_F(UserValues, TheFirstStageOfTheLadderThatHoldsTheValueAnswers) {
  enum Call { Plain, SkipUser, UserOnly };
  const struct {
    int current, previous, machine, defaultUser;  // the value stored at each stage, 0 for none
    Call call;
    int found, value;  // 7 is the caller's value, left when nothing is found
  } rows[] = {{1, 2, 3, 4, Plain, 1, 1},    {0, 2, 3, 4, Plain, 1, 2},    {0, 0, 3, 4, Plain, 1, 3},
              {0, 0, 0, 4, Plain, 1, 4},    {1, 2, 0, 0, SkipUser, 0, 7}, {1, 2, 0, 4, SkipUser, 1, 4},
              {1, 2, 3, 4, SkipUser, 1, 3}, {0, 0, 3, 4, UserOnly, 0, 7}, {0, 2, 3, 0, UserOnly, 1, 2}};
  for (const auto& r : rows) {
    SCOPED_TRACE(testing::Message() << "stored " << r.current << r.previous << r.machine << r.defaultUser << ", call "
                                    << r.call);
    cleanTree();
    setUpVersions();
    const std::pair<HKEY, CString> stages[] = {{HKEY_CURRENT_USER, currentPath(L"Sec")},
                                               {HKEY_CURRENT_USER, previousPath(L"Sec")},
                                               {HKEY_LOCAL_MACHINE, currentPath(L"Sec")},
                                               {HKEY_USERS, defaultUserPath(currentPath(L"Sec"))}};
    const int stored[] = {r.current, r.previous, r.machine, r.defaultUser};
    for (int i = 0; i < 4; ++i)
      if (stored[i]) ASSERT_TRUE(setDword(stages[i].first, stages[i].second, L"V", DWORD(stored[i])));
    EXPECT_EQ(r.call == SkipUser   ? read(L"Sec", L"V", 7, 1)
              : r.call == UserOnly ? read(L"Sec", L"V", 7, 0, 1, nullptr, 1)
                                   : read(L"Sec", L"V", 7),
              std::pair(r.found, r.value));
  }
}

struct LadderWatch {
  std::vector<int> stages;
  // Written to the machine hive when the ladder reaches the default user's stage.
  CString lateMachinePath;
};

void watchLadder(R::ReadingLadderStage stage, void* context) {
  auto* watch = static_cast<LadderWatch*>(context);
  watch->stages.push_back(stage);
  if (stage == R::kStageDefaultUser && !watch->lateMachinePath.IsEmpty())
    setDword(HKEY_LOCAL_MACHINE, watch->lateMachinePath, L"V", 55);
}

TEST_F(UserValues, TheLadderRunsItsStagesInOrderWithTheMachineTwice) {
  ASSERT_TRUE(createKey(HKEY_USERS, L".DEFAULT\\Software"));
  LadderWatch watch;
  R::setReadingLadderObserverForTesting(watchLadder, &watch);
  int value = 0;
  EXPECT_EQ(regGetUserValue(L"Sec", L"Missing", &value), 0);
  EXPECT_EQ(watch.stages, (std::vector<int>{R::kStageUserCurrent, R::kStageUserPrevious, R::kStageMachine,
                                            R::kStageDefaultUser, R::kStageMachineAgain}));
  watch.stages.clear();
  CString text;
  EXPECT_EQ(regGetUserValue(L"Sec", L"Missing", valueTypeInt, text, &value, nullptr, 0, 1, nullptr, 0, 0, 0, 0), 0);
  EXPECT_EQ(watch.stages, (std::vector<int>{R::kStageUserCurrent, R::kStageMachine, R::kStageDefaultUser,
                                            R::kStageMachineAgain}));
}

TEST_F(UserValues, TheRepeatedMachineStageSeesAValueWrittenMeanwhile) {
  ASSERT_TRUE(createKey(HKEY_USERS, L".DEFAULT\\Software"));
  LadderWatch watch;
  // Another process writes the machine default while this read is past the first machine stage.
  watch.lateMachinePath = currentPath(L"Sec");
  R::setReadingLadderObserverForTesting(watchLadder, &watch);
  EXPECT_EQ(read(L"Sec", L"V", 0), std::pair(1, 55));
  EXPECT_EQ(watch.stages.back(), R::kStageMachineAgain);
}

TEST_F(UserValues, TheViewerBranchFallsBackToNothing) {
  CString viewer = product_ + L"\\Korvalinde 2001 Viewer";
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, previousPath(L"Sec"), L"V", 2));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, treePath(viewer, L"Sec"), L"V", 3));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, &viewer), std::pair(0, 0));
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, treePath(viewer, L"Sec"), L"V", 1));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, &viewer), std::pair(1, 1));
}

TEST_F(UserValues, AValueOfTheWrongTypeDoesNotCount) {
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Sec"), L"N", L"12"));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Sec"), L"N", 5));
  EXPECT_EQ(read(L"Sec", L"N", 0), std::pair(1, 5));

  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"D", 1));
  EXPECT_EQ(read(L"Sec", L"D", -1.0), std::pair(0, -1.0));

  const BYTE bytes[] = {'h', 0, 'i', 0, 0, 0};
  ASSERT_TRUE(setRaw(HKEY_CURRENT_USER, currentPath(L"Sec"), L"B", REG_BINARY, bytes, sizeof(bytes)));
  EXPECT_EQ(read(L"Sec", L"B", CString(L"kept")), std::pair(0, std::wstring(L"kept")));
}

TEST_F(UserValues, SafeModeReadsTheMachineOnlyAndWritesNothing) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V", 1));
  ASSERT_TRUE(setDword(HKEY_LOCAL_MACHINE, currentPath(L"Sec"), L"V", 3));
  regSetUseSafeMode(1);
  EXPECT_EQ(read(L"Sec", L"V", 0), std::pair(1, 3));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, nullptr, 0, 1), std::pair(1, 1));

  int written = 99;
  EXPECT_EQ(regSetUserValue(L"Sec", L"V", &written), 1);
  EXPECT_EQ(regSetUserValue(L"Sec", L"New", &written), 1);
  DWORD type = 0;
  DWORD dword = 0;
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V", &type, nullptr, &dword));
  EXPECT_EQ(dword, 1u);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"New"));
  EXPECT_EQ(regSetUserValue(L"Sec", L"New", &written, 1, 1), 1);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"New"));
}

TEST_F(UserValues, PerformanceTestModeHasItsOwnOverrides) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V", 1));
  regSetUsePerformanceTestMode(1);
  EXPECT_EQ(read(L"Sec", L"V", 0), std::pair(0, 0));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, nullptr, 0, 1, 0), std::pair(0, 0));  // the safe override is not it
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, nullptr, 0, 0, 1), std::pair(1, 1));
  int written = 5;
  EXPECT_EQ(regSetUserValue(L"Sec", L"W", &written, 1, 1, 0), 1);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"W"));
  EXPECT_EQ(regSetUserValue(L"Sec", L"W", &written, 1, 0, 1), 1);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"W"));
}

TEST_F(UserValues, WithBothModesTheReaderAsksTheSafeOverrideAndTheWriterBoth) {
  ASSERT_TRUE(setDword(HKEY_CURRENT_USER, currentPath(L"Sec"), L"V", 1));
  regSetUseSafeMode(1);
  regSetUsePerformanceTestMode(1);
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, nullptr, 0, 0, 1), std::pair(0, 0));
  EXPECT_EQ(read(L"Sec", L"V", 0, 0, 1, nullptr, 0, 1, 0), std::pair(1, 1));
  int written = 8;
  EXPECT_EQ(regSetUserValue(L"Sec", L"W", &written, 1, 1, 0), 1);
  EXPECT_EQ(regSetUserValue(L"Sec", L"W", &written, 1, 0, 1), 1);
  EXPECT_FALSE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"W"));
  EXPECT_EQ(regSetUserValue(L"Sec", L"W", &written, 1, 1, 1), 1);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Sec"), L"W"));
}

TEST_F(UserValues, DoublesAreWrittenAsShortestFifteenDigitText) {
  const struct {
    double value;
    const wchar_t* text;
  } cases[] = {{0.1, L"0.1"}, {1.0 / 3.0, L"0.333333333333333"}, {-2.5e-7, L"-2.5e-07"}, {1e21, L"1e+21"},
               {12345.0, L"12345"}};
  for (const auto& c : cases) {
    double value = c.value;
    ASSERT_EQ(regSetUserValue(L"Num", L"D", &value), 1);
    DWORD type = 0;
    CString text;
    ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Num"), L"D", &type, &text));
    EXPECT_EQ(text, c.text);
    EXPECT_EQ(read(L"Num", L"D", 0.0), std::pair(1, std::wcstod(c.text, nullptr)));  // what the text holds
  }
}

TEST_F(UserValues, UnparsableOrOverlongDoubleText) {
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Num"), L"Word", L"abc"));
  EXPECT_EQ(read(L"Num", L"Word", 4.5), std::pair(1, 4.5));  // found, though no number
  // 128 characters with the terminator pass the 256-byte limit; one more does not.
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Num"), L"Fits", L"7" + CString(L'0', 126)));
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Num"), L"Long", L"7" + CString(L'0', 127)));
  const auto fits = read(L"Num", L"Fits", 4.5);
  EXPECT_EQ(fits.first, 1);
  EXPECT_DOUBLE_EQ(fits.second, 7e126);
  EXPECT_EQ(read(L"Num", L"Long", 4.5), std::pair(0, 4.5));
}

// A locale whose decimal separator is a comma, made active for the numeric category; false if
// the system has none.
bool activateCommaLocale(const std::filesystem::path& scratch) {
  const char* names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "German_Germany.1252", "de-DE", "German"};
  for (const char* name : names)
    if (std::setlocale(LC_NUMERIC, name) && std::localeconv()->decimal_point[0] == ',') return true;
#if !defined(_WIN32)
  // Compile one into the scratch folder from the locale sources, when they are installed.
  const std::string command = "localedef -i de_DE -f UTF-8 '" + (scratch / "de_DE.UTF-8").string() +
                              "' >/dev/null 2>&1";
  if (std::system(command.c_str()) == 0) {
    setenv("LOCPATH", scratch.string().c_str(), 1);
    const bool active = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && std::localeconv()->decimal_point[0] == ',';
    unsetenv("LOCPATH");
    return active;
  }
#endif
  return false;
}

TEST_F(UserValues, DoublesUseAPointInACommaLocaleAndLeaveTheNumericLocaleAtC) {
  if (!activateCommaLocale(dir_)) GTEST_SKIP() << "no locale with a decimal comma on this system";
  double value = 1234.5;
  ASSERT_EQ(regSetUserValue(L"Num", L"D", &value), 1);
  EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
  DWORD type = 0;
  CString text;
  ASSERT_TRUE(queryValue(HKEY_CURRENT_USER, currentPath(L"Num"), L"D", &type, &text));
  EXPECT_EQ(text, L"1234.5");

  ASSERT_TRUE(activateCommaLocale(dir_));
  ASSERT_TRUE(setSz(HKEY_CURRENT_USER, currentPath(L"Num"), L"P", L"0.25"));
  EXPECT_EQ(read(L"Num", L"P", 0.0), std::pair(1, 0.25));
  EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
  EXPECT_EQ(std::localeconv()->decimal_point[0], '.');
  std::setlocale(LC_NUMERIC, "C");
}

TEST_F(UserValues, BadInputGivesZeroAndLosesNothing) {
  int kept = 3;
  ASSERT_EQ(regSetUserValue(L"Sec", L"Kept", &kept), 1);

  const CString longName(L'n', 16384);  // one more than a value name may have
  const CString longSection(L's', 300);  // beyond the 255 of a key name (Wine takes 256)
  int value = 1;
  EXPECT_EQ(regSetUserValue(longSection, L"V", &value), 0);
  EXPECT_EQ(regSetUserValue(L"Sec", longName, &value), 0);
  EXPECT_EQ(regGetUserValue(longSection, L"V", &value), 0);
  EXPECT_EQ(regGetUserValue(L"Sec", longName, &value), 0);
  EXPECT_EQ(regGetUserValue(L"No such section", L"V", &value), 0);
  EXPECT_EQ(regGetUserValue(L"Sec", L"No such value", &value), 0);
  EXPECT_EQ(value, 1);
  // A missing output for the type is refused, on either side.
  CString text;
  EXPECT_EQ(regSetUserValue(L"Sec", L"Kept", valueTypeInt, text, nullptr, nullptr, 1, 0, 0), 0);
  EXPECT_EQ(regGetUserValue(L"Sec", L"Kept", valueTypeDouble, text, &value, nullptr, 0, 1, nullptr, 0, 0, 1, 0), 0);
  EXPECT_EQ(regGetValue(nullptr, L"Kept", valueTypeInt, text, &value, nullptr), 0);

  EXPECT_EQ(read(L"Sec", L"Kept", 0), std::pair(1, 3));
}

TEST_F(UserValues, ATypeNumberOtherThanIntOrStringIsADouble) {
  double value = 6.25;
  CString unused;
  ASSERT_EQ(regSetUserValue(L"Num", L"D", static_cast<valueTypes>(7), unused, nullptr, &value, 1, 0, 0), 1);
  double read = 0;
  EXPECT_EQ(regGetUserValue(L"Num", L"D", static_cast<valueTypes>(-1), unused, nullptr, &read, 0, 1, nullptr, 0, 0,
                            1, 0),
            1);
  EXPECT_EQ(read, 6.25);
}

}  // namespace
}  // namespace KvdSettingsTest
