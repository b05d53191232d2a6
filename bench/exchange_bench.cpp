// Exchanges per second with the line taken away: the fake port answers at once, so what is
// measured is the program's own cost of one exchange (send, poll, frame, return).

#include <benchmark/benchmark.h>

#include "foundation/platform.h"
#include "link/rs232.h"
#include "support/fake_port.h"

namespace {

struct Line {
  ovn::VirtualClock clock;
  ovn::test::FakePort port{clock};
  explicit Line(bool relaxed) {
    ovn::set_clock(&clock);
    ovn::rs232_reset_state();
    ovn::rs232_attach(port, "A");
    (void)ovn::rs232_open(port, "115200");
    ovn::rs232_set_relaxed(relaxed);
    port.responder_delay_ms = 0;
    port.responder = [](const std::string&) { return std::string("+123.456,-0.5,1500\r"); };
  }
  ~Line() {
    ovn::rs232_reset_state();
    ovn::set_clock(nullptr);
  }
};

void BM_GoodExchange(benchmark::State& state) {
  Line line(state.range(0) != 0);
  for (auto _ : state) benchmark::DoNotOptimize(ovn::get_reply("DT*"));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GoodExchange)->Arg(0)->Arg(1)->ArgName("relaxed");

void BM_NumericRead(benchmark::State& state) {
  Line line(false);
  line.port.responder = [](const std::string&) { return std::string("-12.25\r"); };
  for (auto _ : state) benchmark::DoNotOptimize(ovn::get_f64("MX"));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NumericRead);

}  // namespace

BENCHMARK_MAIN();
