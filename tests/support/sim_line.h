#pragma once
// A simulated instrument on the line, for tests of the search and the probes: the link and
// port selection modules start fresh, the clock is virtual, the operator scripted.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "link/rs232.h"
#include "sim/sim_port.h"
#include "support/forwarding_port.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {

// Port numbers 1 to 32 of which only `present` exist; the instrument hangs on port
// `instrument_at`, the others have nothing connected.
class PortRack final : public ForwardingPort {
 public:
  PortRack(SimPort& line, std::set<int> present, int instrument_at)
      : ForwardingPort(line),
        line_(line),
        present_(std::move(present)),
        instrument_at_(instrument_at) {}

  int opens = 0;  // successful opens of any port

  int port_number() const override { return number_; }
  void set_port_number(int n) override { number_ = n; }
  std::string device_name() const override { return "/dev/ttyS" + std::to_string(number_ - 1); }
  bool open(std::string& error) override {
    if (present_.count(number_) == 0) {
      error = "no such device: " + device_name();
      return false;
    }
    bool ok = line_.open(error);
    opens += ok;
    return ok;
  }
  void output(const std::string& text) override {
    if (number_ == instrument_at_) line_.output(text);
  }

 private:
  SimPort& line_;
  std::set<int> present_;
  int instrument_at_;
  int number_ = 1;
};

class SimLineTest : public SeamsTest {
 protected:
  // Builds the instrument of `config` and opens the line to it at its address and its
  // family's baud (the configured one where the family has none); transcript and log clean.
  void connect(const SimConfig& config) {
    sim_init(sim, config);
    rs232_attach(port, sim_family_has_address(config.family) ? std::string(1, config.address) : "");
    const long baud = sim_family_baud(config.family);
    ASSERT_EQ(rs232_open(port, std::to_string(baud ? baud : config.baud)), "");
    port.clear_transcript();
    seams.log.lines.clear();
  }

  // An instrument of `family` at `address`; the S350 families listen at `baud`.
  void build(SimFamily family, char address = 'A', long baud = 115200) {
    SimConfig config;
    config.family = family;
    config.address = address;
    config.baud = baud;
    sim_init(sim, config);
  }

  // Attaches the line and opens it at `baud`, as a search would before its probe.
  void open_at(long baud) {
    rs232_attach(port, "");
    ASSERT_EQ(rs232_open(port, std::to_string(baud)), "");
    port.clear_transcript();
  }

  // Every request as written, without its LF ("BTMA").
  std::vector<std::string> sent() const {
    std::vector<std::string> out;
    for (const SimTranscriptEntry& e : port.transcript())
      if (e.direction == '>') out.push_back(e.text.substr(0, e.text.size() - 1));
    return out;
  }

  bool logged(const std::string& text) const {
    for (const std::string& line : log_texts())
      if (line == text) return true;
    return false;
  }

  SimInstrument sim;
  SimPort port{sim};
  ScriptedOperator op;
};

}  // namespace ovn::test
