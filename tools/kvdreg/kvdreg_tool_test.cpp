// The kvdreg program itself, run as a process: its output, messages and exit codes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "regfile.h"
#include "regstore.h"
#include "support/test_env.h"

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

using namespace KvdReg;
namespace fs = std::filesystem;

namespace {

struct ToolRun {
  int code = -1;
  std::string out;
  std::string err;
};

std::string slurp(const fs::path& p) {
  // The console's line ends on Windows.
  std::string t;
  for (char c : KvdTest::readBytes(p))
    if (c != '\r') t += c;
  return t;
}

std::string quote(const std::string& s) {
#if defined(_WIN32)
  // The C runtime's rules: backslashes are literal unless a quote follows them.
  std::string q = "\"";
  size_t slashes = 0;
  for (char c : s) {
    if (c == '\\') {
      ++slashes;
      continue;
    }
    q.append(c == '"' ? 2 * slashes + 1 : slashes, '\\');
    slashes = 0;
    q += c;
  }
  q.append(2 * slashes, '\\');
  return q + "\"";
#else
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
#endif
}

ToolRun kvdreg(const std::vector<std::string>& args) {
  fs::path dir = KvdTest::scratchDir("run");
#if defined(_WIN32)
  fs::path exe = KvdTest::binDir() / "kvdreg.exe";
#else
  fs::path exe = KvdTest::binDir() / "kvdreg";
#endif
  std::string cmd = quote(exe.string());
  for (const auto& a : args) cmd += " " + quote(a);
  cmd += " >" + quote((dir / "out").string()) + " 2>" + quote((dir / "err").string());
#if defined(_WIN32)
  cmd = "\"" + cmd + "\"";  // cmd /c takes off the outer pair
#endif
  ToolRun r;
  int rc = std::system(cmd.c_str());
#if defined(_WIN32)
  r.code = rc;
#else
  r.code = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
#endif
  r.out = slurp(dir / "out");
  r.err = slurp(dir / "err");
  return r;
}

class KvdregTool : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device rd;
    name_ = "Software\\KvdutuTest\\kvdreg-tool-" + std::to_string(rd() % 1000000000u);
    key_ = "HKCU\\" + name_;
  }
  void TearDown() override {
    KeyPath k;
    if (parseKeyPath(utf8ToUtf16(key_), &k)) deleteTree(k);
  }
  std::string name_;
  std::string key_;
};

}  // namespace

TEST_F(KvdregTool, HelpAndUsageErrors) {
  ToolRun help = kvdreg({"--help"});
  EXPECT_EQ(help.code, 0);
  for (const char* s : {"HKEY_CURRENT_USER", "HKCU", "HKEY_LOCAL_MACHINE", "HKLM", "HKEY_USERS", "HKU",
                        "HKEY_CLASSES_ROOT", "HKCR", "examples", "kvdreg import"})
    EXPECT_NE(help.out.find(s), std::string::npos) << s;

  EXPECT_EQ(kvdreg({}).code, 2);
  EXPECT_EQ(kvdreg({"frobnicate"}).code, 2);
  EXPECT_EQ(kvdreg({"get"}).code, 2);
  EXPECT_EQ(kvdreg({"get", "HKEY_NOWHERE\\x"}).code, 2);
  EXPECT_EQ(kvdreg({"set", key_, "v", "REG_FLOAT", "1"}).code, 2);
  EXPECT_EQ(kvdreg({"set", key_, "v", "REG_DWORD", "4294967296"}).code, 2);
  EXPECT_EQ(kvdreg({"set", key_, "v", "REG_DWORD", "-1"}).code, 2);
  EXPECT_EQ(kvdreg({"set", key_, "v", "REG_BINARY", "0g"}).code, 2);
  EXPECT_EQ(kvdreg({"set", key_, "v", "REG_SZ"}).code, 2);
  EXPECT_EQ(kvdreg({"delete", "HKCU"}).code, 2);
  ToolRun bad = kvdreg({"export", key_});
  EXPECT_EQ(bad.code, 2);
  EXPECT_NE(bad.err.find("kvdreg:"), std::string::npos);
  // None of these wrote anything.
  ToolRun missing = kvdreg({"get", key_, "v"});
  EXPECT_EQ(missing.code, 1);
  EXPECT_NE(missing.err.find("cannot find"), std::string::npos) << missing.err;
  EXPECT_NE(missing.err.find("(error 2)"), std::string::npos) << missing.err;
}

TEST_F(KvdregTool, SetAndGetEveryType) {
  struct Case {
    std::vector<std::string> set;  // after "set KEY"
    std::string shown;             // the line get prints
  };
  const Case cases[] = {
      {{"s", "REG_SZ", "hello world"}, "s    REG_SZ    hello world"},
      // A variable that is not set: cmd, which runs the tool under Windows, leaves it alone.
      {{"e", "REG_EXPAND_SZ", "%KVDREG_NOT_SET%\\x"}, "e    REG_EXPAND_SZ    %KVDREG_NOT_SET%\\x"},
      {{"m", "REG_MULTI_SZ", "a\\0b\\0c"}, "m    REG_MULTI_SZ    a\\0b\\0c"},
      {{"m2", "REG_MULTI_SZ", "-s", ";", "x;y"}, "m2    REG_MULTI_SZ    x\\0y"},
      {{"d", "REG_DWORD", "42"}, "d    REG_DWORD    0x2a"},
      {{"dx", "REG_DWORD", "0xFFFFFFFF"}, "dx    REG_DWORD    0xffffffff"},
      {{"q", "REG_QWORD", "0x100000000"}, "q    REG_QWORD    0x100000000"},
      {{"qd", "REG_QWORD", "18446744073709551615"}, "qd    REG_QWORD    0xffffffffffffffff"},
      {{"b", "REG_BINARY", "0a1b2c"}, "b    REG_BINARY    0A1B2C"},
      {{"bc", "REG_BINARY", "0a,1b,2c"}, "bc    REG_BINARY    0A1B2C"},
      {{"n", "REG_NONE"}, "n    REG_NONE    "},
      {{"--ve", "REG_SZ", "dflt"}, "(Default)    REG_SZ    dflt"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"set", key_};
    args.insert(args.end(), c.set.begin(), c.set.end());
    ToolRun set = kvdreg(args);
    ASSERT_EQ(set.code, 0) << set.err;
    std::vector<std::string> get = {"get", key_};
    if (c.set[0] != "--ve") get.push_back(c.set[0]);
    ToolRun r = kvdreg(get);
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, c.shown + "\n");
  }
  // The value written through the tool is the one the library reads.
  Key k;
  KeyPath path;
  ASSERT_TRUE(parseKeyPath(utf8ToUtf16(key_), &path));
  ASSERT_EQ(openKey(path, KEY_READ, &k), ERROR_SUCCESS);
  DWORD type;
  std::vector<uint8_t> data;
  std::u16string m = u"m";
  ASSERT_EQ(queryValue(k.get(), &m, &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD(REG_MULTI_SZ));
  EXPECT_EQ(data, utf16Bytes(std::u16string(u"a\0b\0c\0", 6), true));
}

TEST_F(KvdregTool, DeleteNeedsTheRecursiveFlagForSubkeys) {
  ASSERT_EQ(kvdreg({"set", key_ + "\\A\\B", "v", "REG_DWORD", "1"}).code, 0);
  ASSERT_EQ(kvdreg({"set", key_ + "\\A", "w", "REG_SZ", "x"}).code, 0);

  EXPECT_EQ(kvdreg({"delete", key_ + "\\A", "w"}).code, 0);
  EXPECT_EQ(kvdreg({"get", key_ + "\\A", "w"}).code, 1);
  EXPECT_EQ(kvdreg({"delete", key_ + "\\A", "w"}).code, 1);

  ToolRun refused = kvdreg({"delete", key_ + "\\A"});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("-r"), std::string::npos);
  EXPECT_EQ(kvdreg({"get", key_ + "\\A\\B", "v"}).code, 0);

  EXPECT_EQ(kvdreg({"delete", key_ + "\\A", "-r"}).code, 0);
  EXPECT_EQ(kvdreg({"tree", key_ + "\\A"}).code, 1);
  EXPECT_EQ(kvdreg({"delete", key_ + "\\A", "-r"}).code, 1);
}

TEST_F(KvdregTool, TreeIndentsKeysAndValues) {
  ASSERT_EQ(kvdreg({"set", key_, "top", "REG_SZ", "1"}).code, 0);
  ASSERT_EQ(kvdreg({"set", key_ + "\\Child", "inner", "REG_DWORD", "2"}).code, 0);
  ToolRun r = kvdreg({"tree", key_});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "HKEY_CURRENT_USER\\" + name_ + "\n"
                   "  top    REG_SZ    1\n"
                   "  [Child]\n"
                   "    inner    REG_DWORD    0x2\n");
}

TEST_F(KvdregTool, ExportThenImportThroughTheTool) {
  ASSERT_EQ(kvdreg({"set", key_ + "\\S", "s", "REG_SZ", "a \"quoted\" text"}).code, 0);
  ASSERT_EQ(kvdreg({"set", key_ + "\\S", "b", "REG_BINARY", std::string(200, 'f')}).code, 0);
  fs::path file = KvdTest::scratchDir("export") / "out.reg";
  ToolRun ex = kvdreg({"export", key_, file.string()});
  ASSERT_EQ(ex.code, 0) << ex.err;
  const std::string bytes = KvdTest::readBytes(file);
  ASSERT_GE(bytes.size(), 4u);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\xFF\xFEW\0", 4));

  ASSERT_EQ(kvdreg({"delete", key_, "-r"}).code, 0);
  ToolRun im = kvdreg({"import", file.string()});
  ASSERT_EQ(im.code, 0) << im.err;
  EXPECT_EQ(kvdreg({"get", key_ + "\\S", "s"}).out, "s    REG_SZ    a \"quoted\" text\n");
  EXPECT_EQ(kvdreg({"get", key_ + "\\S", "b"}).out, "b    REG_BINARY    " + std::string(200, 'F') + "\n");

  EXPECT_EQ(kvdreg({"export", key_ + "\\Missing", file.string()}).code, 1);
  EXPECT_EQ(kvdreg({"import", (file.parent_path() / "none.reg").string()}).code, 1);
}

TEST_F(KvdregTool, ImportOfABadFileNamesTheLineAndWritesNothing) {
  fs::path file = KvdTest::scratchDir("bad") / "bad.reg";
  {
    std::ofstream f(file, std::ios::binary);
    f << "REGEDIT4\r\n"
         "\r\n"
         "[HKEY_CURRENT_USER\\" << name_ << "]\r\n"
         "\"a\"=\"b\"\r\n"
         "\r\n"
         "[HKEY_CURRENT_USER\\" << name_ << "\\Sub]\r\n"
         "\"c\"=dword:xyz\r\n";
  }
  ToolRun r = kvdreg({"import", file.string()});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("line 7"), std::string::npos) << r.err;
  EXPECT_EQ(kvdreg({"tree", key_}).code, 1);
}
