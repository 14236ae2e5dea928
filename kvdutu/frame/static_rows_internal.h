// Marks the end of a row of the library's static objects: the marker is built right after the
// row's objects (same priority, defined after them in the same file) and records the row, so that
// tests can see the order in which the rows were really built.
#pragma once

#include "kvdutu/frame/static_rows.h"
#include "kvdutu/platform/framework/init_order_internal.h"

namespace KvdUtils::Frame::detail {
struct StaticRowMarker {
  explicit StaticRowMarker(int row) { noteStaticRowBuilt(row); }
};
}  // namespace KvdUtils::Frame::detail

#define KVDUTU_STATIC_ROW_CAT2(a, b) a##b
#define KVDUTU_STATIC_ROW_CAT(a, b) KVDUTU_STATIC_ROW_CAT2(a, b)
#define KVDUTU_STATIC_ROW_BUILT(n)                                                   \
  KVDUTU_INIT_ROW(n) static KvdUtils::Frame::detail::StaticRowMarker KVDUTU_STATIC_ROW_CAT( \
      g_staticRowMarker_, __LINE__)(n)
