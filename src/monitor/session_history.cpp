#include "monitor/session_history.h"

#include <algorithm>
#include <cmath>

namespace ovn {

namespace {

void merge_into(HistoryBucket& into, const HistoryBucket& b) {
  const bool low_from_b = b.low<into.low, high_from_b = b.high> into.high;
  if (low_from_b && high_from_b)
    into.high_last = b.high_last;
  else if (low_from_b || high_from_b)
    into.high_last = high_from_b;
  into.low = std::min(into.low, b.low);
  into.high = std::max(into.high, b.high);
  into.t1 = b.t1;
}

}  // namespace

SessionHistory::SessionHistory(size_t capacity) : capacity_(std::max<size_t>(capacity, 4)) {}

void SessionHistory::add(int ch, double t_ms, double value) {
  if (ch < 1 || ch > kChannels || !std::isfinite(value) || !std::isfinite(t_ms)) return;
  if (!started_) {
    started_ = true;
    origin_ms_ = t_ms;
  }
  const double t = (t_ms - origin_ms_) / 1000.0;
  Channel& c = chn_[static_cast<size_t>(ch - 1)];
  if (!c.buckets.empty() && t < c.buckets.back().t1) return;
  last_s_ = std::max(last_s_, t);
  const auto v = static_cast<float>(value);
  const HistoryBucket one{t, t, v, v, false};
  if (!c.buckets.empty() && t - c.buckets.back().t0 < c.span_s) {
    merge_into(c.buckets.back(), one);
    return;
  }
  c.buckets.push_back(one);
  if (c.buckets.size() >= capacity_) compact(c);
}

void SessionHistory::compact(Channel& c) const {
  std::vector<HistoryBucket>& b = c.buckets;
  size_t out = 0;
  for (size_t i = 0; i < b.size(); i += 2) {
    HistoryBucket m = b[i];
    if (i + 1 < b.size()) merge_into(m, b[i + 1]);
    b[out++] = m;
  }
  b.resize(out);
  // The span follows what the buckets now cover on average, and at least doubles, so the
  // next compaction is as far away as this one was.
  const double covered = b.back().t1 - b.front().t0;
  c.span_s = std::max(2 * c.span_s, 2 * covered / static_cast<double>(capacity_));
}

void SessionHistory::clear() {
  for (Channel& c : chn_) c = Channel{};
  started_ = false;
  last_s_ = 0;
}

bool SessionHistory::empty() const {
  return std::all_of(chn_.begin(), chn_.end(), [](const Channel& c) { return c.buckets.empty(); });
}

size_t SessionHistory::size(int ch) const {
  return ch < 1 || ch > kChannels ? 0 : chn_[static_cast<size_t>(ch - 1)].buckets.size();
}

std::vector<HistoryBucket> SessionHistory::view(int ch, double from_s, double to_s,
                                                size_t points) const {
  std::vector<HistoryBucket> out;
  if (ch < 1 || ch > kChannels || points == 0 || !(to_s >= from_s)) return out;
  const std::vector<HistoryBucket>& b = chn_[static_cast<size_t>(ch - 1)].buckets;
  auto first = std::lower_bound(b.begin(), b.end(), from_s,
                                [](const HistoryBucket& x, double t) { return x.t1 < t; });
  auto last = std::upper_bound(first, b.end(), to_s,
                               [](double t, const HistoryBucket& x) { return t < x.t0; });
  const double width = (to_s - from_s) / static_cast<double>(points);
  // The view's slot of a bucket's start; a bucket that began before the view is in the
  // first slot.
  auto slot = [&](const HistoryBucket& x) {
    if (!(width > 0)) return 0.0;
    return std::clamp(std::floor((x.t0 - from_s) / width), 0.0, static_cast<double>(points - 1));
  };
  for (auto it = first; it != last; ++it) {
    if (!out.empty() && slot(*it) == slot(out.back()))
      merge_into(out.back(), *it);
    else
      out.push_back(*it);
  }
  return out;
}

}  // namespace ovn
