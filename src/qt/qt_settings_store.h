#pragma once
// The settings store of the running program: one INI file per application name
// ("KST.ini", "OVN-Shared.ini", ...) in the user's config folder, or in the folder named
// by OVN_CONFIG_DIR, so that tests and demos never touch a user's real settings.

#include <QSettings>
#include <map>
#include <memory>

#include "foundation/platform.h"

namespace ovn::qt {

class QtSettingsStore final : public SettingsStore {
 public:
  // `folder` empty: OVN_CONFIG_DIR if set, else <config folder>/ovn-kst.
  explicit QtSettingsStore(const QString& folder = QString());
  std::optional<std::string> get(const std::string& app, const std::string& section,
                                 const std::string& key) override;
  void put(const std::string& app, const std::string& section, const std::string& key,
           const std::string& value) override;
  void remove_key(const std::string& app, const std::string& section,
                  const std::string& key) override;
  void remove_section(const std::string& app, const std::string& section) override;

  const QString& folder() const { return folder_; }
  static QString default_folder();
  // The folder of the debug log, made when missing: OVN_DATA_DIR if set, else
  // OVN_CONFIG_DIR, else the user's data folder, so that a test or demo run keeps its log
  // beside its own files.
  static QString log_folder();

 private:
  QSettings& file(const std::string& app);
  QString folder_;
  std::map<std::string, std::unique_ptr<QSettings>> files_;
};

}  // namespace ovn::qt
