// The main loop of a headless monitor run (ovn-kst --headless --monitor): the window
// model's load and session start, then one kst_round per iteration with the run's own
// round-end hook (sample count, readout line once a second), exactly as the run drives it.
//
// BM_RoundWithoutLine: the simulated KST on a virtual clock with no turnaround, so every
// wait ends at once and what is measured is the program's own cost of a round: the
// exchange, the row, the chart, the readouts every 200 ms of virtual time. With save=1
// each round's row also goes to a CSV file (rate 0), which waits for the disk.
//
// BM_RoundAtLine: the simulated KST in real time at 115200 baud with no turnaround, so the
// line is the only limit; with frozen=1 the readouts are frozen (text_period_ms 100000000)
// and every exchange is a sample, with frozen=0 they run at their 200 ms period.
//
// relaxed=1 idles on the port between polls ("Relaxed CPU"); relaxed=0, the program's
// default, spins.
//
// Counters: rounds_per_s (wall), cpu_us_per_round (processor time of the process),
// line_limit (samples a second the line could carry for these requests and replies, the
// readouts' exchanges left out) and of_limit (the share of it reached).

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

#include "foundation/platform.h"
#include "link/rs232.h"
#include "monitor/data_dir.h"
#include "monitor/headless.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"

namespace {

constexpr int32_t kBaud = 115200;
constexpr int32_t kFrozenMs = 100000000;

// Discards what is written: the readout lines cost their formatting, not a terminal.
class NullBuffer final : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
};

double cpu_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// A monitor session on the simulated KST, ready for its first round.
struct Session {
  ovn::VirtualClock clock;
  ovn::MemorySettingsStore settings;
  ovn::SimInstrument sim;
  std::unique_ptr<ovn::SimPort> port;
  NullBuffer null_buffer;
  std::ostream null_out{&null_buffer};
  ovn::HeadlessOperator op{ovn::FailurePolicy::Abort, null_out};
  ovn::HeadlessMonitor m;
  std::filesystem::path folder;
  bool ok = false;

  Session(bool real_time, int32_t text_period_ms, bool save) {
    ovn::set_clock(real_time ? nullptr : &clock);
    ovn::set_settings_store(&settings);
    ovn::set_operator(&op);
    // Data files, if any, go to a scratch folder, never to the user's documents.
    folder = std::filesystem::temp_directory_path() / "ovn-bench-headless";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    settings.put("KST", ovn::kDtdrSection, ovn::kDtdrKeyDir, folder.string());
    settings.put("KST", ovn::kDtdrSection, ovn::kDtdrKeyRate, "0");

    ovn::SimConfig config;
    config.noise_uvpv = 0;
    ovn::sim_init(sim, config);
    sim.physics.torque = {ovn::SimShape::Sine, 200, 1500, 4000};
    sim.physics.speed = {ovn::SimShape::Sine, 3000, 600, 9000};
    port =
        std::make_unique<ovn::SimPort>(sim, real_time ? ovn::SimTime::Real : ovn::SimTime::Virtual);
    port->set_turnaround_ms(0);
    ovn::rs232_reset_state();
    ovn::rs232_attach(*port, "A");
    if (!ovn::rs232_open(*port, std::to_string(kBaud) + ",n,8,1").empty()) return;

    m.out = &null_out;
    m.save = save;
    ovn::headless_monitor_hooks(m);
    ovn::kst_load(m.f);
    m.f.text_period_ms = text_period_ms;
    ovn::kst_init_session(m.f);
    ok = m.f.caption == "GO" && (!save || ovn::dtdr_saving());
  }
  ~Session() {
    if (ovn::dtdr_saving()) ovn::dtdr_start_stop("", "");
    ovn::dtdr_forget();
    ovn::rs232_reset_state();
    ovn::set_operator(nullptr);
    ovn::set_settings_store(nullptr);
    ovn::set_clock(nullptr);
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
  }
};

// Runs the rounds and reports the counters.
void run_rounds(benchmark::State& state, Session& s) {
  if (!s.ok) {
    state.SkipWithError("the monitor session did not start");
    return;
  }
  ovn::kst_round(s.m.f);  // the first round also refreshes the readouts
  // Replies change length with their values: the line's time per sample is summed round
  // by round, the request "ADE*" and its LF with the reply and its line end.
  double line_seconds = 0;
  double cpu0 = cpu_seconds();
  auto wall0 = std::chrono::steady_clock::now();
  for (auto _ : state) {
    benchmark::DoNotOptimize(ovn::kst_round(s.m.f));
    line_seconds += 1 / ovn::kst_line_limit_per_s(kBaud, 5, s.m.f.last_bytes);
  }
  std::chrono::duration<double> wall = std::chrono::steady_clock::now() - wall0;
  double cpu = cpu_seconds() - cpu0;
  double rounds = static_cast<double>(state.iterations());
  double rate = rounds / wall.count();
  double limit = rounds / line_seconds;
  state.counters["rounds_per_s"] = rate;
  state.counters["cpu_us_per_round"] = cpu / rounds * 1e6;
  state.counters["line_limit"] = limit;
  state.counters["of_limit"] = rate / limit;
}

void BM_RoundWithoutLine(benchmark::State& state) {
  Session s(false, 200, state.range(0) != 0);
  run_rounds(state, s);
  state.counters.erase("line_limit");
  state.counters.erase("of_limit");
}
BENCHMARK(BM_RoundWithoutLine)->Arg(0)->Arg(1)->ArgName("save")->UseRealTime();

void BM_RoundAtLine(benchmark::State& state) {
  Session s(true, state.range(0) != 0 ? kFrozenMs : 200, false);
  ovn::rs232_set_relaxed(state.range(1) != 0);
  run_rounds(state, s);
}
BENCHMARK(BM_RoundAtLine)
    ->ArgsProduct({{1, 0}, {0, 1}})
    ->ArgNames({"frozen", "relaxed"})
    ->UseRealTime()
    ->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
