#include "monitor/kst_commands.h"

#include "monitor/frm_kst_main.h"

namespace ovn {

namespace {

// The buttons that store a command of their own; their enabled and visible flags say
// whether the operator can press them.
const KstControl* lf_button_of(const FrmKstMain& f, int32_t command) {
  const struct {
    int32_t command;
    const KstControl& control;
  } buttons[] = {
      {kCmdSaveData, f.btn_cmd[0]},    {kCmdTare, f.btn_cmd[1]},    {kCmdClearTare, f.btn_cmd[2]},
      {kCmdCalPositive, f.btn_cal[0]}, {kCmdCalNone, f.btn_cal[1]}, {kCmdCalNegative, f.btn_cal[2]},
      {kCmdClearChart, f.btn_clrscrn}, {kCmdPause, f.btn_pause},    {kCmdPower135, f.btn_pwr135},
  };
  for (const auto& b : buttons)
    if (b.command == command) return &b.control;
  return nullptr;
}

}  // namespace

const KstCommandRow* kst_command_find(const std::vector<KstCommandRow>& table, int32_t command) {
  for (const KstCommandRow& row : table)
    if (row.holds(command)) return &row;
  return nullptr;
}

bool kst_command_served(int32_t command) {
  const KstCommandRow* row = kst_command_find(kst_command_table(), command);
  return row != nullptr && row->served();
}

KstCommandState kst_command_state(const FrmKstMain& f, int32_t command) {
  if (!kst_command_served(command)) return KstCommandState::NotServed;
  bool visible = true, enabled = true;
  if (const KstMenuEntry* e = kst_menu_entry(f, command)) {
    visible = e->visible;
    enabled = e->enabled;
  } else if (const KstControl* b = lf_button_of(f, command)) {
    visible = b->visible;
    enabled = b->enabled;
  }
  if (!visible) return KstCommandState::Hidden;
  return enabled ? KstCommandState::Ready : KstCommandState::Disabled;
}

}  // namespace ovn
