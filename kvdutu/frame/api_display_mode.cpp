#include "kvdutu/frame/api_display_mode.h"

long GetApiDisplayModeFromUiMode(const int& flag, const long& uiMode) {
  switch (uiMode) {
    case 0: return 0;
    case 1: return 1;
    case 2: return 2;
    case 3: return flag == 0 ? 3 : 7;
    case 6: return 8;
    default: return -1;  // 4 and 5 have no API mode either
  }
}
