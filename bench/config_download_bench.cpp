// Configuration download of the simulated KST at 115200 baud. The line sets the pace: each
// parameter costs its request and its reply on the wire plus the instrument's turnaround.
// Reported per download: the time the download took on the simulated line ("download_ms",
// virtual time), the time the bytes alone need on the wire ("line_ms", 10 bits a byte), and
// their ratio; the benchmark's own time is the program's processor cost of one download.

#include <benchmark/benchmark.h>

#include <memory>

#include "config/tm_file.h"
#include "foundation/platform.h"
#include "link/rs232.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"

namespace {

struct Line {
  ovn::VirtualClock clock;
  ovn::MemoryLogSink log;
  ovn::SimInstrument sim;
  std::unique_ptr<ovn::SimPort> port;
  Line() {
    ovn::set_clock(&clock);
    ovn::set_log_sink(&log);
    ovn::sim_init(sim, ovn::SimConfig{});
    port = std::make_unique<ovn::SimPort>(sim);
    ovn::rs232_reset_state();
    ovn::rs232_attach(*port, "A");
    (void)ovn::rs232_open(*port, "115200");
    ovn::rs232_set_relaxed(true);
  }
  ~Line() {
    ovn::rs232_reset_state();
    ovn::set_log_sink(nullptr);
    ovn::set_clock(nullptr);
  }
};

void BM_KstDownload(benchmark::State& state) {
  Line line;
  ovn::ConfigInstrument kst;
  kst.tm_type = ovn::kTmKst;
  double download_ms = 0, line_ms = 0;
  long downloads = 0;
  for (auto _ : state) {
    line.port->clear_transcript();
    line.log.lines.clear();
    const double start = ovn::now_ms();
    benchmark::DoNotOptimize(ovn::tm_info_config_read(kst));
    download_ms += ovn::now_ms() - start;
    size_t bytes = 0;
    for (const auto& e : line.port->transcript()) bytes += e.text.size();
    line_ms += static_cast<double>(bytes) * 10.0 * 1000.0 / 115200.0;
    ++downloads;
  }
  state.counters["download_ms"] = download_ms / static_cast<double>(downloads);
  state.counters["line_ms"] = line_ms / static_cast<double>(downloads);
  state.counters["line_share"] = line_ms / download_ms;
}
BENCHMARK(BM_KstDownload)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
