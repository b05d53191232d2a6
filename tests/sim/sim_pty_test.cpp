// The simulated instrument on a real pseudo-terminal, served in a thread of the test and
// by the ovn-sim program itself. Every wait here is bounded; what is asserted does not
// depend on the machine's speed except where a lower bound of the line time is checked.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "sim/sim_instrument.h"
#include "sim/sim_pty.h"
#include "support/child_process.h"

namespace ovn {
namespace {

void set_speed(int fd, speed_t speed) {
  termios t{};
  tcgetattr(fd, &t);
  cfmakeraw(&t);
  cfsetispeed(&t, speed);
  cfsetospeed(&t, speed);
  tcsetattr(fd, TCSANOW, &t);
}

int open_device(const std::string& path, speed_t speed = B115200) {
  int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY);
  if (fd >= 0) set_speed(fd, speed);
  return fd;
}

// Writes the request and reads up to the first CR or LF, at most `bound_ms`.
std::string exchange(int fd, const std::string& request, int bound_ms = 2000) {
  if (::write(fd, request.data(), request.size()) != static_cast<ssize_t>(request.size()))
    return "write failed";
  std::string reply;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(bound_ms);
  while (std::chrono::steady_clock::now() < deadline) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 20) <= 0) continue;
    char buf[256];
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n > 0) reply.append(buf, static_cast<size_t>(n));
    if (!reply.empty() && (reply.back() == '\r' || reply.back() == '\n')) break;
  }
  return reply;
}

class SimPtyThread : public ::testing::Test {
 protected:
  // Serves `config` on a new terminal; with `check_speed` the client's rate must match.
  void serve(const SimConfig& config, SimServeOptions options, bool check_speed = false) {
    sim_init(sim, config);
    std::string error;
    ASSERT_TRUE(sim_pty_open(pty, error)) << error;
    if (check_speed) options.speed_fd = pty.slave;
    server = std::thread([this, options] { answered = sim_serve(pty.master, sim, options, stop); });
    fd = open_device(pty.path);
    ASSERT_GE(fd, 0);
  }
  void TearDown() override {
    stop.store(true);
    if (server.joinable()) server.join();
    if (fd >= 0) ::close(fd);
    sim_pty_close(pty);
  }
  SimInstrument sim;  // the server thread's own while it runs
  SimPty pty;
  std::thread server;
  std::atomic<bool> stop{false};
  long answered = 0;
  int fd = -1;
};

TEST_F(SimPtyThread, AnswersOneLinePerRequestForItsAddressAndKeepsATranscript) {
  std::string transcript = ::testing::TempDir() + "sim_pty_transcript.txt";
  std::remove(transcript.c_str());
  SimServeOptions options;
  options.baud = 0;
  options.transcript_path = transcript;
  serve(SimConfig{}, options);
  EXPECT_EQ(pty.path.rfind("/dev/", 0), 0u) << pty.path;
  EXPECT_EQ(exchange(fd, "ATMA\n"), "32768\r");
  EXPECT_EQ(exchange(fd, "BTMA\n", 200), "") << "another address gets no answer";
  EXPECT_EQ(exchange(fd, "ACE1A123.5\n"), "OK\r");
  EXPECT_EQ(exchange(fd, "ACE1A\n"), "123.5\r");
  EXPECT_EQ(exchange(fd, "AXYZ\n"), "!\r");
  stop.store(true);
  server.join();
  EXPECT_EQ(answered, 4);

  std::ifstream in(transcript);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_NE(text.str().find(" > ATMA\\n\n"), std::string::npos) << text.str();
  EXPECT_NE(text.str().find(" < 32768\\r\n"), std::string::npos) << text.str();
  EXPECT_NE(text.str().find(" > BTMA\\n\n"), std::string::npos) << text.str();
}

TEST_F(SimPtyThread, RepliesTakeAtLeastTheLineTimeOfTheBaudRate) {
  SimServeOptions options;
  options.baud = 9600;
  serve(SimConfig{}, options);
  auto t0 = std::chrono::steady_clock::now();
  for (int i = 0; i < 5; ++i) ASSERT_EQ(exchange(fd, "ATMA\n"), "32768\r");
  double ms =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
  EXPECT_GE(ms, 5 * 11 * 10 * 1000.0 / 9600) << "5 exchanges of 11 bytes at 9600 baud";
}

TEST_F(SimPtyThread, ClientMayCloseAndReopenTheDeviceAsAPortResetDoes) {
  SimServeOptions options;
  options.baud = 0;
  serve(SimConfig{}, options);
  EXPECT_EQ(exchange(fd, "AUCA\n"), "655360000\r");
  for (int i = 0; i < 3; ++i) {
    ::close(fd);
    fd = open_device(pty.path);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(exchange(fd, "ATMA\n"), "32768\r");
  }
}

TEST_F(SimPtyThread, InstrumentHearsOnlyAClientAtItsOwnRate) {
  SimConfig hzym;
  hzym.family = SimFamily::Hzym;
  SimServeOptions options;
  options.baud = 0;
  serve(hzym, options, true);
  EXPECT_EQ(exchange(fd, "VR\n", 200), "") << "115200 is not the HZYM's rate";
  set_speed(fd, B38400);
  EXPECT_EQ(exchange(fd, "VR\n"), "1.5.4\r");
}

TEST(SimFault, AFaultHitsItsEpisodeOnceOrAgainAndAgain) {
  struct Case {
    const char* text;
    bool parses;
    std::vector<long> hit;  // the requests (from 1) among the first 12 that it hits
  } cases[] = {
      {"silent", true, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {"silent:0:3", true, {1, 2, 3}},  // a slow start
      {"silent:1:3", true, {2, 3, 4}},  // a stator that dozes off after its first reply
      {"garble:2:1:4", true, {3, 7, 11}},
      {"unplug:10", true, {11, 12}},
      {"garble:2:3:3", false, {}},  // an episode as long as its period never ends
      {"shout", false, {}},
      {"silent:x", false, {}},
      {"silent:1:2:3:4", false, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    ovn::SimServeOptions options;
    ASSERT_EQ(ovn::sim_parse_fault(c.text, options), c.parses);
    std::vector<long> hit;
    for (long heard = 1; heard <= 12; ++heard)
      if (ovn::sim_fault_hits(options, heard)) hit.push_back(heard);
    EXPECT_EQ(hit, c.hit);
  }
}

TEST(SimTranscript, ControlBytesAreWrittenSoALineStaysOneLine) {
  EXPECT_EQ(sim_transcript_line(1.5, '<', "OK\r"), "1.500 < OK\\r");
  EXPECT_EQ(sim_transcript_line(12, '>', "A\\x\x01\n"), "12.000 > A\\\\x\\x01\\n");
}

#ifdef OVN_SIM_EXE
TEST(OvnSim, PrintsItsDeviceServesItTellsItsOutputsAndEndsCleanlyOnSigterm) {
  test::ChildProcess sim(
      OVN_SIM_EXE, "ovn-sim",
      {"--baud", "0", "--address", "B", "--load", "1000", "--zero", "0", "--channels", "2"});
  std::string path = sim.read_line(0);
  ASSERT_EQ(path.rfind("/dev/", 0), 0u) << path;
  int fd = open_device(path);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(exchange(fd, "ASD\n", 200), "") << "address A is not this instrument";
  EXPECT_EQ(exchange(fd, "BSD\n"), "2\r");
  std::string de = exchange(fd, "BDE*\n");
  EXPECT_NEAR(std::strtod(de.c_str(), nullptr), 1000, 1) << de;
  EXPECT_EQ(exchange(fd, "B@OA32768\n"), "OK\r");  // pin G forced to the converter's 0 V
  sim.signal(SIGUSR1);
  std::string outputs = sim.read_line(1);
  EXPECT_EQ(outputs.rfind("ovn-sim: outputs G=0.0000 A=", 0), 0u) << outputs;
  ::close(fd);
  int status = sim.stop();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}
#endif

}  // namespace
}  // namespace ovn
