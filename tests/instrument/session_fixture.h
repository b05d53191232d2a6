#pragma once
// A fresh session module on the simulated instrument's in-process port, with the virtual
// clock, a memory log and the scripted operator (the simulated line's fixture).

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "sim/sim_instrument.h"
#include "support/sim_line.h"

namespace ovn::test {

using Replies = std::map<std::string, std::string>;

// A table with some replies changed.
inline Replies with(Replies table, const Replies& changes) {
  for (const auto& [message, reply] : changes) table[message] = reply;
  return table;
}

// Replies of a WQPM of firmware 3.050 beyond its probe. Singles by their bit patterns: 1000
// 447A0000, 500 43FA0000, -500 C3FA0000, 20 41A00000, 2000 44FA0000. The temperature is
// 0 deg C at count 1000 and 20 at 2000; the points are 8300 Hz at zero, 9300 Hz at +500 and
// 7800 Hz at -500 lbf-in, as pulses over ticks of a 60 MHz clock.
inline const Replies kWqpmReplies = {
    {"MD", "ZQVD4820"},  {"SN", "55"},        {"SP", "WO\tW-17\tCN\tAcme Co"},
    {"CCA", "447A0000"}, {"CCC", "43FA0000"}, {"CCD", "C3FA0000"},
    {"SC", "00000000"},  {"TCA", "00000000"}, {"TCB", "447A0000"},
    {"TCC", "41A00000"}, {"TCD", "44FA0000"}, {"CIA", "8300"},
    {"CIB", "60000000"}, {"CIC", "9300"},     {"CID", "60000000"},
    {"CIE", "7800"},     {"CIF", "60000000"}};

// Replies of a HZYM: full scale and load 1000 (FS1, CC1B), the shunt scales 0.5 and 0.25
// lbf-in a count (SC, two singles), gain 16 (GN), zero at 100 counts (OF).
inline const Replies kHzymReplies = {
    {"MD", "No-Model-Number"},  {"SE", "H-5"},  {"FS1", "447A0000"}, {"CC1B", "447A0000"},
    {"SC", "3F0000003E800000"}, {"GN", "0010"}, {"OF", "0064"}};

// Replies of an RDX (firmware "i1m142r1000"): full scale 500 lbf-in over 20000 x 32768
// counts, points 1, 100 and -100 counts by CEA / |CE<L>| x CF<L> / 1000.
inline const Replies kRdxReplies = {{"MD", "ZQVD2000"}, {"SN", "R1"},     {"SH", ""},
                                    {"ID", "A"},        {"CN", ""},       {"CEA", "500"},
                                    {"CEB", "250"},     {"CEC", "-250"},  {"FS", "20000"},
                                    {"CFA", "1000"},    {"CFB", "50000"}, {"CFC", "-50000"}};

// Replies of a KSVM (firmware "205"): full scale 1000, points 100 and +-10000 counts
// (10737418240000 / 2^30).
inline const Replies kKsvmReplies = {
    {"CR", "KV-1"}, {"CP", "99"},   {"CQ", "Q1"},  {"CS", "Cust"},       {"CK", "1000"},
    {"CD", "2000"}, {"CE", "4000"}, {"CA", "100"}, {"CB", "1073741824"}, {"CC", "1073741824"}};

// Replies of an S350 (firmware 7.3) on a torque channel of full scale 200, zero -2 counts
// at character 16 of "@A".
inline const Replies kS350Replies = {
    {"UN1", "dF-in"}, {"FS1", "200"}, {"SC1", "1000,-2000"}, {"@A", "000000000000000FFFE"}};

// Replies of an S350+ of full scale 400, points 12, 0.5 / 0.25 and -0.5 / 0.125.
inline const Replies kS350PlusReplies = {{"UN1", "lbf"},   {"FS1", "400"},   {"CC1B", "12"},
                                         {"CC1C", "0.5"},  {"CC1D", "0.25"}, {"CC1E", "-0.5"},
                                         {"CC1F", "0.125"}};

class SessionTest : public SimLineTest {
 protected:
  // Builds the instrument of `family`, noiseless, answering `table` beyond its own
  // vocabulary, and opens the line at its baud with its address.
  void connect(SimFamily family, const std::map<std::string, std::string>& table = {}) {
    SimConfig config;
    config.family = family;
    config.noise_uvpv = 0;
    SimLineTest::connect(config);
    sim.physics.zero_counts = 0;
    for (const auto& [message, reply] : table) sim.table[message] = reply;
  }

  // Connects and reads the session of `family` into session 0.
  const TmInfoRecord& open(SimFamily family, const std::map<std::string, std::string>& table = {}) {
    connect(family, table);
    tmi_get_data_ini(static_cast<int32_t>(family), 0, false, "", 0, false);
    return tm_info_record(0);
  }

  std::string setting(const std::string& app, const std::string& section, const std::string& key) {
    return seams.settings.get(app, section, key).value_or("<none>");
  }
};

}  // namespace ovn::test
