#pragma once
// A canvas that draws nothing and records every call, so a test can check exactly what
// one round of the chart drew.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "monitor/canvas.h"

namespace ovn::test {

struct CanvasCall {
  enum Kind { Scale, Clear, Line, Rect } kind;
  double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  // Scale: x1 left, x2 right, y1 bottom, y2 top
  int32_t color = 0;
};

class RecordingCanvas final : public Canvas {
 public:
  void set_scale(double left, double right, double bottom, double top) override {
    calls.push_back({CanvasCall::Scale, left, bottom, right, top, 0});
  }
  void clear(int32_t color) override { calls.push_back({CanvasCall::Clear, 0, 0, 0, 0, color}); }
  void line(double x1, double y1, double x2, double y2, int32_t color) override {
    calls.push_back({CanvasCall::Line, x1, y1, x2, y2, color});
  }
  void fill_rect(double x1, double y1, double x2, double y2, int32_t color) override {
    calls.push_back({CanvasCall::Rect, x1, y1, x2, y2, color});
  }

  int count(CanvasCall::Kind kind) const {
    return static_cast<int>(std::count_if(calls.begin(), calls.end(),
                                          [kind](const CanvasCall& c) { return c.kind == kind; }));
  }
  std::vector<CanvasCall> of(CanvasCall::Kind kind) const {
    std::vector<CanvasCall> out;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(out),
                 [kind](const CanvasCall& c) { return c.kind == kind; });
    return out;
  }
  std::vector<CanvasCall> calls;
};

}  // namespace ovn::test
