#pragma once
// A serial port with a simulated instrument on the other end, in the same process.
//
// The request travels at the port's baud rate (10 bits a byte), the instrument takes its
// turnaround, and the reply travels back: the reply becomes readable only when its last
// byte would have arrived. An instrument listening at another baud rate hears nothing it
// understands and stays silent.
//
// Two time modes:
//  - Virtual: time is the clock seam (foundation/platform.h). wait_input_until never sleeps
//    really; through the event wait (wait_events_until) it advances the installed clock to
//    the moment the reply is readable, or to the deadline when nothing comes in time. A poll of
//    input() that finds nothing costs a little virtual time too (poll cost), so that a wait that
//    spins on the port instead of idling still reaches its deadline. Tests use this.
//  - Real: time is the machine's steady clock and waits block in the program's event wait
//    until the reply is due (`ovn-kst --simulate`).
//
// Faults can be injected; every request and reply is kept in a transcript.
// Not thread-safe; the instrument is not owned and must outlive the port.

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "link/port_service.h"
#include "sim/sim_instrument.h"

namespace ovn {

enum class SimTime { Virtual, Real };

// One line of the transcript: what went to the instrument ('>', the request as written,
// LF included) or came back ('<', the bytes as they became readable), and when.
struct SimTranscriptEntry {
  double ms;
  char direction;
  std::string text;
};

class SimPort final : public PortService {
 public:
  explicit SimPort(SimInstrument& instrument, SimTime mode = SimTime::Virtual);

  int port_number() const override { return port_number_; }
  void set_port_number(int n) override { port_number_ = n; }
  std::string device_name() const override;
  std::string settings() const override { return settings_; }
  void set_settings(const std::string& settings) override;
  bool is_open() const override { return open_; }
  bool open(std::string& error) override;
  void close() override;
  std::string input() override;
  void output(const std::string& text) override;
  bool get_state_baud(long& baud, int& os_error) override;
  bool set_state_baud(long baud, int& os_error) override;
  void set_dtr(bool on) override { dtr_ = on; }
  void set_rts(bool on) override { rts_ = on; }
  bool wait_input_until(double deadline_ms) override;

  // The instrument's time to answer after the request's last byte, ms.
  void set_turnaround_ms(double ms) { turnaround_ms_ = ms; }
  // Virtual time an empty poll of input() costs, ms (default 0.05).
  void set_poll_cost_ms(double ms) { poll_cost_ms_ = ms; }
  long baud() const { return baud_; }
  bool dtr() const { return dtr_; }
  bool rts() const { return rts_; }

  // ---- Faults ----
  // The next n replies are never sent.
  void drop_replies(int n) { drop_ = n; }
  // The next n replies come `ms` later than they would.
  void answer_late(double ms, int n = 1) {
    late_ms_ = ms;
    late_count_ = n;
  }
  // The next reply is cut after `keep` bytes (its line end lost with the rest).
  void cut_next_reply(size_t keep) { cut_ = static_cast<long>(keep); }
  // These bytes arrive just before the next reply (line noise).
  void garbage_before_next_reply(const std::string& bytes) { garbage_ = bytes; }
  // Unasked bytes, readable at once: a half line left on the wire ("12" with no end)...
  void stray_bytes(const std::string& bytes);
  // ...or a whole unasked line (the instrument's line end is added).
  void stray_line(const std::string& text) { stray_bytes(text + sim_.config.line_end); }
  // The instrument answers "!" to this exact message (without address) until cleared.
  void answer_bang(const std::string& message) { bang_.insert(message); }
  void clear_bangs() { bang_.clear(); }
  // The cable is pulled: the port closes, and opening fails until it is plugged in again.
  void unplug();
  void plug_in() { unplugged_ = false; }

  // ---- Transcript ----
  const std::vector<SimTranscriptEntry>& transcript() const { return transcript_; }
  void clear_transcript() { transcript_.clear(); }
  // The requests as sent, without address and LF, in order: the usual thing to assert.
  std::vector<std::string> requests() const;

 private:
  struct Chunk {
    double ready_ms;
    std::string bytes;
  };
  double now() const;
  void sleep_until(double ms);
  double byte_ms() const { return baud_ > 0 ? 10000.0 / static_cast<double>(baud_) : 0; }
  void deliver(double ready_ms, const std::string& bytes);
  void handle_line(const std::string& line, double done_ms);
  long instrument_baud() const;

  SimInstrument& sim_;
  SimTime mode_;
  int port_number_ = 1;
  std::string settings_ = "9600,n,8,1";
  long baud_ = 9600;
  bool open_ = false;
  bool unplugged_ = false;
  bool dtr_ = false, rts_ = false;
  double turnaround_ms_ = 1.0;
  double poll_cost_ms_ = 0.05;
  double rx_free_ms_ = 0;  // when the line towards the instrument is free again
  double tx_free_ms_ = 0;  // when the line back is free again
  std::string partial_;    // request bytes before their LF
  std::deque<Chunk> pending_;
  std::vector<SimTranscriptEntry> transcript_;
  int drop_ = 0;
  double late_ms_ = 0;
  int late_count_ = 0;
  long cut_ = -1;
  std::string garbage_;
  std::set<std::string> bang_;
};

}  // namespace ovn
