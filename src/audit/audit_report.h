#pragma once
// What the configuration audit leaves behind: the report page that is filed with the
// instrument, and the comparison with a configuration saved earlier.

#include <string>

namespace ovn {

// The audit of the checkit report (its failures and passes) as one self-contained HTML
// page: the instrument's identity and firmware, the date and time with the time zone, the
// program's version, then the failures and the passes with their sections and indentation.
// Failures carry the word "FAIL" and a bar, so they stand out printed in black and white.
std::string audit_report_html();
// Writes audit_report_html() to `path` (all or nothing). False when it could not be
// written; the operator has then been told.
bool audit_report_write(const std::string& path);
// Asks for a file (the failure box's "Save report...") and writes the page there.
void audit_report_save_dialog();

// Compares the configuration the instrument holds now with the configuration file at
// `path` (a file saved earlier for the same family): under a section "Changed since
// <file name>" one failure per value that differs, with the old and the new value, and
// one per parameter found on one side only. A file that cannot be read is a failure
// sentence too. Reads the instrument only. Call between the audit and ck_finish, or after
// the audit (the section is added to the texts).
void audit_baseline(const std::string& path);

}  // namespace ovn
