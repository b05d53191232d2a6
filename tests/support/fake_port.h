#pragma once
// A serial port for exchange-level tests, driven by the virtual clock.
//
// Each request written to the port takes the next entry of a script: a reply (maybe in
// pieces, each arriving a set time after the request) or silence. Requests beyond the
// script are met by `responder` when one is set, else by silence. Input that is already
// waiting (a stale line) can be put in the receive buffer at any time. Opening and the
// reading and writing of the port's state record can be made to fail.
//
// Time: a poll that finds nothing right after another such poll costs `poll_cost_ms` of
// virtual time, so a wait that spins on the port still reaches its deadline, while a wait
// that blocks in wait_input_until pays only that; the wait goes through the event wait
// (wait_events_until) to the next arrival or the deadline. Closing drops the buffer and every reply
// still under way.

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "foundation/platform.h"
#include "link/port_service.h"

namespace ovn::test {

class FakePort final : public PortService {
 public:
  struct Piece {
    double delay_ms;  // after the request was written
    std::string text;
  };

  explicit FakePort(VirtualClock& clock, int number = 3);

  // ---- Script ----------------------------------------------------------------------------
  FakePort& reply(const std::string& text, double delay_ms = 2.0);
  FakePort& reply_pieces(std::vector<Piece> pieces);
  FakePort& silence(int requests = 1);
  // Text in the receive buffer now, as if it had arrived unasked.
  void inject(const std::string& text);
  // Answers requests beyond the script: request (ID, message, LF) in, reply text out, which
  // arrives `responder_delay_ms` later. Empty text is silence.
  std::function<std::string(const std::string& request)> responder;
  double responder_delay_ms = 2.0;

  // ---- Failures --------------------------------------------------------------------------
  // The next `count` opens fail with `error`.
  void fail_opens(int count, const std::string& error);
  int state_read_error = 0;   // not 0: get_state_baud fails with this system error number
  int state_write_error = 0;  // not 0: set_state_baud fails with it

  // ---- Transcript ------------------------------------------------------------------------
  std::vector<std::string> written;  // every request written while open, as on the wire
  std::vector<std::string> events;   // "open 9600,n,8,1", "close", "state 230400", "dtr 1"
  long state_baud = 0;               // the baud of the port's state record
  double poll_cost_ms = 0.125;       // exact in binary, so deadlines are met exactly
  int input_calls = 0;
  int waits = 0;  // calls of wait_input_until

  // ---- PortService -----------------------------------------------------------------------
  int port_number() const override { return number_; }
  void set_port_number(int n) override { number_ = n; }
  std::string device_name() const override { return "/dev/fake" + std::to_string(number_); }
  std::string settings() const override { return settings_; }
  void set_settings(const std::string& settings) override;
  bool is_open() const override { return open_; }
  bool open(std::string& error) override;
  void close() override;
  std::string input() override;
  void output(const std::string& text) override;
  bool get_state_baud(long& baud, int& os_error) override;
  bool set_state_baud(long baud, int& os_error) override;
  void set_dtr(bool on) override { events.push_back(on ? "dtr 1" : "dtr 0"); }
  void set_rts(bool on) override { events.push_back(on ? "rts 1" : "rts 0"); }
  bool wait_input_until(double deadline_ms) override;

 private:
  struct Arrival {
    double at_ms;
    std::string text;
  };
  void deliver_due();

  VirtualClock& clock_;
  int number_;
  std::string settings_ = "9600,n,8,1";
  bool open_ = false;
  std::string received_;
  std::deque<std::vector<Piece>> script_;
  std::vector<Arrival> under_way_;
  bool spinning_ = false;  // the last call was a poll that found nothing
  int failing_opens_ = 0;
  std::string open_error_;
};

}  // namespace ovn::test
