#include "support/fake_port.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace ovn::test {

FakePort::FakePort(VirtualClock& clock, int number) : clock_(clock), number_(number) {}

FakePort& FakePort::reply(const std::string& text, double delay_ms) {
  return reply_pieces({{delay_ms, text}});
}

FakePort& FakePort::reply_pieces(std::vector<Piece> pieces) {
  script_.push_back(std::move(pieces));
  return *this;
}

FakePort& FakePort::silence(int requests) {
  for (int i = 0; i < requests; ++i) script_.push_back({});
  return *this;
}

void FakePort::inject(const std::string& text) {
  received_ += text;
}

void FakePort::fail_opens(int count, const std::string& error) {
  failing_opens_ = count;
  open_error_ = error;
}

void FakePort::set_settings(const std::string& settings) {
  // A real port's settings text refuses such rates; getting one is a fault of the caller.
  if (std::atol(settings.c_str()) >= 200000)
    ADD_FAILURE() << "settings text with a rate the port does not take: " << settings;
  settings_ = settings;
  events.push_back("settings " + settings);
}

bool FakePort::open(std::string& error) {
  if (failing_opens_ > 0) {
    --failing_opens_;
    error = open_error_;
    events.push_back("open failed");
    return false;
  }
  open_ = true;
  spinning_ = false;
  state_baud = std::atol(settings_.c_str());
  events.push_back("open " + settings_);
  return true;
}

void FakePort::close() {
  open_ = false;
  spinning_ = false;
  received_.clear();
  under_way_.clear();
  events.push_back("close");
}

void FakePort::deliver_due() {
  double now = clock_.now_ms();
  std::stable_sort(under_way_.begin(), under_way_.end(),
                   [](const Arrival& a, const Arrival& b) { return a.at_ms < b.at_ms; });
  while (!under_way_.empty() && under_way_.front().at_ms <= now) {
    received_ += under_way_.front().text;
    under_way_.erase(under_way_.begin());
  }
}

std::string FakePort::input() {
  ++input_calls;
  if (!open_) return {};
  deliver_due();
  if (received_.empty()) {
    if (spinning_) clock_.advance(poll_cost_ms);
    spinning_ = true;
  }
  std::string out;
  out.swap(received_);
  return out;
}

void FakePort::output(const std::string& text) {
  spinning_ = false;
  if (!open_) return;
  written.push_back(text);
  std::vector<Piece> pieces;
  if (!script_.empty()) {
    pieces = std::move(script_.front());
    script_.pop_front();
  } else if (responder) {
    std::string answer = responder(text);
    if (!answer.empty()) pieces.push_back({responder_delay_ms, answer});
  }
  double now = clock_.now_ms();
  for (auto& p : pieces) under_way_.push_back({now + p.delay_ms, p.text});
}

bool FakePort::get_state_baud(long& baud, int& os_error) {
  if (!open_ || state_read_error) {
    os_error = open_ ? state_read_error : 6;
    return false;
  }
  baud = state_baud;
  return true;
}

bool FakePort::set_state_baud(long baud, int& os_error) {
  if (!open_ || state_write_error) {
    os_error = open_ ? state_write_error : 6;
    return false;
  }
  state_baud = baud;
  events.push_back("state " + std::to_string(baud));
  return true;
}

bool FakePort::wait_input_until(double deadline_ms) {
  spinning_ = false;
  ++waits;
  deliver_due();
  if (!received_.empty() || deadline_ms <= clock_.now_ms()) return !received_.empty();
  double next = deadline_ms;
  for (auto& a : under_way_) next = std::min(next, a.at_ms);
  wait_events_until(next);
  deliver_due();
  return !received_.empty();
}

}  // namespace ovn::test
