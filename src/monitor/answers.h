#pragma once
// The operator's answers of a scripted run (ovn-kst --headless --answers FILE): the file's
// lines as answers, and how an answer picks a button or a menu entry by its caption.
//
// One answer a line, taken by the boxes in the order they appear:
//   CAPTION        presses the button with that caption. Case is ignored; the captions are
//                  compared without their "?" codes, tool tip and "&" marks; a caption that
//                  equals the answer wins, else the one button the answer begins (a prefix
//                  that fits two buttons fits none).
//   =TEXT          types TEXT into the box's one entry (a step's input, an input box, a
//                  form with one field, a file dialog's path, a password).
//   LABEL=TEXT     fills the form field with that label; in a settings box, CAPTION=on or
//                  CAPTION=off sets the setting named by either of its captions.
//   sim WHAT=V     holds what the simulated instrument measures at V: load (lbf-in), speed
//                  (RPM) or temp (degrees F).
// Blank lines and lines starting with "#" are skipped. The typing lines come before the
// button line of their box.

#include <optional>
#include <string>
#include <vector>

namespace ovn {

enum class AnswerKind { Button, Entry, Field, Sim };
enum class SimQuantity { Load, Speed, Temp };

struct Answer {
  AnswerKind kind = AnswerKind::Button;
  int line = 0;       // line number in the file, from 1
  std::string text;   // the line as written (without its line end), for messages
  std::string name;   // Button: the caption; Field: the label or setting caption
  std::string value;  // Entry, Field: the text to type
  SimQuantity quantity = SimQuantity::Load;  // Sim
  double number = 0;                         // Sim
};

struct AnswerScript {
  std::vector<Answer> answers;
  std::string error;  // the first line that cannot be used and why; empty when all can
  bool has_sim() const;
};

// Reads the answers (line ends LF, CR LF or CR).
AnswerScript answers_parse(const std::string& text);

// The index of the caption `answer` picks (see above), or -1 when it fits none.
int answer_pick(const std::vector<std::string>& captions, const std::string& answer);
// A caption as an answer compares it: "?" codes, tool tip and "&" marks removed, trimmed.
std::string answer_caption(const std::string& caption);
// Whether the menu caption `asked` names `caption`: case ignored, with or without the
// trailing "...", and only the first line of a caption of several lines counts.
bool answer_caption_names(const std::string& caption, const std::string& asked);
// "on" true, "off" false (case ignored), nothing for other words.
std::optional<bool> answer_on_off(const std::string& word);

}  // namespace ovn
