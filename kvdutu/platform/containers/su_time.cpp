#include "kvdutu/platform/containers/su_time.h"

void su_CTimeSpan::Serialize(su_CArchive& ar) {
  CTimeSpan& span = *this;
  if (ar.IsStoring())
    ar << span;
  else
    ar >> span;
}

void su_CTime::Serialize(su_CArchive& ar) {
  CTime& time = *this;
  if (ar.IsStoring())
    ar << time;
  else
    ar >> time;
}
