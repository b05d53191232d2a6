#include "link/rs232_f7.h"

#include <cmath>
#include <cstdint>

#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr char kCrLf[] = "\r\n";

struct HexForm {
  const char* prefix;
  int digits;
  double low, high;  // the values the form holds
};
// A 16-bit or 32-bit value may be given signed or unsigned: "hi(65535)" is "FFFF" as
// "hi(-1)" is.
constexpr HexForm kForms[] = {
    {"hi(", 4, -32768.0, 65535.0},
    {"hl(", 8, -2147483648.0, 4294967295.0},
    {"hf(", 8, -3.4028234663852886e38, 3.4028234663852886e38},
};

// The form that comes first in `text` from `from`, and where; nullptr when none.
const HexForm* first_form(const std::string& text, size_t from, size_t& at) {
  const HexForm* found = nullptr;
  at = std::string::npos;
  for (const HexForm& f : kForms) {
    size_t p = text.find(f.prefix, from);
    if (p < at) {
      at = p;
      found = &f;
    }
  }
  return found;
}

double value_of(const std::string& text) {
  const std::string t = kw_justify(text, 0, "");
  if (!kw_is_numeric(t)) return 0;
  int stop = 0;
  return kw_parse_double(t, stop);
}

std::string hex_form(const HexForm& f, double v) {
  if (f.prefix[1] == 'f') return single_to_hex(v);
  const double whole = std::nearbyint(v);  // half to even
  return hex_of(static_cast<int32_t>(static_cast<int64_t>(whole)), f.digits);
}

// The reply as the form's number: a 16-bit or 32-bit signed integer, or a single.
std::string decoded(const HexForm& f, const std::string& reply) {
  if (!is_hex(reply) || static_cast<int>(reply.size()) < f.digits) return " (== not hex)";
  const std::string digits = reply.substr(0, static_cast<size_t>(f.digits));
  // A single holds about 7 significant digits; more would show the binary's noise.
  if (f.prefix[1] == 'f')
    return " (== " + kw_format(kw_round_sig(hex_to_single(digits), 7), "") + ")";
  if (f.prefix[1] == 'l') return " (== " + std::to_string(hex_to_s32(digits)) + ")";
  return " (== " + std::to_string(hex_to_s16(digits)) + ")";
}

}  // namespace

bool rs232_f7_expand(const std::string& message, std::string& sent, std::string& error) {
  sent = message;
  size_t at = 0;
  for (const HexForm* f = first_form(sent, 0, at); f != nullptr; f = first_form(sent, at, at)) {
    const size_t open = at + 3;
    const size_t close = sent.find(')', open);
    const size_t end = close == std::string::npos ? sent.size() : close + 1;
    const std::string value_text =
        sent.substr(open, (close == std::string::npos ? sent.size() : close) - open);
    const double v = value_of(value_text);
    if (v < f->low || v > f->high) {
      error = std::string(f->prefix) + value_text + ") does not fit in " +
              std::to_string(f->digits) + " hex digits";
      return false;
    }
    const std::string hex = hex_form(*f, v);
    sent.replace(at, end - at, hex);
    at += hex.size();
  }
  return true;
}

std::string rs232_f7_line(const std::string& line) {
  std::string result;
  size_t start = 0;
  while (true) {
    const size_t bar = line.find('|', start);
    const std::string piece = line.substr(start, bar == std::string::npos ? bar : bar - start);
    std::string sent, error, text;
    if (!rs232_f7_expand(piece, sent, error)) {
      text = "\"" + piece + "\" not sent: " + error;
    } else {
      std::string reply = get_reply(sent);
      const size_t length = reply.size();
      size_t at = 0;
      if (const HexForm* f = first_form(piece, 0, at)) reply += decoded(*f, reply);
      text = "\"" + piece + "\" -> \"" + sent + "\" LEN=" + std::to_string(length) + "SENT\"" +
             sent + "\"   GOT\"" + reply + "\"";
      if (sent.size() == 3 && sent.rfind("ID", 0) == 0 && reply == "OK") {
        rs232_set_id(sent.substr(2));
        yield_ms(0);
      }
    }
    debug_log(text);
    result += text + kCrLf;
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  return result;
}

void rs232_f7() {
  std::string line, results;
  // A tab separates the form's lists, since a line of messages holds "|" itself.
  while (user_input("\t", "Input Message", line, "Send Message", results, "Send|Exit")) {
    line = user_input_data(0);
    if (line.empty()) break;
    results = rs232_f7_line(line);
  }
}

}  // namespace ovn
