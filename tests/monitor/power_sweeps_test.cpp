// The rotor power sweeps on the simulated KST, whose rotor coil resonates at 135.135 kHz:
// the sweeps find it, Stop and Cancel put the drive back as it was, and the frequency list
// of the noise sweep counts as the technician expects.

#include "monitor/power_sweeps.h"

#include "adjust/noise_fixture.h"
#include "config/tm_file.h"
#include "foundation/kw.h"
#include "foundation/long_work.h"
#include "link/rs232.h"
#include "monitor/frm_kst_main.h"
#include "monitor/rotor_power.h"
#include "support/recording_canvas.h"

namespace ovn::test {
namespace {

class PowerSweepTest : public NoiseTest {
 protected:
  PowerSweepTest() {
    long_work_set_row_sink([this](const std::string& line) { rows.push_back(line); });
  }
  ~PowerSweepTest() override { long_work_set_row_sink({}); }

  // A KST at rest, its drive at `period` counts.
  void open_at_rest(int32_t period = 444) {
    open_kst(0.5);
    sim.physics.torque.a = 0;
    rs232_send_ok("PWA" + std::to_string(period));
    rs232_send_ok("PWB100");
    yield_ms(2000);  // the stator settles the rotor's voltage
    port.clear_transcript();
  }
  // The field `index` (0 based, blank separated) of a report row, as a number.
  static double field(const std::string& row, size_t index) {
    std::vector<std::string> words;
    for (const std::string& w : kw_split(row, " "))
      if (!w.empty()) words.push_back(w);
    int stop = 0;
    return index < words.size() ? kw_parse_double(words[index], stop) : -1;
  }
  // The frequency (field `freq`) of the row whose field `value` is least.
  double least_at(size_t first_row, size_t freq, size_t value) const {
    double best = 1e300, at = 0;
    for (size_t i = first_row; i < rows.size(); ++i) {
      if (rows[i].rfind("Stopped", 0) == 0) continue;
      if (field(rows[i], value) < best) {
        best = field(rows[i], value);
        at = field(rows[i], freq);
      }
    }
    return at;
  }
  std::string all() const {
    std::string out;
    for (const std::string& r : rows) out += r + "\n";
    return out;
  }
  void expect_drive(const std::string& pwa, const std::string& pwb) {
    EXPECT_EQ(get_reply("PWA"), pwa);
    EXPECT_EQ(get_reply("PWB"), pwb);
    EXPECT_EQ(get_reply("PWC"), "16096");
    EXPECT_EQ(get_reply("PWD"), "371");
  }
  void ask_noise_sweep(const std::string& from, const std::string& to, const std::string& step) {
    op.expect_input_box("Enter Starting Frequency in kHz\r\n   Usually 90.00 kHz", from);
    op.expect_input_box("Enter Ending Frequency in kHz", to);
    op.expect_input_box("Enter Frequency Step in kHz", step);
  }

  std::vector<std::string> rows;
  FrmKstMain f;
  RecordingCanvas canvas;
};

TEST_F(PowerSweepTest, NoiseSweepFindsTheResonanceDrawsItAndPutsTheDriveBack) {
  open_at_rest(450);
  f.graph.canvas = &canvas;
  ask_noise_sweep("110", "160", "5");
  op.expect_gib(
      "Are you sure you want to run this ~4 minute test\r\nof Power Frequency vs uV/V "
      "Stdev noise?",
      "Yes");
  op.expect_gib("#Date-And-Time", 0);
  pwr_sweep_frequency_noise(f);
  ASSERT_EQ(rows.size(), 12u);
  EXPECT_EQ(rows[0],
            "#Date-And-Time      Freq(kHz) Noise(uV/V) Temp(degF)  Ratio  DutyCycle(%)   URV(V)");
  EXPECT_NEAR(least_at(1, 2, 3), 135.135, 5.1) << all();
  expect_drive("450", "100");
  // A point a row on the chart, then the strip chart's own scale back.
  EXPECT_EQ(canvas.count(CanvasCall::Rect), 1 + 2 + 3 + 4 + 5 + 6 + 7 + 8 + 9 + 10 + 11);
  ASSERT_FALSE(canvas.of(CanvasCall::Scale).empty());
  EXPECT_EQ(canvas.of(CanvasCall::Scale).back().x2, f.graph.ms_per_screen);
  std::string saved;
  for (const auto& e : std::filesystem::directory_iterator(noise_folder()))
    if (e.path().filename().string().rfind("ovn-pwrfreq-vs-noise-2", 0) == 0)
      saved = read_file(e.path().string());
  EXPECT_EQ(saved.rfind(rows[0] + "\r\n" + rows[1] + "\r\n", 0), 0u);
}

TEST_F(PowerSweepTest, StoppingTheNoiseSweepHalfwayKeepsTheRowsAndPutsTheDriveBack) {
  open_at_rest(450);
  op.stop_on_progress = "Step 3 of 5";
  ask_noise_sweep("120", "140", "5");
  op.expect_gib("Are you sure", "Yes");
  op.expect_gib("Stopped by the operator after 2 of 5 settings", 0);
  pwr_sweep_frequency_noise(f);
  EXPECT_EQ(rows.size(), 4u) << all();
  expect_drive("450", "100");
}

TEST_F(PowerSweepTest, NoiseSweepFrequenciesAndItsRefusals) {
  struct Case {
    double from, to, step;
    size_t n;
    int32_t first, last;
  } cases[] = {
      {90, 190, 1, 101, 667, 316},  // the usual scan
      {190, 90, 1, 101, 316, 667},  // downwards
      {90, 190, 0, 352, 667, 316},  // every count between
      {135.135, 135.135, 0, 1, 444, 444}, {90, 91, 5, 1, 667, 667},
  };
  for (const Case& c : cases) {
    const std::vector<int32_t> p = pwr_noise_periods(c.from, c.to, c.step);
    ASSERT_EQ(p.size(), c.n) << c.from << " " << c.to << " " << c.step;
    EXPECT_EQ(p.front(), c.first);
    EXPECT_EQ(p.back(), c.last);
  }
  open_at_rest();
  ask_noise_sweep("50", "200", "0");
  op.expect_gib("Too many iterations:901", 0);
  pwr_sweep_frequency_noise(f);
  ask_noise_sweep("ninety", "", "");
  op.check_at_end = false;  // the sweep ends at the first answer that is not a number
  pwr_sweep_frequency_noise(f);
  EXPECT_EQ(op.pending(), 2u);
  EXPECT_TRUE(sent().empty());
}

TEST_F(PowerSweepTest, FrequencySweepHoldsTheUrvAndItsLeastDutyIsAtResonance) {
  open_at_rest(450);
  for (size_t i = 0; i < pwr_sweep_urv_frequencies().size(); ++i) {
    op.expect_gib(" FREQ   DUTY   VOLTS  TM-ID   Current", 0);
    op.expect_input_box("Enter current", std::to_string(200 + i));
  }
  const std::string file = tm_file_start_folder() + "/ovn-kst-pwmfreq-vs-duty.txt";
  std::filesystem::remove(file);
  op.expect_gib("", 1);  // "OK|Save to <file>"
  pwr_sweep_frequency_urv();
  EXPECT_EQ(read_file(file).rfind(rows[0] + "\r\n", 0), 0u);
  std::filesystem::remove(file);
  ASSERT_EQ(rows.size(), 2 + pwr_sweep_urv_frequencies().size()) << all();
  EXPECT_NEAR(least_at(2, 0, 1), 135.135, 0.01) << all();
  for (size_t i = 2; i < rows.size(); ++i) {
    EXPECT_NEAR(field(rows[i], 2), 6.5, 0.09) << rows[i];
    EXPECT_EQ(rows[i].substr(rows[i].size() - 3), std::to_string(200 + i - 2));
  }
  EXPECT_EQ(rows[2].substr(0, 6), "110.09");
  expect_drive("450", "100");
}

TEST_F(PowerSweepTest, DutySweepRisesWithTheTargetUntilTheDriveIsAtItsLimit) {
  open_at_rest(545);  // 110 kHz, off resonance: the stator needs more duty for each volt
  op.check_at_end = false;
  for (size_t i = 0; i < pwr_sweep_duty_targets().size(); ++i)
    op.expect_gib(" TARGET  DUTY   ACTUAL POWER", 0);
  pwr_sweep_duty_urv();
  ASSERT_GT(rows.size(), 5u) << all();
  ASSERT_LT(rows.size(), 3 + pwr_sweep_duty_targets().size()) << all();
  for (size_t i = 4; i < rows.size(); ++i) EXPECT_GT(field(rows[i], 1), field(rows[i - 1], 1));
  EXPECT_GT(field(rows.back(), 1), 42) << "the last row is the one over the limit";
  EXPECT_EQ(op.last().text.rfind(" TARGET", 0), 0u) << "the report, offered for saving";
  expect_drive("545", "100");
}

TEST_F(PowerSweepTest, StoppingTheDutySweepWhileItPollsEndsItAndPutsTheDriveBack) {
  open_at_rest(450);
  op.expect_gib(" TARGET  DUTY", 0);
  op.expect_gib(" TARGET  DUTY", 0);
  op.stop_on_progress = "Step 2 of 13";
  op.expect_gib("Stopped by the operator", 0);  // "OK|Save to <file>"
  pwr_sweep_duty_urv();
  EXPECT_EQ(rows.back(), "Stopped by the operator after 1 of 13 settings");
  expect_drive("450", "100");
}

TEST_F(PowerSweepTest, AnUnsetTargetIsOfferedAsTheModelCallsForIt) {
  struct Case {
    const char* model;
    const char* pwc;
    const char* pwd;
    const char* answer;  // nullptr: nothing asked
    std::vector<std::string> written;
  } cases[] = {
      {"ZQV0052002V", "16096", "371", "Set", {"PWC15229", "PWD248"}},  // "00": 6.15 V, 0.1 V
      {"ZQV0052002V", "16096", "371", "Cancel", {}},
      {"ZQVD52002V", "16096", "371", nullptr, {}},  // the reset's values are its own
      {"ZQVD52002V", "0", "0", "Set", {"PWC16096", "PWD371"}},
      {"ZQV0052002V", "15500", "300", nullptr, {}},  // set by someone: left alone
  };
  open_at_rest();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.model + std::string(" ") + c.pwc);
    for (const std::string& m :
         {std::string("UIA") + c.model, std::string("PWC") + c.pwc, std::string("PWD") + c.pwd})
      ASSERT_TRUE(rs232_send_ok(m));
    port.clear_transcript();
    if (c.answer != nullptr)
      op.expect_gib(std::string("Set the Target Unregulated Rotor Voltage to ") +
                        (c.model[3] == '0' ? "6.15" : "6.50") + " V (currently ",
                    c.answer);
    EXPECT_EQ(pwr_suggest_target(), !c.written.empty());
    std::vector<std::string> writes;
    for (const std::string& m : sent())
      if (m.find_first_of("0123456789") != std::string::npos) writes.push_back(m.substr(1));
    EXPECT_EQ(writes, c.written);
  }
}

}  // namespace
}  // namespace ovn::test
