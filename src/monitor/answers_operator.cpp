#include "monitor/answers_operator.h"

#include <filesystem>
#include <ostream>

#include "instrument/password.h"

namespace ovn {

namespace {

std::vector<std::string> lf_captions(const GibButtonList& list) {
  std::vector<std::string> out;
  for (const GibButton& b : list.buttons) out.push_back(b.caption);
  return out;
}

// The exchange's failure question: the failure policy answers it, never the script.
bool lf_failure_question(const GibButtonList& list) {
  std::vector<std::string> c = lf_captions(list);
  return c == std::vector<std::string>{"Abort", "Retry", "Skip"};
}

// What the operator did, as the log shows it: the typing lines, then the button.
std::string lf_render(const std::vector<Answer>& fills, const std::string& button,
                      bool secret = false) {
  std::string out;
  for (const Answer& a : fills) {
    std::string value = secret ? "***" : a.value;
    out += (a.kind == AnswerKind::Entry ? "=" + value : a.name + "=" + value) + ", ";
  }
  return out + answer_caption(button);
}

// The field a typing line fills: an entry fills the one field there is, a labelled line the
// field of its label. -1 when it fits none.
int lf_field_for(const Answer& a, const std::vector<std::string>& labels) {
  if (a.kind == AnswerKind::Entry) return labels.size() == 1 ? 0 : -1;
  return answer_pick(labels, a.name);
}

struct MsgChoice {
  const char* caption;
  MsgAnswer answer;
};

std::vector<MsgChoice> lf_msg_choices(MsgButtons buttons) {
  switch (buttons) {
    case MsgButtons::Ok:
      return {{"OK", MsgAnswer::Ok}};
    case MsgButtons::OkCancel:
      return {{"OK", MsgAnswer::Ok}, {"Cancel", MsgAnswer::Cancel}};
    case MsgButtons::YesNo:
      return {{"Yes", MsgAnswer::Yes}, {"No", MsgAnswer::No}};
    case MsgButtons::YesNoCancel:
      return {{"Yes", MsgAnswer::Yes}, {"No", MsgAnswer::No}, {"Cancel", MsgAnswer::Cancel}};
    case MsgButtons::RetryCancel:
      return {{"Retry", MsgAnswer::Retry}, {"Cancel", MsgAnswer::Cancel}};
  }
  return {};
}

}  // namespace

AnswersOperator::AnswersOperator(std::vector<Answer> answers, FailurePolicy policy,
                                 std::ostream& out, SimHold hold)
    : answers_(std::move(answers)), out_(out), hold_(std::move(hold)), cautious_(policy, out) {}

const Answer* AnswersOperator::peek() {
  while (next_ < answers_.size() && answers_[next_].kind == AnswerKind::Sim) {
    const Answer& a = answers_[next_++];
    if (!hold_) continue;
    hold_(a.quantity, a.number);
    out_ << "ovn-kst: " << a.text << "\n";
  }
  return next_ < answers_.size() ? &answers_[next_] : nullptr;
}

void AnswersOperator::reach_sim_lines() {
  peek();
}

void AnswersOperator::misfit(const Answer& a, const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) list += (i ? "|" : "") + answer_caption(names[i]);
  out_ << "ovn-kst: answer '" << a.text << "' fits none of: " << list << "\n";
  failed_ = true;
}

std::optional<AnswersOperator::Reply> AnswersOperator::take(
    const std::vector<std::string>& captions, bool typing) {
  Reply reply;
  for (;;) {
    const Answer* a = peek();
    if (a == nullptr) {
      out_ << "ovn-kst: ran out of answers\n";
      failed_ = true;
      return std::nullopt;
    }
    ++next_;
    if (a->kind == AnswerKind::Button) {
      reply.button = answer_pick(captions, a->name);
      if (reply.button >= 0) return reply;
    } else if (typing) {
      reply.fills.push_back(*a);
      continue;
    } else if (a->kind == AnswerKind::Field) {
      // A caption may hold "=" itself.
      reply.button = answer_pick(captions, a->text);
      if (reply.button >= 0) return reply;
    }
    misfit(*a, captions);
    return std::nullopt;
  }
}

int AnswersOperator::show_gib(const GibBox& box) {
  if (failed_ || box.non_modal() || box.ticks > 0 || box.buttons.buttons.empty() ||
      lf_failure_question(box.buttons))
    return cautious_.show_gib(box);
  std::vector<std::string> captions = lf_captions(box.buttons);
  std::optional<Reply> r = take(captions, false);
  if (!r) return cautious_.show_gib(box);
  headless_report(out_, box.title, box.text, captions[static_cast<size_t>(r->button)]);
  return r->button;
}

int AnswersOperator::show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) {
  if (failed_ || request.buttons.buttons.empty()) return cautious_.show_gibcb(request, checked);
  std::vector<std::string> captions = lf_captions(request.buttons);
  std::optional<Reply> r = take(captions, true);
  // A setting goes by either of its captions: names 2i and 2i+1 are setting i's.
  std::vector<std::string> names;
  for (const GibcbSetting& s : request.settings) {
    names.push_back(s.unchecked);
    names.push_back(s.checked);
  }
  std::vector<bool> set = checked;
  for (size_t k = 0; r && k < r->fills.size(); ++k) {
    const Answer& a = r->fills[k];
    int i = a.kind == AnswerKind::Field ? answer_pick(names, a.name) : -1;
    std::optional<bool> on = answer_on_off(a.value);
    if (i < 0 || !on) {
      misfit(a, i < 0 ? names : std::vector<std::string>{"on", "off"});
      r.reset();
      break;
    }
    set[static_cast<size_t>(i / 2)] = *on;
  }
  if (!r) return cautious_.show_gibcb(request, checked);
  // The box as it was shown; the answer says what changed.
  std::string text;
  for (size_t i = 0; i < request.settings.size() && i < checked.size(); ++i)
    text += gibcb_caption(request.settings[i], checked[i]) + "\n";
  checked = set;
  headless_report(out_, request.title, text,
                  lf_render(r->fills, captions[static_cast<size_t>(r->button)]));
  return r->button;
}

int AnswersOperator::show_display_data(const DisplayDataRequest& request) {
  std::vector<std::string> captions;
  for (const DisplayDataButton& b : request.buttons) captions.push_back(b.caption);
  bool typing = !request.input_label.empty();
  while (!failed_) {
    std::optional<Reply> r = take(captions, typing);
    if (!r) break;
    std::string typed = request.input_value;
    for (const Answer& a : r->fills) {
      if (lf_field_for(a, {request.input_label}) != 0) {
        misfit(a, {request.input_label});
        break;
      }
      typed = a.value;
    }
    if (failed_) break;
    const DisplayDataButton& b = request.buttons[static_cast<size_t>(r->button)];
    headless_report(out_, request.title, request.text, lf_render(r->fills, b.caption));
    // A refused press has told the operator why in a box of its own; the step asks again.
    if (request.press(b.code, typed)) return b.code;
  }
  return cautious_.show_display_data(request);
}

bool AnswersOperator::show_user_input(const UserInputForm& form, std::vector<std::string>& typed) {
  if (failed_) return cautious_.show_user_input(form, typed);
  std::vector<std::string> captions{form.accept_caption, form.cancel_caption};
  std::optional<Reply> r = take(captions, true);
  // Only the fields the operator can type into take a line.
  std::vector<std::string> labels;
  std::vector<size_t> index;
  for (size_t i = 0; i < form.fields.size(); ++i) {
    if (!form.fields[i].enabled) continue;
    labels.push_back(form.fields[i].label);
    index.push_back(i);
  }
  std::vector<std::string> filled = typed;
  for (size_t k = 0; r && k < r->fills.size(); ++k) {
    int f = lf_field_for(r->fills[k], labels);
    if (f < 0) {
      misfit(r->fills[k], labels);
      r.reset();
      break;
    }
    if (index[static_cast<size_t>(f)] < filled.size())
      filled[index[static_cast<size_t>(f)]] = r->fills[k].value;
  }
  if (!r) return cautious_.show_user_input(form, typed);
  typed = filled;
  headless_report(out_, form.title, headless_form_text(form, &typed),
                  lf_render(r->fills, captions[static_cast<size_t>(r->button)]));
  return r->button == 0;
}

std::optional<std::string> AnswersOperator::show_input_box(const std::string& prompt,
                                                           const std::string& title,
                                                           const std::string& default_text) {
  if (failed_) return cautious_.show_input_box(prompt, title, default_text);
  std::vector<std::string> captions{"OK", "Cancel"};
  std::optional<Reply> r = take(captions, true);
  std::string text = default_text;
  for (size_t k = 0; r && k < r->fills.size(); ++k) {
    if (r->fills[k].kind != AnswerKind::Entry) {
      misfit(r->fills[k], {"=TEXT"});
      r.reset();
      break;
    }
    text = r->fills[k].value;
  }
  if (!r) return cautious_.show_input_box(prompt, title, default_text);
  headless_report(out_, title, prompt,
                  lf_render(r->fills, captions[static_cast<size_t>(r->button)]));
  if (r->button != 0) return std::nullopt;
  return text;
}

MsgAnswer AnswersOperator::show_msg_box(const std::string& text, MsgButtons buttons,
                                        const std::string& title) {
  if (failed_ || buttons == MsgButtons::RetryCancel)
    return cautious_.show_msg_box(text, buttons, title);
  std::vector<MsgChoice> choices = lf_msg_choices(buttons);
  std::vector<std::string> captions;
  for (const MsgChoice& c : choices) captions.push_back(c.caption);
  std::optional<Reply> r = take(captions, false);
  if (!r) return cautious_.show_msg_box(text, buttons, title);
  const MsgChoice& c = choices[static_cast<size_t>(r->button)];
  headless_report(out_, title, text, c.caption);
  return c.answer;
}

FileDialogResult AnswersOperator::show_file_dialog(const FileDialogRequest& request) {
  if (failed_) return cautious_.show_file_dialog(request);
  std::vector<std::string> captions{request.save ? "Save" : "Open", "Cancel"};
  std::optional<Reply> r = take(captions, true);
  std::string path =
      request.folder.empty() ? request.file_name : request.folder + "/" + request.file_name;
  for (size_t k = 0; r && k < r->fills.size(); ++k) {
    if (r->fills[k].kind != AnswerKind::Entry) {
      misfit(r->fills[k], {"=PATH"});
      r.reset();
      break;
    }
    path = r->fills[k].value;
  }
  if (!r) return cautious_.show_file_dialog(request);
  headless_report(out_, request.title, request.folder + "/" + request.file_name,
                  lf_render(r->fills, captions[static_cast<size_t>(r->button)]));
  FileDialogResult result;
  if (r->button != 0) return result;
  std::error_code ec;
  if (!request.save && !std::filesystem::is_regular_file(path, ec)) {
    result.error = "File not found:\r\n" + path;
    return result;
  }
  result.chosen = true;
  result.path = path;
  return result;
}

std::optional<int32_t> AnswersOperator::show_color_dialog(int32_t color) {
  return cautious_.show_color_dialog(color);
}

SelcomChoice AnswersOperator::show_selcom(FrmSelcom& form) {
  return cautious_.show_selcom(form);
}

bool AnswersOperator::show_password(FrmPassword& form) {
  std::vector<std::string> labels;
  std::vector<PasswordField*> fields;
  for (PasswordField& t : form.txt) {
    if (!t.visible) continue;
    labels.push_back(t.label);
    fields.push_back(&t);
  }
  if (given_password_ && !fields.empty()) {
    fields[0]->text = *given_password_;
    given_password_.reset();
    headless_report(out_, form.caption, form.prompt, "=***, " + answer_caption(form.btn_ok));
    frm_password_ok_click(form);
  }
  std::vector<std::string> captions{form.btn_ok, form.btn_cancel};
  while (form.visible && !failed_) {
    std::optional<Reply> r = take(captions, true);
    for (size_t k = 0; r && k < r->fills.size(); ++k) {
      int f = lf_field_for(r->fills[k], labels);
      if (f < 0) {
        misfit(r->fills[k], labels);
        r.reset();
        break;
      }
      fields[static_cast<size_t>(f)]->text = r->fills[k].value;
    }
    if (!r) break;
    headless_report(out_, form.caption, form.prompt,
                    lf_render(r->fills, captions[static_cast<size_t>(r->button)], true));
    // A refused Ok asks its own question and may keep the form open for another try.
    if (r->button == 0)
      frm_password_ok_click(form);
    else
      frm_password_cancel_click(form);
  }
  if (form.visible) return cautious_.show_password(form);
  return form.accepted;
}

int AnswersOperator::show_grid(GridForm& form) {
  const std::vector<std::string> captions = lf_captions(gmb_parse_buttons(form.buttons));
  std::vector<Answer> done;
  while (!failed_) {
    const Answer* a = peek();
    if (a == nullptr) {
      out_ << "ovn-kst: ran out of answers\n";
      failed_ = true;
      break;
    }
    ++next_;
    int row = -1, column = -1;
    if (a->kind == AnswerKind::Field && grid_form_find(form, a->name, row, column) &&
        !form.cells[static_cast<size_t>(row)][static_cast<size_t>(column)].button) {
      if (form.edit) form.edit(row, column, a->value);
      done.push_back(*a);
      continue;
    }
    if (form.answer && form.answer(a->text)) {
      done.push_back(*a);
      continue;
    }
    const int b = a->kind == AnswerKind::Button ? answer_pick(captions, a->name) : -1;
    if (b < 0) {
      misfit(*a, captions);
      break;
    }
    headless_report(out_, form.title, grid_form_text(form),
                    lf_render(done, captions[static_cast<size_t>(b)]));
    done.clear();
    if (!form.close || form.close(b)) return b;
  }
  return cautious_.show_grid(form);
}

}  // namespace ovn
