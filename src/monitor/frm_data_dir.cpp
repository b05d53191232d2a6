#include "monitor/frm_data_dir.h"

#include <cmath>
#include <utility>

#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "monitor/data_dir.h"

namespace ovn {

namespace {

FrmDataDirRunner& runner() {
  static FrmDataDirRunner r;
  return r;
}

void lf_warn(const FrmDataDir& form, const std::string& text, const std::string& buttons) {
  // Verbatim: a folder name may hold backslashes, which are not escapes here.
  gib(text, buttons, kGibWarning | kGibVerbatim, form.caption);
}

}  // namespace

void frm_data_dir_load(FrmDataDir& form) {
  DtdrSettings settings;
  if (!dtdr_get_settings(settings)) return;
  form.caption = "Save Data Options";
  form.txt_save_rate.text = kw_format(settings.rate, "");
  form.lb_save_rate.caption = "Seconds per sample (0 means as fast as possible)";
  form.cb_event_save = {"Event Save (1 slice when \"Save\" is pressed)", settings.event_save};
  form.cb_logic_io = {"Save data when IM2 is on (new file on rising edge)", settings.logic_io};
  form.cb_specify = {"Specify File Name", settings.specify};
  form.cb_analysis = {"Analysis CSV (UTF-8, heading first, every column in every row)",
                      settings.analysis};
  form.btn_fn.caption = "Directory and File Name...";
  form.btn_exit.caption = "OK";
  form.btn_cancel.caption = "Cancel";
  form.dir = settings.dir;
  form.basename = settings.basename;
  form.visible = true;
  form.stored = false;
  frm_data_dir_changed(form);
}

void frm_data_dir_changed(FrmDataDir& form) {
  form.cb_event_save.enabled = !form.cb_logic_io.value;
  form.txt_save_rate.enabled = !form.cb_logic_io.value && !form.cb_event_save.value;
  form.lb_desc.caption = "Data will be saved in a *.csv format in a file named like: " + form.dir +
                         "/" + form.basename + ".0000.csv\r\n" +
                         "These files can be easily imported into most spreadsheet programs "
                         "for further analysis.";
}

std::string frm_data_dir_base_of(const std::string& file_name) {
  std::string base = file_name.substr(file_name.find_last_of("/\\") + 1);
  auto cut_extension = [&base](bool digits_only) {
    size_t dot = base.rfind('.');
    if (dot == std::string::npos || dot == 0) return;
    std::string extension = base.substr(dot + 1);
    if (digits_only &&
        (extension.empty() || extension.find_first_not_of("0123456789") != std::string::npos)) {
      return;
    }
    base.erase(dot);
  };
  cut_extension(false);
  cut_extension(true);
  return base;
}

void frm_data_dir_btn_fn_click(FrmDataDir& form) {
  FileDialogRequest request;
  request.save = true;
  request.title = "Save data in file ";
  request.filters = {{"Data files (*.csv)", "*.csv"}, {"All files (*)", "*"}};
  request.folder = form.dir;
  request.file_name = form.basename + ".000.cvs";
  FileDialogResult answer = file_dialog(request);
  if (!answer.chosen) {
    if (!answer.error.empty()) lf_warn(form, answer.error, "OK");
    return;
  }
  size_t slash = answer.path.find_last_of("/\\");
  form.dir = slash == std::string::npos ? "." : slash == 0 ? "/" : answer.path.substr(0, slash);
  form.basename = frm_data_dir_base_of(answer.path);
  frm_data_dir_changed(form);
}

void frm_data_dir_btn_exit_click(FrmDataDir& form) {
  std::string rate_text = kw_justify(form.txt_save_rate.text, 0, " ");
  int stop = 0;
  double rate = kw_is_numeric(rate_text) ? kw_parse_double(rate_text, stop) : NAN;
  if (!std::isfinite(rate)) return lf_warn(form, "Save Rate must be numeric", "OK");
  if (rate < 0) return lf_warn(form, "Save Rate must be positive", "OK");
  if (!kw_dir_writable(form.dir)) {
    lf_warn(form, "Unable to write to directory \"" + form.dir + "\"", "Choose another directory");
    return frm_data_dir_btn_fn_click(form);
  }
  dtdr_put_settings({.dir = form.dir,
                     .rate = rate,
                     .event_save = form.cb_event_save.value,
                     .specify = form.cb_specify.value,
                     .logic_io = form.cb_logic_io.value,
                     .analysis = form.cb_analysis.value,
                     .basename = form.basename});
  // A new folder or name starts again at the first free number.
  dtdr_next_name(true);
  form.stored = true;
  form.visible = false;
}

void frm_data_dir_btn_cancel_click(FrmDataDir& form) {
  form.visible = false;
}

void set_frm_data_dir_runner(FrmDataDirRunner r) {
  runner() = std::move(r);
}
bool frm_data_dir_has_runner() {
  return static_cast<bool>(runner());
}

bool frm_data_dir_show() {
  if (!runner()) return false;
  FrmDataDir form;
  frm_data_dir_load(form);
  if (!form.visible) return false;
  runner()(form);
  return form.stored;
}

}  // namespace ovn
