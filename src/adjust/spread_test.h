#pragma once
// The filter versus spread test: for each filter setting of the instrument, how far the
// filtered output wanders during a fixed time, as the instrument's own max/min registers
// record it and as the program sees it by polling; one table row per filter, a row of
// totals, the elapsed time. It is long (seconds times the filters, times ten for the
// repeated test), so it shows its progress and can be stopped at any filter
// (foundation/long_work.h); stopped or not, the filter set before the test is back after
// it and the rows measured so far are kept.
//
// The third block of columns ("Selected") gathers the filters of 100 Hz and below, the
// ones a torque reading is taken through.

#include <cstdint>
#include <string>
#include <vector>

namespace ovn {

// The filter indices the test runs through: the first seven the family knows a frequency
// of, in index order.
std::vector<int32_t> spread_test_filters();

// "Are you sure you want to perform an approximately <s> second filtered data noise
// test?" with "Skip|Yes, do the test": true for the second.
bool spread_test_ask(double seconds, size_t filters);

// Runs the test `repeats` times over `filters`, `seconds` each, and returns the report
// (lines ended by CR LF). Shows no verdict.
std::string spread_test_run(double seconds, const std::vector<int32_t>& filters, int repeats);

// Commands 46 (once) and 47 (ten times), 60 seconds a filter: asks, runs, and shows the
// report in the verdict box, kept in "ovn-filtered-spread-tests-<family>.txt".
void spread_test_command(int32_t repeats);

}  // namespace ovn
