#include "monitor/answers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "foundation/operator.h"

namespace ovn {

namespace {

std::string lf_lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

std::string lf_trim(const std::string& text) {
  size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

std::string lf_without_dots(std::string text) {
  if (text.ends_with("...")) text.resize(text.size() - 3);
  return lf_trim(text);
}

// "load=1500" and its kin; false when the line is no such thing.
bool lf_parse_sim(const std::string& rest, Answer& a) {
  size_t eq = rest.find('=');
  if (eq == std::string::npos) return false;
  std::string what = lf_lower(lf_trim(rest.substr(0, eq)));
  std::string value = lf_trim(rest.substr(eq + 1));
  if (what == "load")
    a.quantity = SimQuantity::Load;
  else if (what == "speed")
    a.quantity = SimQuantity::Speed;
  else if (what == "temp")
    a.quantity = SimQuantity::Temp;
  else
    return false;
  const char* end = value.data() + value.size();
  auto [p, ec] = std::from_chars(value.data(), end, a.number);
  return ec == std::errc() && p == end && std::isfinite(a.number);
}

}  // namespace

bool AnswerScript::has_sim() const {
  return std::any_of(answers.begin(), answers.end(),
                     [](const Answer& a) { return a.kind == AnswerKind::Sim; });
}

AnswerScript answers_parse(const std::string& text) {
  AnswerScript script;
  int number = 0;
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find_first_of("\r\n", at);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(at, end - at);
    at = end;
    if (at < text.size())
      at += text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n' ? 2 : 1;
    ++number;
    std::string trimmed = lf_trim(line);
    if (trimmed.empty() || trimmed[0] == '#') continue;
    Answer a;
    a.line = number;
    a.text = line;
    if (trimmed.rfind("sim ", 0) == 0) {
      a.kind = AnswerKind::Sim;
      if (!lf_parse_sim(trimmed.substr(4), a) && script.error.empty())
        script.error = "line " + std::to_string(number) + ": \"" + line +
                       "\": sim takes load=V, speed=V or temp=V, V a number";
    } else if (line[0] == '=') {
      // What is typed stays as written, blanks included.
      a.kind = AnswerKind::Entry;
      a.value = line.substr(1);
    } else if (size_t eq = line.find('='); eq != std::string::npos) {
      a.kind = AnswerKind::Field;
      a.name = lf_trim(line.substr(0, eq));
      a.value = line.substr(eq + 1);
    } else {
      a.name = trimmed;
    }
    script.answers.push_back(a);
  }
  return script;
}

std::string answer_caption(const std::string& caption) {
  GibButtonList list = gmb_parse_buttons(caption);
  std::string text = list.buttons.empty() ? caption : list.buttons[0].caption;
  std::erase(text, '&');
  return lf_trim(text);
}

int answer_pick(const std::vector<std::string>& captions, const std::string& answer) {
  std::string wanted = lf_lower(lf_trim(answer));
  if (wanted.empty()) return -1;
  int prefix = -1, prefixes = 0;
  for (size_t i = 0; i < captions.size(); ++i) {
    std::string caption = lf_lower(answer_caption(captions[i]));
    if (caption == wanted) return static_cast<int>(i);
    if (caption.rfind(wanted, 0) == 0) {
      prefix = static_cast<int>(i);
      ++prefixes;
    }
  }
  return prefixes == 1 ? prefix : -1;
}

bool answer_caption_names(const std::string& caption, const std::string& asked) {
  std::string first = caption.substr(0, caption.find_first_of("\r\n"));
  return lf_lower(lf_without_dots(first)) == lf_lower(lf_without_dots(asked)) &&
         !lf_trim(asked).empty();
}

std::optional<bool> answer_on_off(const std::string& word) {
  std::string w = lf_lower(lf_trim(word));
  if (w == "on") return true;
  if (w == "off") return false;
  return std::nullopt;
}

}  // namespace ovn
