#pragma once
// Serving a simulated instrument on a pseudo-terminal, in real time, so that the program's
// real serial code can talk to it as to a device (ovn-sim).
//
// The line is emulated at a baud rate: a request occupies the line for 10 bits a byte,
// the instrument answers after its turnaround, and the reply's bytes leave no faster than
// the line would carry them. Times are the machine's steady clock, never the clock seam.
// One thread serves one instrument; the instrument belongs to that thread while it serves.

#include <atomic>
#include <string>

#include "sim/sim_instrument.h"

namespace ovn {

// A misbehaving instrument, for trying the program against faults.
enum class SimFault {
  None,
  Silent,  // the request is heard and not answered
  Garble,  // the reply comes with its first character turned into "#" ("#K" for "OK")
  Unplug,  // serving stops and the terminal goes away, as a pulled cable
};

struct SimServeOptions {
  // The fault hits requests after the first `fault_after` (counted as heard), for
  // `fault_count` requests (0: all that follow); then the instrument behaves again.
  // Silent from 0 for 3 is a slow start; after 1 for 3, a stator that dozes off.
  SimFault fault = SimFault::None;
  long fault_after = 0;
  long fault_count = 0;
  // With a count, the episode comes again every `fault_every` requests (0: once).
  long fault_every = 0;
  long baud = 115200;          // 0: no baud emulation, bytes leave at once
  double turnaround_ms = 0.0;  // the instrument's time between request and reply
  // How long the instrument listens hard (polls without sleeping) after each exchange
  // before it blocks until the next byte. A stator's receiver hears a byte at once; a
  // blocked server hears it a scheduler wake-up later, which on a pseudo-terminal costs
  // tens of microseconds an exchange. 0 (the default): always block, using no processor
  // while nobody talks to it.
  double listen_ms = 0.0;
  // How long the terminal itself takes to hand a write to the other end (SimPty's
  // delivery_ms). The line is emulated as the client sees it: a request counts as written
  // that long before the instrument hears it, and each reply byte is handed over that long
  // before the line would have delivered it, so that it arrives when the line would have
  // delivered it (a few microseconds either way, as the terminal's hand-over varies).
  double delivery_ms = 0.0;
  std::string transcript_path;  // empty: no transcript; otherwise appended to
  // The client's end of the terminal: when set, the instrument hears a request only if the
  // client has set the terminal to the instrument's own rate (the family's, or
  // SimConfig::baud for the S350 families), as a real stator would.
  int speed_fd = -1;
  // Set from outside (ovn-sim's SIGUSR1): the instrument prints its outputs to stderr,
  // "ovn-sim: outputs G=<V> A=<V> B=<V> lines=<hex>", and clears it.
  std::atomic<bool>* status_request = nullptr;
};

// Opens a pseudo-terminal in raw mode. On success `master` is the server's end and `path`
// the device a client opens ("/dev/pts/7"); the client end stays open in this process so
// the terminal lives until `sim_pty_close`. False with `error` on failure.
struct SimPty {
  int master = -1;
  int slave = -1;
  std::string path;
  // The typical time a byte takes from one end to the other (the median of a few tries in
  // each direction when the terminal was opened): what the terminal's own hand-over costs.
  double delivery_ms = 0.0;
};
bool sim_pty_open(SimPty& pty, std::string& error);
void sim_pty_close(SimPty& pty);

// Serves requests arriving on `master_fd` until `stop` becomes true (checked at least every
// 50 ms, and at once when a signal interrupts the wait). Returns the number of requests
// answered.
// The line SIGUSR1 prints: the three analog outputs' voltages and the output lines.
std::string sim_output_status(SimInstrument& sim, double now_ms);

long sim_serve(int master_fd, SimInstrument& sim, const SimServeOptions& options,
               const std::atomic<bool>& stop);

// A transcript line: milliseconds since the start of serving with three decimals, a blank,
// ">" (request) or "<" (reply), a blank, and the bytes with CR, LF, backslash and other
// control bytes written as \r, \n, \\ and \xHH.
std::string sim_transcript_line(double ms, char direction, const std::string& bytes);

// Reads "silent", "garble" or "unplug", optionally followed by ":AFTER" and ":COUNT"
// ("silent:1:3"), into `options`. False for any other text.
bool sim_parse_fault(const std::string& text, SimServeOptions& options);
// True when request number `heard` (from 1) falls in a fault episode of `options`.
bool sim_fault_hits(const SimServeOptions& options, long heard);

}  // namespace ovn
