// Checking that a call throws one of the framework's exceptions, which are heap objects that the
// catcher frees.
#pragma once

#include <functional>

#include "kvdutu/platform/framework/exceptions.h"

namespace KvdTest {

// True when body throws an exception of class E (or one derived from it).
template <class E>
bool raises(const std::function<void()>& body) {
  try {
    body();
  } catch (E* e) {
    e->Delete();
    return true;
  }
  return false;
}

}  // namespace KvdTest
