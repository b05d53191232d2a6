#pragma once
// The per-user settings, addressed by application, section and key (all strings; values
// are strings), over the installed settings store (platform.h).
//
// The rule by which every setting gets its default: kw_setting_seed reads a setting and,
// when nothing is stored yet, stores the default. So the first read of a setting creates
// it, and the operator can later find it in the store and change it.

#include <string>

namespace ovn {

// Names of the settings every program of the suite shares.
inline constexpr const char* kSharedApp = "OVN-Shared";
inline constexpr const char* kDirectoriesSection = "Directories";

// With all three names non-empty: the stored value, or `default_value` when none is
// stored. With any name empty: `default_value`. Never writes.
std::string kw_setting_get(const std::string& app, const std::string& section,
                           const std::string& key, const std::string& default_value);

// With all three names non-empty: stores `value`. Returns `value` in every case.
std::string kw_setting_put(const std::string& app, const std::string& section,
                           const std::string& key, const std::string& value);

// With an empty key: deletes the whole section (when application and section are
// non-empty). With a key: deletes it only when a non-empty value is stored; a stored empty
// string stays.
void kw_setting_delete(const std::string& app, const std::string& section, const std::string& key);

// The stored value; when nothing is stored yet, or `force` is set, `default_value` is
// stored and returned. A stored empty string is a value and is returned as such.
std::string kw_setting_seed(const std::string& app, const std::string& section,
                            const std::string& key, const std::string& default_value,
                            bool force = false);

}  // namespace ovn
