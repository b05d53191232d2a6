#pragma once
// The instrument's own password, and the dialog `frm_password` with which the operator
// gives a password (or the technician phrase).
//
// The instrument keeps the password and checks it: "PS" answers "1" while protection is
// on and "0" while it is off; the program keeps a copy of nothing and only reports a
// refusal. The dialog is a model: a toolkit renders it and turns typing and clicks into
// the calls below (Operator::show_password); tests drive the same calls.

#include <array>
#include <string>

namespace ovn {

// The two modes, named as the callers name them.
inline constexpr const char* kPasswordEnter = "Enter Password";
inline constexpr const char* kPasswordChange = "Change Password";

struct PasswordField {
  std::string label;
  std::string text;
  bool visible = true;
  bool masked = false;  // typed characters show as "*"
};

struct FrmPassword {
  std::string caption;  // the mode: "Enter Password" or "Change Password"
  std::string prompt;   // the caller's words above the fields; empty: none
  // "Enter password" alone, or "Current password", "New password", "Retype New password".
  std::array<PasswordField, 3> txt;
  std::string btn_ok = "O&k";
  std::string btn_cancel = "&Cancel";
  bool change = false;    // "Change Password" mode
  bool visible = false;   // false once closed
  bool accepted = false;  // closed with O&k
};

// Sets the form up for `mode` (kPasswordEnter or kPasswordChange; anything else is taken
// as Enter) and shows it.
void frm_password_load(FrmPassword& form, const std::string& mode, const std::string& prompt);
// O&k. In change mode the new passwords must agree and have 3 characters at least;
// otherwise the operator is told why and asked "Do you want to choose a new password?":
// Yes clears the fields and the form stays, No closes it as a cancel.
void frm_password_ok_click(FrmPassword& form);
void frm_password_cancel_click(FrmPassword& form);

// Runs `frm_password` through the operator. The text given (in change mode the current
// password), or "" on cancel.
std::string password_ask(const std::string& mode, const std::string& prompt);
// The new password of the last accepted change-mode dialog; "" otherwise.
const std::string& password_new();

// The first character from code 33 up to 95 found in neither text; '\0' when every one of
// them is used.
char password_separator(const std::string& a, const std::string& b);

// Turns the instrument's password protection on or off (the opposite of "PS"), asking for
// the password. True when the instrument answered "OK"; Cancel sends nothing.
bool password_protect_toggle();
// Changes the instrument's password: the dialog in change mode, unlocking first when the
// instrument is locked, then "PC" with a separator found in neither password. True when the
// instrument took the new password.
bool password_change();

}  // namespace ovn
