#pragma once
// The save options dialog ("Save Data Options"): where data files go, their base name,
// the save rate and the modes. The dialog is a model: the toolkit renders these controls
// and turns edits and clicks into the calls below; tests drive the same calls.
//
// Rules: "Event Save" greys the save rate; "Save data when IM2 is on" greys the rate and
// "Event Save". OK validates the rate ("Save Rate must be numeric", "Save Rate must be
// positive"; 0 is allowed) and the directory (`Unable to write to directory "<dir>"`,
// answered "Choose another directory", which opens the file dialog), then stores the
// settings and closes. Cancel closes without storing.

#include <functional>
#include <string>

namespace ovn {

struct FormText {
  std::string text;
  bool enabled = true;
};
struct FormLabel {
  std::string caption;
};
struct FormCheck {
  std::string caption;
  bool value = false;
  bool enabled = true;
};
struct FormButton {
  std::string caption;
  bool enabled = true;
};

struct FrmDataDir {
  std::string caption;
  FormText txt_save_rate;
  FormLabel lb_save_rate;
  FormCheck cb_event_save;
  FormCheck cb_logic_io;
  FormCheck cb_specify;
  FormCheck cb_analysis;  // the analysis form of the file (data_dir.h)
  FormButton btn_fn;
  FormButton btn_exit;
  FormButton btn_cancel;
  FormLabel lb_desc;
  // The folder and base name chosen so far (btn_fn changes them).
  std::string dir;
  std::string basename;
  bool visible = false;  // false once OK succeeded or Cancel was pressed
  bool stored = false;   // OK stored the settings
};

// Fills the form from the data_dir settings (dtdr_init must have run) and shows it.
void frm_data_dir_load(FrmDataDir& form);
// After any edit of a control's value: greys what the check boxes rule out, and renews
// the description.
void frm_data_dir_changed(FrmDataDir& form);
// The file dialog ("Save data in file "); the chosen path gives the folder and base name.
void frm_data_dir_btn_fn_click(FrmDataDir& form);
void frm_data_dir_btn_exit_click(FrmDataDir& form);
void frm_data_dir_btn_cancel_click(FrmDataDir& form);

// The base name a chosen path stands for: the file name without its extension and
// without a counter field behind it ("KST.0007.csv" and "KST.000.cvs" give "KST").
std::string frm_data_dir_base_of(const std::string& file_name);

// Shows the dialog modally through the installed runner. True when the operator stored
// new settings. The runner renders the form and returns when form.visible is false.
using FrmDataDirRunner = std::function<void(FrmDataDir& form)>;
void set_frm_data_dir_runner(FrmDataDirRunner runner);
bool frm_data_dir_has_runner();
bool frm_data_dir_show();

}  // namespace ovn
