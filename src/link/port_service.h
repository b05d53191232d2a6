#pragma once
// What the exchange needs of a serial port. Implementations: the Qt serial port adapter
// (src/qt/), the in-process simulated instrument (sim/), and test fakes.
//
// Every call returns at once except wait_input_until, which blocks. Nothing here is
// thread-safe; the program has one thread. Times go through the clock seam
// (foundation/platform.h), so a port under a virtual clock advances that clock while it
// waits instead of sleeping.

#include <string>

#include "foundation/platform.h"

namespace ovn {

class PortService {
 public:
  virtual ~PortService() = default;

  // The port's number, 1 upward ("COM3" is 3). Which device a number names is the
  // implementation's business (settings section "Ports", or a device given for one run).
  virtual int port_number() const = 0;
  virtual void set_port_number(int n) = 0;
  // The device behind the number, for log lines and dialogs ("/dev/ttyUSB0").
  virtual std::string device_name() const = 0;

  // The settings text "baud,parity,data bits,stop bits", for example "9600,n,8,1".
  // Rates of 200000 and above are not accepted in this text; they reach the line only
  // through set_state_baud.
  virtual std::string settings() const = 0;
  virtual void set_settings(const std::string& settings) = 0;

  virtual bool is_open() const = 0;
  // Opens the port with the present settings. On failure (no such port, in use, no
  // permission) returns false and sets `error` to a text for the operator.
  virtual bool open(std::string& error) = 0;
  // Closes the port; closing a closed port does nothing. Pending data is dropped.
  virtual void close() = 0;

  // All that has been received and not read yet; empty when nothing is pending.
  virtual std::string input() = 0;
  // Queues the text for sending and puts it on the line at once. Errors are swallowed.
  virtual void output(const std::string& text) = 0;

  // The baud rate of the open port as the system holds it (the port's state record).
  // False when the state cannot be read; `os_error` then holds the system's error number.
  virtual bool get_state_baud(long& baud, int& os_error) = 0;
  // Writes a baud rate into the open port's state. False with `os_error` on failure.
  virtual bool set_state_baud(long baud, int& os_error) = 0;

  // Modem lines. Failing on a device that has none (a pseudo-terminal) is not an error.
  virtual void set_dtr(bool on) = 0;
  virtual void set_rts(bool on) = 0;

  // Blocks until input is pending, an event of the program has been handled, or the clock
  // reaches `deadline_ms`, whichever comes first; true when input is pending. Returns at
  // once when input is already pending or the deadline has passed. A closed port has
  // nothing to deliver but still waits for events and time, so no caller spins on it.
  // The block is the program's one event wait (wait_events_until), so event handlers run
  // inside it; it never spins.
  virtual bool wait_input_until(double deadline_ms) = 0;

  // The same with a bound in milliseconds from now.
  bool wait_readable(double ms) { return wait_input_until(now_ms() + ms); }
};

}  // namespace ovn
