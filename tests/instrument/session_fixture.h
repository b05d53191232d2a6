#pragma once
// A fresh session module on the simulated instrument's in-process port, with the virtual
// clock, a memory log and the scripted operator.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "foundation/debug_log.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {

class SessionTest : public SeamsTest {
 protected:
  SessionTest() : port(sim) {
    rs232_reset_state();
    tm_info_reset_state();
    debug_log_reset();
  }
  ~SessionTest() override {
    rs232_reset_state();
    tm_info_reset_state();
  }

  // Builds the instrument of `family`, noiseless, answering `table` beyond its own
  // vocabulary, and opens the line at its baud with its address.
  void connect(SimFamily family, const std::map<std::string, std::string>& table = {}) {
    SimConfig config;
    config.family = family;
    config.noise_uvpv = 0;
    sim_init(sim, config);
    sim.physics.zero_counts = 0;
    for (const auto& [message, reply] : table) sim.table[message] = reply;
    rs232_attach(port, sim_family_has_address(family) ? "A" : "");
    // The simulated port moves virtual time only while the exchange waits on it; a polling
    // loop without the relaxed wait would never see its reply arrive.
    rs232_set_relaxed(true);
    long baud = sim_family_baud(family);
    ASSERT_EQ(rs232_open(port, std::to_string(baud ? baud : config.baud)), "");
    port.clear_transcript();
    seams.log.lines.clear();
  }

  // Connects and reads the session of `family` into session 0.
  const TmInfoRecord& open(SimFamily family, const std::map<std::string, std::string>& table = {}) {
    connect(family, table);
    tmi_get_data_ini(static_cast<int32_t>(family), 0, false, "", 0, false);
    return tm_info_record(0);
  }

  std::vector<std::string> log_texts() const {
    std::vector<std::string> out;
    for (auto& line : seams.log.lines)
      if (line.find("*****Debug  init") == std::string::npos) out.push_back(line.substr(8));
    return out;
  }

  std::string setting(const std::string& app, const std::string& section, const std::string& key) {
    return seams.settings.get(app, section, key).value_or("<none>");
  }

  SimInstrument sim;
  SimPort port;
  ScriptedOperator op;
};

}  // namespace ovn::test
