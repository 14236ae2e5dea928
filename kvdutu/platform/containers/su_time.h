// su_CTime and su_CTimeSpan: the framework's time and time span under the imported names. They
// are values (copyable, no virtual functions), not su_CObject classes; in an archive each is
// 8-byte signed seconds (`ar << t`, `ar >> t`, or Serialize).
#pragma once

#include "kvdutu/platform/containers/su_archive.h"
#include "kvdutu/platform/framework/time.h"

class KVDUTU_API su_CTimeSpan : public CTimeSpan {
 public:
  using CTimeSpan::CTimeSpan;
  su_CTimeSpan() noexcept = default;
  su_CTimeSpan(const CTimeSpan& span) noexcept : CTimeSpan(span) {}
  void Serialize(su_CArchive& ar);
};

class KVDUTU_API su_CTime : public CTime {
 public:
  using CTime::CTime;
  su_CTime() noexcept = default;
  su_CTime(const CTime& time) noexcept : CTime(time) {}
  static su_CTime GetCurrentTime() noexcept { return su_CTime(CTime::GetCurrentTime()); }
  void Serialize(su_CArchive& ar);
};
