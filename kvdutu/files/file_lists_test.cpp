// Lists of file names: search over a real folder, ordering and repeated extensions.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kvdutu/files/file_lists.h"
#include "support/test_env.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::wstring> items(const su_CStringList& list) {
  std::vector<std::wstring> out;
  for (POSITION p = list.GetHeadPosition(); p;) out.emplace_back(list.GetNext(p).GetString());
  return out;
}

void fill(su_CStringList& list, std::initializer_list<const wchar_t*> names) {
  for (const wchar_t* n : names) list.AddTail(n);
}

TEST(SuFileLists, FindLeavesOutOnlyLockFilesAndAppends) {
  const fs::path dir = KvdTest::scratchDir("findExt");
  for (const char* name : {"~$part.KVDPRT", "~part.KVDPRT", "~a$b.KVDPRT", "b.KVDPRT", "c.txt"}) std::ofstream(dir / name) << "x";
  fs::create_directory(dir / "d.KVDPRT");

  su_CStringList names;
  names.AddTail(L"kept");
  su_FindFilesWithExt(CString(dir.wstring().c_str()), CString(L"KVDPRT"), names);
  std::vector<std::wstring> found = items(names);
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(), L"kept") << "the list is not cleared";
  found.erase(found.begin());
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (std::vector<std::wstring>{L"b.KVDPRT", L"d.KVDPRT", L"~a$b.KVDPRT", L"~part.KVDPRT"}));

  su_CStringList again;
  su_FindFilesWithExt(CString((dir.wstring() + L"\\").c_str()), CString(L"txt"), again);
  EXPECT_EQ(items(again), (std::vector<std::wstring>{L"c.txt"})) << "one trailing backslash is stripped";

  su_CStringList none;
  su_FindFilesWithExt(CString((dir / "missing").wstring().c_str()), CString(L"KVDPRT"), none);
  EXPECT_TRUE(none.IsEmpty());
}

TEST(SuFileLists, SortInsertsIntoWhatIsThere) {
  su_CStringList names, sorted;
  fill(names, {L"beta", L"Alpha", L"alpha", L"Gamma", L"BETA"});
  su_SortFilesAlphabetically(names, sorted);
  EXPECT_EQ(items(sorted), (std::vector<std::wstring>{L"Alpha", L"alpha", L"beta", L"BETA", L"Gamma"}))
      << "case is ignored and equal names keep their order of arrival";
  EXPECT_EQ(names.GetCount(), 5);

  // Not cleared and not re-sorted: each name goes before the first element it precedes.
  su_CStringList more, mixed;
  fill(mixed, {L"zeta", L"cat"});
  fill(more, {L"bird", L"dog"});
  su_SortFilesAlphabetically(more, mixed);
  EXPECT_EQ(items(mixed), (std::vector<std::wstring>{L"bird", L"dog", L"zeta", L"cat"}));

  su_CStringList empty;
  su_SortFilesAlphabetically(empty, mixed);
  EXPECT_EQ(mixed.GetCount(), 4);

  // Sorted into itself: every name that was there goes in once more, and the call ends.
  su_SortFilesAlphabetically(mixed, mixed);
  EXPECT_EQ(mixed.GetCount(), 8);
}

TEST(SuFileLists, RepeatedExtensionsReduceToOne) {
  auto reduce = [](const wchar_t* name) {
    CString n(name);
    return std::wstring(su_RemoveDuplicatedExtensions(n).GetString());
  };
  EXPECT_EQ(reduce(L"a.prt.PRT.prt"), L"a.prt");
  EXPECT_EQ(reduce(L"a.PRT.prt"), L"a.prt") << "the last occurrence's case";
  EXPECT_EQ(reduce(L"a.b.prt"), L"a.b.prt");
  EXPECT_EQ(reduce(L".x.x"), L".x.x") << "the stem must stay longer than the extension";
  EXPECT_EQ(reduce(L"ab.x.x"), L"ab.x");
  EXPECT_EQ(reduce(L"noext"), L"noext");
  EXPECT_EQ(reduce(L""), L"");
  EXPECT_EQ(reduce(L"C:\\dir.prt\\a.prt"), L"C:\\dir.prt\\a.prt") << "only the end of the text counts";
}

}  // namespace
