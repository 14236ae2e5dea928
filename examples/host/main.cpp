#include <kvdutu/kvdutu.h>
#include <cstdio>
int main() { std::printf("kvdutu host: su_PinDrawingViews=%d\n", su_PinDrawingViews); return 0; }
