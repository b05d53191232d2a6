#include "instrument/password.h"

#include "foundation/operator.h"
#include "foundation/platform.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char* const kCrLf = "\r\n";

struct PasswordModule {
  std::string fresh;  // the new password of the last change
};
PasswordModule g_password;

// Told the operator why the new password is refused; true when he wants to try again.
bool lf_try_again(FrmPassword& form, const std::string& why) {
  msg_box(why, MsgButtons::Ok, form.caption);
  if (msg_box("Do you want to choose a new password?", MsgButtons::YesNo, form.caption) ==
      MsgAnswer::Yes) {
    for (PasswordField& t : form.txt) t.text.clear();
    return true;
  }
  frm_password_cancel_click(form);
  return false;
}

void lf_tell(const std::string& text) {
  gib(text, "OK", kGibWarning, kPasswordChange);
}

}  // namespace

void frm_password_load(FrmPassword& form, const std::string& mode, const std::string& prompt) {
  form = FrmPassword{};
  form.change = mode == kPasswordChange;
  form.caption = form.change ? kPasswordChange : kPasswordEnter;
  form.prompt = prompt;
  if (form.change) {
    form.txt[0].label = "Current password";
    form.txt[1].label = "New password";
    form.txt[2].label = "Retype New password";
  } else {
    form.txt[0].label = "Enter password";
    form.txt[0].masked = true;
    form.txt[1].visible = form.txt[2].visible = false;
  }
  form.visible = true;
}

void frm_password_ok_click(FrmPassword& form) {
  if (form.change) {
    const std::string& fresh = form.txt[1].text;
    if (fresh != form.txt[2].text) {
      lf_try_again(form,
                   std::string("Passwords are not the same!") + kCrLf + "NOT changing password");
      return;
    }
    if (fresh.size() < 3) {
      lf_try_again(form, "Password should be 3 characters minimum");
      return;
    }
  }
  form.accepted = true;
  form.visible = false;
}

void frm_password_cancel_click(FrmPassword& form) {
  form.accepted = false;
  form.visible = false;
}

std::string password_ask(const std::string& mode, const std::string& prompt) {
  Operator* op = current_operator();
  if (op == nullptr) fatal_error("password_ask: no operator installed");
  FrmPassword form;
  frm_password_load(form, mode, prompt);
  g_password.fresh.clear();
  if (!op->show_password(form) || !form.accepted) return "";
  if (form.change) g_password.fresh = form.txt[1].text;
  return form.txt[0].text;
}

const std::string& password_new() {
  return g_password.fresh;
}

char password_separator(const std::string& a, const std::string& b) {
  for (int c = 33; c <= 95; ++c) {
    char s = static_cast<char>(c);
    if (a.find(s) == std::string::npos && b.find(s) == std::string::npos) return s;
  }
  return '\0';
}

bool password_protect_toggle() {
  bool locked = get_si16("PS") == 1;
  const char* next = locked ? "0" : "1";
  std::string password =
      password_ask(kPasswordEnter, locked ? "Enter Password to disable password protection"
                                          : "Enter Password to enable password protection");
  if (password.empty()) return false;
  if (get_reply("PS" + password + next) == "OK") return true;
  gib("Password Protection not changed!", "OK", kGibWarning, kPasswordEnter);
  return false;
}

bool password_change() {
  std::string old = password_ask(kPasswordChange, "");
  if (old.empty()) return false;
  // A copy: the module's entry may be asked for again before it is used.
  std::string fresh = password_new();  // NOLINT(performance-unnecessary-copy-initialization)
  if (get_si16("PS") == 1 && get_reply("PS0" + old) != "OK") {
    lf_tell("Unable to unlock torquemeter");
    return false;
  }
  char s = password_separator(old, fresh);
  if (s != '\0') {
    std::string sep(1, s);
    if (get_reply("PC" + sep + old + sep + fresh + sep + fresh) == "OK") return true;
  }
  lf_tell("Password Not changed!");
  return false;
}

}  // namespace ovn
