// ovn-sim: one simulated instrument on a pseudo-terminal. The first line of standard
// output is the device to point the program at; SIGINT or SIGTERM end it cleanly.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "build_info.h"
#include "sim/sim_instrument.h"
#include "sim/sim_pty.h"

namespace {

std::atomic<bool> g_stop{false};

std::atomic<bool> g_status{false};

void on_status(int) {
  g_status.store(true);
}

void on_signal(int) {
  g_stop.store(true);
}

const char* kUsage =
    "Usage: ovn-sim [options]\n"
    "Serves one simulated torquemeter on a pseudo-terminal; prints the device, then serves\n"
    "until Ctrl+C or SIGTERM.\n"
    "  --family NAME      KST (default), KSLW, RDX, WQPM, HZYM, KSVM, S350, S350+, FGA\n"
    "  --address C        address letter (default A); --no-address: requests carry none\n"
    "  --channels N       KST channel count, 1 to 3 (default 3)\n"
    "  --baud N           line rate to emulate (default 115200; 0: unlimited); the\n"
    "                     instrument answers only when the client's terminal is set\n"
    "                     to its family's rate (S350 families: this rate)\n"
    "  --load PROFILE     applied torque, lbf-in: V, constant:V, step:V0:V1:MS,\n"
    "                     sine:MEAN:AMPLITUDE:PERIOD_MS, ramp:V0:V1:MS (default 0)\n"
    "  --speed PROFILE    shaft speed, RPM, same forms (default 0)\n"
    "  --noise UVPV       rotor noise, microvolts per volt (default 0.5)\n"
    "  --spikes FRACTION  fault: this fraction of the samples carries a 25-sigma spike\n"
    "                     (default 0)\n"
    "  --zero COUNTS      rotor A/D count at no load (default 2000)\n"
    "  --temperature F    temperature, deg F (default 75)\n"
    "  --seed N           noise seed (default 1)\n"
    "  --line-end cr|lf|crlf   how replies end (default cr)\n"
    "  --turnaround MS    instrument delay before each reply (default 0)\n"
    "  --listen MS        after each reply, poll without sleeping this long (default 0:\n"
    "                     block at once, using no processor while nobody talks)\n"
    "  --transcript FILE  append every request and reply to FILE\n"
    "  --fault KIND[:AFTER[:COUNT[:EVERY]]]  misbehave after AFTER requests, for COUNT\n"
    "                     requests (0 or none: for good), again every EVERY requests:\n"
    "                     silent (no reply), garble (the reply's first character turned\n"
    "                     into #), unplug (the device goes away)\n"
    "  SIGUSR1            print the analog outputs' voltages and the lines to stderr\n"
    "  --version          print the version and end\n"
    "  --help             this text\n";

bool number_arg(const char* text, double& out) {
  char* end = nullptr;
  out = std::strtod(text, &end);
  return end != text && *end == 0;
}

}  // namespace

int main(int argc, char** argv) {
  ovn::SimConfig config;
  ovn::SimServeOptions serve;
  ovn::SimProfile load, speed;
  double zero = 2000, temperature = 75;
  for (int i = 1; i < argc; ++i) {
    std::string opt = argv[i];
    if (opt == "--help" || opt == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (opt == "--version") {
      std::printf("ovn-sim %s\n", ovn::build::version);
      return 0;
    }
    if (opt == "--no-address") {
      config.addressing = false;
      continue;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "ovn-sim: %s needs a value\n%s", opt.c_str(), kUsage);
      return 2;
    }
    const char* v = argv[++i];
    double x = 0;
    bool ok = true;
    if (opt == "--family") {
      auto f = ovn::sim_family_from_name(v);
      ok = f.has_value();
      if (ok) config.family = *f;
    } else if (opt == "--address") {
      ok = std::string(v).size() == 1;
      config.address = v[0];
    } else if (opt == "--channels") {
      ok = number_arg(v, x) && x >= 1 && x <= 3;
      config.channels = static_cast<int>(x);
    } else if (opt == "--baud") {
      ok = number_arg(v, x) && x >= 0;
      serve.baud = static_cast<long>(x);
      if (x > 0) config.baud = static_cast<long>(x);
    } else if (opt == "--load") {
      ok = ovn::sim_parse_profile(v, load);
    } else if (opt == "--speed") {
      ok = ovn::sim_parse_profile(v, speed);
    } else if (opt == "--noise") {
      ok = number_arg(v, config.noise_uvpv) && config.noise_uvpv >= 0;
    } else if (opt == "--spikes") {
      ok = number_arg(v, config.spike_fraction) && config.spike_fraction >= 0 &&
           config.spike_fraction <= 1;
    } else if (opt == "--zero") {
      ok = number_arg(v, zero);
    } else if (opt == "--temperature") {
      ok = number_arg(v, temperature);
    } else if (opt == "--seed") {
      ok = number_arg(v, x) && x >= 0;
      config.seed = static_cast<uint64_t>(x);
    } else if (opt == "--line-end") {
      std::string e = v;
      ok = e == "cr" || e == "lf" || e == "crlf";
      config.line_end = e == "lf" ? "\n" : e == "crlf" ? "\r\n" : "\r";
    } else if (opt == "--turnaround") {
      ok = number_arg(v, serve.turnaround_ms) && serve.turnaround_ms >= 0;
    } else if (opt == "--listen") {
      ok = number_arg(v, serve.listen_ms) && serve.listen_ms >= 0;
    } else if (opt == "--fault") {
      ok = ovn::sim_parse_fault(v, serve);
    } else if (opt == "--transcript") {
      serve.transcript_path = v;
    } else {
      ok = false;
    }
    if (!ok) {
      std::fprintf(stderr, "ovn-sim: bad option %s %s\n%s", opt.c_str(), v, kUsage);
      return 2;
    }
  }

  ovn::SimInstrument sim;
  ovn::sim_init(sim, config);
  sim.physics.torque = load;
  sim.physics.speed = speed;
  sim.physics.zero_counts = zero;
  sim.physics.temperature_f = temperature;

  ovn::SimPty pty;
  std::string error;
  if (!ovn::sim_pty_open(pty, error)) {
    std::fprintf(stderr, "ovn-sim: %s\n", error.c_str());
    return 1;
  }
  serve.speed_fd = pty.slave;
  serve.delivery_ms = pty.delivery_ms;
  std::printf("%s\n", pty.path.c_str());
  std::fflush(stdout);

  struct sigaction sa {};
  sa.sa_handler = on_signal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  struct sigaction status {};
  status.sa_handler = on_status;
  sigemptyset(&status.sa_mask);
  sigaction(SIGUSR1, &status, nullptr);
  serve.status_request = &g_status;

  long answered = ovn::sim_serve(pty.master, sim, serve, g_stop);
  ovn::sim_pty_close(pty);
  std::fprintf(stderr, "ovn-sim: %ld requests answered\n", answered);
  return 0;
}
