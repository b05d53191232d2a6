// Exchanges over the simulated line in real time: how close the program comes to what the
// line can carry, and what one exchange costs the processor while it waits.
//
// The instrument answers the main loop's sample request with no turnaround, so the only
// limit is the line: (request + reply bytes) x 10 bits / baud. "Unlimited" is a rate so
// high (100 Mbaud) that a byte takes a tenth of a microsecond. Relaxed waits idle on the
// port between polls; the others spin.
//
// Columns: Time is wall time per exchange, CPU the processor time per exchange,
// items_per_second the exchanges per second (wall), line_limit the exchanges per second the
// line could carry, of_limit the share of it reached.

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "foundation/platform.h"
#include "link/rs232.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"

namespace {

constexpr long kUnlimited = 100000000;
const std::string kRequest = "DE*";
const std::string kReply = "+123.456,-0.5,1500";

struct Line {
  ovn::SimInstrument sim;
  ovn::SimPort port{sim, ovn::SimTime::Real};
  bool ok = false;
  Line(long baud, bool relaxed) {
    ovn::set_clock(nullptr);  // the machine's clock: this line runs in real time
    ovn::SimConfig config;
    // The S350 listens at whatever rate it was set to, so one instrument serves both speeds.
    config.family = ovn::SimFamily::S350;
    config.baud = baud;
    config.noise_uvpv = 0;
    ovn::sim_init(sim, config);
    sim.table[kRequest] = kReply;
    port.set_turnaround_ms(0);
    ovn::rs232_reset_state();
    ovn::rs232_attach(port, ovn::sim_family_has_address(config.family) ? "A" : "");
    ok = ovn::rs232_open(port, std::to_string(baud)).empty();
    ovn::rs232_set_relaxed(relaxed);
  }
  ~Line() { ovn::rs232_reset_state(); }
};

void BM_ExchangeOverLine(benchmark::State& state) {
  long baud = state.range(0) == 0 ? kUnlimited : state.range(0);
  Line line(baud, state.range(1) != 0);
  if (!line.ok) {
    state.SkipWithError("the simulated port did not open");
    return;
  }
  if (ovn::get_reply(kRequest) != kReply) {
    state.SkipWithError("the simulated instrument did not answer");
    return;
  }
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) benchmark::DoNotOptimize(ovn::get_reply(kRequest));
  std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  state.SetItemsProcessed(state.iterations());
  size_t id = ovn::sim_family_has_address(ovn::SimFamily::S350) ? 1 : 0;
  double bits = static_cast<double>(id + kRequest.size() + 1 + kReply.size() + 1) * 10;
  double limit = static_cast<double>(baud) / bits;
  state.counters["line_limit"] = limit;
  state.counters["of_limit"] = static_cast<double>(state.iterations()) / wall.count() / limit;
}
// baud 0: unlimited.
BENCHMARK(BM_ExchangeOverLine)
    ->ArgsProduct({{115200, 0}, {0, 1}})
    ->ArgNames({"baud", "relaxed"})
    ->UseRealTime()
    ->MinTime(1.0);

}  // namespace

BENCHMARK_MAIN();
