// Request/reply exchanges per second that the simulated instrument sustains over a real
// pseudo-terminal, served by the same loop ovn-sim runs. At an emulated baud rate the
// counter "of_line_limit" says how close the exchange rate comes to what the line can
// carry for the bytes exchanged (1.0 = the line is never idle).
//
//   build/bench/bench_sim_pty_bench --benchmark_min_time=3

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "sim/sim_instrument.h"
#include "sim/sim_pty.h"

namespace {

// The client waits for the reply as the program does: sleeping in poll (relaxed CPU), or
// asking again at once (the program's default busy wait).
std::string exchange(int fd, const std::string& request, bool spin) {
  if (::write(fd, request.data(), request.size()) < 0) return "";
  std::string reply;
  char buf[256];
  while (reply.empty() || reply.back() != '\r') {
    pollfd p{fd, POLLIN, 0};
    if (spin) sched_yield();
    int ready = ::poll(&p, 1, spin ? 0 : 1000);
    if (ready == 0 && spin) continue;
    if (ready <= 0) return reply;
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n <= 0) return reply;
    reply.append(buf, static_cast<size_t>(n));
  }
  return reply;
}

void live_exchanges(benchmark::State& state) {
  ovn::SimInstrument sim;
  ovn::sim_init(sim, ovn::SimConfig{});
  ovn::SimServeOptions options;
  options.baud = state.range(0);
  ovn::SimPty pty;
  std::string error;
  if (!ovn::sim_pty_open(pty, error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  options.delivery_ms = pty.delivery_ms;
  std::atomic<bool> stop{false};
  std::thread server([&] { ovn::sim_serve(pty.master, sim, options, stop); });
  int fd = ::open(pty.path.c_str(), O_RDWR | O_NOCTTY);
  termios t{};
  tcgetattr(fd, &t);
  cfmakeraw(&t);
  tcsetattr(fd, TCSANOW, &t);

  const std::string request = "ADE*\n";  // the live message of the main loop
  double bytes = 0, exchanges = 0;
  std::vector<double> took_us;
  auto t0 = std::chrono::steady_clock::now();
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    std::string reply = exchange(fd, request, state.range(1) != 0);
    took_us.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
            .count());
    benchmark::DoNotOptimize(reply);
    bytes += static_cast<double>(request.size() + reply.size());
    exchanges += 1;
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  state.counters["exchanges_per_s"] = exchanges / seconds;
  state.counters["bytes_per_exchange"] = bytes / exchanges;
  std::sort(took_us.begin(), took_us.end());
  state.counters["median_us"] = took_us[took_us.size() / 2];
  state.counters["p90_us"] = took_us[took_us.size() * 9 / 10];
  if (options.baud > 0) {
    double line_seconds = bytes * 10.0 / static_cast<double>(options.baud);
    state.counters["line_limit_per_s"] = exchanges / line_seconds;
    state.counters["of_line_limit"] = line_seconds / seconds;
    state.counters["pty_delivery_us"] = pty.delivery_ms * 1000;
  }
  stop.store(true);
  server.join();
  ::close(fd);
  ovn::sim_pty_close(pty);
}

// What one live request costs the instrument itself, with the line taken away: the
// simulator's share of every exchange above.
void live_request_alone(benchmark::State& state) {
  ovn::SimInstrument sim;
  ovn::sim_init(sim, ovn::SimConfig{});
  double t = 0;
  for (auto _ : state) {
    t += 2.5;  // as at 115200 baud
    benchmark::DoNotOptimize(ovn::sim_request(sim, "ADE*", t));
  }
}

BENCHMARK(live_request_alone);
BENCHMARK(live_exchanges)
    ->ArgNames({"baud", "client_spins"})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Args({115200, 0})
    ->Args({115200, 1})
    ->Args({9600, 0})
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
