#pragma once
// The serial link to the instrument and the request/reply exchange over it.
//
// The module owns the one port through which the program speaks to the instrument. A
// request is one line: the ID prefix (0 or 1 character), the message and an LF. A reply is
// any run of characters ended by CR or LF; exactly one terminator is removed. The
// instrument never speaks unasked.
//
// One thread. The waits pump the event queue and block in the program's one event wait
// (on the port and the program's events together, never spinning), so event handlers run
// inside them; get_reply guards itself against such re-entry with a busy lock and is the only
// lock of the program. The raw rs232_wait_reply and rs232_try_reply do not take it.
//
// Time-outs are doubles in milliseconds. A value below the floor of the line speed
// (rs232_min_timeout_ms) means that floor; callers wanting the default pass
// kRs232DefaultTimeout (-149), which is also what dialogs and log lines show.
//
// Failures go to the operator: every third failed attempt of get_reply shows the
// "Abort|Retry|Skip" dialog; Abort ends the process at once (process_exit), Skip gives the
// caller an empty reply (or the typed reader's zero).

#include <cstdint>
#include <string>
#include <vector>

#include "link/port_service.h"

namespace ovn {

constexpr double kRs232DefaultTimeout = -149.0;

// ---- The port ----------------------------------------------------------------------------

// Stores the port the exchange uses (not owned; the caller keeps it alive while attached)
// and sets the ID. Modem lines DTR and RTS are switched on for every open that follows.
// Until a port is attached the module holds a port that is never open.
void rs232_attach(PortService& port, const std::string& id);
// The attached port.
PortService& rs232_port();

bool rs232_is_open(PortService& port);
// Closes unconditionally and logs "RS232 CLOSE <port name> <settings>".
void rs232_close(PortService& port);
void rs232_close_if_open(PortService& port);
// "COM" and the port number, "COM3"; rs232_port_number_text gives "3".
std::string rs232_port_name(PortService& port);
std::string rs232_port_number_text(PortService& port);
void rs232_set_port_number(PortService& port, int n);

// Takes the baud from the front of `settings`; the rest of the text, or when there is none
// the tail of the port's present settings (",n,8,1" if it has none), completes the new
// settings text. Stores the baud as rs232_get_baud and recomputes rs232_min_timeout_ms.
// Rates of 200000 and above are stored but not written into the port's settings text,
// which does not take them; rs232_open_at puts them on the line through the port state.
void rs232_set_settings(PortService& port, const std::string& settings);

// Opens the port at `baud`. Empty on success; otherwise the error text, which for the
// port-state steps is the number, "Error Code:", CR LF and the text:
//   8018 "Operation valid iff port is open"          the port did not open
//   8021 "Could not read state of the port:<errno>"
//   8015 "Could not set baud rate of <baud>:<errno>"
// When the port service refuses to open, its own text is the result (nothing is logged).
// On failure rs232_get_baud is left as it stood; below 200000 the settings step has
// already taken the new rate by then.
std::string rs232_open_at(PortService& port, int32_t baud);
// Takes the baud from the front of `settings`, sets the settings, then rs232_open_at.
std::string rs232_open(PortService& port, const std::string& settings);

// The error of the one routine of the port half that fails loudly. A caller of
// rs232_read_baud must look at it: with `number` not 0 the baud is not known and whatever
// depended on it must not go on.
struct Rs232Error {
  int number = 0;
  std::string text;
  std::string source;  // what failed: the port's state record
  explicit operator bool() const { return number != 0; }
};
// The baud rate of the open port as its state record holds it, or 0 with `error` set:
// 8018 "Operation valid iff port is open" on a closed port, 8021 "Could not read state of
// the port" when the state cannot be read (or holds no rate).
[[nodiscard]] int32_t rs232_read_baud(PortService& port, Rs232Error& error);

// Drops whatever is in the line's buffers: logs "RS232 RESET from <from>", reads the baud,
// closes, sleeps 100 ms and opens again at that baud. When the baud cannot be read (the
// port is closed) the reset stops there, logs the error and returns it.
Rs232Error rs232_reset(const std::string& from);

// "Relaxed CPU": kept so that settings and habits keep working, but every wait already
// blocks on the port, so it has nothing left to relax; it only adds 1 ms between the
// retries of a failed exchange, as it always did. Saved to and read from the setting "Relaxed CPU"
// (section "Settings", application "OVN-Shared", default false); rs232_load_relaxed runs at each
// session start.
void rs232_set_relaxed(bool on);
bool rs232_load_relaxed();
bool rs232_relaxed();

int32_t rs232_get_baud();
int32_t rs232_get_retries();
int32_t rs232_min_timeout_ms();
// The last text written to the line (ID, message, LF).
const std::string& rs232_out();

// The shutdown request every wait and loop of the link watches. Set by the orderly exit;
// a run without windows also raises it from its SIGINT/SIGTERM handler (setting it is
// async-signal-safe) and by its deadline. True while the flag is set or the deadline has
// passed. Lowering the flag leaves the deadline in force.
void rs232_set_exit_flag(bool on);
bool rs232_exit_flag();
// Which failed exchange the link is in, or was last in: grows by one when a call (the
// retried exchange, a typed reader, a write form) sees its first failure while no other
// failure is open; the failure lasts until that call returns. The failure dialogs of one
// failure share the number, so an operator can count its answers per failure.
int64_t rs232_failure_number();
// From `at_ms` (now_ms time) on the link behaves as with the flag set; 0: no deadline.
void rs232_set_exit_deadline(double at_ms);

// Tracing: every text written to the line and every piece read from it goes to the log
// ("RS232 SENT:", "RS232 READ:", line ends written as in the repeat line). Off by default:
// a good exchange logs nothing.
void rs232_set_trace(bool on);

// ---- The exchange ------------------------------------------------------------------------

// Empty makes the ID empty; otherwise its first character if a letter or "*", else "A".
void rs232_set_id(const std::string& id);
const std::string& rs232_id();

// Writes ID, message and LF to the attached port; a write error is swallowed.
void rs232_send(const std::string& message);
// Appends all pending input to `reply`; true when there was any.
bool rs232_read_input(std::string& reply);
// The last character is CR or LF; empty is not terminated.
bool rs232_is_terminated(const std::string& reply);

// One send and one wait, no retry, no lock. The reply keeps its terminator and may be
// partial or empty when the time ran out. A closed port gives "!COM3 Not Open!" without
// sending. A bare "OK" to "ID<c>" makes <c> the ID.
std::string rs232_wait_reply(const std::string& message, double timeout = kRs232DefaultTimeout);
// rs232_wait_reply less one trailing CR or LF: for probing instruments that may be absent.
std::string rs232_try_reply(const std::string& message, double timeout = kRs232DefaultTimeout);

// The retried exchange: the reply without its terminator, "" after Skip or at shutdown.
// Input already waiting counts as the reply and the message is then not sent; a failed
// attempt resets the port so that a late line cannot answer the next request.
std::string get_reply(const std::string& message, double timeout = kRs232DefaultTimeout);

// Asks until the reply is numeric: signs, a decimal point and an exponent pass. Every
// second rejection resets the port; every third shows the failure dialog with
// `expecting`. Skip and shutdown give "0" (or 0): callers cannot tell them from a zero.
std::string get_numeric(const std::string& message, double timeout, const std::string& expecting);
int32_t get_si32(const std::string& message, double timeout = kRs232DefaultTimeout);
int16_t get_si16(const std::string& message, double timeout = kRs232DefaultTimeout);
float get_f32(const std::string& message, double timeout = kRs232DefaultTimeout);
double get_f64(const std::string& message, double timeout = kRs232DefaultTimeout);

// Asks until every character is "0"-"9" or "A"-"F" (lower case is refused), logging
// "NOT-a-HEXSTR:" and asking again; every third refused reply brings the failure dialog,
// whose Skip gives "". An empty reply (Skip, shutdown) passes.
std::string get_hexstr(const std::string& message, double timeout = kRs232DefaultTimeout);

// Hex readers: the reply must be hex of the stated length, else the failure dialog comes at
// once, at every rejection. Skip and shutdown give 0.
float get_hex_f32(const std::string& message, double timeout = kRs232DefaultTimeout);    // 8 digits
int32_t get_hex_si32(const std::string& message, double timeout, bool allow_long);       // <= 8
int16_t get_hex_si16(const std::string& message, double timeout, bool allow_long);       // <= 4
int16_t get_hex_int(const std::string& message, double timeout = kRs232DefaultTimeout);  // any
int16_t get_hex_u8(const std::string& message, double timeout = kRs232DefaultTimeout);   // 2

// The write form: asks up to `tries` times for the reply "OK", logging every other reply;
// then the failure dialog, where Retry starts over and Skip gives false. Shutdown does not
// end it: a write in progress always gets its answer or the operator's Skip.
bool rs232_send_ok(const std::string& message, double timeout = kRs232DefaultTimeout,
                   int tries = 3);
// Sends name "=" value, and name "==" value.
bool rs232_send_ok_eq(const std::string& name, const std::string& value,
                      double timeout = kRs232DefaultTimeout, int tries = 3);
bool rs232_send_ok_eqeq(const std::string& name, const std::string& value,
                        double timeout = kRs232DefaultTimeout, int tries = 3);
// Sends name and the value as the 8 hex digits of an IEEE single.
bool rs232_send_ok_f32hex(const std::string& name, float value,
                          double timeout = kRs232DefaultTimeout, int tries = 3);
// Sends name and the values packed by the hex format ("ffss", ...), default time-out, 3 tries.
bool rs232_send_ok_hex(const std::string& name, const std::vector<std::string>& values,
                       const std::string& format);
// Reads the 32-bit value of `name`, sets (clears) the bits of `mask` and writes it back as
// decimal, 3 tries.
bool rs232_set_bits(const std::string& name, int32_t mask, double timeout = kRs232DefaultTimeout);
bool rs232_clear_bits(const std::string& name, int32_t mask, double timeout = kRs232DefaultTimeout);

// The operator's dialog after failed attempts: 1 Retry, 2 Skip. Abort (0) ends the
// process at once, with nothing saved or closed. `expecting` empty leaves out its line.
int16_t rs232_failure_dialog(const std::string& message, const std::string& got, int32_t retries,
                             double timeout, const std::string& expecting);

// True while get_reply runs; false at start and after every return.
bool rs232_busy();
// Exchanges since the last failure.
int32_t rs232_good_count();

// Detaches the port and puts every value of the module back to its start-up value, as in a
// fresh process (each test begins with it).
void rs232_reset_state();

}  // namespace ovn
