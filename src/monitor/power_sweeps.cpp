#include "monitor/power_sweeps.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "adjust/acquire.h"
#include "adjust/noise_test.h"
#include "adjust/stats.h"
#include "config/tm_file.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/long_work.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "monitor/frm_kst_main.h"
#include "monitor/rotor_power.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";
const char kFont[] = "Courier New";
constexpr double kPollMs = 100;
// However the drive behaves, a setting is given up after this many polls (a minute).
constexpr int kMaxPolls = 600;
constexpr double kCountsPerUvpv = 40.59199015384615;  // rotor A/D counts per uV/V

std::string counts(double value) {
  return std::to_string(static_cast<int64_t>(std::floor(value + 0.5)));
}

std::string col(double value, const std::string& picture, int width) {
  return kw_justify(kw_format(value, picture), width, " ");
}

// The drive as the sweep found it, put back however the sweep ends. A value the line did
// not give (skipped) is not written back.
struct Drive {
  std::string pwa = get_reply("PWA");
  std::string pwb = get_reply("PWB");
  std::string pwc = get_reply("PWC");
  std::string pwd = get_reply("PWD");
  void restore() const {
    for (const auto& [name, value] : {std::pair{"PWC", &pwc}, std::pair{"PWD", &pwd},
                                      std::pair{"PWA", &pwa}, std::pair{"PWB", &pwb}})
      if (!value->empty()) rs232_send_ok(name + *value);
  }
};

// A report that grows row by row: each line to the text and to the row sink.
struct Report {
  std::string text;
  void add(LongWork& work, const std::string& line) {
    text += line + kCrLf;
    work.row(line);
  }
};

// Polls the drive until `done` says so (given the reading and the poll's number), the
// operator stops, or kMaxPolls have passed. The last reading.
template <typename Done>
PwrReading poll_drive(LongWork& work, Done done) {
  PwrReading r;
  for (int poll = 1; poll <= kMaxPolls && !work.stop_requested(); ++poll) {
    yield_ms(kPollMs);
    r = pwr_read();
    if (done(r, poll)) break;
  }
  return r;
}

// Whether the URV is within the window about the target. "RT" gives the URV to the
// millivolt, so a voltage the stator holds just inside its window may read as on its edge.
bool in_window(double urv, double target, double window) {
  return std::fabs(urv - target) <= window + 0.0005;
}

std::string volts_duty(const PwrReading& r) {
  return kw_format(r.urv, "0.000") + "V  " + kw_format(100 * r.duty(), "0.00") + "%";
}

// "OK|Save to <path>": Save writes the report whole, or says why it could not.
void offer_save(const std::string& text, const std::string& path, const std::string& title) {
  if (gib(text, "OK|Save to " + path, 0, title, kFont) != 1) return;
  if (!kw_file_replace(path, text)) gib("Could not write " + path, "OK", kGibWarning, title, kFont);
}

// A sweep with its rows and the drive put back after it, then the offer to save.
void sweep_and_offer(std::string (*sweep_rows)(), const std::string& file_name,
                     const std::string& title) {
  const Drive before;
  const std::string text = sweep_rows();
  before.restore();
  offer_save(text, tm_file_start_folder() + "/" + file_name, title);
}

std::string stopped_line(int done, size_t of) {
  return "Stopped by the operator after " + std::to_string(done) + " of " + std::to_string(of) +
         " settings";
}

}  // namespace

double PwrReading::khz() const {
  return period > 0 ? kPwrClockHz / period / 1000.0 : 0.0;
}

PwrReading pwr_read() {
  PwrReading r;
  const std::vector<std::string> rt = kw_split(get_reply("RT"), ",");
  int stop = 0;
  r.ok = rt.size() >= 13;
  if (r.ok) r.urv = kw_parse_double(rt[0], stop);
  r.period_now = get_si16("PWa");
  r.period = get_si16("PWA");
  r.on_time = get_si16("PWb");
  return r;
}

std::vector<double> pwr_sweep_urv_frequencies() {
  std::vector<double> out;
  for (int khz = 110; khz <= 160; khz += 5) out.push_back(khz);
  return out;
}

std::vector<double> pwr_sweep_duty_targets() {
  std::vector<double> out;
  for (int tenths = 40; tenths <= 100; tenths += 5) out.push_back(tenths / 10.0);
  return out;
}

std::vector<int32_t> pwr_noise_periods(double start_khz, double end_khz, double step_khz) {
  auto period = [](double khz) {
    return static_cast<int32_t>(std::floor(kPwrClockHz / (khz * 1000.0) + 0.5));
  };
  std::vector<int32_t> out;
  if (start_khz <= 0 || end_khz <= 0 || step_khz < 0) return out;
  if (step_khz == 0) {
    const int32_t a = period(start_khz), b = period(end_khz);
    const int32_t dir = b >= a ? 1 : -1;
    for (int32_t c = a;; c += dir) {
      out.push_back(c);
      if (c == b) break;
    }
    return out;
  }
  const double dir = end_khz >= start_khz ? 1 : -1;
  // A step that lands on the end within rounding still visits it.
  const auto n = static_cast<int64_t>(std::floor(std::fabs(end_khz - start_khz) / step_khz + 1e-9));
  for (int64_t k = 0; k <= n && out.size() <= 100000; ++k)
    out.push_back(period(start_khz + dir * static_cast<double>(k) * step_khz));
  return out;
}

// ---- Frequency versus URV --------------------------------------------------------------

namespace {

const char kTitleFreqUrv[] = "Power Frequency vs URV";

std::string sweep_frequency_urv_rows() {
  const double target = 6.5, window = 0.09;
  rs232_send_ok("PWD" + counts(window * kUrvCountsPerVolt));
  rs232_send_ok("PWC" + counts(target * kUrvCountsPerVolt));
  for (const char* m : {"PWa", "PWA", "PWb", "PWa"}) (void)get_reply(m);
  const std::string id = tm_info_current_record().serial;
  const std::vector<double> freqs = pwr_sweep_urv_frequencies();
  LongWork work(kTitleFreqUrv, static_cast<int>(freqs.size()));
  Report report;
  report.add(work, std::string(" FREQ   DUTY   VOLTS  TM-ID") + "   Current");
  report.add(work, std::string(" kHz     %      V          ") + "     mA");
  size_t done = 0;
  for (double khz : freqs) {
    // The technician reads the current meter at each frequency: the table so far, then on.
    if (gib(report.text, "OK", 0, kTitleFreqUrv, kFont) != 0 || work.stop_requested()) break;
    work.step(static_cast<int>(done) + 1, kw_format(khz, "0.000") + " kHz");
    pwr_set_freq(khz);
    int settled = 0;
    const PwrReading r = poll_drive(work, [&](const PwrReading& now, int) {
      settled = in_window(now.urv, target, window) ? settled + 1 : 0;
      work.status(volts_duty(now) + " COUNT=" + std::to_string(settled));
      return settled > 10 || now.duty() > 0.4;
    });
    if (work.stop_requested()) break;
    const std::optional<std::string> current = input_box("Enter current", kTitleFreqUrv, "");
    if (!current) break;
    report.add(work, kw_format(r.khz(), "000.00") + "  " + kw_format(100 * r.duty(), "00.00") +
                         "  " + kw_format(r.urv, "0.000") + "  " + id + "  " + *current);
    ++done;
  }
  if (done < freqs.size()) report.add(work, stopped_line(static_cast<int>(done), freqs.size()));
  return report.text;
}

// ---- Duty versus URV -------------------------------------------------------------------

const char kTitleDutyUrv[] = "Power Duty vs URV";

std::string sweep_duty_urv_rows() {
  rs232_send_ok("PWC" + counts(6.5 * kUrvCountsPerVolt));
  for (const char* m : {"PWa", "PWA"}) (void)get_reply(m);
  const std::vector<double> targets = pwr_sweep_duty_targets();
  LongWork work(kTitleDutyUrv, static_cast<int>(targets.size()));
  Report report;
  report.add(work, " TARGET  DUTY   ACTUAL POWER");
  report.add(work, " VOLTS   CYCLE  VOLTS  FREQ");
  report.add(work, "   V      %       V     kHz");
  constexpr int kLimit = 20;
  size_t done = 0;
  bool over = false;
  for (double target : targets) {
    double window = 0.05;
    rs232_send_ok("PWD" + counts(window * kUrvCountsPerVolt));
    rs232_send_ok("PWC" + counts(target * kUrvCountsPerVolt));
    if (gib(report.text, "OK", 0, kTitleDutyUrv, kFont) != 0 || work.stop_requested()) break;
    work.step(static_cast<int>(done) + 1, "Target " + kw_format(target, "0.000") + " V");
    int count = 0;
    const PwrReading r = poll_drive(work, [&](const PwrReading& now, int poll) {
      count = in_window(now.urv, target, window) ? count + 1 : 0;
      work.status(volts_duty(now) + " COUNT=" + std::to_string(count) + "/" +
                  std::to_string(kLimit) + "  Window=" + kw_format(window, "0.000"));
      if (count > kLimit || now.duty() > 0.42) return true;
      if (poll % 100 == 0) {  // the stator cannot hold it this close: a little wider
        window += 0.005;
        rs232_send_ok("PWD" + counts(window * kUrvCountsPerVolt));
      }
      return false;
    });
    if (work.stop_requested()) break;
    report.add(work, "  " + kw_format(target, "0.000") + "  " + "  " +
                         kw_format(100 * r.duty(), "00.00") + "  " + kw_format(r.urv, "0.000") +
                         "  " + kw_format(r.khz(), "0.000"));
    ++done;
    over = r.duty() > 0.42;
    if (over) break;  // the drive is at its limit: higher targets are out of reach
  }
  if (done < targets.size() && !over)
    report.add(work, stopped_line(static_cast<int>(done), targets.size()));
  return report.text;
}

// ---- Frequency versus noise ------------------------------------------------------------

const char kTitleNoise[] = "Power Frequency vs Noise";

// A frequency in kHz asked by input box; nothing when cancelled or not a number.
std::optional<double> ask_khz(const std::string& prompt, const std::string& default_text) {
  const std::optional<std::string> typed = input_box(prompt, kTitleNoise, default_text);
  if (!typed || !kw_is_numeric(*typed)) return std::nullopt;
  int stop = 0;
  return kw_parse_double(*typed, stop);
}

struct NoisePoint {
  double khz, uvpv;
};

// The points so far on the chart: frequency across, noise up from 0.
void plot(FrmKstMain& f, const std::vector<NoisePoint>& points, double khz_a, double khz_b) {
  Canvas* c = f.graph.canvas;
  if (c == nullptr || points.empty()) return;
  double top = 0;
  for (const NoisePoint& p : points) top = std::max(top, p.uvpv);
  top = top > 0 ? top * 1.2 : 1;
  const double pad = std::max(std::fabs(khz_b - khz_a) * 0.02, 0.5);
  c->set_scale(std::min(khz_a, khz_b) - pad, std::max(khz_a, khz_b) + pad, 0, top);
  c->clear(f.graph.bg_color);
  const int32_t pen = f.graph.chn[0].color;
  for (size_t i = 0; i < points.size(); ++i) {
    const NoisePoint& p = points[i];
    const double dx = pad / 4, dy = top / 100;
    c->fill_rect(p.khz - dx, p.uvpv - dy, p.khz + dx, p.uvpv + dy, pen);
    if (i > 0) c->line(points[i - 1].khz, points[i - 1].uvpv, p.khz, p.uvpv, pen);
  }
}

// Waits for the drive to settle at its new period: three readings in a row with the
// period reached and the URV within the target's window. A duty above 0.42 ends the wait
// too: the stator is at its limit and the rotor runs as it can.
PwrReading wait_settled(LongWork& work, double target, double window) {
  int settled = 0;
  return poll_drive(work, [&](const PwrReading& now, int poll) {
    (void)get_reply("PWa0");
    const bool in = now.ok && now.period_now == now.period && in_window(now.urv, target, window);
    settled = in ? settled + 1 : 0;
    work.status("Waiting for stablization... " + volts_duty(now));
    return settled >= 3 || now.duty() > 0.42 || poll >= 200;
  });
}

}  // namespace

void pwr_sweep_frequency_urv() {
  sweep_and_offer(sweep_frequency_urv_rows, "ovn-kst-pwmfreq-vs-duty.txt", kTitleFreqUrv);
}

void pwr_sweep_duty_urv() {
  sweep_and_offer(sweep_duty_urv_rows, "ovn-kst-duty-vs-urv.txt", kTitleDutyUrv);
}

void pwr_sweep_frequency_noise(FrmKstMain& f) {
  const std::optional<double> start = ask_khz(
      std::string("Enter Starting Frequency in kHz") + kCrLf + "   Usually 90.00 kHz", "90");
  if (!start) return;
  const std::optional<double> end =
      ask_khz(std::string("Enter Ending Frequency in kHz") + kCrLf +
                  "   Usually 165.00 kHz for 01,02" + kCrLf + "   And     190.00 kHz otherwise",
              "190");
  if (!end) return;
  const std::optional<double> step =
      ask_khz(std::string("Enter Frequency Step in kHz") + kCrLf +
                  "Enter 0 for the most detailed scan possible" + kCrLf + "   Usually 1 kHz",
              "1");
  if (!step) return;
  const std::vector<int32_t> periods = pwr_noise_periods(*start, *end, *step);
  const auto n = static_cast<int>(periods.size());
  if (n < 1) {
    gib("Too few iterations:" + std::to_string(n), "OK", 0, kTitleNoise, kFont);
    return;
  }
  if (n > 400) {
    gib("Too many iterations:" + std::to_string(n), "OK", 0, kTitleNoise, kFont);
    return;
  }
  const std::string minutes = kw_format((n * 23.0 + 5) / 60, "0");
  if (gib("Are you sure you want to run this ~" + minutes + " minute test" + kCrLf +
              "of Power Frequency vs uV/V Stdev noise?",
          "Yes|?!No", 0, kTitleNoise, kFont) != 0)
    return;

  const Drive before;
  const double target = get_f64("PWC") / kUrvCountsPerVolt;
  const double window = get_f64("PWD") / kUrvCountsPerVolt;
  std::string stamp = kw_timestamp(kw_now(), "_");
  std::replace(stamp.begin(), stamp.end(), ':', '_');
  const std::string file = noise_folder() + "/ovn-pwrfreq-vs-noise-" + stamp + ".txt";
  Report report;
  std::vector<NoisePoint> points;
  {
    LongWork work(kTitleNoise, n);
    report.add(work, std::string("#Date-And-Time     ") + " Freq(kHz) Noise(uV/V) Temp(degF)" +
                         "  Ratio  DutyCycle(%)   URV(V)");
    for (int i = 0; i < n && !work.stop_requested(); ++i) {
      const double khz = kPwrClockHz / periods[static_cast<size_t>(i)] / 1000.0;
      work.step(i + 1, kw_format(khz, "0.000") + " kHz");
      pwr_set_count(periods[static_cast<size_t>(i)]);
      const PwrReading r = wait_settled(work, target, window);
      if (work.stop_requested()) break;
      work.status("   Gathering Data...");
      const double samples = noise_samples();
      double seconds = samples > 0 ? 0 : noise_test_seconds(), count = samples, scale = 0;
      const STTS noise = tm_acquire_raw(seconds, count, scale, "");
      if (work.stop_requested()) break;
      const double uvpv = stts_stdev(noise) / kCountsPerUvpv;
      const double ratio = stts_ratio(noise);
      // Noise that is far from Gaussian (spikes, or too few extremes) is not to be trusted.
      const bool doubtful = std::fabs(ratio - 1) > 0.7;
      report.add(work, kw_timestamp(kw_now(), " ") + col(khz, "0.000", 10) +
                           col(uvpv, "0.0000", 12) + col(read_temperature_f(), "0.0", 11) +
                           col(ratio, "0.000", 7) + col(100 * r.duty(), "0.00", 14) +
                           col(r.urv, "0.000", 9) + (doubtful ? " *" : ""));
      points.push_back({khz, uvpv});
      plot(f, points, kPwrClockHz / periods.front() / 1000.0,
           kPwrClockHz / periods.back() / 1000.0);
    }
    if (points.size() < periods.size())
      report.add(work, "#" + stopped_line(static_cast<int>(points.size()), periods.size()));
  }
  before.restore();
  apply_graph_scale(f.graph);
  graph_clear(f.graph);
  const bool saved = kw_file_replace(file, report.text);
  gib(report.text, saved ? "OK (Saved " + file + ")" : "OK (Could not write " + file + ")", 0,
      kTitleNoise, kFont);
}

}  // namespace ovn
