// The operator services that show numbers and times: display_data and the count-down of gib.

#include "foundation/operator.h"
#include "foundation/operator_internal.h"

namespace ovn {

// ---- the count-down --------------------------------------------------------------------

GibCountdown gmb_countdown_start(int32_t ticks) {
  return {ticks, ticks > 0 ? ticks : 0, 0};
}

std::string gmb_title_line(const std::string& title, const GibCountdown& countdown,
                           const DateTime& now) {
  if (!title.empty()) return kw_format_time(now, "T") + " " + title;
  if (countdown.ticks > 0)
    return kw_format_time(now, "T") + " <= " + kw_format(countdown.left * 0.1, ".0") +
           " seconds left";
  return "";
}

GibTimerView gmb_countdown_fire(GibCountdown& countdown, const std::string& title,
                                const DateTime& now) {
  GibTimerView view;
  if (countdown.ticks > 0) {
    if (countdown.left > 0) --countdown.left;
    view.bar = static_cast<double>(countdown.ticks - countdown.left) / countdown.ticks;
    view.finished = countdown.left == 0;
  } else if (countdown.ticks < 0) {
    // Tenths counted as integers, so the sweep wraps exactly after 1.0.
    countdown.sweep = countdown.sweep % 10 + 1;
    view.bar = countdown.sweep / 10.0;
    view.hollow = countdown.sweep > 5;
  }
  view.title_line = gmb_title_line(title, countdown, now);
  return view;
}

// ---- display_data ----------------------------------------------------------------------

std::vector<DisplayDataButton> display_data_buttons(int32_t mask, const std::string& input_label) {
  const DisplayDataButton table[] = {
      {0, "<< Back", "Go back to previous step"},
      {1, "Skip", "Skip this step and proceed"},
      {3, "Continue Anyway", ""},
      {3, input_label.empty() ? "OK" : "Continue", "Perform this operation"},
      {4, "Cancel", "Cancel this Adjustment"},
  };
  std::vector<DisplayDataButton> buttons;
  for (int bit = 0; bit < 5; ++bit)
    if (mask & (1 << bit)) buttons.push_back(table[bit]);
  return buttons;
}

std::string display_data_value_text(double value, const std::string& data_format) {
  return kw_format(value, data_format);  // an empty format gives the plain number
}

void set_display_data_reader(std::function<double()> reader) {
  op_display_data_record().reader = std::move(reader);
}

const std::string& display_data_input() {
  return op_display_data_record().input;
}

int display_data(const std::string& text, const std::string& units, int32_t mask,
                 const std::string& title, const std::string& input_value,
                 const std::string& input_label, const std::string& data_format) {
  Operator& op = op_required("display_data", text);
  DisplayDataRecord& record = op_display_data_record();
  record.input = input_value;
  DisplayDataRequest request;
  request.text = text;
  request.units = units;
  request.title = title;
  request.input_value = input_value;
  request.input_label = input_label;
  request.data_format = data_format;
  request.buttons = display_data_buttons(mask, input_label);
  request.live_tool_tip = "Current channel data";
  request.live_text = [data_format] {
    const std::function<double()>& reader = op_display_data_record().reader;
    return reader ? display_data_value_text(reader(), data_format) : std::string();
  };
  bool pressed = false;
  request.press = [&input_label, &pressed](int code, const std::string& typed) {
    DisplayDataRecord& rec = op_display_data_record();
    if (code == 3 && !input_label.empty()) {
      if (!kw_is_numeric(typed)) {
        gib(input_label + " must be numeric", "OK", 0, "");
        return false;
      }
      rec.input = typed;
    }
    rec.code = code;
    pressed = true;
    return true;
  };
  int shown = op.show_display_data(request);
  // A toolkit may end the dialog without a press (its window closed): its code stands.
  if (!pressed) op_display_data_record().code = shown;
  return op_display_data_record().code;
}

}  // namespace ovn
