#include "kvdutu/platform/framework/cstring.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kvdutu/platform/framework/exceptions.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/platform/os/text.h"
#include "support/framework_expect.h"

namespace {

std::string Acp(const wchar_t* w) {
  char buf[64] = {};
  int n = KvdUtils::Platform::WideCharToMultiByte(CP_ACP, 0, w, -1, buf, sizeof buf, nullptr, nullptr);
  return n > 0 ? std::string(buf) : std::string();
}

const auto Throws = &KvdTest::raises<CInvalidArgException>;

std::wstring Str(const CString& s) { return std::wstring(s.GetString(), static_cast<size_t>(s.GetLength())); }

}  // namespace

TEST(CString, Construction) {
  EXPECT_TRUE(CString().IsEmpty());
  EXPECT_EQ(CString().GetString()[0], L'\0');
  EXPECT_EQ(Str(CString(L"wide")), L"wide");
  EXPECT_EQ(Str(CString(static_cast<const wchar_t*>(nullptr))), L"");
  EXPECT_EQ(Str(CString(L'x', 3)), L"xxx");
  EXPECT_TRUE(CString(L'x', 0).IsEmpty());
  EXPECT_TRUE(CString(L'x', -2).IsEmpty());
  CString embedded(L"a\0b", 3);
  EXPECT_EQ(embedded.GetLength(), 3);
  EXPECT_EQ(embedded[2], L'b');
  EXPECT_TRUE(Throws([] { CString(L"abc", -1); }));
  // Narrow text through the system code page.
  const std::string ete = Acp(L"\u00e9t\u00e9");
  EXPECT_EQ(Str(CString(ete.c_str())), L"\u00e9t\u00e9");
  EXPECT_EQ(Str(CString(ete.c_str(), static_cast<int>(ete.size()))), L"\u00e9t\u00e9");
  EXPECT_EQ(Str(CString('n', 2)), L"nn");
  CStringA narrow(L"\u00e9t\u00e9");
  EXPECT_EQ(std::string(narrow.GetString()), ete);
  CString back(narrow);  // CStringA to CString through the narrow pointer
  EXPECT_EQ(Str(back), L"\u00e9t\u00e9");
}

TEST(CString, CopiesAreIndependentValues) {
  CString a(L"shared text");
  CString b(a);
  CString c;
  c = a;
  EXPECT_EQ(a.GetString(), b.GetString());  // copy-on-write: one block until someone writes
  b.SetAt(0, L'S');
  c += L"!";
  EXPECT_EQ(Str(a), L"shared text");
  EXPECT_EQ(Str(b), L"Shared text");
  EXPECT_EQ(Str(c), L"shared text!");
  CString d(a);
  wchar_t* buf = d.GetBuffer();
  buf[0] = L'X';
  d.ReleaseBuffer();
  EXPECT_EQ(Str(a), L"shared text");
  EXPECT_EQ(Str(d), L"Xhared text");
  CString moved(std::move(d));
  EXPECT_EQ(Str(moved), L"Xhared text");
  a = a;  // self-assignment keeps the text
  EXPECT_EQ(Str(a), L"shared text");
}

TEST(CString, CopiesMayBeUsedOnOtherThreads) {
  const CString original(L"base");
  std::vector<std::thread> threads;
  std::vector<CString> results(8);
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        CString mine(original);  // shares the block, then writes its own copy
        CString other = mine;
        mine.AppendFormat(L"-%d", t);
        results[t] = mine;
        (void)other.GetLength();
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(Str(original), L"base");
  for (int t = 0; t < 8; ++t) EXPECT_EQ(Str(results[t]), L"base-" + std::to_wstring(t));
}

TEST(CString, LeftRightMidClampCounts) {
  const CString s(L"abcdef");
  EXPECT_EQ(Str(s.Left(2)), L"ab");
  EXPECT_EQ(Str(s.Left(-1)), L"");
  EXPECT_EQ(Str(s.Left(100)), L"abcdef");
  EXPECT_EQ(Str(s.Right(2)), L"ef");
  EXPECT_EQ(Str(s.Right(-3)), L"");
  EXPECT_EQ(Str(s.Right(100)), L"abcdef");
  EXPECT_EQ(Str(s.Mid(2)), L"cdef");
  EXPECT_EQ(Str(s.Mid(2, 2)), L"cd");
  EXPECT_EQ(Str(s.Mid(-5, 2)), L"ab");
  EXPECT_EQ(Str(s.Mid(3, -1)), L"");
  EXPECT_EQ(Str(s.Mid(4, 100)), L"ef");
  EXPECT_EQ(Str(s.Mid(100)), L"");
  EXPECT_EQ(Str(s.Mid(6)), L"");
  EXPECT_EQ(Str(s.Mid(-1)), L"abcdef");
  EXPECT_EQ(Str(s.Mid(1, INT_MAX)), L"bcdef");  // no overflow in first + count
}

TEST(CString, Searching) {
  const CString s(L"one two one");
  EXPECT_EQ(s.Find(L'o'), 0);
  EXPECT_EQ(s.Find(L'o', 1), 6);
  EXPECT_EQ(s.Find(L'z'), -1);
  EXPECT_EQ(s.Find(L'o', -1), -1);
  EXPECT_EQ(s.Find(L'o', 11), -1);
  EXPECT_EQ(s.Find(L"one"), 0);
  EXPECT_EQ(s.Find(L"one", 1), 8);
  EXPECT_EQ(s.Find(L"one", 9), -1);
  EXPECT_EQ(s.Find(L"", 3), 3);
  EXPECT_EQ(s.Find(L"x", 12), -1);
  EXPECT_EQ(s.Find(static_cast<const wchar_t*>(nullptr)), -1);
  EXPECT_EQ(s.ReverseFind(L'o'), 8);
  EXPECT_EQ(s.ReverseFind(L'z'), -1);
  EXPECT_EQ(s.FindOneOf(L"wt"), 4);
  EXPECT_EQ(s.FindOneOf(L"xyz"), -1);
  EXPECT_EQ(s.FindOneOf(L""), -1);
}

TEST(CString, ReplaceRemoveInsertDelete) {
  CString s(L"a-b-c");
  EXPECT_EQ(s.Replace(L'-', L'+'), 2);
  EXPECT_EQ(Str(s), L"a+b+c");
  EXPECT_EQ(s.Replace(L"+", L"<->"), 2);
  EXPECT_EQ(Str(s), L"a<->b<->c");
  EXPECT_EQ(s.Replace(L"<->", L""), 2);
  EXPECT_EQ(Str(s), L"abc");
  EXPECT_EQ(s.Replace(L"", L"x"), 0);
  EXPECT_EQ(s.Replace(L"zz", L"x"), 0);
  CString aa(L"aaa");
  EXPECT_EQ(aa.Replace(L"aa", L"aaa"), 1);  // non-overlapping, left to right, one pass
  EXPECT_EQ(Str(aa), L"aaaa");
  EXPECT_EQ(aa.Replace(L"a", static_cast<const wchar_t*>(nullptr)), 4);
  EXPECT_TRUE(aa.IsEmpty());

  CString r(L"banana");
  EXPECT_EQ(r.Remove(L'a'), 3);
  EXPECT_EQ(Str(r), L"bnn");
  EXPECT_EQ(r.Remove(L'z'), 0);

  CString i(L"ace");
  EXPECT_EQ(i.Insert(1, L'b'), 4);
  EXPECT_EQ(i.Insert(3, L"d"), 5);
  EXPECT_EQ(i.Insert(-4, L"<"), 6);
  EXPECT_EQ(i.Insert(100, L'>'), 7);
  EXPECT_EQ(Str(i), L"<abcde>");
  EXPECT_EQ(i.Insert(1, i.GetString()), 14);  // inserting the string into itself
  EXPECT_EQ(Str(i), L"<<abcde>abcde>");

  CString d(L"abcdef");
  EXPECT_EQ(d.Delete(1), 5);
  EXPECT_EQ(Str(d), L"acdef");
  EXPECT_EQ(d.Delete(3, 100), 3);
  EXPECT_EQ(Str(d), L"acd");
  EXPECT_EQ(d.Delete(-2, 1), 2);
  EXPECT_EQ(Str(d), L"cd");
  EXPECT_EQ(d.Delete(5, 1), 2);
  EXPECT_EQ(d.Delete(0, -1), 2);
}

TEST(CString, CaseMappingIsFixedAndCoversTheBmp) {
  // é->É, ÿ->Ÿ, ß unchanged (no one-to-one upper case), σ->Σ, ж->Ж.
  EXPECT_EQ(Str(CString(L"abc\u00e9\u00ff\u00df\u03c3\u0436xYz").MakeUpper()), L"ABC\u00c9\u0178\u00df\u03a3\u0416XYZ");
  EXPECT_EQ(Str(CString(L"ABC\u00c9\u0178\u00df\u03a3\u0416XyZ").MakeLower()), L"abc\u00e9\u00ff\u00df\u03c3\u0436xyz");
  EXPECT_EQ(Str(CString(L"\uff41\u0130").MakeUpper()), L"\uff21\u0130");
  // As on Windows, only pairs that map back to each other: MICRO SIGN, DOTLESS I, LONG S, final
  // sigma and the title-case digraph keep their case, and so do KELVIN SIGN and ANGSTROM SIGN.
  EXPECT_EQ(Str(CString(L"\u00b5\u0131\u017f\u03c2\u01c5").MakeUpper()), L"\u00b5\u0131\u017f\u03c2\u01c5");
  EXPECT_EQ(Str(CString(L"\u212a\u212b\u01c5").MakeLower()), L"\u212a\u212b\u01c5");
  EXPECT_EQ(Str(CString(L"abc").MakeReverse()), L"cba");
  // The narrow string maps ASCII only, so UTF-8 lengths never change.
  CStringA a("abc");
  a += Acp(L"\u00e9").c_str();
  std::string before(a.GetString() + 3);
  a.MakeUpper();
  EXPECT_EQ(std::string(a.Left(3).GetString()), "ABC");
  EXPECT_EQ(std::string(a.GetString() + 3), before);
}

TEST(CString, Trimming) {
  CString s(L" \t\r\n text \u3000\u00a0");
  EXPECT_EQ(Str(CString(s).TrimLeft()), L"text \u3000\u00a0");
  EXPECT_EQ(Str(CString(s).TrimRight()), L" \t\r\n text");
  EXPECT_EQ(Str(s.Trim()), L"text");
  EXPECT_EQ(Str(CString(L"xxaxx").Trim(L'x')), L"a");
  EXPECT_EQ(Str(CString(L"xxaxx").TrimLeft(L'x')), L"axx");
  EXPECT_EQ(Str(CString(L"xxaxx").TrimRight(L'x')), L"xxa");
  EXPECT_EQ(Str(CString(L"-+a+b+-").Trim(L"+-")), L"a+b");
  EXPECT_EQ(Str(CString(L"-+a").TrimLeft(L"+-")), L"a");
  EXPECT_EQ(Str(CString(L"a-+").TrimRight(L"+-")), L"a");
  EXPECT_EQ(Str(CString(L"  ").Trim()), L"");
  EXPECT_EQ(Str(CString(L"-a-").Trim(static_cast<const wchar_t*>(nullptr))), L"-a-");
  EXPECT_EQ(Str(CString(L"-a-").Trim(L"")), L"-a-");
}

TEST(CString, Comparison) {
  const CString abc(L"abc");
  EXPECT_EQ(abc.Compare(L"abc"), 0);
  EXPECT_LT(abc.Compare(L"abd"), 0);
  EXPECT_GT(abc.Compare(L"ab"), 0);
  EXPECT_GT(abc.Compare(L"ABC"), 0);
  EXPECT_EQ(abc.CompareNoCase(L"ABC"), 0);
  EXPECT_LT(abc.CompareNoCase(L"ABD"), 0);
  EXPECT_EQ(CString(L"\u00e9t\u00e9").CompareNoCase(L"\u00c9T\u00c9"), 0);
  // No-case compares lower-case forms, so '_' sorts before letters.
  EXPECT_LT(CString(L"_").CompareNoCase(L"A"), 0);
  EXPECT_EQ(abc.Collate(L"abc"), 0);
  EXPECT_EQ(abc.CollateNoCase(L"AbC"), 0);
  // UTF-16 order on every platform: a character beyond the BMP sorts before U+E000..U+FFFF.
  EXPECT_LT(CString(L"\U00010000").Compare(L"\uE000"), 0);
  EXPECT_GT(CString(L"\uFFFD").Compare(L"\U0010FFFF"), 0);
  EXPECT_LT(CString(L"\uD7FF").Compare(L"\U00010000"), 0);
  // Operators, with strings and C strings on either side.
  EXPECT_TRUE(abc == L"abc");
  EXPECT_TRUE(L"abc" == abc);
  EXPECT_TRUE(abc == CString(L"abc"));
  EXPECT_TRUE(abc != L"abd");
  EXPECT_TRUE(abc < L"abd" && L"abd" > abc);
  EXPECT_TRUE(abc <= L"abc" && abc >= L"abc" && L"ab" <= abc && L"b" >= abc);
  EXPECT_FALSE(abc < CString(L"abc"));
}

TEST(CString, Concatenation) {
  CString s(L"a");
  s += L"b";
  s += L'c';
  s += "d";
  s += 'e';
  s += CString(L"f");
  EXPECT_EQ(Str(s), L"abcdef");
  s += s;
  EXPECT_EQ(Str(s), L"abcdefabcdef");
  CString t = CString(L"x") + L"y" + L'z' + CString(L"!");
  EXPECT_EQ(Str(t), L"xyz!");
  EXPECT_EQ(Str(L"<" + t + L">"), L"<xyz!>");
  EXPECT_EQ(Str(L'[' + t + ']'), L"[xyz!]");
  CString self(L"abc");
  self.Append(self.GetString() + 1);  // part of itself
  EXPECT_EQ(Str(self), L"abcbc");
  CString grow;
  for (int i = 0; i < 1000; ++i) grow.AppendChar(static_cast<wchar_t>(L'a' + i % 26));
  EXPECT_EQ(grow.GetLength(), 1000);
  EXPECT_EQ(grow[999], static_cast<wchar_t>(L'a' + 999 % 26));
}

TEST(CString, IndexingThrowsOnBadIndex) {
  CString s(L"ab");
  EXPECT_EQ(s.GetAt(1), L'b');
  EXPECT_EQ(s.GetAt(2), L'\0');  // the terminator may be read
  EXPECT_TRUE(Throws([&] { (void)s.GetAt(3); }));
  EXPECT_TRUE(Throws([&] { (void)s.GetAt(-1); }));
  EXPECT_TRUE(Throws([&] { (void)s[5]; }));
  EXPECT_TRUE(Throws([&] { s.SetAt(2, L'x'); }));
  EXPECT_TRUE(Throws([&] { s.SetAt(-1, L'x'); }));
  s.SetAt(1, L'z');
  EXPECT_EQ(Str(s), L"az");
  EXPECT_TRUE(Throws([&] { s.Truncate(3); }));
  s.Truncate(1);
  EXPECT_EQ(Str(s), L"a");
}

TEST(CString, BufferAccess) {
  CString s;
  wchar_t* p = s.GetBuffer(10);
  ASSERT_GE(s.GetAllocLength(), 10);
  wcscpy(p, L"written");
  s.ReleaseBuffer();
  EXPECT_EQ(Str(s), L"written");
  p = s.GetBuffer();
  p[3] = L'\0';
  s.ReleaseBuffer(-1);
  EXPECT_EQ(Str(s), L"wri");
  p = s.GetBuffer(20);
  EXPECT_EQ(std::wstring(p), L"wri");  // the text is kept
  s.ReleaseBuffer(2);
  EXPECT_EQ(Str(s), L"wr");
  p = s.GetBufferSetLength(4);
  EXPECT_EQ(s.GetLength(), 4);
  p[2] = L'a';
  p[3] = L'p';
  s.ReleaseBuffer();
  EXPECT_EQ(Str(s), L"wrap");
  EXPECT_TRUE(Throws([&] { s.GetBuffer(-1); }));
  EXPECT_TRUE(Throws([&] { s.ReleaseBuffer(s.GetAllocLength() + 1); }));
  s.Preallocate(100);
  EXPECT_GE(s.GetAllocLength(), 100);
  EXPECT_EQ(Str(s), L"wrap");
  s.FreeExtra();
  EXPECT_EQ(Str(s), L"wrap");
  s.Empty();
  EXPECT_TRUE(s.IsEmpty());
}

namespace {
CString FormatVia(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  CString s;
  s.FormatV(fmt, args);
  va_end(args);
  return s;
}
}  // namespace

TEST(CString, FormatUsesTheMicrosoftConventions) {
  CString s;
  s.Format(L"%s=%d, %S, %p", L"n", 5, "narrow", nullptr);
  EXPECT_EQ(Str(s), L"n=5, narrow, " + std::wstring(sizeof(void*) * 2, L'0'));
  s.AppendFormat(L" [%5.1f]", 2.25);
  EXPECT_EQ(Str(s.Right(8)), L" [  2.2]");
  CString name(L"arg");
  s.Format(L"%s/%s", static_cast<const wchar_t*>(name), name.GetString());
  EXPECT_EQ(Str(s), L"arg/arg");
  EXPECT_EQ(Str(FormatVia(L"%ls-%hs", L"w", "n")), L"w-n");
  s.Format(L"bad %n", nullptr);
  EXPECT_TRUE(s.IsEmpty());
  CStringA a;
  a.Format("%s|%S|%c%C", "n", L"w", 'x', L'y');
  EXPECT_EQ(std::string(a.GetString()), "n|w|xy");
}

TEST(CString, TokenizeAndSpans) {
  const CString s(L",a,,bc;d;");
  int pos = 0;
  std::vector<std::wstring> tokens;
  for (CString t = s.Tokenize(L",;", pos); pos != -1; t = s.Tokenize(L",;", pos)) tokens.push_back(Str(t));
  EXPECT_EQ(tokens, (std::vector<std::wstring>{L"a", L"bc", L"d"}));
  pos = 0;
  EXPECT_EQ(Str(CString(L"xyz").Tokenize(L"", pos)), L"xyz");  // no delimiters: the rest, position kept
  EXPECT_EQ(pos, 0);
  pos = 3;
  EXPECT_TRUE(CString(L"xyz").Tokenize(L",", pos).IsEmpty());
  EXPECT_EQ(pos, -1);
  pos = -1;
  EXPECT_TRUE(Throws([&] { CString(L"x").Tokenize(L",", pos); }));
  EXPECT_EQ(Str(CString(L"123abc").SpanIncluding(L"0123456789")), L"123");
  EXPECT_EQ(Str(CString(L"abc;def").SpanExcluding(L";,")), L"abc");
  EXPECT_EQ(Str(CString(L"abc").SpanExcluding(L";")), L"abc");
  EXPECT_EQ(Str(CString(L"abc").SpanIncluding(L"x")), L"");
}

TEST(CString, LoadStringFromRegisteredResources) {
  KvdUtils::Platform::RegisterStringResource(40001, L"Resource \u00e9 %d");
  CString s;
  EXPECT_TRUE(s.LoadString(40001));
  EXPECT_EQ(Str(s), L"Resource \u00e9 %d");
  CString f;
  f.Format(40001u, 7);
  EXPECT_EQ(Str(f), L"Resource \u00e9 7");
  CStringA a;
  EXPECT_TRUE(a.LoadString(40001));
  EXPECT_EQ(std::string(a.GetString()), Acp(L"Resource \u00e9 %d"));
  std::wstring longText(5000, L'L');
  KvdUtils::Platform::RegisterStringResource(40002, longText.c_str());
  EXPECT_TRUE(s.LoadString(40002));
  EXPECT_EQ(Str(s), longText);
  KvdUtils::Platform::ClearStringResources();
  CString absent(L"unchanged");
  EXPECT_FALSE(absent.LoadString(40001));
  EXPECT_EQ(Str(absent), L"unchanged");
}

#if defined(_WIN32)
// Windows is the oracle for the case table: every BMP character against CharUpperBuffW and
// CharLowerBuffW. Surrogates are left out (CString keeps them; they are not characters alone).
TEST(CString, CaseTableMatchesWindows) {
  std::wstring all;
  for (unsigned c = 1; c <= 0xFFFF; ++c)
    if (c < 0xD800 || c > 0xDFFF) all.push_back(static_cast<wchar_t>(c));
  for (bool upper : {true, false}) {
    std::wstring expect = all;
    if (upper)
      CharUpperBuffW(expect.data(), static_cast<DWORD>(expect.size()));
    else
      CharLowerBuffW(expect.data(), static_cast<DWORD>(expect.size()));
    CString mine(all.c_str(), static_cast<int>(all.size()));
    if (upper)
      mine.MakeUpper();
    else
      mine.MakeLower();
    int differences = 0;
    for (size_t i = 0; i < all.size(); ++i) {
      if (mine[static_cast<int>(i)] != expect[i] && ++differences <= 20)
        ADD_FAILURE() << (upper ? "upper " : "lower ") << std::hex << static_cast<unsigned>(all[i]) << ": windows "
                      << static_cast<unsigned>(expect[i]) << ", ours " << static_cast<unsigned>(mine[static_cast<int>(i)]);
    }
    EXPECT_EQ(differences, 0) << (upper ? "upper" : "lower");
  }
}
#endif
