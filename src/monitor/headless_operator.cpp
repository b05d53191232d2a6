#include "monitor/headless_operator.h"

#include <ostream>

#include "adjust/histogram.h"
#include "instrument/password.h"
#include "link/rs232.h"
#include "link/selcom.h"
#include "monitor/data_dir.h"

namespace ovn {

namespace {

std::string lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

const char* answer_name(MsgAnswer answer) {
  // In the order of MsgAnswer.
  static const char* const kNames[] = {"OK", "Cancel", "Yes", "No", "Retry"};
  return kNames[static_cast<int>(answer)];
}

}  // namespace

bool failure_policy_parse(const std::string& word, FailurePolicy& policy) {
  for (FailurePolicy p : {FailurePolicy::Retry, FailurePolicy::Skip, FailurePolicy::Abort}) {
    if (word == failure_policy_name(p)) {
      policy = p;
      return true;
    }
  }
  return false;
}

const char* failure_policy_name(FailurePolicy policy) {
  // In the order of FailurePolicy.
  static const char* const kWords[] = {"retry", "skip", "abort"};
  return kWords[static_cast<int>(policy)];
}

std::string lf_lines(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      out += text[i];
      continue;
    }
    out += '\n';
    if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
  }
  return out;
}

HeadlessOperator::HeadlessOperator(FailurePolicy policy, std::ostream& out, int max_retries)
    : policy_(policy), out_(out), max_retries_(max_retries) {}

void headless_report(std::ostream& out, const std::string& title, const std::string& text,
                     const std::string& answer) {
  out << "[" << title << "]\n";
  std::string body = lf_lines(text);
  while (!body.empty() && body.back() == '\n') body.pop_back();
  if (!body.empty()) out << body << "\n";
  out << "--> " << answer << "\n";
  std::string line = body.substr(0, body.find('\n'));
  if (!title.empty()) line = line.empty() ? title : title + ": " + line;
  out << "? " << line << " -> " << answer << "\n";
  // The process ends inside the caller right after an Abort: say so while we can.
  if (answer == "Abort") {
    out << "ovn-kst: aborted (exit code 1)";
    if (dtdr_rows() > 0 && !dtdr_file_name().empty())
      out << "; the " << dtdr_rows() << " rows saved to " << dtdr_file_name() << " are kept";
    out << "\n";
  }
  out.flush();
}

int& HeadlessOperator::failure_retries() {
  int64_t failure = rs232_failure_number();
  if (failure != failure_) {
    failure_ = failure;
    failure_retries_ = 0;
  }
  return failure_retries_;
}

std::string HeadlessOperator::policy_caption() {
  if (policy_ == FailurePolicy::Retry && failure_retries() < max_retries_) return "Retry";
  if (policy_ == FailurePolicy::Skip) return "Skip";
  return "Abort";
}

int HeadlessOperator::pick(const GibButtonList& list) {
  const auto& buttons = list.buttons;
  std::string wanted = lower(policy_caption());
  for (size_t i = 0; i < buttons.size(); ++i) {
    if (lower(buttons[i].caption) != wanted) continue;
    if (wanted == "retry") {
      ++retries_;
      ++failure_retries();
    }
    if (wanted == "skip") ++skips_;
    return static_cast<int>(i);
  }
  return gib_cautious_choice(list);
}

int HeadlessOperator::show_gib(const GibBox& box) {
  if (box.non_modal()) {
    report(box.title, box.text, "(notice)");
    return -1;
  }
  if (box.ticks > 0 || box.buttons.buttons.empty()) {
    report(box.title, box.text, "(timed out)");
    return 0;
  }
  int choice = pick(box.buttons);
  std::string answer = box.buttons.buttons[choice].caption;
  if (answer == "Retry" && policy_ == FailurePolicy::Retry)
    answer +=
        " (" + std::to_string(failure_retries()) + " of " + std::to_string(max_retries_) + ")";
  report(box.title, box.text, answer);
  return choice;
}

int HeadlessOperator::show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) {
  std::string text;
  for (size_t i = 0; i < request.settings.size() && i < checked.size(); ++i)
    text += gibcb_caption(request.settings[i], checked[i]) + "\n";
  int choice = request.buttons.buttons.empty() ? 0 : pick(request.buttons);
  report(request.title, text,
         request.buttons.buttons.empty() ? "" : request.buttons.buttons[choice].caption);
  return choice;
}

int HeadlessOperator::show_display_data(const DisplayDataRequest& request) {
  // Adjustment steps want hands on the instrument: cancelled.
  int code = request.buttons.empty() ? 4 : request.buttons.back().code;
  std::string caption = request.buttons.empty() ? "Cancel" : request.buttons.back().caption;
  for (const DisplayDataButton& b : request.buttons) {
    if (b.code == 4) {
      code = 4;
      caption = b.caption;
    }
  }
  report(request.title, request.text, caption);
  if (request.press) request.press(code, request.input_value);
  return code;
}

std::string headless_form_text(const UserInputForm& form, const std::vector<std::string>* typed) {
  std::string text;
  for (size_t i = 0; i < form.fields.size(); ++i) {
    const UserInputField& field = form.fields[i];
    const std::string& data = typed == nullptr ? field.data : i < typed->size() ? (*typed)[i] : "";
    text += field.label + " = " + data + "\n";
    size_t start = 0;
    while (start < field.comment.size()) {
      size_t end = field.comment.find_first_of("\r\n", start);
      if (end == std::string::npos) end = field.comment.size();
      if (end > start) text += field.comment.substr(start, end - start) + "\n";
      start = end + 1;
    }
  }
  return text;
}

bool HeadlessOperator::show_user_input(const UserInputForm& form, std::vector<std::string>&) {
  report(form.title, headless_form_text(form, nullptr),
         form.cancel_caption.empty() ? "Cancel" : form.cancel_caption);
  return false;
}

std::optional<std::string> HeadlessOperator::show_input_box(const std::string& prompt,
                                                            const std::string& title,
                                                            const std::string&) {
  report(title, prompt, "Cancel");
  return std::nullopt;
}

MsgAnswer HeadlessOperator::show_msg_box(const std::string& text, MsgButtons buttons,
                                         const std::string& title) {
  MsgAnswer answer = msg_cautious_answer(buttons);
  if (buttons == MsgButtons::RetryCancel && policy_caption() == "Retry") {
    ++retries_;
    ++failure_retries();
    answer = MsgAnswer::Retry;
  }
  report(title, text, answer_name(answer));
  return answer;
}

FileDialogResult HeadlessOperator::show_file_dialog(const FileDialogRequest& request) {
  report(request.title, request.folder + "/" + request.file_name, "Cancel");
  return {};
}

std::optional<int32_t> HeadlessOperator::show_color_dialog(int32_t) {
  report("Color", "", "Cancel");
  return std::nullopt;
}

SelcomChoice HeadlessOperator::show_selcom(FrmSelcom& form) {
  std::string answer = "Abort";
  if (policy_ == FailurePolicy::Retry && selcom_retries_ < max_retries_) {
    ++retries_;
    ++selcom_retries_;
    answer =
        "Retry (" + std::to_string(selcom_retries_) + " of " + std::to_string(max_retries_) + ")";
  }
  report(form.caption, form.lb_info.caption, answer);
  return answer == "Abort" ? SelcomChoice::Abort : SelcomChoice::Retry;
}

bool HeadlessOperator::show_password(FrmPassword& form) {
  report(form.caption, form.prompt, "Cancel");
  frm_password_cancel_click(form);
  return false;
}

void HeadlessOperator::show_histogram(FrmTmHistogram& form) {
  report(form.caption, "A live histogram needs a window: run ovn-kst without --headless",
         "(closed)");
}

int HeadlessOperator::show_grid(GridForm& form) {
  const GibButtonList list = gmb_parse_buttons(form.buttons);
  const int b = gib_cautious_choice(list);
  report(form.title, grid_form_text(form),
         b < static_cast<int>(list.buttons.size()) ? list.buttons[static_cast<size_t>(b)].caption
                                                   : "");
  if (form.close) form.close(b);
  return b;
}

}  // namespace ovn
