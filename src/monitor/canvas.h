#pragma once
// The surface the strip chart draws on. The chart never repaints from its data: each
// round adds one short line per channel and one narrow stripe to a picture that keeps
// what was drawn, so an implementation must keep its pixels between calls.
//
// Coordinates are the chart's own, set by set_scale: x grows to the right, y grows
// upwards (the bottom edge is `bottom`, the top edge `top`). Points outside the scale
// are allowed and simply fall off the picture. Colours are colour words 0xBBGGRR
// (red in the low byte), the form every colour setting is stored in.

#include <cstdint>

namespace ovn {

class Canvas {
 public:
  virtual ~Canvas() = default;
  // The chart coordinates of the picture's edges. Holds until the next call.
  virtual void set_scale(double left, double right, double bottom, double top) = 0;
  // Fills the whole picture with `color`.
  virtual void clear(int32_t color) = 0;
  // A one-pixel line between two points, both ends drawn.
  virtual void line(double x1, double y1, double x2, double y2, int32_t color) = 0;
  // A filled rectangle between two corners given in any order, edges included.
  virtual void fill_rect(double x1, double y1, double x2, double y2, int32_t color) = 0;
};

}  // namespace ovn
