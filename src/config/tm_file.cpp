#include "config/tm_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "build_info.h"
#include "config/catalogue.h"
#include "foundation/debug_log.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/settings.h"
#include "foundation/version_notice.h"

namespace ovn {

namespace {

constexpr int kMaxItems = 301;
const std::string kCrLf = "\r\n";
const char* const kDirSection = "Directories";
const char* const kDirKey = "Configuration Directory";

struct TmFile {
  std::string held;
};
TmFile& state() {
  static TmFile s;
  return s;
}

std::string env(const char* name) {
  const char* v = std::getenv(name);
  return v ? v : "";
}

bool is_dir(const std::string& path) {
  std::error_code ec;
  return !path.empty() && std::filesystem::is_directory(path, ec);
}

// Writes all of `text` to `file`, flushes it and closes it; false at the
// first error (the file is closed in every case).
}  // namespace

std::string tm_info_config_read(const ConfigInstrument& instrument) {
  debug_log("Downloading Configuration...");
  std::string catalogue = tm_info_catalogue(instrument.tm_type, instrument.version1);
  std::string body;
  if (!catalogue.empty()) {
    std::vector<std::string> items = kw_split(catalogue, "|");
    if (items.size() > kMaxItems) items.resize(kMaxItems);
    for (const auto& item : items) body += tm_info_catalogue_item(item);
  }
  state().held = body;
  debug_log("Downloading Configuration done");
  return body;
}

const std::string& tm_info_config_held() {
  return state().held;
}
void tm_info_config_set_held(const std::string& body) {
  state().held = body;
}

std::string tm_info_config_header(const ConfigInstrument& instrument) {
  std::string ratio;
  if (instrument.uvpv_per_raw != 0) ratio = kw_eng_format(1.0 / instrument.uvpv_per_raw);
  return "# " + instrument.tm_name + " Configuration File" + kCrLf + "# " + build::program_name +
         " Version:" + kw_version_text() + kCrLf + "# Firmware:" + instrument.firmware +
         "  RawRotor / uV/V = " + ratio + kCrLf + "# UID:" + instrument.uid + kCrLf + "# " +
         kw_format_time(kw_now(), "yyyy-MM-dd hh:mm:ss") + kCrLf;
}

bool tm_info_config_save(const std::string& path, const ConfigInstrument& instrument) {
  const std::string temp = path + ".saving";
  // An unwritable folder is found before the download, which takes a while...
  std::FILE* probe = std::fopen(temp.c_str(), "wb");
  if (!probe) return false;
  std::fclose(probe);
  std::remove(temp.c_str());
  // ...and should the download end the process (the operator's Abort), nothing is left.
  std::string text = tm_info_config_read(instrument);
  text = tm_info_config_header(instrument) + text;
  return kw_file_replace(path, text);
}

std::string tm_file_default_name(const std::string& name) {
  return kw_translate(name, "\\/:*?<>|", "________", false);
}

std::string tm_file_start_folder() {
  std::string folder = kw_setting_get(kSharedApp, kDirSection, kDirKey, "");
  if (folder.empty()) folder = env("APPDATA");
  if (folder.empty()) folder = kw_documents_dir();
  if (!is_dir(folder)) folder = env("TMP");
  if (!is_dir(folder)) folder = "/tmp";
  return folder;
}

bool tm_file_choose(const std::string& title, bool save, const ConfigInstrument& instrument,
                    std::string& path) {
  FileDialogRequest request;
  request.save = save;
  request.title = title;
  request.filters = {{"Configurations for " + instrument.tm_name, "*" + instrument.file_extension}};
  request.folder = tm_file_start_folder();
  request.file_name = tm_file_default_name(instrument.file_name);
  FileDialogResult result = file_dialog(request);
  if (!result.error.empty()) {
    gib(result.error, "OK", 0, title, "Courier New", 0, 8);
    return false;
  }
  if (!result.chosen) return false;
  path = result.path;
  kw_setting_put(kSharedApp, kDirSection, kDirKey,
                 std::filesystem::path(path).parent_path().string());
  return true;
}

bool tm_file_choose_save(const std::string& title, const ConfigInstrument& instrument,
                         std::string& path) {
  return tm_file_choose(title, true, instrument, path);
}

bool tm_file_choose_open(const std::string& title, const ConfigInstrument& instrument,
                         std::string& path) {
  return tm_file_choose(title, false, instrument, path);
}

std::string tm_file_auto_save(const ConfigInstrument& instrument) {
  if (!tm_info_is_family(instrument.tm_type)) return "";
  const std::string folder = kw_documents_dir() + "/OVN-Configurations";
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  std::string name = tm_file_default_name(instrument.file_name);
  const std::string& ext = instrument.file_extension;
  if (!ext.empty() && name.size() >= ext.size() &&
      name.compare(name.size() - ext.size(), ext.size(), ext) == 0)
    name.resize(name.size() - ext.size());
  if (name.empty()) name = instrument.tm_name;
  const std::string path =
      folder + "/" + name + "_" + kw_format_time(kw_now(), "yyyyMMdd-hhmmss") + ext;
  return tm_info_config_save(path, instrument) ? path : "";
}

}  // namespace ovn
