#pragma once
// Every value the chart's pens were given during the session, per channel, for the history
// chart that zooms and scrolls back while live data keeps arriving. Memory stays bounded:
// values are kept as buckets (a time span with its lowest, highest and last value); when a
// channel holds `capacity` buckets, neighbours merge pairwise and the span a bucket covers
// doubles. An hour at 400 samples a second costs what the first minutes cost, only coarser,
// and a peak is never lost to the thinning, since a bucket keeps its extremes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovn {

struct HistoryBucket {
  double t0 = 0, t1 = 0;  // seconds since the session's first value
  float low = 0, high = 0;
  bool high_last = false;  // the highest value came after the lowest (draw order)
};

class SessionHistory {
 public:
  static constexpr int kChannels = 3;

  explicit SessionHistory(size_t capacity = size_t{1} << 16);

  // Channel ch (1..3) had `value` at `t_ms` (the program's clock in ms). Values that are
  // not numbers (no reading) are skipped; so are times that go back.
  void add(int ch, double t_ms, double value);
  void clear();

  bool empty() const;
  // The first and the last time held, in seconds since the first value.
  double first_s() const { return 0; }
  double last_s() const { return last_s_; }
  // The buckets of channel ch that meet from_s..to_s, merged into at most `points`
  // buckets of equal time span, in time order.
  std::vector<HistoryBucket> view(int ch, double from_s, double to_s, size_t points) const;
  size_t size(int ch) const;
  size_t capacity() const { return capacity_; }

 private:
  struct Channel {
    std::vector<HistoryBucket> buckets;
    double span_s = 0;  // a bucket gathers values this close to its first one
  };
  void compact(Channel& c) const;

  size_t capacity_;
  std::array<Channel, kChannels> chn_{};
  bool started_ = false;
  double origin_ms_ = 0;
  double last_s_ = 0;
};

}  // namespace ovn
