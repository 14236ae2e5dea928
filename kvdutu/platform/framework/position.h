// POSITION: the opaque place of an element in a framework list or map, as iteration hands it out.
#pragma once

struct __POSITION {};
typedef __POSITION* POSITION;

// The position "before the first element" that a map's GetStartPosition returns.
#define BEFORE_START_POSITION (reinterpret_cast<POSITION>(static_cast<intptr_t>(-1)))
