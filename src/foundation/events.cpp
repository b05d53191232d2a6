#include "foundation/events.h"

#include <cmath>
#include <cstdio>

#include "foundation/kw.h"
#include "foundation/platform.h"

namespace ovn {

namespace {

std::function<void(const std::string&)>& sink() {
  static std::function<void(const std::string&)> s;
  return s;
}

}  // namespace

void ovn_event(const std::string& type, const std::vector<EventField>& fields) {
  if (!sink()) return;
  std::string json =
      "{\"type\":" + json_string(type) + ",\"time\":" + json_string(kw_iso_time(kw_now(), true));
  for (const EventField& f : fields) json += "," + json_string(f.first) + ":" + f.second;
  sink()(json + "}");
}

void set_event_sink(std::function<void(const std::string& json)> s) {
  sink() = std::move(s);
}

std::string json_string(const std::string& text) {
  std::string out = "\"";
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else if (c < 0x80) {
      out += ch;
    } else {  // Latin-1 to UTF-8
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out + "\"";
}

std::string json_number(double value) {
  if (!std::isfinite(value)) return "null";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.10g", value);
  return buf;
}

}  // namespace ovn
