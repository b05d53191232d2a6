#pragma once
// The serial port of the running program, on QSerialPort.
//
// Port numbers name devices through the port map (link/port_map.h): the setting "COM<n>"
// of section "Ports", else the n-th device found, stable /dev/serial/by-id names first. A
// device given for one run (--port PATH) is what every number names. A pseudo-terminal
// works as a port.
//
// Handled here so the exchange need not know: a write is flushed to the line at once (it
// would otherwise wait for the event loop); a wait blocks in the program's event wait
// (qt/qt_event_wait.h), where the port's read notifier fills the buffer; DTR and RTS failing on a
// device without modem lines is not an error; on Linux the driver is asked for low latency, and a
// USB adapter's latency timer above 1 ms is logged (it delays every reply by up to that much).
//
// An adapter unplugged while open (a read error, a resource error) does not close the
// port as the program sees it: the port stays open and silent, so the exchange retries
// and asks the operator as for any silent instrument, and a reopen (the exchange's reset
// after a failed attempt) of the same device succeeds while the device is away. Every
// read or wait then looks for the device again; when it is back it is reopened with the
// same settings and the next exchange goes through.

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
  bool is_open() const override { return serial_.isOpen() || lost_; }
  bool open(std::string& error) override;
  void close() override;
  std::string input() override;
  void output(const std::string& text) override;
  bool get_state_baud(long& baud, int& os_error) override;
  bool set_state_baud(long baud, int& os_error) override;
  void set_dtr(bool on) override;
  void set_rts(bool on) override;
  bool wait_input_until(double deadline_ms) override;

  // The devices in port-number order, as enumerated now.
  static std::vector<std::string> enumerate();

 private:
  // Applies the settings text to the port; false when a field is refused.
  bool apply_settings();
  // Closes the device when it has gone and keeps the port open and silent; true when
  // the device is away.
  bool lost();
  // The device went away (`why`): the port closes and is looked for again.
  void mark_lost(const std::string& why);
  // Opens the device with the present settings; false with `error` when it cannot.
  bool open_device(const std::string& device, std::string& error);
  // While the device is away: tries to open it again, at most every few hundred ms.
  void look_for_device();

  QSerialPort serial_;
  std::string forced_device_;
  std::string opened_device_;  // for the log line when it goes away
  bool lost_ = false;          // open as the program sees it, but the device is away
  bool away_ = false;          // the device went away during this run and is not back
  double next_look_ms_ = 0;
  long lost_baud_ = 0;
  int number_ = 1;
  std::string settings_ = "9600,n,8,1";
  bool dtr_ = true;
  bool rts_ = true;
};

}  // namespace ovn::qt
