#pragma once
// The request and reply of the exchange as the program makes it, reduced to what the
// simulator tests need: send a line, wait for the terminated reply.

#include <string>

#include "foundation/platform.h"
#include "sim/sim_port.h"

namespace ovn::test {

// Sends `message` (with the address letter when `address` is not 0) and collects the reply
// up to its line end, waiting at most `bound_ms`. The reply comes back without its last
// character when it is terminated, and as received (possibly empty) when it is not.
inline std::string ask(SimPort& port, const std::string& message, char address = 'A',
                       int bound_ms = 200) {
  port.output((address ? std::string(1, address) : std::string()) + message + "\n");
  std::string reply;
  double waited = 0;
  while (waited < bound_ms) {
    double before = ovn::now_ms();
    port.wait_readable(bound_ms - static_cast<int>(waited));
    waited += ovn::now_ms() - before;
    reply += port.input();
    if (!reply.empty() && (reply.back() == '\r' || reply.back() == '\n')) {
      reply.pop_back();
      return reply;
    }
    if (!port.is_open()) break;
  }
  return reply;
}

}  // namespace ovn::test
