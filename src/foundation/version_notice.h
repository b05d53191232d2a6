#pragma once
// The notice that a different version of the program stands in the site's release
// folder, so that a technician does not go on with an outdated copy unawares.

#include <string>

namespace ovn {

// The running version as "<major>.<minor>.<patch>" (from the build).
std::string kw_version_text();

// Compares the running version with the release folder and returns the notice text
// (lines joined by CR LF), or an empty text when there is nothing to say. The caller shows
// a non-empty text with the buttons "Yes|No"; No ends the program.
//
// Nothing is checked when the command line holds "-nonewversioncheck" or the environment
// variable OVN_NO_NEW_VERSION_CHECK is not empty. The folders to try are the setting
// "Newer-Version-Directory" (section "Directories", application "OVN-Shared"): candidates
// joined by "?", tried in order. Its default is empty: nothing is checked until a site
// stores its release folder there. For a candidate, "<candidate>/<program_name>" (and
// "/latest" behind it when the path holds "ovn-software") must hold a file whose name
// begins with "version", such as "version2.3"; "\" in the setting is read as "/". The
// first candidate holding one answers and is stored back as the setting.
std::string kw_version_notice(const std::string& program_name);

}  // namespace ovn
