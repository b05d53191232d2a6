#include "qt/qt_settings_store.h"

#include <QDir>
#include <QStandardPaths>

#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

namespace {
QString path_key(const std::string& section, const std::string& key) {
  return latin1(section) + "/" + latin1(key);
}
}  // namespace

QString QtSettingsStore::default_folder() {
  QByteArray env = qgetenv("OVN_CONFIG_DIR");
  if (!env.isEmpty()) return QString::fromLocal8Bit(env);
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/ovn-kst";
}

QString QtSettingsStore::log_folder() {
  QString folder;
  for (const char* name : {"OVN_DATA_DIR", "OVN_CONFIG_DIR"}) {
    if (folder.isEmpty()) folder = QString::fromLocal8Bit(qgetenv(name));
  }
  if (folder.isEmpty())
    folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
  QDir().mkpath(folder);
  return folder;
}

QtSettingsStore::QtSettingsStore(const QString& folder)
    : folder_(folder.isEmpty() ? default_folder() : folder) {
  QDir().mkpath(folder_);
}

QSettings& QtSettingsStore::file(const std::string& app) {
  auto& f = files_[app];
  if (!f)
    f = std::make_unique<QSettings>(folder_ + "/" + latin1(app) + ".ini", QSettings::IniFormat);
  return *f;
}

std::optional<std::string> QtSettingsStore::get(const std::string& app, const std::string& section,
                                                const std::string& key) {
  QVariant v = file(app).value(path_key(section, key));
  if (!v.isValid()) return std::nullopt;
  return latin1(v.toString());
}

void QtSettingsStore::put(const std::string& app, const std::string& section,
                          const std::string& key, const std::string& value) {
  auto& f = file(app);
  f.setValue(path_key(section, key), latin1(value));
  f.sync();  // a setting written is on disk even if the process ends abruptly
}

void QtSettingsStore::remove_key(const std::string& app, const std::string& section,
                                 const std::string& key) {
  auto& f = file(app);
  f.remove(path_key(section, key));
  f.sync();
}

void QtSettingsStore::remove_section(const std::string& app, const std::string& section) {
  auto& f = file(app);
  f.remove(latin1(section));
  f.sync();
}

}  // namespace ovn::qt
