// Uses the installed headers and library: the umbrella header compiles on its own, the exported
// variables are real data, and a call crosses into the library.
#include <kvdutu/kvdutu.h>

#include <cstdio>

int main() {
  if (su_PinDrawingViews != 1 || su_CaptureDataForDTD != 0) {
    std::puts("consumer: exported variables have the wrong initial values");
    return 1;
  }
  if (GetApiDisplayModeFromUiMode(0, 6) != 8) {
    std::puts("consumer: call into the library failed");
    return 1;
  }
  std::puts("consumer: ok");
  return 0;
}
