#pragma once
// The View menu's reports: what a technician reads to identify and judge an instrument
// before changing anything. Each is a text of fields, section by section: a heading line
// ending in ":" and its fields beneath, a label padded to one column and the value, lines
// ended by CR LF. They read the instrument and change nothing.
//
// Item codes, as the menu gives them:
//   1  identity: family, model, serial, shaft, customer, address, firmware, range, files
//   7  real time: the torque now (lbf-in, uV/V, raw), the temperature, the shunt state
//   3  every stored parameter of the family, by the sections of its configuration file,
//      each with its meaning, its value and its message
//   4  the channels: unit, display scaling, filter, full scale and overload of each
// The same writer serves every family; what differs comes from the session record and the
// family's parameter catalogue.

#include <cstdint>
#include <string>

namespace ovn {

inline constexpr int32_t kReportIdentity = 1;
inline constexpr int32_t kReportMore = 3;
inline constexpr int32_t kReportChannels = 4;
inline constexpr int32_t kReportRealTime = 7;

// The report of `item` for the current session; "" for an item code not listed above.
std::string tm_info_report(int32_t item);
// Shows it in the fixed font, titled with the instrument's configuration file name.
void tm_info_report_show(int32_t item);

}  // namespace ovn
