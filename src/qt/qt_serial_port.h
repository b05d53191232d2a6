#pragma once
// The serial port of the running program, on QSerialPort.
//
// Port numbers name devices through the port map (link/port_map.h): the setting "COM<n>"
// of section "Ports", else the n-th device found, stable /dev/serial/by-id names first. A
// device given for one run (--port PATH) is what every number names. A pseudo-terminal
// works as a port.
//
// Handled here so the exchange need not know: a write is flushed to the line at once (it
// would otherwise wait for the event loop); waiting never spins on waitForReadyRead(0),
// whose every empty call is an error; DTR and RTS failing on a device without modem lines
// is not an error; on Linux the driver is asked for low latency, and a USB adapter's
// latency timer above 1 ms is logged (it delays every reply by up to that much). An
// adapter that is unplugged while open (a read error, a resource error) leaves the port
// closed.

#include <QSerialPort>
#include <string>

#include "link/port_service.h"

namespace ovn::qt {

class QtSerialPort final : public PortService {
 public:
  // `device` not empty: every port number names this device, for this run only.
  explicit QtSerialPort(std::string device = "");

  int port_number() const override { return number_; }
  void set_port_number(int n) override;
  std::string device_name() const override;
  std::string settings() const override { return settings_; }
  void set_settings(const std::string& settings) override;
  bool is_open() const override { return serial_.isOpen(); }
  bool open(std::string& error) override;
  void close() override;
  std::string input() override;
  void output(const std::string& text) override;
  bool get_state_baud(long& baud, int& os_error) override;
  bool set_state_baud(long baud, int& os_error) override;
  void set_dtr(bool on) override;
  void set_rts(bool on) override;
  bool wait_readable(int ms) override;

  // The devices in port-number order, as enumerated now.
  static std::vector<std::string> enumerate();

 private:
  // Applies the settings text to the port; false when a field is refused.
  bool apply_settings();
  // Closes the port when the device has gone; true when it has.
  bool lost();

  QSerialPort serial_;
  std::string forced_device_;
  std::string opened_device_;  // for the log line when it goes away
  int number_ = 1;
  std::string settings_ = "9600,n,8,1";
  bool dtr_ = true;
  bool rts_ = true;
};

}  // namespace ovn::qt
