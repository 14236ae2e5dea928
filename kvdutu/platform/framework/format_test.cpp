// The formatter against the Microsoft C runtime's conventions, above all where glibc differs.
#include "kvdutu/platform/framework/format.h"

#include "kvdutu/platform/os/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

using KvdUtils::Platform::Format;
using KvdUtils::Platform::FormatBuffer;

namespace {

std::wstring W(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::wstring out;
  int n = KvdUtils::Platform::FormatV(out, fmt, args);
  va_end(args);
  EXPECT_EQ(n, static_cast<int>(out.size()));
  return out;
}

std::string N(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string out;
  int n = KvdUtils::Platform::FormatV(out, fmt, args);
  va_end(args);
  EXPECT_EQ(n, static_cast<int>(out.size()));
  return out;
}

// The system code page's form of a wide text, as the platform converts it.
std::string Acp(const wchar_t* w) {
  char buf[64] = {};
  int n = KvdUtils::Platform::WideCharToMultiByte(CP_ACP, 0, w, -1, buf, sizeof buf, nullptr, nullptr);
  return n > 0 ? std::string(buf) : std::string();
}

double Bits(uint64_t b) {
  double d;
  std::memcpy(&d, &b, sizeof d);
  return d;
}

}  // namespace

TEST(Format, WideFormatTakesWideForLowerCaseAndNarrowForUpperCase) {
  EXPECT_EQ(W(L"[%s]", L"wide"), L"[wide]");
  EXPECT_EQ(W(L"[%S]", "narrow"), L"[narrow]");
  EXPECT_EQ(W(L"[%hs]", "narrow"), L"[narrow]");
  EXPECT_EQ(W(L"[%ls|%ws]", L"a", L"b"), L"[a|b]");
  EXPECT_EQ(W(L"[%c%C%hc%lc%wc]", L'w', 'n', 'h', L'l', L'x'), L"[wnhlx]");
  EXPECT_EQ(W(L"[%hS|%lS]", "h", L"l"), L"[h|l]");  // h and l override the case of S
}

TEST(Format, NarrowFormatTakesNarrowForLowerCaseAndWideForUpperCase) {
  EXPECT_EQ(N("[%s]", "narrow"), "[narrow]");
  EXPECT_EQ(N("[%S]", L"wide"), "[wide]");
  EXPECT_EQ(N("[%hs|%ls|%ws]", "h", L"l", L"w"), "[h|l|w]");
  EXPECT_EQ(N("[%c%C%lc%hC]", 'n', L'w', L'l', 'h'), "[nwlh]");
}

TEST(Format, OtherWidthTextGoesThroughTheSystemCodePage) {
  const std::string e = Acp(L"\u00e9t\u00e9");  // "été"
  ASSERT_FALSE(e.empty());
  EXPECT_EQ(W(L"%S!", e.c_str()), L"\u00e9t\u00e9!");
  EXPECT_EQ(N("%S!", L"\u00e9t\u00e9"), e + "!");
  EXPECT_EQ(W(L"%C", static_cast<int>(static_cast<unsigned char>('A'))), L"A");
  EXPECT_EQ(N("%C", L'\u00e9'), Acp(L"\u00e9"));
#if !defined(_WIN32)
  // UTF-8 on Linux: a character beyond the BMP is one wchar_t, and back four bytes.
  EXPECT_EQ(W(L"%S", "\xF0\x9F\x98\x80"), std::wstring(1, static_cast<wchar_t>(0x1F600)));
  EXPECT_EQ(N("%S", L"\U0001F600"), "\xF0\x9F\x98\x80");
#endif
}

TEST(Format, NullStringPrintsNullInParentheses) {
  EXPECT_EQ(W(L"%s|%S", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr)), L"(null)|(null)");
  EXPECT_EQ(N("%s|%.3S", static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)), "(null)|(nu");
}

TEST(Format, StringWidthPrecisionAndZeroPadding) {
  EXPECT_EQ(W(L"[%5s][%-5s][%.2s][%5.1s]", L"ab", L"ab", L"abc", L"xyz"), L"[   ab][ab   ][ab][    x]");
  // The Microsoft runtime pads text with zeros under the 0 flag (glibc uses spaces).
  EXPECT_EQ(W(L"[%05s][%-05s][%03c]", L"ab", L"ab", L'x'), L"[000ab][ab   ][00x]");
  EXPECT_EQ(N("[%05s]", "ab"), "[000ab]");
  EXPECT_EQ(W(L"[%*s][%-*s]", 4, L"a", 3, L"b"), L"[   a][b  ]");
  EXPECT_EQ(W(L"[%*s]", -4, L"a"), L"[a   ]");  // a negative * width means '-'
  EXPECT_EQ(W(L"[%.*s]", -1, L"abc"), L"[abc]");  // a negative * precision is no precision
  // The precision need not find a terminator.
  const wchar_t unterminated[3] = {L'x', L'y', L'z'};
  EXPECT_EQ(W(L"%.3s", unterminated), L"xyz");
  const char unterminatedNarrow[3] = {'x', 'y', 'z'};
  EXPECT_EQ(W(L"%.3S", unterminatedNarrow), L"xyz");
  EXPECT_EQ(N("%.3s", unterminatedNarrow), "xyz");
  EXPECT_EQ(N("%.3S", unterminated), "xyz");
}

TEST(Format, PrecisionOfOtherWidthTextNeverCutsACharacter) {
  // Narrow output counts bytes: "a" plus a character that needs more than one byte in UTF-8.
  const std::string e = Acp(L"\u00e9");
  std::string expect = "a" + (e.size() <= 1 ? e : std::string());
  EXPECT_EQ(N("%.2S", L"a\u00e9z"), expect);
  // Wide output counts wide characters.
  EXPECT_EQ(W(L"%.2S", (Acp(L"\u00e9\u00e9") + "z").c_str()), L"\u00e9\u00e9");
}

TEST(Format, PointerIsUpperCaseHexPaddedToPointerWidth) {
  const size_t digits = sizeof(void*) * 2;
  EXPECT_EQ(W(L"%p", nullptr), std::wstring(digits, L'0'));
  EXPECT_EQ(N("%p", nullptr), std::string(digits, '0'));
  void* p = reinterpret_cast<void*>(static_cast<uintptr_t>(0xABCDEF12u));
  std::string expect = std::string(digits - 8, '0') + "ABCDEF12";
  EXPECT_EQ(N("%p", p), expect);
  EXPECT_EQ(W(L"%p", p), std::wstring(expect.begin(), expect.end()));
  EXPECT_EQ(N("[%*p]", static_cast<int>(digits + 2), p), "[  " + expect + "]");
  EXPECT_EQ(N("[%-*p]", static_cast<int>(digits + 1), p), "[" + expect + " ]");
}

TEST(Format, IntegerSizePrefixesReadTheirTypes) {
  // l is the C++ long as passed: 64 bits on Linux, 32 on Windows.
  EXPECT_EQ(N("%ld|%lu", LONG_MIN, ULONG_MAX), std::to_string(LONG_MIN) + "|" + std::to_string(ULONG_MAX));
  EXPECT_EQ(N("%lld|%I64d|%I64u", LLONG_MIN, LLONG_MAX, ULLONG_MAX),
            "-9223372036854775808|9223372036854775807|18446744073709551615");
  EXPECT_EQ(N("%I32d|%I32x", static_cast<int32_t>(-5), static_cast<int32_t>(-1)), "-5|ffffffff");
  EXPECT_EQ(N("%Id|%Iu|%zu|%td|%jd", static_cast<intptr_t>(-7), SIZE_MAX, static_cast<size_t>(9), static_cast<ptrdiff_t>(-3),
              static_cast<intmax_t>(INTMAX_MIN)),
            "-7|" + std::to_string(SIZE_MAX) + "|9|-3|" + std::to_string(INTMAX_MIN));
  EXPECT_EQ(N("%hd|%hu|%hhd|%hhu", 70000, 70000, 200, 300), "4464|4464|-56|44");
  EXPECT_EQ(N("%u|%x|%X|%o", -1, 255, 255, 8), "4294967295|ff|FF|10");
  // The next argument after a 64-bit one is read from the right place.
  EXPECT_EQ(W(L"%I64d %d %s", static_cast<long long>(1) << 40, 7, L"end"), L"1099511627776 7 end");
}

TEST(Format, IntegerFlagsWidthAndPrecision) {
  EXPECT_EQ(N("[%+d][% d][%05d][%-5d][%+05d]", 5, 5, -42, 42, 42), "[+5][ 5][-0042][42   ][+0042]");
  EXPECT_EQ(N("[%#x][%#X][%#o][%#x]", 255, 255, 8, 0), "[0xff][0XFF][010][0]");
  EXPECT_EQ(N("[%.3d][%.0d][%8.3d][%08.3d]", 7, 0, -7, 7), "[007][][    -007][     007]");
  EXPECT_EQ(W(L"[%*d][%-*d][%.*d]", 4, 1, 4, 2, 3, 3), L"[   1][2   ][003]");
  EXPECT_EQ(W(L"100%% %d%%", 5), L"100% 5%");
}

TEST(Format, FloatingPointAsTheModernRuntimePrintsIt) {
  EXPECT_EQ(N("%e|%E", 1e5, 1.5e-7), "1.000000e+05|1.500000E-07");  // two exponent digits
  EXPECT_EQ(N("%e", 1e100), "1.000000e+100");
  EXPECT_EQ(N("%f|%.2f|%.0f|%#.0f", 3.14159, 2.345, 2.5, 3.0), "3.141590|2.35|2|3.");
  EXPECT_EQ(N("%g|%g|%g|%G|%#g", 0.0001, 1e-5, 123456789.0, 1e-10, 1.0), "0.0001|1e-05|1.23457e+08|1E-10|1.00000");
  EXPECT_EQ(N("[%10.3f][%-10.2e][%+.1f][%010.2f]", 3.14159, 1234.5, 2.0, -1.5),
            "[     3.142][1.23e+03  ][+2.0][-000001.50]");
  EXPECT_EQ(W(L"%.3f %s", 0.5, L"ok"), L"0.500 ok");
  EXPECT_EQ(N("%Lf", static_cast<long double>(1.25)), "1.250000");
  EXPECT_EQ(N("%f", -0.0), "-0.000000");
  // Long results go past any small internal buffer.
  std::string big = N("%f", 1e300);
  EXPECT_EQ(big.size(), 308u);
  EXPECT_EQ(big.substr(0, 20), "10000000000000000525");
  EXPECT_EQ(N("%300d", 1).size(), 300u);
}

TEST(Format, HexFloatPrintsAllThirteenDigitsByDefault) {
  EXPECT_EQ(N("%a", 1.0), "0x1.0000000000000p+0");  // glibc: 0x1p+0
  EXPECT_EQ(N("%A", -2.5), "-0X1.4000000000000P+1");
  EXPECT_EQ(N("%a", 0.0), "0x0.0000000000000p+0");
  EXPECT_EQ(N("%a", Bits(1)), "0x0.0000000000001p-1022");  // the smallest subnormal
  EXPECT_EQ(N("%.2a|%.0a|%.1a", 1.0, 1.5, 1.96875), "0x1.00p+0|0x2p+0|0x2.0p+0");
  EXPECT_EQ(N("[%22a]", 1.0), "[  0x1.0000000000000p+0]");
  EXPECT_EQ(N("[%023a]", 1.0), "[0x0001.0000000000000p+0]");
  EXPECT_EQ(W(L"%a", 0.1), L"0x1.999999999999ap-4");
}

TEST(Format, InfinityAndNanAsTheModernRuntimePrintsThem) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(N("%f|%f|%e|%g", inf, -inf, inf, -inf), "inf|-inf|inf|-inf");
  EXPECT_EQ(N("%F|%E|%G|%A", inf, -inf, inf, inf), "INF|-INF|INF|INF");
  // The positive quiet NaN of NAN and quiet_NaN(); the indefinite NaN that 0/0 gives on x86.
  EXPECT_EQ(N("%f", std::numeric_limits<double>::quiet_NaN()), "nan");
  volatile double zero = 0.0;
  double indefinite = zero / zero;
  EXPECT_EQ(N("%f|%e|%F", indefinite, indefinite, indefinite), "-nan(ind)|-nan(ind)|-NAN(IND)");
  EXPECT_EQ(N("%f", Bits(0x7FF0000000000001ull)), "nan(snan)");
  EXPECT_EQ(N("%f", Bits(0xFFF0000000000001ull)), "-nan(snan)");
  EXPECT_EQ(N("%f", Bits(0xFFF8000000000001ull)), "-nan");  // a quiet NaN with a payload
  EXPECT_EQ(W(L"%G", Bits(0x7FF0000000000001ull)), L"NAN(SNAN)");
  // Precision does not apply; width pads with spaces, also under the 0 flag.
  EXPECT_EQ(N("[%8.2f][%-6f][%08f][%+f][% f]", inf, inf, -inf, inf, inf), "[     inf][inf   ][    -inf][+inf][ inf]");
}

TEST(Format, PercentNAndUnknownConversionsAreInvalid) {
  std::wstring w = L"previous";
  int count = 0;
  EXPECT_EQ(KvdUtils::Platform::Format(w, L"abc%n", &count), -1);
  EXPECT_TRUE(w.empty());
  EXPECT_EQ(count, 0);
  std::string s = "previous";
  EXPECT_EQ(KvdUtils::Platform::Format(s, "x%yz"), -1);
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(KvdUtils::Platform::Format(s, "dangling %"), -1);
  EXPECT_EQ(KvdUtils::Platform::Format(s, "%2147483648d", 1), -1);  // width overflows int
  EXPECT_EQ(KvdUtils::Platform::Format(s, "%s", "fine"), 4);
  EXPECT_EQ(s, "fine");
}

namespace {
int AppendN(std::string& out, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = KvdUtils::Platform::AppendFormatV(out, fmt, args);
  va_end(args);
  return n;
}
}  // namespace

TEST(Format, AppendAddsAndLeavesTextOnFailure) {
  std::string s = "a";
  EXPECT_EQ(AppendN(s, "%d", 42), 2);
  EXPECT_EQ(s, "a42");
  EXPECT_EQ(AppendN(s, "%d%n", 1, nullptr), -1);
  EXPECT_EQ(s, "a42");
}

TEST(Format, BoundedBufferFollowsSnwprintf) {
  wchar_t buf[8];
  std::wmemset(buf, L'#', 8);
  EXPECT_EQ(FormatBuffer(buf, 8, L"%d", 12345), 5);  // fits: terminated
  EXPECT_EQ(std::wstring(buf), L"12345");
  std::wmemset(buf, L'#', 8);
  EXPECT_EQ(FormatBuffer(buf, 5, L"%d", 12345), 5);  // exactly fills: no terminator
  EXPECT_EQ(std::wstring(buf, 6), L"12345#");
  std::wmemset(buf, L'#', 8);
  EXPECT_EQ(FormatBuffer(buf, 3, L"%d", 12345), -1);  // too long: truncated, no terminator
  EXPECT_EQ(std::wstring(buf, 4), L"123#");
  char nb[4];
  EXPECT_EQ(FormatBuffer(nb, sizeof nb, "%S", L"ab"), 2);
  EXPECT_STREQ(nb, "ab");
  EXPECT_EQ(FormatBuffer(static_cast<char*>(nullptr), 0, "%s-%d", "xy", 10), 5);  // the length needed
  EXPECT_EQ(FormatBuffer(nb, sizeof nb, "%n", nullptr), -1);
}

#if defined(_WIN32)
// Windows only: the same conversions through the Universal C runtime itself (ucrtbase.dll, with
// the legacy wide specifiers that Microsoft's headers select by default) as the oracle.
namespace {
typedef int(__cdecl* CommonVswprintf)(unsigned long long, wchar_t*, size_t, const wchar_t*, void*, va_list);
const unsigned long long kStandardSnprintf = 0x2, kLegacyWideSpecifiers = 0x4;
CommonVswprintf g_ucrtVswprintf = nullptr;

void ExpectSameAsUcrt(const wchar_t* fmt, ...) {
  va_list ours, theirs;
  va_start(ours, fmt);
  va_copy(theirs, ours);
  std::wstring mine;
  KvdUtils::Platform::FormatV(mine, fmt, ours);
  wchar_t buf[512] = {};
  int n = g_ucrtVswprintf(kStandardSnprintf | kLegacyWideSpecifiers, buf, 512, fmt, nullptr, theirs);
  va_end(theirs);
  va_end(ours);
  EXPECT_EQ(mine, std::wstring(buf, n > 0 ? static_cast<size_t>(n) : 0)) << "format " << testing::PrintToString(std::wstring(fmt));
}
}  // namespace

TEST(Format, AgreesWithTheUniversalCrt) {
  HMODULE ucrt = LoadLibraryW(L"ucrtbase.dll");
  ASSERT_NE(ucrt, nullptr);
  g_ucrtVswprintf = reinterpret_cast<CommonVswprintf>(
      reinterpret_cast<void*>(GetProcAddress(ucrt, "__stdio_common_vswprintf")));
  ASSERT_NE(g_ucrtVswprintf, nullptr);
  void* p = reinterpret_cast<void*>(static_cast<uintptr_t>(0x1234ABCDu));
  ExpectSameAsUcrt(L"[%s|%S|%hs|%ls|%c|%C|%hc|%lc]", L"wide", "narrow", "h", L"l", L'w', 'n', 'h', L'l');
  ExpectSameAsUcrt(L"[%p|%p|%20p|%-20p]", p, nullptr, p, p);
  ExpectSameAsUcrt(L"[%05s|%-5s|%.2s|%5.1S]", L"ab", L"ab", L"abc", "xyz");
  // %hhd is left out: Wine's ucrtbase ignores hh (200 prints as 200), the real runtime does not.
  ExpectSameAsUcrt(L"[%ld|%lu|%I64d|%I32x|%Id|%zu|%hd]", -5L, 4000000000UL, -(1LL << 40), -1, static_cast<intptr_t>(-9),
                   static_cast<size_t>(17), 70000);
  ExpectSameAsUcrt(L"[%+d|% d|%05d|%#x|%#o|%.3d|%*d|%-*d]", 5, 5, -42, 255, 8, 7, 4, 1, 4, 2);
  ExpectSameAsUcrt(L"[%e|%E|%e|%.3e|%+.2e]", 1e5, 1.5e-7, 1e100, 12345.678, -0.5);
  ExpectSameAsUcrt(L"[%f|%.2f|%#.0f|%10.3f|%-10.2f|%010.2f]", 3.14159, 2.345, 3.0, 3.14159, 1.5, -1.5);
  ExpectSameAsUcrt(L"[%g|%g|%g|%G|%#g|%.3g]", 0.0001, 1e-5, 123456789.0, 1e-10, 1.0, 1234.5);
  ExpectSameAsUcrt(L"[%a|%A|%a|%a|%.2a]", 1.0, -2.5, 0.0, 0.1, 1.0);
  const double inf = std::numeric_limits<double>::infinity();
  volatile double zero = 0.0;
  ExpectSameAsUcrt(L"[%f|%f|%F|%e|%g]", inf, -inf, inf, -inf, inf);
  ExpectSameAsUcrt(L"[%f|%f|%F]", std::numeric_limits<double>::quiet_NaN(), zero / zero, zero / zero);
  // Signalling NaNs and negative NaNs with a payload are left out: Wine's ucrtbase prints every
  // positive NaN as "nan" and every negative one as "-nan(ind)", where the real runtime tells
  // "nan(snan)" and "-nan" apart (see InfinityAndNanAsTheModernRuntimePrintsThem).
  ExpectSameAsUcrt(L"[%8.2f|%-6f|%+f]", inf, inf, inf);
  ExpectSameAsUcrt(L"[%s|%S]", static_cast<const wchar_t*>(nullptr), static_cast<const char*>(nullptr));
}
#endif
