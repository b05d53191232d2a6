#include "support/scripted_operator.h"

#include <algorithm>

#include "foundation/platform.h"
#include "instrument/password.h"
#include "link/selcom.h"

namespace ovn::test {

namespace {

std::string join_lines(const std::vector<std::string>& lines) {
  std::string out;
  for (size_t i = 0; i < lines.size(); ++i) out += (i ? "\r\n" : "") + lines[i];
  return out;
}

std::vector<std::string> captions_of(const GibButtonList& list) {
  std::vector<std::string> out;
  for (const GibButton& b : list.buttons) out.push_back(b.caption);
  return out;
}

std::vector<std::string> msg_captions(MsgButtons buttons) {
  switch (buttons) {
    case MsgButtons::Ok:
      return {"OK"};
    case MsgButtons::OkCancel:
      return {"OK", "Cancel"};
    case MsgButtons::YesNo:
      return {"Yes", "No"};
    case MsgButtons::YesNoCancel:
      return {"Yes", "No", "Cancel"};
    case MsgButtons::RetryCancel:
      return {"Retry", "Cancel"};
  }
  return {};
}

const char* const kMsgAnswerCaptions[] = {"OK", "Cancel", "Yes", "No", "Retry"};

// Fails the test when `answer` names no button of a box that has buttons. (A box with none
// ends only by its window closing or by the caller; any answer stands for that.)
void check_button(int answer, const GibButtonList& list, const std::string& list_text) {
  int count = static_cast<int>(list.buttons.size());
  if (count > 0 && (answer < 0 || answer >= count))
    ADD_FAILURE() << "button " << answer << " does not exist in \"" << list_text << "\"";
}

}  // namespace

const char* box_kind_name(BoxKind kind) {
  // In the order of BoxKind.
  static const char* const kNames[] = {
      "gib",         "gibcb",       "display_data",  "user_input",          "input box",
      "message box", "file dialog", "colour dialog", "port selection form", "password dialog",
      "grid form"};
  return kNames[static_cast<int>(kind)];
}

ScriptedOperator::ScriptedOperator() : previous_(current_operator()) {
  set_operator(this);
}

ScriptedOperator::~ScriptedOperator() {
  if (current_operator() == this) set_operator(previous_);
  if (!check_at_end) return;
  for (const Expectation& e : queue_)
    ADD_FAILURE() << "the operator expected a " << box_kind_name(e.kind) << " matching \""
                  << e.pattern << "\" that never came";
}

// ---- queueing --------------------------------------------------------------------------

void ScriptedOperator::expect_gib(const std::string& pattern, int button) {
  queue_.push_back({.kind = BoxKind::Gib, .pattern = pattern, .answer = button});
}

void ScriptedOperator::expect_gib(const std::string& pattern, const std::string& caption) {
  queue_.push_back({.kind = BoxKind::Gib, .pattern = pattern, .caption = caption});
}

void ScriptedOperator::expect_msg_box(const std::string& pattern, MsgAnswer answer) {
  queue_.push_back(
      {.kind = BoxKind::MsgBox, .pattern = pattern, .answer = static_cast<int>(answer)});
}

void ScriptedOperator::expect_gibcb(const std::string& pattern, int button,
                                    std::vector<int> toggles) {
  queue_.push_back({.kind = BoxKind::Gibcb,
                    .pattern = pattern,
                    .answer = button,
                    .toggles = std::move(toggles)});
}

void ScriptedOperator::expect_display_data(const std::string& pattern, std::vector<Press> presses) {
  queue_.push_back(
      {.kind = BoxKind::DisplayData, .pattern = pattern, .presses = std::move(presses)});
}

void ScriptedOperator::expect_display_data(const std::string& pattern, int code) {
  expect_display_data(pattern, std::vector<Press>{{code, std::nullopt}});
}

void ScriptedOperator::expect_user_input(const std::string& pattern, bool accept,
                                         std::map<int, std::string> typed) {
  queue_.push_back({.kind = BoxKind::UserInput,
                    .pattern = pattern,
                    .answer = accept ? 1 : 0,
                    .typed = std::move(typed)});
}

void ScriptedOperator::expect_input_box(const std::string& pattern,
                                        std::optional<std::string> answer) {
  queue_.push_back({.kind = BoxKind::InputBox, .pattern = pattern, .text = std::move(answer)});
}

void ScriptedOperator::expect_file_dialog(const std::string& pattern,
                                          std::optional<std::string> path,
                                          const std::string& error) {
  queue_.push_back(
      {.kind = BoxKind::FileDialog, .pattern = pattern, .text = std::move(path), .error = error});
}

void ScriptedOperator::expect_color_dialog(std::optional<int32_t> color) {
  queue_.push_back({.kind = BoxKind::ColorDialog, .color = color});
}

void ScriptedOperator::expect_selcom(const std::string& pattern, SelcomChoice choice,
                                     std::function<void(FrmSelcom&)> act) {
  queue_.push_back({.kind = BoxKind::Selcom,
                    .pattern = pattern,
                    .answer = static_cast<int>(choice),
                    .act = std::move(act)});
}

void ScriptedOperator::expect_password(const std::string& pattern,
                                       std::vector<std::vector<std::string>> attempts) {
  queue_.push_back(
      {.kind = BoxKind::Password, .pattern = pattern, .attempts = std::move(attempts)});
}

// ---- matching --------------------------------------------------------------------------

std::optional<ScriptedOperator::Expectation> ScriptedOperator::take(Shown box) {
  std::string why;
  if (queue_.empty()) {
    why = "nothing more was expected";
  } else {
    const Expectation& head = queue_.front();
    bool kind_ok = head.kind == box.kind;
    bool text_ok = box.text.find(head.pattern) != std::string::npos ||
                   box.title.find(head.pattern) != std::string::npos;
    if (kind_ok && text_ok) {
      Expectation e = head;
      queue_.pop_front();
      shown.push_back(std::move(box));
      return e;
    }
    why = std::string("expected a ") + box_kind_name(head.kind) + " matching \"" + head.pattern +
          "\"";
  }
  ADD_FAILURE() << "unexpected " << box_kind_name(box.kind) << " \"" << box.text << "\" (title \""
                << box.title << "\"); " << why;
  box.expected = false;
  shown.push_back(std::move(box));
  return std::nullopt;
}

const Shown& ScriptedOperator::last() const {
  static const Shown none;
  if (shown.empty()) {
    ADD_FAILURE() << "no box was shown";
    return none;
  }
  return shown.back();
}

std::vector<std::string> ScriptedOperator::texts() const {
  std::vector<std::string> out;
  for (const Shown& s : shown) out.push_back(s.text);
  return out;
}

// ---- the services ----------------------------------------------------------------------

int ScriptedOperator::show_gib(const GibBox& box) {
  Shown s{.kind = BoxKind::Gib,
          .text = box.text,
          .title = box.title,
          .buttons = captions_of(box.buttons),
          .flags = box.flags,
          .font = box.font,
          .gib = box};
  size_t at = shown.size();
  if (box.non_modal() && box.button_list == "Stop") {
    if (!stop_on_progress.empty() && box.text.find(stop_on_progress) != std::string::npos)
      stop_pressed = true;
    shown.push_back(std::move(s));
    ++progress_shown;
    box_open = true;
    box_title = box.title;
    return -1;
  }
  std::optional<Expectation> e = take(std::move(s));
  if (box.non_modal()) {
    box_open = true;
    box_title = box.title;
  }
  int answer = gib_cautious_choice(box.buttons);
  if (box.ticks > 0) {
    // A timed box closes by itself after its count-down, whatever was queued.
    if (e && (e->answer != 0 || !e->caption.empty()))
      ADD_FAILURE() << "a timed box always answers 0: \"" << box.text << "\"";
    // The count-down runs tick by tick with the event loop going, as on screen; only on a
    // virtual clock, so that a test without one does not really wait.
    if (dynamic_cast<VirtualClock*>(&clock()) != nullptr) {
      GibCountdown countdown = gmb_countdown_start(box.ticks);
      for (bool finished = false; !finished;) {
        yield_ms(102);
        GibTimerView view = gmb_countdown_fire(countdown, box.title, kw_now());
        shown[at].fields.push_back(view.title_line);
        finished = view.finished;
      }
    }
    answer = 0;
  } else if (e && !e->caption.empty()) {
    const std::vector<std::string>& captions = shown[at].buttons;
    auto it = std::find(captions.begin(), captions.end(), e->caption);
    if (it == captions.end())
      ADD_FAILURE() << "no button \"" << e->caption << "\" in \"" << box.button_list << "\"";
    else
      answer = static_cast<int>(it - captions.begin());
  } else if (e) {
    answer = e->answer;
    if (!box.non_modal()) check_button(answer, box.buttons, box.button_list);
  }
  shown[at].answer = answer;
  return answer;
}

int ScriptedOperator::non_modal_choice() {
  return box_open && stop_pressed ? 1 : -1;
}

void ScriptedOperator::close_gib() {
  box_open = false;
  ++box_closes;
}

void ScriptedOperator::set_gib_title(const std::string& title) {
  box_title = title;
}

int ScriptedOperator::show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) {
  std::vector<std::string> captions;
  for (size_t i = 0; i < request.settings.size(); ++i)
    captions.push_back(gibcb_caption(request.settings[i], checked[i]));
  Shown s{.kind = BoxKind::Gibcb,
          .text = join_lines(captions),
          .title = request.title,
          .buttons = captions_of(request.buttons),
          .flags = request.flags,
          .font = request.font};
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  int answer = gib_cautious_choice(request.buttons);
  if (e) {
    for (int i : e->toggles) {
      if (i < 0 || i >= static_cast<int>(checked.size()))
        ADD_FAILURE() << "no setting " << i << " to toggle";
      else
        checked[i] = !checked[i];
    }
    answer = e->answer;
    check_button(answer, request.buttons, request.button_list);
  }
  for (size_t i = 0; i < request.settings.size(); ++i)
    captions[i] = gibcb_caption(request.settings[i], checked[i]);
  shown[at].fields = captions;
  shown[at].answer = answer;
  return answer;
}

int ScriptedOperator::show_display_data(const DisplayDataRequest& request) {
  Shown s{.kind = BoxKind::DisplayData,
          .text = request.text,
          .title = request.title,
          .live = request.live_text ? request.live_text() : std::string(),
          .default_text = request.input_value};
  for (const DisplayDataButton& b : request.buttons) s.buttons.push_back(b.caption);
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  std::vector<Press> presses = e ? e->presses : std::vector<Press>{};
  std::string entry = request.input_value;
  for (const Press& p : presses) {
    if (p.typed) entry = *p.typed;
    auto offered = std::find_if(request.buttons.begin(), request.buttons.end(),
                                [&p](const DisplayDataButton& b) { return b.code == p.code; });
    if (offered == request.buttons.end()) {
      ADD_FAILURE() << "no button answers code " << p.code << " in \"" << request.text << "\"";
      continue;
    }
    if (request.press(p.code, entry)) {
      shown[at].answer = p.code;
      return p.code;
    }
  }
  if (e) ADD_FAILURE() << "every press was refused in \"" << request.text << "\"; cancelling";
  // Cancel is never refused, so the dialog ends here.
  request.press(4, entry);
  shown[at].answer = 4;
  return 4;
}

bool ScriptedOperator::show_user_input(const UserInputForm& form, std::vector<std::string>& typed) {
  std::vector<std::string> labels;
  for (const UserInputField& f : form.fields) labels.push_back(f.label);
  Shown s{.kind = BoxKind::UserInput,
          .text = join_lines(labels),
          .title = form.title,
          .buttons = {form.accept_caption, form.cancel_caption},
          .fields = typed,
          .form = form};
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  if (!e) return false;
  for (const auto& [index, text] : e->typed) {
    if (index < 0 || index >= static_cast<int>(typed.size()))
      ADD_FAILURE() << "no field " << index << " to type into in \"" << form.title << "\"";
    else
      typed[index] = text;
  }
  shown[at].answer = e->answer;
  return e->answer != 0;
}

std::optional<std::string> ScriptedOperator::show_input_box(const std::string& prompt,
                                                            const std::string& title,
                                                            const std::string& default_text) {
  Shown s{.kind = BoxKind::InputBox, .text = prompt, .title = title, .default_text = default_text};
  std::optional<Expectation> e = take(std::move(s));
  if (!e) return std::nullopt;
  return e->text;
}

MsgAnswer ScriptedOperator::show_msg_box(const std::string& text, MsgButtons buttons,
                                         const std::string& title) {
  Shown s{.kind = BoxKind::MsgBox, .text = text, .title = title, .buttons = msg_captions(buttons)};
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  MsgAnswer answer;
  if (e) {
    answer = static_cast<MsgAnswer>(e->answer);
    const std::vector<std::string>& offered = shown[at].buttons;
    const char* caption = kMsgAnswerCaptions[e->answer];
    if (std::find(offered.begin(), offered.end(), caption) == offered.end())
      ADD_FAILURE() << "the answer " << caption << " is not offered by \"" << text << "\"";
  } else {
    answer = msg_cautious_answer(buttons);
  }
  shown[at].answer = static_cast<int>(answer);
  return answer;
}

FileDialogResult ScriptedOperator::show_file_dialog(const FileDialogRequest& request) {
  Shown s{.kind = BoxKind::FileDialog,
          .text = request.filters.empty() ? std::string() : request.filters[0].description,
          .title = request.title,
          .default_text = request.file_name,
          .file = request};
  std::optional<Expectation> e = take(std::move(s));
  FileDialogResult result;
  if (!e) return result;
  result.error = e->error;
  if (e->error.empty() && e->text) {
    result.chosen = true;
    result.path = *e->text;
  }
  return result;
}

std::optional<int32_t> ScriptedOperator::show_color_dialog(int32_t color) {
  Shown s{.kind = BoxKind::ColorDialog, .default_text = std::to_string(color)};
  std::optional<Expectation> e = take(std::move(s));
  return e ? e->color : std::nullopt;
}

bool ScriptedOperator::active_window_title(std::string& title) {
  if (!window_active) return false;
  title = window_title;
  return true;
}

void ScriptedOperator::set_active_window_title(const std::string& title) {
  if (window_active) window_title = title;
}

void ScriptedOperator::flash_active_window() {
  ++flashes;
}

SelcomChoice ScriptedOperator::show_selcom(FrmSelcom& form) {
  Shown s{.kind = BoxKind::Selcom,
          .text = form.lb_info.caption,
          .title = form.caption,
          .buttons = {form.btn_retry.caption, form.btn_abort.caption},
          .fields = form.ls_comport.items};
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  // Nobody expected it: Abort, which a test sees as the process ending.
  SelcomChoice choice = e ? static_cast<SelcomChoice>(e->answer) : SelcomChoice::Abort;
  if (e && e->act) e->act(form);
  shown[at].answer = static_cast<int>(choice);
  return choice;
}

bool ScriptedOperator::show_password(FrmPassword& form) {
  Shown s{.kind = BoxKind::Password,
          .text = form.prompt,
          .title = form.caption,
          .buttons = {form.btn_ok, form.btn_cancel}};
  for (const PasswordField& t : form.txt)
    if (t.visible) s.fields.push_back(t.label);
  size_t at = shown.size();
  std::optional<Expectation> e = take(std::move(s));
  if (e) {
    for (const std::vector<std::string>& texts : e->attempts) {
      if (!form.visible) break;
      size_t i = 0;
      for (PasswordField& t : form.txt)
        if (t.visible && i < texts.size()) t.text = texts[i++];
      frm_password_ok_click(form);
    }
  }
  if (form.visible) frm_password_cancel_click(form);
  shown[at].answer = form.accepted ? 1 : 0;
  return form.accepted;
}

void ScriptedOperator::expect_grid(const std::string& pattern, std::function<int(GridForm&)> act) {
  queue_.push_back({.kind = BoxKind::Grid, .pattern = pattern, .grid = std::move(act)});
}

int ScriptedOperator::show_grid(GridForm& form) {
  const std::vector<std::string> captions = [&form] {
    std::vector<std::string> out;
    for (const GibButton& b : gmb_parse_buttons(form.buttons).buttons) out.push_back(b.caption);
    return out;
  }();
  for (;;) {
    Shown s{.kind = BoxKind::Grid,
            .text = grid_form_text(form),
            .title = form.title,
            .buttons = captions};
    const size_t at = shown.size();
    std::optional<Expectation> e = take(std::move(s));
    const int b =
        e && e->grid ? e->grid(form) : gib_cautious_choice(gmb_parse_buttons(form.buttons));
    shown[at].answer = b;
    if (!form.close || form.close(b) || !e) return b;
  }
}

}  // namespace ovn::test
