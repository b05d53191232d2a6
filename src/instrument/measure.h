#pragma once
// Live numbers from the instrument of a session: raw value, torque, microvolts per volt,
// temperature, shunt, filter, tare, peak values and the stored adjustment points. Each
// operation looks at the family (or the raw form `dtp`) of the session and sends that
// family's message, so callers never see a family's vocabulary.
//
// Messages go through the retried exchange (link/rs232.h): a Skip there leaves a value 0.
// Asking a family for an operation it does not have is a programmer's error: the text is
// shown through fatal_error and the process ends. `session` as in instrument/tm_info.h
// (-1: the current one).

#include <cstdint>
#include <string>

namespace ovn {

// ---- Values ------------------------------------------------------------------------------

// One raw value, read by the session's `dtp` from its `data_msg`.
double tmi_read_data_lbfin(int32_t session);
// The raw value in lbf-in: times plbfin_per_px at 0 or above, nlbfin_per_px below.
double get_data_lbfin(int32_t session);
// That multiplication alone, for the current session.
double tm_info_lbfin_of_raw(double raw);
// get_data_lbfin times the slope of its side, plus uvpv_at_0lbfin.
double tm_info_read_uvpv(int32_t session);
double tm_info_read_temp_degc(int32_t session);
double tm_info_read_temp_degf(int32_t session);
// The model number as the instrument tells it now.
std::string get_read_model_string(int32_t session);

// ---- Adjustment points -------------------------------------------------------------------

// The raw value the instrument holds for an adjustment point (kPoint...) of the current
// session; 0 for a family that keeps none.
double tm_info_point_raw(int32_t point);
// That times uvpv_per_raw.
double tm_info_point_uvpv(int32_t point, int32_t session);

// ---- Shunt -------------------------------------------------------------------------------

// Switches the shunt (kShuntNone, kShuntPositive, kShuntNegative), "OK" expected, three
// tries, then waits for it to settle. False when the write failed or the state is not one
// of the three.
bool tm_info_shunt_set(int32_t state);
// The shunt state the instrument reports (kShunt...).
int32_t tm_info_shunt_read();
// Sets and reads back, up to 30 rounds; true when the state read back is the one wanted.
bool tm_info_shunt_set_and_check(int32_t state);

// ---- Filter ------------------------------------------------------------------------------

// The filter index for a cut-off frequency (Hz); 0 gives the family's "no filter" index.
int32_t tm_info_filter_index(double frequency, int32_t session);
// The frequency of a filter index, -1 when none is known. A fractional index interpolates.
double tm_info_filter_frequency(double index, int32_t session);
// The settling ratio of filter index i in column k (1 to 5); 1.0E+9 beyond index 16, 0 for
// an index or column outside the table. Columns 2 and 4 are held; of the others only their
// first entry (1) is known, the rest give 0.
double tm_info_settling_ratio(int32_t i, int32_t k);
// Sets the filter for `frequency` and returns the frequency then read back.
double tm_info_filter_set(double frequency, int32_t session);
// The filter frequency now.
double tm_info_filter_read(int32_t session);
// Saves the filter now on a stack of 21 and sets `frequency`; returns the frequency read
// back. Pop sets the last one saved and returns it read back; an empty stack gives 0.
double tm_info_filter_push(double frequency);
double tm_info_filter_pop();
int32_t tm_info_filter_depth();
// Sets or clears the averaging bit of the family's configuration word ("MF" bit 3 on RDX,
// "UCB" bit 7 on KST, "RA" bit 2 on KSVM); other families have none. False when the write
// failed.
bool tm_info_filter_averaging(bool on, int32_t session);

// ---- Tare and peaks ----------------------------------------------------------------------

// The tare in lbf-in.
double tm_info_tare_read(int32_t session);
// Clears the instrument's peak values; false when a write failed.
bool tm_info_maxmin_reset(int32_t session);
// The peak values in lbf-in; left untouched when the reply is not two numbers.
void tm_info_maxmin_read(double& max, double& min);

// ---- Power -------------------------------------------------------------------------------

// lbf-in per horsepower for a KST with a speed and a power channel and its "PS" bit set
// (0 otherwise); with `write` the factor is stored in the instrument as "CF3B".
double tm_info_power_lbfin_per_hp(bool write);

// Forgets the filter stack (tests begin with it).
void tm_info_measure_reset_state();

}  // namespace ovn
