#pragma once
// Happenings worth telling beyond this program: an adjustment step with its as-found and
// as-left values, an audit and its failures, a failure of the line and the operator's
// answer, data saving started or stopped. Each is a type and a few named fields; the
// installed sink (the MQTT publisher) receives it as one JSON object. With no sink
// installed an event costs one check.

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace ovn {

// A field: its name and its value already in JSON (json_string, json_number, or literal).
using EventField = std::pair<std::string, std::string>;

// Hands {"type":..., "time":<ISO 8601>, fields...} to the sink, if one is installed.
void ovn_event(const std::string& type, const std::vector<EventField>& fields);
// Installs the sink (empty: none). Not for use while events are being given.
void set_event_sink(std::function<void(const std::string& json)> sink);

// JSON text of a string (Latin-1 in, UTF-8 out, with its escapes), and of a number (a
// number that is not finite is null).
std::string json_string(const std::string& text);
std::string json_number(double value);

}  // namespace ovn
