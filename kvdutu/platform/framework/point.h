// CPoint: a POINT with the framework's arithmetic and comparison.
#pragma once

#include "kvdutu/platform/win_types.h"

class CPoint : public tagPOINT {
 public:
  CPoint() noexcept : tagPOINT{0, 0} {}
  CPoint(int initX, int initY) noexcept : tagPOINT{initX, initY} {}
  CPoint(POINT initPt) noexcept : tagPOINT(initPt) {}
  CPoint(SIZE initSize) noexcept : tagPOINT{initSize.cx, initSize.cy} {}
  // From a packed coordinate pair as messages carry it: x in the low word, y in the high word,
  // each a signed 16-bit value.
  explicit CPoint(LPARAM dwPoint) noexcept
      : tagPOINT{static_cast<short>(dwPoint & 0xFFFF), static_cast<short>((dwPoint >> 16) & 0xFFFF)} {}

  void Offset(int xOffset, int yOffset) noexcept { x += xOffset, y += yOffset; }
  void Offset(POINT point) noexcept { Offset(point.x, point.y); }
  void Offset(SIZE size) noexcept { Offset(size.cx, size.cy); }
  void SetPoint(int X, int Y) noexcept { x = X, y = Y; }

  bool operator==(POINT point) const noexcept { return x == point.x && y == point.y; }
  bool operator!=(POINT point) const noexcept { return !(*this == point); }
  void operator+=(SIZE size) noexcept { Offset(size); }
  void operator-=(SIZE size) noexcept { Offset(-size.cx, -size.cy); }
  void operator+=(POINT point) noexcept { Offset(point); }
  void operator-=(POINT point) noexcept { Offset(-point.x, -point.y); }

  CPoint operator+(SIZE size) const noexcept { return CPoint(x + size.cx, y + size.cy); }
  CPoint operator-(SIZE size) const noexcept { return CPoint(x - size.cx, y - size.cy); }
  CPoint operator-() const noexcept { return CPoint(-x, -y); }
  CPoint operator+(POINT point) const noexcept { return CPoint(x + point.x, y + point.y); }
  // The distance between two points is a size.
  SIZE operator-(POINT point) const noexcept { return SIZE{x - point.x, y - point.y}; }
};
