#pragma once
// A link to a simulated instrument on the virtual clock, with the scripted operator and a
// temporary folder: what the configuration tests run against.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "config/tm_file.h"
#include "foundation/kw.h"
#include "support/sim_line.h"
#include "support/temp_dir.h"

namespace ovn::test {

class ConfigFixture : public SimLineTest {
 protected:
  // The instrument of `family` on the line at its own baud.
  explicit ConfigFixture(SimFamily family = SimFamily::Kst) {
    SimConfig config;
    config.family = family;
    connect(config);
  }

  // The KST as the session would describe it.
  static ConfigInstrument kst() {
    ConfigInstrument k;
    k.tm_type = kTmKst;
    k.tm_name = "KSTM";
    k.file_extension = ".611";
    k.file_name = "Simulated_Customer.ZQVD52002V-SIM0001.S1.611";
    k.uid = "ZQVD52002V(2-3 lbf-in)-SIM0001.S1-COM1";
    k.firmware = "150";
    k.version1 = 150;
    k.uvpv_per_raw = 0.024635402112829115;
    return k;
  }

  std::vector<std::string> requests() const { return port.requests(); }
  int count_requests(const std::string& message) const {
    auto r = requests();
    return static_cast<int>(std::count(r.begin(), r.end(), message));
  }

  TempDir dir;
};

}  // namespace ovn::test
