#include "kvdutu/frame/static_rows.h"

namespace KvdUtils::Frame {

namespace {
// Zero-initialised before any constructor runs, so markers of any priority can record.
int g_rows[64];
int g_count;
}  // namespace

void noteStaticRowBuilt(int row) {
  if (g_count < static_cast<int>(sizeof(g_rows) / sizeof(g_rows[0]))) g_rows[g_count] = row;
  ++g_count;
}

int GetStaticConstructionOrder(int* rows, int capacity) {
  for (int i = 0; i < g_count && i < capacity && i < 64; ++i) rows[i] = g_rows[i];
  return g_count;
}

}  // namespace KvdUtils::Frame
