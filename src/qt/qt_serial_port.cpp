#include "qt/qt_serial_port.h"

#include <QSerialPortInfo>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "foundation/debug_log.h"
#include "foundation/platform.h"
#include "link/port_map.h"
#include "qt/serial_linux.h"

namespace ovn::qt {

namespace {

constexpr long kSettingsBaudLimit = 200000;
constexpr double kLookIntervalMs = 250;  // how often an unplugged device is looked for

QSerialPort::Parity parity_of(char ch) {
  switch (ch) {
    case 'e':
    case 'E':
      return QSerialPort::EvenParity;
    case 'o':
    case 'O':
      return QSerialPort::OddParity;
    case 'm':
    case 'M':
      return QSerialPort::MarkParity;
    case 's':
    case 'S':
      return QSerialPort::SpaceParity;
    default:
      return QSerialPort::NoParity;
  }
}

QSerialPort::StopBits stop_bits_of(const std::string& text) {
  if (text == "2") return QSerialPort::TwoStop;
  if (text == "1.5") return QSerialPort::OneAndHalfStop;
  return QSerialPort::OneStop;
}

}  // namespace

QtSerialPort::QtSerialPort(std::string device) : forced_device_(std::move(device)) {}

std::vector<std::string> QtSerialPort::enumerate() {
  std::vector<std::string> system_ports;
  for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
    system_ports.push_back(info.systemLocation().toStdString());
  return port_map_order(serial_stable_links(), system_ports);
}

void QtSerialPort::set_port_number(int n) {
  number_ = n;
}

std::string QtSerialPort::device_name() const {
  if (!forced_device_.empty()) return forced_device_;
  // Enumerating takes a scan of the system; a stored device spares it.
  std::string stored = port_map_device(number_, {});
  return stored.empty() ? port_map_device(number_, enumerate()) : stored;
}

void QtSerialPort::set_settings(const std::string& settings) {
  settings_ = settings;
  if (serial_.isOpen()) apply_settings();
}

bool QtSerialPort::apply_settings() {
  std::vector<std::string> f(1);
  for (char ch : settings_) {
    if (ch == ',')
      f.emplace_back();
    else
      f.back() += ch;
  }
  f.resize(4);
  long baud = std::atol(f[0].c_str());
  bool ok = true;
  // Higher rates are set only through set_state_baud; the text keeps the line's rate.
  if (baud > 0 && baud < kSettingsBaudLimit) ok &= serial_.setBaudRate(qint32(baud));
  ok &= serial_.setParity(parity_of(f[1].empty() ? 'n' : f[1][0]));
  int bits = f[2].empty() ? 8 : std::atoi(f[2].c_str());
  ok &= serial_.setDataBits(bits >= 5 && bits <= 8 ? QSerialPort::DataBits(bits)
                                                   : QSerialPort::Data8);
  ok &= serial_.setStopBits(stop_bits_of(f[3]));
  ok &= serial_.setFlowControl(QSerialPort::NoFlowControl);
  serial_.clearError();
  return ok;
}

bool QtSerialPort::open(std::string& error) {
  std::string device = device_name();
  if (device.empty()) {
    error = "No device for COM" + std::to_string(number_);
    return false;
  }
  if (away_ && device != opened_device_) away_ = false;  // another device: no waiting
  if (open_device(device, error)) return true;
  if (!away_) return false;
  // The device was unplugged during this run: hold the port open until it comes back.
  lost_ = true;
  return true;
}

bool QtSerialPort::open_device(const std::string& device, std::string& error) {
  serial_.setPortName(QString::fromStdString(device));
  opened_device_ = device;
  const std::optional<SerialLock> lock = serial_lock_of(device);
  if (!serial_.open(QIODevice::ReadWrite)) {
    error = serial_.errorString().toStdString();
    if (lock && lock->alive)
      error = "in use by " + (lock->program.empty() ? "another program" : lock->program) +
              " (process " + std::to_string(lock->pid) + ")";
    error += " (" + device + ")";
    serial_.clearError();
    return false;
  }
  if (lock && !lock->alive) {
    // A run killed outright leaves its lock behind; the port is ours all the same.
    const std::string note = "RS232 " + device + ": took over the lock left by process " +
                             std::to_string(lock->pid) + ", which has ended";
    debug_log(note);
    std::cerr << "ovn-kst: " << note << "\n";
  }
  if (away_) debug_log("RS232 " + device + " is back");
  lost_ = away_ = false;
  apply_settings();
  set_dtr(dtr_);
  set_rts(rts_);
  serial_set_low_latency(int(serial_.handle()));
  int latency = serial_latency_timer_ms(device);
  if (latency > 1)
    debug_log("RS232 " + device + " latency_timer " + std::to_string(latency) +
              " ms: every reply may wait that long");
  if (forced_device_.empty()) port_map_remember(number_, device);
  return true;
}

void QtSerialPort::close() {
  if (serial_.isOpen()) serial_.close();
  serial_.clearError();
  lost_ = false;
}

bool QtSerialPort::lost() {
  if (lost_) return true;
  // A read that ends (0 bytes: hang-up) or fails with EIO means the device is gone.
  auto e = serial_.error();
  if (e != QSerialPort::ResourceError && e != QSerialPort::ReadError) return false;
  mark_lost(serial_.errorString().toStdString());
  return true;
}

void QtSerialPort::mark_lost(const std::string& why) {
  debug_log("RS232 " + opened_device_ + " lost: " + why);
  lost_baud_ = serial_.baudRate();
  serial_.close();
  serial_.clearError();
  lost_ = away_ = true;
  next_look_ms_ = now_ms() + kLookIntervalMs;
}

void QtSerialPort::look_for_device() {
  if (!lost_ || now_ms() < next_look_ms_) return;
  next_look_ms_ = now_ms() + kLookIntervalMs;
  std::string error;
  if (open_device(opened_device_, error) && lost_baud_ >= kSettingsBaudLimit)
    serial_.setBaudRate(qint32(lost_baud_));
}

std::string QtSerialPort::input() {
  look_for_device();
  if (lost_ || !serial_.isOpen()) return {};
  // Data reaches QSerialPort's buffer only from the event loop or a wait; ask the system
  // first so that a poll between event pumps still sees what has arrived.
  if (serial_.bytesAvailable() == 0 && serial_fd_readable(int(serial_.handle())))
    serial_.waitForReadyRead(1);
  QByteArray data = serial_.readAll();
  if (lost()) return {};
  serial_.clearError();
  return std::string(data.constData(), size_t(data.size()));
}

void QtSerialPort::output(const std::string& text) {
  if (lost_ || !serial_.isOpen()) return;
  // Straight to the driver: on the line now, and no write notifier for the event loop to
  // switch on and off for every request.
  const int error = serial_write_all(int(serial_.handle()), text.data(), text.size());
  if (error == EIO || error == ENXIO || error == ENODEV) mark_lost(std::strerror(error));
}

bool QtSerialPort::get_state_baud(long& baud, int& os_error) {
  if (lost_) {
    baud = lost_baud_;
    return true;
  }
  if (!serial_.isOpen()) {
    os_error = EBADF;
    return false;
  }
  baud = serial_.baudRate();
  return true;
}

bool QtSerialPort::set_state_baud(long baud, int& os_error) {
  if (lost_) {
    lost_baud_ = baud;
    return true;
  }
  if (!serial_.isOpen()) {
    os_error = EBADF;
    return false;
  }
  errno = 0;
  if (!serial_.setBaudRate(qint32(baud))) {
    os_error = errno ? errno : int(serial_.error());
    serial_.clearError();
    return false;
  }
  return true;
}

void QtSerialPort::set_dtr(bool on) {
  dtr_ = on;
  if (serial_.isOpen()) serial_.setDataTerminalReady(on);
  serial_.clearError();  // a pseudo-terminal has no modem lines
}

void QtSerialPort::set_rts(bool on) {
  rts_ = on;
  if (serial_.isOpen()) serial_.setRequestToSend(on);
  serial_.clearError();
}

bool QtSerialPort::wait_input_until(double deadline_ms) {
  look_for_device();
  if (lost_) {
    // Nothing can arrive from a device that is away; wake to look for it again.
    wait_events_until(std::min(deadline_ms, next_look_ms_));
    return false;
  }
  if (serial_.isOpen() && serial_.bytesAvailable() > 0) return true;
  // The port's read notifier is one of the event loop's sources: its bytes end the wait.
  if (now_ms() < deadline_ms) wait_events_until(deadline_ms);
  if (!serial_.isOpen() || lost()) return false;
  serial_.clearError();
  return serial_.bytesAvailable() > 0 || serial_fd_readable(int(serial_.handle()));
}

}  // namespace ovn::qt
