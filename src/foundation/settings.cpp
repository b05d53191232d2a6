#include "foundation/settings.h"

#include "foundation/platform.h"

namespace ovn {

namespace {
// Read as the default by kw_setting_seed: a text no real setting holds, so getting it back
// means "nothing stored". The store itself cannot tell us, since get() returns a default.
constexpr const char* kNotStored =
    "not default value for anything"
    "qZkVbXwTrPmJhYdLcNfGsKaUeOiWzQxRvBtMnHjPlDgFsAkCyEuIoWqZrXtVbNmLkJhGfDsApOiUyTrEwQ";

bool named(const std::string& app, const std::string& section, const std::string& key) {
  return !app.empty() && !section.empty() && !key.empty();
}
}  // namespace

std::string kw_setting_get(const std::string& app, const std::string& section,
                           const std::string& key, const std::string& default_value) {
  if (!named(app, section, key)) return default_value;
  return settings_store().get(app, section, key).value_or(default_value);
}

std::string kw_setting_put(const std::string& app, const std::string& section,
                           const std::string& key, const std::string& value) {
  if (named(app, section, key)) settings_store().put(app, section, key, value);
  return value;
}

void kw_setting_delete(const std::string& app, const std::string& section, const std::string& key) {
  if (app.empty() || section.empty()) return;
  if (key.empty()) {
    settings_store().remove_section(app, section);
  } else if (!kw_setting_get(app, section, key, "").empty()) {
    settings_store().remove_key(app, section, key);
  }
}

std::string kw_setting_seed(const std::string& app, const std::string& section,
                            const std::string& key, const std::string& default_value, bool force) {
  std::string value = kw_setting_get(app, section, key, kNotStored);
  if (force || value == kNotStored) return kw_setting_put(app, section, key, default_value);
  return value;
}

}  // namespace ovn
