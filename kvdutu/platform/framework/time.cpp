#include "kvdutu/platform/framework/time.h"

#include "kvdutu/platform/framework/archive.h"
#include "kvdutu/platform/framework/exceptions.h"

#include <string>

namespace {

// 100-ns intervals between 1601-01-01 and 1970-01-01.
constexpr ULONGLONG kFileTimeEpochOffset = 116444736000000000ull;

bool toLocal(LONGLONG t, struct tm* out) {
  const time_t tt = static_cast<time_t>(t);
#if defined(_WIN32)
  return _localtime64_s(out, &tt) == 0;
#else
  return localtime_r(&tt, out) != nullptr;
#endif
}

bool toGmt(LONGLONG t, struct tm* out) {
  const time_t tt = static_cast<time_t>(t);
#if defined(_WIN32)
  return _gmtime64_s(out, &tt) == 0;
#else
  return gmtime_r(&tt, out) != nullptr;
#endif
}

const wchar_t* const kDays[] = {L"Sunday", L"Monday", L"Tuesday", L"Wednesday", L"Thursday", L"Friday", L"Saturday"};
const wchar_t* const kMonths[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                  L"July",    L"August",   L"September", L"October", L"November", L"December"};

// value in decimal, zero-padded to width digits unless noPad (printf's "%0*lld" and "%lld").
void appendNumber(std::wstring& out, long long value, int width, bool noPad) {
  const bool negative = value < 0;
  unsigned long long magnitude = negative ? 0ull - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
  std::wstring digits;
  do {
    digits.insert(digits.begin(), static_cast<wchar_t>(L'0' + magnitude % 10));
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) out += L'-';
  if (!noPad)
    for (int i = static_cast<int>(digits.size()) + (negative ? 1 : 0); i < width; ++i) out += L'0';
  out += digits;
}

// The Microsoft runtime's strftime in the "C" locale.
std::wstring formatTm(const wchar_t* fmt, const struct tm& t, bool utc) {
  std::wstring out;
  if (fmt == nullptr) return out;
  for (const wchar_t* p = fmt; *p; ++p) {
    if (*p != L'%') {
      out += *p;
      continue;
    }
    ++p;
    bool alt = false;
    if (*p == L'#') {
      alt = true;
      ++p;
    }
    const int hour12 = t.tm_hour % 12 == 0 ? 12 : t.tm_hour % 12;
    switch (*p) {
      case L'a': out.append(kDays[t.tm_wday % 7], 3); break;
      case L'A': out += kDays[t.tm_wday % 7]; break;
      case L'b': out.append(kMonths[t.tm_mon % 12], 3); break;
      case L'B': out += kMonths[t.tm_mon % 12]; break;
      case L'c':
        if (alt) {
          out += formatTm(L"%A, %B %#d, %Y %H:%M:%S", t, utc);
        } else {
          out += formatTm(L"%m/%d/%y %H:%M:%S", t, utc);
        }
        break;
      case L'x': out += formatTm(alt ? L"%A, %B %#d, %Y" : L"%m/%d/%y", t, utc); break;
      case L'X': out += formatTm(L"%H:%M:%S", t, utc); break;
      case L'd': appendNumber(out, t.tm_mday, 2, alt); break;
      case L'H': appendNumber(out, t.tm_hour, 2, alt); break;
      case L'I': appendNumber(out, hour12, 2, alt); break;
      case L'j': appendNumber(out, t.tm_yday + 1, 3, alt); break;
      case L'm': appendNumber(out, t.tm_mon + 1, 2, alt); break;
      case L'M': appendNumber(out, t.tm_min, 2, alt); break;
      case L'S': appendNumber(out, t.tm_sec, 2, alt); break;
      case L'p': out += t.tm_hour < 12 ? L"AM" : L"PM"; break;
      case L'U': appendNumber(out, (t.tm_yday + 7 - t.tm_wday) / 7, 2, alt); break;
      case L'W': appendNumber(out, (t.tm_yday + 7 - (t.tm_wday + 6) % 7) / 7, 2, alt); break;
      case L'w': appendNumber(out, t.tm_wday, 1, alt); break;
      case L'y': appendNumber(out, (t.tm_year + 1900) % 100, 2, alt); break;
      case L'Y': appendNumber(out, t.tm_year + 1900, 4, alt); break;
      case L'z':
      case L'Z': {
        if (utc) {
          out += L"UTC";
          break;
        }
        char zone[64];
        struct tm copy = t;
        const size_t n = std::strftime(zone, sizeof zone, "%Z", &copy);
        for (size_t i = 0; i < n; ++i) out += static_cast<wchar_t>(static_cast<unsigned char>(zone[i]));
        break;
      }
      case L'%': out += L'%'; break;
      case L'\0': return out;  // a lone '%' at the end
      default:
        // Not a conversion: kept as written.
        out += L'%';
        if (alt) out += L'#';
        out += *p;
        break;
    }
  }
  return out;
}

}  // namespace

// ---- CTimeSpan -------------------------------------------------------------------------------------

CTimeSpan::CTimeSpan(LONG lDays, int nHours, int nMins, int nSecs) noexcept
    : m_timeSpan(nSecs + 60 * (nMins + 60 * (nHours + static_cast<LONGLONG>(24) * lDays))) {}

CString CTimeSpan::Format(LPCWSTR pszFormat) const {
  std::wstring out;
  if (pszFormat == nullptr) return CString();
  for (const wchar_t* p = pszFormat; *p; ++p) {
    if (*p != L'%') {
      out += *p;
      continue;
    }
    ++p;
    switch (*p) {
      case L'%': out += L'%'; break;
      case L'D': appendNumber(out, GetDays(), 1, true); break;
      case L'H': appendNumber(out, GetHours(), 2, false); break;
      case L'M': appendNumber(out, GetMinutes(), 2, false); break;
      case L'S': appendNumber(out, GetSeconds(), 2, false); break;
      case L'\0': return CString(out.c_str());
      default:
        out += L'%';
        out += *p;
        break;
    }
  }
  return CString(out.c_str());
}

// ---- CTime -----------------------------------------------------------------------------------------

CTime CTime::GetCurrentTime() noexcept { return CTime(static_cast<LONGLONG>(::time(nullptr))); }

BOOL CTime::IsValidFILETIME(const FILETIME& ft) noexcept {
  const ULONGLONG v = (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  return v >= kFileTimeEpochOffset ? TRUE : FALSE;
}

CTime::CTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST) {
  if (nYear < 1900 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31 || nHour < 0 || nHour > 23 || nMin < 0 ||
      nMin > 59 || nSec < 0 || nSec > 59)
    AfxThrowInvalidArgException();
  struct tm atm = {};
  atm.tm_sec = nSec;
  atm.tm_min = nMin;
  atm.tm_hour = nHour;
  atm.tm_mday = nDay;
  atm.tm_mon = nMonth - 1;
  atm.tm_year = nYear - 1900;
  atm.tm_isdst = nDST;
#if defined(_WIN32)
  m_time = _mktime64(&atm);
#else
  m_time = static_cast<LONGLONG>(mktime(&atm));
#endif
  if (m_time == -1) AfxThrowInvalidArgException();
}

CTime::CTime(const SYSTEMTIME& st, int nDST) : m_time(0) {
  if (st.wYear < 1900) return;
  *this = CTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, nDST);
}

CTime::CTime(const FILETIME& ft, int /*nDST*/) {
  // A FILETIME is UTC already; the seconds since 1970 follow without a detour through local time.
  if (!IsValidFILETIME(ft)) AfxThrowInvalidArgException();
  const ULONGLONG v = (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
  m_time = static_cast<LONGLONG>((v - kFileTimeEpochOffset) / 10000000ull);
}

struct tm* CTime::GetGmtTm(struct tm* ptm) const { return ptm && toGmt(m_time, ptm) ? ptm : nullptr; }
struct tm* CTime::GetLocalTm(struct tm* ptm) const { return ptm && toLocal(m_time, ptm) ? ptm : nullptr; }

bool CTime::GetAsSystemTime(SYSTEMTIME& st) const {
  struct tm t;
  if (!toLocal(m_time, &t)) return false;
  st.wYear = static_cast<WORD>(t.tm_year + 1900);
  st.wMonth = static_cast<WORD>(t.tm_mon + 1);
  st.wDayOfWeek = static_cast<WORD>(t.tm_wday);
  st.wDay = static_cast<WORD>(t.tm_mday);
  st.wHour = static_cast<WORD>(t.tm_hour);
  st.wMinute = static_cast<WORD>(t.tm_min);
  st.wSecond = static_cast<WORD>(t.tm_sec);
  st.wMilliseconds = 0;
  return true;
}

int CTime::GetYear() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_year + 1900 : 0;
}
int CTime::GetMonth() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_mon + 1 : 0;
}
int CTime::GetDay() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_mday : 0;
}
int CTime::GetHour() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_hour : -1;
}
int CTime::GetMinute() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_min : -1;
}
int CTime::GetSecond() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_sec : -1;
}
int CTime::GetDayOfWeek() const {
  struct tm t;
  return toLocal(m_time, &t) ? t.tm_wday + 1 : 0;
}

CString CTime::Format(LPCWSTR pszFormat) const {
  struct tm t;
  if (pszFormat == nullptr || !toLocal(m_time, &t)) return CString();
  return CString(formatTm(pszFormat, t, false).c_str());
}

CString CTime::FormatGmt(LPCWSTR pszFormat) const {
  struct tm t;
  if (pszFormat == nullptr || !toGmt(m_time, &t)) return CString();
  return CString(formatTm(pszFormat, t, true).c_str());
}

// ---- Archive -----------------------------------------------------------------------------------------

CArchive& operator<<(CArchive& ar, CTime time) { return ar << static_cast<long long>(time.GetTime()); }

CArchive& operator>>(CArchive& ar, CTime& rtime) {
  long long t = 0;
  ar >> t;
  rtime = CTime(static_cast<LONGLONG>(t));
  return ar;
}

CArchive& operator<<(CArchive& ar, CTimeSpan span) { return ar << static_cast<long long>(span.GetTimeSpan()); }

CArchive& operator>>(CArchive& ar, CTimeSpan& rspan) {
  long long t = 0;
  ar >> t;
  rspan = CTimeSpan(static_cast<LONGLONG>(t));
  return ar;
}
