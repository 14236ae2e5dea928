#include "kvdutu/platform/framework/time.h"

#include <gtest/gtest.h>

#include <functional>

#include "kvdutu/platform/containers/su_time.h"
#include "kvdutu/platform/framework/exceptions.h"
#include "kvdutu/platform/framework/point.h"
#include "support/framework_expect.h"

namespace {

const auto raisesInvalidArg = &KvdTest::raises<CInvalidArgException>;

// 2024-01-05 09:07:03 UTC, a Friday, day 5 of the year.
constexpr LONGLONG kFriday = 1704445623;

}  // namespace

TEST(CTime, FormatGmtFollowsTheMicrosoftCodes) {
  const CTime t(kFriday);
  EXPECT_EQ(t.FormatGmt(L"%Y-%m-%d %H:%M:%S"), CString(L"2024-01-05 09:07:03"));
  EXPECT_EQ(t.FormatGmt(L"%y %b %B %a %A %j"), CString(L"24 Jan January Fri Friday 005"));
  EXPECT_EQ(t.FormatGmt(L"%c"), CString(L"01/05/24 09:07:03"));
  EXPECT_EQ(t.FormatGmt(L"%x|%X"), CString(L"01/05/24|09:07:03"));
  EXPECT_EQ(t.FormatGmt(L"%#d.%#m. %#H h %I %p"), CString(L"5.1. 9 h 09 AM"));
  EXPECT_EQ(t.FormatGmt(L"%#x"), CString(L"Friday, January 5, 2024"));
  EXPECT_EQ(t.FormatGmt(L"%#c"), CString(L"Friday, January 5, 2024 09:07:03"));
  EXPECT_EQ(t.FormatGmt(L"100%% %w %U %W"), CString(L"100% 5 00 01"));
  EXPECT_EQ(CTime(kFriday + 6 * 3600).FormatGmt(L"%I %p"), CString(L"03 PM"));
  EXPECT_EQ(CTime(kFriday + 15 * 3600).FormatGmt(L"%I %p"), CString(L"12 AM"));
}

TEST(CTime, LocalFieldsRoundTripThroughTheConstructor) {
  const CTime t(2023, 7, 14, 16, 45, 30);
  EXPECT_EQ(t.GetYear(), 2023);
  EXPECT_EQ(t.GetMonth(), 7);
  EXPECT_EQ(t.GetDay(), 14);
  EXPECT_EQ(t.GetHour(), 16);
  EXPECT_EQ(t.GetMinute(), 45);
  EXPECT_EQ(t.GetSecond(), 30);
  EXPECT_EQ(t.GetDayOfWeek(), 6);  // Friday; 1 is Sunday
  EXPECT_EQ(t.Format(L"%d.%m.%Y %H:%M:%S"), CString(L"14.07.2023 16:45:30"));

  SYSTEMTIME st{};
  ASSERT_TRUE(t.GetAsSystemTime(st));
  EXPECT_EQ(st.wYear, 2023);
  EXPECT_EQ(st.wDayOfWeek, 5);
  EXPECT_EQ(CTime(st), t);

  SYSTEMTIME early{};
  early.wYear = 1601;
  early.wMonth = 1;
  early.wDay = 1;
  EXPECT_EQ(CTime(early).GetTime(), 0);
}

TEST(CTime, BadFieldsRaiseTheInvalidArgumentException) {
  EXPECT_TRUE(raisesInvalidArg([] { CTime(1899, 1, 1, 0, 0, 0); }));
  EXPECT_TRUE(raisesInvalidArg([] { CTime(2020, 13, 1, 0, 0, 0); }));
  EXPECT_TRUE(raisesInvalidArg([] { CTime(2020, 1, 0, 0, 0, 0); }));
  EXPECT_TRUE(raisesInvalidArg([] { CTime(2020, 1, 1, 24, 0, 0); }));
  EXPECT_TRUE(raisesInvalidArg([] { CTime(2020, 1, 1, 0, 60, 0); }));
  FILETIME beforeEpoch{0, 0};
  EXPECT_TRUE(raisesInvalidArg([&] { CTime{beforeEpoch}; }));
}

TEST(CTime, FileTimeIsUtcHundredNanosecondsSince1601) {
  const ULONGLONG ft = (static_cast<ULONGLONG>(kFriday) * 10000000ull) + 116444736000000000ull + 9999999ull;
  FILETIME f{static_cast<DWORD>(ft & 0xFFFFFFFFu), static_cast<DWORD>(ft >> 32)};
  EXPECT_EQ(CTime(f).GetTime(), kFriday);  // fractions of a second are dropped
}

TEST(CTime, ArithmeticAndComparison) {
  const CTime a(kFriday);
  const CTime b = a + CTimeSpan(1, 2, 3, 4);
  EXPECT_EQ((b - a).GetTotalSeconds(), 93784);
  EXPECT_EQ(b - CTimeSpan(93784), a);
  EXPECT_TRUE(a < b);
  EXPECT_TRUE(b >= a);
  EXPECT_NE(a, b);
  CTime c = a;
  c += CTimeSpan(60);
  c -= CTimeSpan(30);
  EXPECT_EQ(c.GetTime(), kFriday + 30);
  EXPECT_GT(CTime::GetCurrentTime().GetTime(), kFriday);
}

TEST(CTimeSpan, PartsTotalsAndFormat) {
  const CTimeSpan s(3, 4, 5, 6);
  EXPECT_EQ(s.GetDays(), 3);
  EXPECT_EQ(s.GetHours(), 4);
  EXPECT_EQ(s.GetMinutes(), 5);
  EXPECT_EQ(s.GetSeconds(), 6);
  EXPECT_EQ(s.GetTotalHours(), 76);
  EXPECT_EQ(s.GetTotalMinutes(), 76 * 60 + 5);
  EXPECT_EQ(s.GetTotalSeconds(), (76 * 60 + 5) * 60 + 6);
  EXPECT_EQ(s.Format(L"%D days %H:%M:%S (100%%)"), CString(L"3 days 04:05:06 (100%)"));
  EXPECT_EQ(CTimeSpan(-90).Format(L"%M:%S"), CString(L"-1:-30"));
  EXPECT_EQ(s + CTimeSpan(54), CTimeSpan(3, 4, 6, 0));
  EXPECT_TRUE(CTimeSpan(-1) < CTimeSpan());
}

TEST(CTime, ImportedTimesSerialiseAsEightByteSeconds) {
  KvdUtils::Framework::MemoryArchiveStream stream;
  {
    su_CArchive ar(&stream, CArchive::store);
    su_CTime t(kFriday);
    su_CTimeSpan s(CTimeSpan(-5));
    t.Serialize(ar);
    s.Serialize(ar);
  }
  ASSERT_EQ(stream.GetBytes().size(), 16u);
  EXPECT_EQ(stream.GetBytes()[0], static_cast<BYTE>(kFriday & 0xFF));
  stream.Seek(0, KvdUtils::Framework::ArchiveStream::begin);
  su_CArchive ar(&stream, CArchive::load);
  su_CTime t;
  su_CTimeSpan s;
  t.Serialize(ar);
  s.Serialize(ar);
  EXPECT_EQ(t.GetTime(), kFriday);
  EXPECT_EQ(s.GetTotalSeconds(), -5);
}

TEST(CPoint, ArithmeticOnPointsAndSizes) {
  CPoint p(3, 4);
  p.Offset(1, 1);
  p += SIZE{10, 20};
  p -= POINT{1, 2};
  EXPECT_EQ(p, CPoint(13, 23));
  EXPECT_EQ(-p, CPoint(-13, -23));
  EXPECT_EQ(p + (SIZE{1, 1}), CPoint(14, 24));
  const SIZE d = p - POINT{3, 3};
  EXPECT_EQ(d.cx, 10);
  EXPECT_EQ(d.cy, 20);
  // Packed coordinates are signed 16-bit values.
  const CPoint packed(static_cast<LPARAM>(MAKELONG(static_cast<WORD>(-5), 7)));
  EXPECT_EQ(packed, CPoint(-5, 7));
  EXPECT_NE(packed, CPoint(5, 7));
}
