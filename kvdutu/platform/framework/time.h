// CTime and CTimeSpan: an absolute time as 64-bit seconds since 1970-01-01 00:00 UTC, and a
// signed difference in seconds. Broken-down fields (GetYear ...) and Format are in local time,
// FormatGmt in UTC.
//
// Format follows the Microsoft runtime's strftime, in the "C" locale on every platform (English
// names): %a %A %b %B %c %d %H %I %j %m %M %p %S %U %w %W %x %X %y %Y %z %Z %%, where
// %c is "01/15/24 14:30:00", %x "01/15/24", %X "14:30:00"; the '#' flag removes leading zeros
// from numbers (%#d -> "5") and makes %c / %x the long forms ("Monday, January 15, 2024").
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"

#include <cstdint>
#include <ctime>

class CArchive;

#if defined(_WIN32) && defined(GetCurrentTime)
#undef GetCurrentTime  // the system headers' alias of GetTickCount would rename CTime's member
#endif

class KVDUTU_API CTimeSpan {
 public:
  CTimeSpan() noexcept : m_timeSpan(0) {}
  CTimeSpan(LONGLONG time) noexcept : m_timeSpan(time) {}  // seconds
  CTimeSpan(LONG lDays, int nHours, int nMins, int nSecs) noexcept;

  LONGLONG GetDays() const noexcept { return m_timeSpan / (24 * 3600); }
  LONGLONG GetTotalHours() const noexcept { return m_timeSpan / 3600; }
  LONG GetHours() const noexcept { return static_cast<LONG>(GetTotalHours() - GetDays() * 24); }
  LONGLONG GetTotalMinutes() const noexcept { return m_timeSpan / 60; }
  LONG GetMinutes() const noexcept { return static_cast<LONG>(GetTotalMinutes() - GetTotalHours() * 60); }
  LONGLONG GetTotalSeconds() const noexcept { return m_timeSpan; }
  LONG GetSeconds() const noexcept { return static_cast<LONG>(GetTotalSeconds() - GetTotalMinutes() * 60); }
  LONGLONG GetTimeSpan() const noexcept { return m_timeSpan; }

  // %D days, %H hours of the day, %M minutes, %S seconds (two digits each), %% a percent sign.
  CString Format(LPCWSTR pszFormat) const;

  CTimeSpan operator+(CTimeSpan span) const noexcept { return CTimeSpan(m_timeSpan + span.m_timeSpan); }
  CTimeSpan operator-(CTimeSpan span) const noexcept { return CTimeSpan(m_timeSpan - span.m_timeSpan); }
  CTimeSpan& operator+=(CTimeSpan span) noexcept { m_timeSpan += span.m_timeSpan; return *this; }
  CTimeSpan& operator-=(CTimeSpan span) noexcept { m_timeSpan -= span.m_timeSpan; return *this; }
  bool operator==(CTimeSpan span) const noexcept { return m_timeSpan == span.m_timeSpan; }
  bool operator!=(CTimeSpan span) const noexcept { return m_timeSpan != span.m_timeSpan; }
  bool operator<(CTimeSpan span) const noexcept { return m_timeSpan < span.m_timeSpan; }
  bool operator>(CTimeSpan span) const noexcept { return m_timeSpan > span.m_timeSpan; }
  bool operator<=(CTimeSpan span) const noexcept { return m_timeSpan <= span.m_timeSpan; }
  bool operator>=(CTimeSpan span) const noexcept { return m_timeSpan >= span.m_timeSpan; }

 private:
  LONGLONG m_timeSpan;
};

class KVDUTU_API CTime {
 public:
  static CTime GetCurrentTime() noexcept;
  static BOOL IsValidFILETIME(const FILETIME& ft) noexcept;

  CTime() noexcept : m_time(0) {}
  CTime(LONGLONG time) noexcept : m_time(time) {}  // seconds since 1970 (a time_t)
  // Local time. nDST: 0 standard time, > 0 daylight saving time, -1 let the library decide.
  // Fields out of range (year before 1900, month 0 ...) raise the invalid-argument exception.
  CTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST = -1);
  // A local SYSTEMTIME; years before 1900 give the time 0.
  CTime(const SYSTEMTIME& st, int nDST = -1);
  // A FILETIME (UTC, 100 ns since 1601); an invalid one raises the invalid-argument exception.
  CTime(const FILETIME& ft, int nDST = -1);

  LONGLONG GetTime() const noexcept { return m_time; }

  // Broken-down time; NULL when the time cannot be represented.
  struct tm* GetGmtTm(struct tm* ptm) const;
  struct tm* GetLocalTm(struct tm* ptm) const;
  bool GetAsSystemTime(SYSTEMTIME& st) const;

  int GetYear() const;
  int GetMonth() const;
  int GetDay() const;
  int GetHour() const;
  int GetMinute() const;
  int GetSecond() const;
  int GetDayOfWeek() const;  // 1 = Sunday

  CString Format(LPCWSTR pszFormat) const;
  CString FormatGmt(LPCWSTR pszFormat) const;

  CTimeSpan operator-(CTime time) const noexcept { return CTimeSpan(m_time - time.m_time); }
  CTime operator-(CTimeSpan span) const noexcept { return CTime(m_time - span.GetTimeSpan()); }
  CTime operator+(CTimeSpan span) const noexcept { return CTime(m_time + span.GetTimeSpan()); }
  CTime& operator+=(CTimeSpan span) noexcept { m_time += span.GetTimeSpan(); return *this; }
  CTime& operator-=(CTimeSpan span) noexcept { m_time -= span.GetTimeSpan(); return *this; }
  bool operator==(CTime time) const noexcept { return m_time == time.m_time; }
  bool operator!=(CTime time) const noexcept { return m_time != time.m_time; }
  bool operator<(CTime time) const noexcept { return m_time < time.m_time; }
  bool operator>(CTime time) const noexcept { return m_time > time.m_time; }
  bool operator<=(CTime time) const noexcept { return m_time <= time.m_time; }
  bool operator>=(CTime time) const noexcept { return m_time >= time.m_time; }

 private:
  LONGLONG m_time;
};

// In an archive both are 8-byte signed seconds.
KVDUTU_API CArchive& operator<<(CArchive& ar, CTime time);
KVDUTU_API CArchive& operator>>(CArchive& ar, CTime& rtime);
KVDUTU_API CArchive& operator<<(CArchive& ar, CTimeSpan span);
KVDUTU_API CArchive& operator>>(CArchive& ar, CTimeSpan& rspan);
