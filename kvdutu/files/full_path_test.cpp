// The accessors of a full path at their edges: drive, network and web locations, empty and bare
// texts, trailing separators, dots in folders, double extensions, mixed separators and case.
#include "kvdutu/files/full_path.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

std::wstring Str(const CString& s) { return std::wstring(s.GetString(), static_cast<size_t>(s.GetLength())); }

// What every accessor gives for one path. The result of each accessor is 1 exactly when its
// output is non-empty, except getNetDrive, whose result is listed.
struct Row {
  const wchar_t* path;
  const wchar_t* drive;
  const wchar_t* netDrive;
  int netResult;
  const wchar_t* directory;
  const wchar_t* directoryWithSeparator;
  const wchar_t* name;
  const wchar_t* nameKnownExtOnly;
  const wchar_t* nameWithExt;
  const wchar_t* extension;
  const wchar_t* lowestFolder;
};

// Quoted, so that no printed path ends in a backslash (the test runner's listing would join it
// with the next line).
void PrintTo(const Row& r, std::ostream* os) {
  *os << '"';
  for (const wchar_t* p = r.path; *p; ++p) *os << (*p < 128 ? static_cast<char>(*p) : '?');
  *os << '"';
}

// Test names for the runner: the row's number and its path with every other character than a
// letter or digit as '_' (separators and colons would break the names).
std::string RowName(const ::testing::TestParamInfo<Row>& info) {
  std::string name = std::to_string(info.index) + "_";
  for (const wchar_t* p = info.param.path; *p; ++p) {
    bool alnum = (*p >= L'a' && *p <= L'z') || (*p >= L'A' && *p <= L'Z') || (*p >= L'0' && *p <= L'9');
    name += alnum ? static_cast<char>(*p) : '_';
  }
  return name;
}

class FullPathAccessors : public ::testing::TestWithParam<Row> {};

// Each accessor is called with an output that already holds text, so that the rule of which
// accessors clear their output and which start from the whole path is checked too.
TEST_P(FullPathAccessors, GiveTheirPartAndResult) {
  const Row& r = GetParam();
  const suFullPath_c path(r.path);
  CString out;
  auto junk = [&] {
    out = L"junk";
    return &out;
  };
  auto expect = [&](const char* accessor, int result, const wchar_t* text, int expectedResult) {
    EXPECT_EQ(result, expectedResult) << accessor;
    EXPECT_EQ(Str(out), text) << accessor;
  };
  auto nonEmpty = [](const wchar_t* text) { return *text ? 1 : 0; };
  expect("getDrive", path.getDrive(junk()), r.drive, nonEmpty(r.drive));
  expect("getNetDrive", path.getNetDrive(junk()), r.netDrive, r.netResult);
  expect("getDirectory", path.getDirectory(junk(), 0), r.directory, nonEmpty(r.directory));
  expect("getDirectory with separator", path.getDirectory(junk(), 1), r.directoryWithSeparator,
         nonEmpty(r.directoryWithSeparator));
  expect("getName", path.getName(junk(), 0), r.name, nonEmpty(r.name));
  expect("getName, known extensions only", path.getName(junk(), 1), r.nameKnownExtOnly, nonEmpty(r.nameKnownExtOnly));
  expect("getNameWithExt", path.getNameWithExt(junk()), r.nameWithExt, nonEmpty(r.nameWithExt));
  expect("getExtension", path.getExtension(junk()), r.extension, nonEmpty(r.extension));
  expect("getLowestFolder", path.getLowestFolder(junk()), r.lowestFolder, nonEmpty(r.lowestFolder));
  EXPECT_EQ(Str(path), r.path) << "an accessor changed the path";
}

// Columns: path | drive | net drive, result | directory | directory with separator |
//          name | name (known extensions only) | name with ext | extension | lowest folder
INSTANTIATE_TEST_SUITE_P(
    DrivePaths, FullPathAccessors,
    ::testing::Values(
        Row{L"", L"", L"", 0, L"", L"", L"", L"", L"", L"", L""},
        Row{L"C:", L"C", L"C:", 0, L"", L"", L"C:", L"C:", L"C:", L"", L"C:"},
        Row{L"C:\\", L"C", L"C:\\", 0, L"C:", L"C:\\", L"", L"", L"", L"", L"C:\\"},
        Row{L"C:\\a\\", L"C", L"C:\\a\\", 0, L"C:\\a", L"C:\\a\\", L"", L"", L"", L"", L"C:\\a"},
        Row{L"C:\\f.prt", L"C", L"C:\\f.prt", 0, L"C:", L"C:\\", L"f", L"f", L"f.prt", L"prt", L"C:\\f.prt"},
        Row{L"C:\\top\\sub\\f.KVDPRT", L"C", L"C:\\top\\sub\\f.KVDPRT", 0, L"C:\\top\\sub", L"C:\\top\\sub\\",
            L"f", L"f", L"f.KVDPRT", L"KVDPRT", L"C:\\top"},
        Row{L"c:\\top\\part.kvdprt", L"c", L"c:\\top\\part.kvdprt", 0, L"c:\\top", L"c:\\top\\", L"part", L"part",
            L"part.kvdprt", L"kvdprt", L"c:\\top"},
        Row{L"C:/top/sub/f.prt", L"C", L"C:/top/sub/f.prt", 0, L"C:/top/sub", L"C:/top/sub/", L"f", L"f",
            L"f.prt", L"prt", L"C:/top/sub/f.prt"},
        // Dots in folder names: the extension is taken from the whole path.
        Row{L"C:\\Pi\x00e8" L"ces\\\x00e9" L"t\x00e9.KVDPRT", L"C", L"C:\\Pi\x00e8" L"ces\\\x00e9" L"t\x00e9.KVDPRT", 0,
            L"C:\\Pi\x00e8" L"ces", L"C:\\Pi\x00e8" L"ces\\", L"\x00e9" L"t\x00e9", L"\x00e9" L"t\x00e9",
            L"\x00e9" L"t\x00e9.KVDPRT", L"KVDPRT", L"C:\\Pi\x00e8" L"ces"},
        Row{L"C:\\a.b\\c", L"C", L"C:\\a.b\\c", 0, L"C:\\a.b", L"C:\\a.b\\", L"c", L"c", L"c", L"b\\c", L"C:\\a.b"},
        Row{L"C:\\v1.2\\bracket.rev2.KVDPRT", L"C", L"C:\\v1.2\\bracket.rev2.KVDPRT", 0, L"C:\\v1.2", L"C:\\v1.2\\",
            L"bracket.rev2", L"bracket.rev2", L"bracket.rev2.KVDPRT", L"KVDPRT", L"C:\\v1.2"},
        Row{L"C:\\d\\bracket.rev2", L"C", L"C:\\d\\bracket.rev2", 0, L"C:\\d", L"C:\\d\\", L"bracket",
            L"bracket.rev2", L"bracket.rev2", L"rev2", L"C:\\d"},
        Row{L"C:\\d\\a.prt.KVDDRW", L"C", L"C:\\d\\a.prt.KVDDRW", 0, L"C:\\d", L"C:\\d\\", L"a.prt", L"a.prt",
            L"a.prt.KVDDRW", L"KVDDRW", L"C:\\d"},
        Row{L"C:\\d\\file.", L"C", L"C:\\d\\file.", 0, L"C:\\d", L"C:\\d\\", L"file", L"file.", L"file.", L"",
            L"C:\\d"},
        // Names that are only an extension.
        Row{L"C:\\d\\.KVDPRT", L"C", L"C:\\d\\.KVDPRT", 0, L"C:\\d", L"C:\\d\\", L"", L"", L".KVDPRT", L"KVDPRT",
            L"C:\\d"},
        Row{L"C:\\d\\.cfg", L"C", L"C:\\d\\.cfg", 0, L"C:\\d", L"C:\\d\\", L"", L".cfg", L".cfg", L"cfg", L"C:\\d"},
        // Mixed separators: whichever lies further right splits; only '\' finds the lowest folder.
        Row{L"a/b\\c.prt", L"", L"a/b\\c.prt", 0, L"a/b", L"a/b\\", L"c", L"c", L"c.prt", L"prt", L"a/b\\c.prt"},
        Row{L"a/b\\c/d.prt", L"", L"a/b\\c/d.prt", 0, L"a/b\\c", L"a/b\\c/", L"d", L"d", L"d.prt", L"prt",
            L"a/b\\c/d.prt"},
        Row{L"a\\b\\c/d.prt", L"", L"a\\b\\c/d.prt", 0, L"a\\b\\c", L"a\\b\\c/", L"d", L"d", L"d.prt", L"prt",
            L"a\\b"},
        Row{L"/home/u/part.KVDPRT", L"", L"/home/u/part.KVDPRT", 0, L"/home/u", L"/home/u/", L"part", L"part",
            L"part.KVDPRT", L"KVDPRT", L"/home/u/part.KVDPRT"},
        Row{L"\\a", L"", L"\\a", 0, L"", L"\\", L"a", L"a", L"a", L"", L"\\a"},
        // No folder at all.
        Row{L"part.KVDPRT", L"", L"part.KVDPRT", 0, L"", L"", L"part", L"part", L"part.KVDPRT", L"KVDPRT",
            L"part.KVDPRT"},
        Row{L"f.ext", L"", L"f.ext", 0, L"", L"", L"f", L"f", L"f.ext", L"ext", L"f.ext"},
        Row{L"f.KVDFTP", L"", L"f.KVDFTP", 0, L"", L"", L"f", L"f", L"f.KVDFTP", L"KVDFTP", L"f.KVDFTP"},
        Row{L"f.FTP", L"", L"f.FTP", 0, L"", L"", L"f", L"f.FTP", L"f.FTP", L"FTP", L"f.FTP"},
        // Any colon counts for the drive; one at the start gives nothing.
        Row{L"\\\\srv\\a:b", L"\\\\srv\\a", L"\\\\srv\\a:b", 1, L"\\\\srv", L"\\\\srv\\", L"a:b", L"a:b", L"a:b",
            L"", L"\\"},
        Row{L":x", L"", L":x", 0, L"", L"", L":x", L":x", L":x", L"", L":x"},
        Row{L"ab:c:d", L"ab", L"ab:c:d", 0, L"", L"", L"ab:c:d", L"ab:c:d", L"ab:c:d", L"", L"ab:c:d"}),
    RowName);

INSTANTIATE_TEST_SUITE_P(
    NetworkPaths, FullPathAccessors,
    ::testing::Values(
        Row{L"\\\\srv", L"", L"", 0, L"\\", L"\\\\", L"srv", L"srv", L"srv", L"", L"\\"},
        Row{L"\\\\", L"", L"", 0, L"\\", L"\\\\", L"", L"", L"", L"", L"\\"},
        Row{L"\\\\srv\\sh", L"", L"\\\\srv\\sh", 1, L"\\\\srv", L"\\\\srv\\", L"sh", L"sh", L"sh", L"", L"\\"},
        Row{L"\\\\srv\\sh\\", L"", L"\\\\srv\\sh", 1, L"\\\\srv\\sh", L"\\\\srv\\sh\\", L"", L"", L"", L"", L"\\"},
        Row{L"\\\\srv\\sh\\dir\\f.KVDASM", L"", L"\\\\srv\\sh", 1, L"\\\\srv\\sh\\dir", L"\\\\srv\\sh\\dir\\",
            L"f", L"f", L"f.KVDASM", L"KVDASM", L"\\"},
        Row{L"\\\\srv.corp\\sh\\f", L"", L"\\\\srv.corp\\sh", 1, L"\\\\srv.corp\\sh", L"\\\\srv.corp\\sh\\",
            L"f", L"f", L"f", L"corp\\sh\\f", L"\\"},
        // A one-letter server still has its end found, because the search starts at position 3.
        Row{L"\\\\a\\b\\c", L"", L"\\\\a\\b", 1, L"\\\\a\\b", L"\\\\a\\b\\", L"c", L"c", L"c", L"", L"\\"},
        Row{L"\\\\a\\", L"", L"\\\\a\\", 1, L"\\\\a", L"\\\\a\\", L"", L"", L"", L"", L"\\"},
        // From position 3: a backslash at position 2 is passed over.
        Row{L"\\\\\\x\\y\\z", L"", L"\\\\\\x\\y", 1, L"\\\\\\x\\y", L"\\\\\\x\\y\\", L"z", L"z", L"z", L"",
            L"\\"},
        // Forward slashes do not make a network path.
        Row{L"//srv/sh/f", L"", L"//srv/sh/f", 0, L"//srv/sh", L"//srv/sh/", L"f", L"f", L"f", L"", L"//srv/sh/f"},
        Row{L"\\/srv\\sh\\f", L"", L"\\/srv\\sh\\f", 0, L"\\/srv\\sh", L"\\/srv\\sh\\", L"f", L"f", L"f", L"",
            L"\\/srv"},
        Row{L"\\", L"", L"\\", 0, L"", L"\\", L"", L"", L"", L"", L"\\"}),
    RowName);

INSTANTIATE_TEST_SUITE_P(
    WebLocations, FullPathAccessors,
    ::testing::Values(
        Row{L"http://host/dir/f.KVDPRT", L"", L"http://host/dir/f.KVDPRT", 0, L"http://host/dir",
            L"http://host/dir/", L"f", L"f", L"f.KVDPRT", L"KVDPRT", L"http://host/dir"},
        Row{L"HTTP://x", L"", L"HTTP://x", 0, L"HTTP:/", L"HTTP://", L"x", L"x", L"x", L"", L"HTTP:/"},
        Row{L"hTtPs://x/y", L"", L"hTtPs://x/y", 0, L"hTtPs://x", L"hTtPs://x/", L"y", L"y", L"y", L"",
            L"hTtPs://x"},
        Row{L"http", L"", L"http", 0, L"", L"", L"http", L"http", L"http", L"", L"http"},
        // A local name that begins with the four letters is a web location too.
        Row{L"httpd.log", L"", L"httpd.log", 0, L"", L"", L"httpd", L"httpd.log", L"httpd.log", L"log",
            L"httpd.log"},
        Row{L"httpd:\\logs\\a.txt", L"", L"httpd:\\logs\\a.txt", 0, L"", L"", L"httpd:\\logs\\a",
            L"httpd:\\logs\\a.txt", L"httpd:\\logs\\a.txt", L"txt", L"httpd:\\logs\\a.txt"},
        // Three letters are too few for the web test: this one has a drive.
        Row{L"htt:\\a", L"htt", L"htt:\\a", 0, L"htt:", L"htt:\\", L"a", L"a", L"a", L"", L"htt:\\a"},
        // '\' is an ordinary character in a web location.
        Row{L"http://h/a\\b.c/d\\e.prt", L"", L"http://h/a\\b.c/d\\e.prt", 0, L"http://h/a\\b.c",
            L"http://h/a\\b.c/", L"d\\e", L"d\\e", L"d\\e.prt", L"prt", L"http://h/a\\b.c"},
        // Query strings are not told apart from the name.
        Row{L"http://host/a.b/f.KVDPRT?rev=2.1", L"", L"http://host/a.b/f.KVDPRT?rev=2.1", 0, L"http://host/a.b",
            L"http://host/a.b/", L"f.KVDPRT?rev=2", L"f.KVDPRT?rev=2.1", L"f.KVDPRT?rev=2.1", L"1",
            L"http://host/a.b"},
        Row{L"https://h/d/f.prt?x=a/b", L"", L"https://h/d/f.prt?x=a/b", 0, L"https://h/d/f.prt?x=a",
            L"https://h/d/f.prt?x=a/", L"b", L"b", L"b", L"prt?x=a/b", L"https://h/d/f.prt?x=a"},
        Row{L"http://host/", L"", L"http://host/", 0, L"http://host", L"http://host/", L"", L"", L"", L"",
            L"http://host"}),
    RowName);

TEST(FullPath, KnownExtensionIsStrippedOnceSoTheResultIsStable) {
  CString first, second;
  EXPECT_EQ(suFullPath_c(L"C:\\d\\bracket.rev2.KVDPRT").getName(&first, 1), 1);
  EXPECT_EQ(Str(first), L"bracket.rev2");
  EXPECT_EQ(suFullPath_c(first).getName(&second, 1), 1);
  EXPECT_EQ(Str(second), L"bracket.rev2");
}

TEST(FullPath, DesignExtensionsAreTheFixedListInAnyCase) {
  const wchar_t* known[] = {L"KVDASM", L"ASM",    L"KVDDRW", L"DRW",    L"KVDLFP", L"LFP",    L"KVDFTP", L"KVDPRT",
                            L"PRT",    L"KVDBLK", L"KVDSYM", L"PRTDOT", L"ASMDOT", L"DRWDOT", L"ext"};
  for (const wchar_t* e : known) {
    CString upper(e), lower(e);
    upper.MakeUpper();
    lower.MakeLower();
    EXPECT_EQ(suFullPath_c::isKorvalindeExt(upper), 1);
    EXPECT_EQ(suFullPath_c::isKorvalindeExt(lower), 1);
  }
  // Three-letter forms exist for four of the six-letter names only; the dot is not part of it.
  const wchar_t* unknown[] = {L"FTP", L"BLK", L"SYM", L".PRT", L"PRT ", L"KVDPR", L"KVDPRTX", L"EX", L"", L"DOT"};
  for (const wchar_t* e : unknown) {
    CString text(e);
    EXPECT_EQ(suFullPath_c::isKorvalindeExt(text), 0);
    EXPECT_EQ(Str(text), e) << "the extension is left as given";
  }
  // Non-ASCII text is compared too, and never taken for a design extension by its ASCII part.
  CString accented(L"PRT\x00e9"), accentedOnly(L"\x00e9\x00e9\x00e9");
  EXPECT_EQ(suFullPath_c::isKorvalindeExt(accented), 0);
  EXPECT_EQ(suFullPath_c::isKorvalindeExt(accentedOnly), 0);
  // The comparison is of C strings: the text ends at an embedded zero, as the runtime's does.
  CString zero(L"prt\0\x00e9", 5);
  EXPECT_EQ(suFullPath_c::isKorvalindeExt(zero), 1);
}

TEST(FullPath, NullOutputIsRefused) {
  const suFullPath_c path(L"C:\\a\\b.prt");
  EXPECT_EQ(path.getDrive(nullptr), 0);
  EXPECT_EQ(path.getNetDrive(nullptr), 0);
  EXPECT_EQ(path.getDirectory(nullptr, 1), 0);
  EXPECT_EQ(path.getName(nullptr, 1), 0);
  EXPECT_EQ(path.getNameWithExt(nullptr), 0);
  EXPECT_EQ(path.getExtension(nullptr), 0);
  EXPECT_EQ(path.getLowestFolder(nullptr), 0);
}

TEST(FullPath, IsAStringWithNothingOfItsOwn) {
  static_assert(sizeof(suFullPath_c) == sizeof(CString));
  EXPECT_TRUE(suFullPath_c().IsEmpty());
  EXPECT_EQ(Str(suFullPath_c(CString(L"C:\\a"))), L"C:\\a");
  EXPECT_EQ(Str(suFullPath_c(L'\\', 2)), L"\\\\");
  EXPECT_TRUE(suFullPath_c(L'x', 0).IsEmpty());
  EXPECT_TRUE(suFullPath_c(L'x', -3).IsEmpty());
  EXPECT_EQ(Str(suFullPath_c("C:\\narrow.prt")), L"C:\\narrow.prt");
  EXPECT_EQ(Str(suFullPath_c(L"C:\\wide.prt")), L"C:\\wide.prt");
  EXPECT_EQ(Str(suFullPath_c(L"C:\\a\\b", 4)), L"C:\\a");
  const unsigned char bytes[] = "C:\\bytes.prt";
  EXPECT_EQ(Str(suFullPath_c(bytes)), L"C:\\bytes.prt");
  // Narrow text goes through the same conversion as the string's own.
  const char* accented = "C:\\pi\xc3\xa8" "ce.prt";
  EXPECT_EQ(Str(suFullPath_c(accented)), Str(CString(accented)));
  EXPECT_EQ(Str(suFullPath_c(reinterpret_cast<const unsigned char*>(accented))), Str(CString(accented)));

  suFullPath_c original(L"C:\\a\\b.prt");
  suFullPath_c copy(original);
  suFullPath_c assigned;
  assigned = original;
  EXPECT_EQ(Str(copy), L"C:\\a\\b.prt");
  EXPECT_EQ(Str(assigned), L"C:\\a\\b.prt");
  // Copies share nothing that a write to one shows in the other.
  copy.Replace(L'\\', L'/');
  EXPECT_EQ(Str(original), L"C:\\a\\b.prt");
  EXPECT_EQ(Str(copy), L"C:/a/b.prt");
  // Every string operation works on it, and the accessors see the changed text.
  assigned += L".bak";
  CString ext;
  EXPECT_EQ(assigned.getExtension(&ext), 1);
  EXPECT_EQ(Str(ext), L"bak");
}

TEST(ComparePath, IsEqualityWithoutRegardToCaseAndNothingMore) {
  using KvdUtils::File::ComparePath;
  EXPECT_EQ(ComparePath(L"C:\\Dir\\Part.KVDPRT", L"c:\\dir\\part.kvdprt"), 1);
  EXPECT_EQ(ComparePath(L"", L""), 1);
  EXPECT_EQ(ComparePath(L"C:\\a", L"C:/a"), 0);
  EXPECT_EQ(ComparePath(L"c:/A//b", L"C:\\a\\B"), 0);
  EXPECT_EQ(ComparePath(L"C:\\a\\", L"C:\\a"), 0);
  EXPECT_EQ(ComparePath(L"\x00c9T\x00c9", L"\x00e9t\x00e9"), 1);
}

}  // namespace
