// The QSerialPort adapter against a pseudo-terminal opened here; the test plays the
// instrument on the other side. All waits are bounded.

#include "qt/qt_serial_port.h"
#include "qt/qt_event_wait.h"
#include "qt/serial_linux.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <pty.h>
#include <termios.h>
#include <unistd.h>
#include <memory>

#include <QCoreApplication>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "link/rs232.h"
#include "support/qt_application.h"
#include "support/seams.h"

namespace ovn {
namespace {

class QtSerialPortTest : public test::SeamsTest {
 protected:
  QtSerialPortTest() {
    test::qt_application();
    event_wait_ = std::make_unique<qt::QtEventWait>();  // the program's wait, on Qt's loop
    set_clock(nullptr);                                 // a real line: real time, bounded waits
    device_ = open_pty();
  }
  // A new pseudo-terminal, raw, its instrument's side not blocking; the program's device.
  std::string open_pty() {
    char name[256] = {};
    EXPECT_EQ(openpty(&master_, &slave_, name, nullptr, nullptr), 0);
    termios raw{};
    tcgetattr(master_, &raw);
    cfmakeraw(&raw);
    tcsetattr(master_, TCSANOW, &raw);
    fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
    return name;
  }
  ~QtSerialPortTest() override {
    if (master_ >= 0) ::close(master_);
    if (slave_ >= 0) ::close(slave_);
  }

  // What the program wrote, read from the instrument's side within `ms`.
  std::string instrument_reads(int ms = 1000) {
    std::string got;
    double deadline = now_ms() + ms;
    while (now_ms() < deadline) {
      char buf[256];
      ssize_t n = ::read(master_, buf, sizeof buf);
      if (n > 0) {
        got.append(buf, size_t(n));
        if (got.back() == '\n') break;
      } else {
        ::usleep(500);
      }
    }
    return got;
  }
  void instrument_writes(const std::string& text) {
    ASSERT_EQ(::write(master_, text.data(), text.size()), ssize_t(text.size()));
  }

  int master_ = -1, slave_ = -1;
  std::string device_;
  std::unique_ptr<qt::QtEventWait> event_wait_;
};

TEST_F(QtSerialPortTest, APseudoTerminalOpensAndCarriesBothWays) {
  qt::QtSerialPort port(device_);
  EXPECT_EQ(port.device_name(), device_);
  std::string error;
  port.set_settings("115200,n,8,1");
  ASSERT_TRUE(port.open(error)) << error;
  port.set_dtr(true);  // no modem lines here: not an error, the port stays usable
  port.set_rts(false);
  EXPECT_TRUE(port.is_open());

  port.output("ATMA\n");
  EXPECT_EQ(instrument_reads(), "ATMA\n") << "written at once, without an event loop";

  EXPECT_FALSE(port.wait_readable(20)) << "nothing sent yet";
  EXPECT_TRUE(port.is_open()) << "an empty wait is no error";
  instrument_writes("123.5\r");
  EXPECT_TRUE(port.wait_readable(1000));
  std::string got;
  double deadline = now_ms() + 1000;
  while (got.size() < 6 && now_ms() < deadline) got += port.input();
  EXPECT_EQ(got, "123.5\r");
  EXPECT_EQ(port.input(), "");
}

// The lock files QSerialPort keeps: one left by a process that has ended is taken over with
// a note; one of a process still running keeps the port, and the error names the process.
TEST_F(QtSerialPortTest, ALockOfAnEndedRunIsTakenOverAndALiveOneIsNamed) {
  std::string dir;
  for (const std::string& d : qt::serial_lock_dirs())
    if (::access(d.c_str(), W_OK) == 0) {
      dir = d;
      break;
    }
  if (dir.empty()) GTEST_SKIP() << "no lock folder this user may write";
  const std::string path = qt::serial_lock_path(dir, device_);
  EXPECT_EQ(qt::serial_lock_path("/run/lock", "/dev/pts/3"), "/run/lock/LCK..pts_3");
  char host[256] = {};
  ::gethostname(host, sizeof host - 1);
  auto write_lock = [&](long pid, const std::string& program) {
    std::ofstream(path) << pid << "\n" << program << "\n" << host << "\n";
  };
  struct Removed {
    std::string path;
    ~Removed() { std::filesystem::remove(path); }
  } removed{path};

  write_lock(4194304 + 1, "ovn-kst");  // beyond any process number: ended
  ASSERT_TRUE(qt::serial_lock_of(device_).has_value());
  EXPECT_FALSE(qt::serial_lock_of(device_)->alive);
  qt::QtSerialPort port(device_);
  port.set_settings("115200,n,8,1");
  std::string error;
  ASSERT_TRUE(port.open(error)) << error;
  bool noted = false;
  for (const std::string& line : seams.log.lines)
    noted |= line.find("took over the lock left by process 4194305") != std::string::npos;
  EXPECT_TRUE(noted);
  port.close();

  const std::string me = QCoreApplication::applicationName().toStdString();
  write_lock(::getpid(), me);
  EXPECT_TRUE(qt::serial_lock_of(device_)->alive);
  EXPECT_FALSE(port.open(error));
  EXPECT_EQ(error,
            "in use by " + me + " (process " + std::to_string(::getpid()) + ") (" + device_ + ")");
}

TEST_F(QtSerialPortTest, RatesAboveTheSettingsLimitGoThroughThePortState) {
  qt::QtSerialPort port(device_);
  std::string error;
  port.set_settings("9600,n,8,1");
  ASSERT_TRUE(port.open(error)) << error;
  long baud = 0;
  int os_error = 0;
  ASSERT_TRUE(port.get_state_baud(baud, os_error));
  EXPECT_EQ(baud, 9600);
  ASSERT_TRUE(port.set_state_baud(230400, os_error)) << os_error;
  ASSERT_TRUE(port.get_state_baud(baud, os_error));
  EXPECT_EQ(baud, 230400);
  port.close();
  EXPECT_FALSE(port.get_state_baud(baud, os_error));
}

TEST_F(QtSerialPortTest, TheExchangeRunsOverTheRealLine) {
  qt::QtSerialPort port(device_);
  rs232_attach(port, "A");
  ASSERT_EQ(rs232_open(port, "115200"), "");
  // The instrument: answers each request line on the next event pump.
  std::string pending;
  int answered = 0;
  set_event_pump([&] {
    char buf[256];
    ssize_t n = ::read(master_, buf, sizeof buf);
    if (n > 0) pending.append(buf, size_t(n));
    size_t lf;
    while ((lf = pending.find('\n')) != std::string::npos) {
      std::string request = pending.substr(0, lf);
      pending.erase(0, lf + 1);
      instrument_writes(request == "ATMA" ? "-12.25\r" : "OK\r");
      ++answered;
    }
  });
  for (bool relaxed : {false, true}) {
    rs232_set_relaxed(relaxed);
    EXPECT_EQ(get_reply("TMA"), "-12.25");
    EXPECT_EQ(get_f64("TMA"), -12.25);
    EXPECT_TRUE(rs232_send_ok("CE1A100"));
  }
  EXPECT_EQ(answered, 6);
  EXPECT_EQ(rs232_get_retries(), 0);
}

TEST_F(QtSerialPortTest, AnUnpluggedDeviceKeepsThePortSilentUntilItComesBack) {
  // The device is named through a link, as /dev/serial/by-id names are, so that a new
  // pseudo-terminal can stand in for the adapter plugged in again.
  std::string link = testing::TempDir() + "ovn-replug-" + std::to_string(::getpid());
  ::unlink(link.c_str());
  ASSERT_EQ(::symlink(device_.c_str(), link.c_str()), 0);
  qt::QtSerialPort port(link);
  std::string error;
  ASSERT_TRUE(port.open(error)) << error;
  ::close(master_);
  master_ = -1;
  ::close(slave_);
  slave_ = -1;
  // The pulled adapter's name goes with it: a pseudo-terminal number freed here may be
  // taken at once by another program, and the port must not find that one instead.
  ::unlink(link.c_str());

  auto logged = [&](const std::string& what) {
    for (const auto& line : seams.log.lines)
      if (line.find(what) != std::string::npos) return true;
    return false;
  };
  double deadline = now_ms() + 1000;
  while (!logged(" lost: ") && now_ms() < deadline) {
    port.wait_readable(10);
    port.input();
  }
  ASSERT_TRUE(logged("RS232 " + link + " lost: "));
  EXPECT_TRUE(port.is_open());
  EXPECT_EQ(port.input(), "");
  // The exchange's reset closes and reopens: while the device is away that holds.
  port.close();
  EXPECT_TRUE(port.open(error)) << error;
  EXPECT_TRUE(port.is_open());

  ASSERT_EQ(::symlink(open_pty().c_str(), link.c_str()), 0);
  deadline = now_ms() + 2000;
  while (!logged(" is back") && now_ms() < deadline) port.wait_readable(20);
  EXPECT_TRUE(logged("RS232 " + link + " is back"));
  port.output("TMA\n");
  EXPECT_EQ(instrument_reads(), "TMA\n");
  instrument_writes("12.5\r");
  std::string got;
  deadline = now_ms() + 1000;
  while (got.find('\r') == std::string::npos && now_ms() < deadline)
    if (port.wait_readable(20)) got += port.input();
  EXPECT_EQ(got, "12.5\r");
  port.close();
  ::unlink(link.c_str());
}

// A request is written whole to the driver at once; a line nobody reads holds it up for a
// second at most, and a line whose other side has gone says so.
TEST_F(QtSerialPortTest, AWriteWaitsForRoomBoundedAndTellsAGoneLine) {
  fcntl(slave_, F_SETFL, fcntl(slave_, F_GETFL) | O_NONBLOCK);
  EXPECT_EQ(qt::serial_write_all(slave_, "AVR\n", 4), 0);
  EXPECT_EQ(instrument_reads(), "AVR\n");
  const std::string flood(1 << 20, 'x');  // far more than the driver holds
  const double start = now_ms();
  EXPECT_EQ(qt::serial_write_all(slave_, flood.data(), flood.size()), EAGAIN);
  EXPECT_GE(now_ms() - start, 990);  // the program's clock and the driver's wait may differ
  EXPECT_LT(now_ms() - start, 1500);
  ::close(master_);
  master_ = -1;
  EXPECT_EQ(qt::serial_write_all(slave_, "AVR\n", 4), EIO);
}

TEST_F(QtSerialPortTest, ANumberWithoutADeviceDoesNotOpen) {
  qt::QtSerialPort port;
  port.set_port_number(31);
  seams.settings.put("OVN-Shared", "Ports", "COM31", "/dev/no-such-tty");
  std::string error;
  EXPECT_FALSE(port.open(error));
  EXPECT_NE(error.find("/dev/no-such-tty"), std::string::npos) << error;
  EXPECT_FALSE(port.is_open());

  seams.settings.put("OVN-Shared", "Ports", "COM31", device_);
  EXPECT_TRUE(port.open(error)) << error;
  EXPECT_EQ(port.device_name(), device_);
}

}  // namespace
}  // namespace ovn
