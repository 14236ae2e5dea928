// The record of the load: in which order the rows of the library's static objects were built.
#pragma once

#include "kvdutu/platform/export.h"

namespace KvdUtils::Frame {

// Called by the row markers during static construction; plain data, no allocation.
KVDUTU_API void noteStaticRowBuilt(int row);
// Copies the rows in the order they were built into rows[0..capacity) and returns how many
// were recorded (which may exceed capacity).
KVDUTU_API int GetStaticConstructionOrder(int* rows, int capacity);

}  // namespace KvdUtils::Frame
