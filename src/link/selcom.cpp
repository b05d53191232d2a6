#include "link/selcom.h"

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/identify.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr const char* kSection = "Communications";
constexpr const char* kPortKey = "COM Port";
constexpr const char* kIdKey = "ID";

struct SelcomState {
  FrmSelcom form;
  std::string key;
  bool first_time = false;  // the first open of the process takes the port as it stands
};

SelcomState& state() {
  static SelcomState s;
  return s;
}

// The automatic order. S350+ was once written into the sixth place and overwritten by
// HZYM at once, so it is never tried unless named; the empty place ends every pass.
constexpr int32_t kAutomaticOrder[10] = {kTmRdx, kTmWqpm, kTmKsvm, kTmKst, kTmKslw,
                                         kTmFga, kTmHzym, kTmS350, 0,      kTmNone};

int32_t family_baud(int32_t type) {
  switch (type) {
    case kTmHzym:
    case kTmKsvm:
      return 38400;
    case kTmS350:
    case kTmS350Plus:
      return rs232_get_baud();  // these listen at whatever rate they were set to
    default:
      return 115200;
  }
}

PortService& port_object() {
  FrmSelcom& f = state().form;
  if (f.ms_comm1 == nullptr) fatal_error("frm_selcom used before it was loaded with a port");
  return *f.ms_comm1;
}

// The ID list shows the family's stored ID as the present choice ("None" when none).
void show_id_choice(bool has_id) {
  FrmSelcom& f = state().form;
  f.ls_id.visible = has_id;
  f.lb_id.visible = has_id;
  if (!has_id) return;
  std::string id = kw_setting_get(state().key, kSection, kIdKey, "");
  f.ls_id.list_index = 0;
  for (size_t i = 1; i < f.ls_id.items.size(); ++i)
    if (f.ls_id.items[i] == id) f.ls_id.list_index = static_cast<int>(i);
}

}  // namespace

FrmSelcom& frm_selcom() {
  return state().form;
}

const std::string& selcom_key() {
  return state().key;
}

void selcom_reset_state() {
  state() = SelcomState{};
}

void selcom_load(PortService& port) {
  FrmSelcom& f = state().form;
  f = FrmSelcom{};
  f.ms_comm1 = &port;
  f.loaded = true;
  if (port.is_open()) rs232_close(port);  // the scan below opens every number
  int stored = selcom_read_commport();
  rs232_attach(port, "");
  for (int n = 1; n <= kSelcomMaxPort; ++n) {
    if (!selcom_exists(n)) continue;
    if (n == stored) f.ls_comport.list_index = static_cast<int>(f.ls_comport.items.size());
    f.ls_comport.items.push_back("COM" + std::to_string(n));
    f.port_numbers.push_back(n);
  }
  port.set_port_number(stored);
  f.ls_id.items = {"None", "*"};
  for (int i = 0; i < 52; ++i) f.ls_id.items.push_back(kw_letter52(i));
  f.ls_id.visible = f.lb_id.visible = false;  // until a family with addressing is tried
}

void selcom_close() {
  FrmSelcom& f = state().form;
  if (f.ms_comm1 != nullptr) rs232_close_if_open(*f.ms_comm1);
}

void selcom_set_commport(int port_number) {
  port_object().set_port_number(port_number);
  const std::string& key = state().key;
  if (key.empty()) return;
  kw_setting_put(key, kSection, kPortKey, std::to_string(port_number));
  debug_log("REG SAVE COMPORT " + key + ":" + std::to_string(port_number));
}

int selcom_read_commport() {
  int present = state().form.ms_comm1 != nullptr ? state().form.ms_comm1->port_number() : 1;
  std::string text = kw_setting_get(state().key, kSection, kPortKey, std::to_string(present));
  int stop = 0, sign = 0;
  int32_t n = kw_parse_int(text, stop, sign);
  if (n < 1 || n > kSelcomMaxPort) n = present;  // a hand-edited value out of range
  debug_log("REG READ COMPORT " + std::to_string(n));
  return n;
}

bool selcom_exists(int n) {
  if (command_line_has("-nocommportscan")) return true;
  PortService& port = port_object();
  port.set_port_number(n);
  std::string settings = port.settings();
  size_t comma = settings.find(',');
  port.set_settings("9600" + (comma == std::string::npos ? ",n,8,1" : settings.substr(comma)));
  std::string error;
  bool exists = port.open(error);
  port.close();
  if (!exists) debug_log("COM" + std::to_string(n) + " Open FAILED! " + error);
  return exists;
}

std::string selcom_open_at(PortService& port, int32_t baud, bool& first_time,
                           const std::string& label) {
  rs232_close_if_open(port);
  if (baud <= 0) return "Baudrate (" + std::to_string(baud) + ") < 0";
  // DTR and RTS go on with every open of the exchange (rs232_attach).
  if (first_time)
    port.set_port_number(selcom_read_commport());
  else
    first_time = true;
  std::string error = rs232_open(port, std::to_string(baud));
  std::string name = rs232_port_name(port);
  if (!error.empty()) {
    debug_log(label + " as " + error + ":" + label + " " + std::to_string(baud) +
              " failed to set baudrate at " + name);
    return error;
  }
  Rs232Error read_error;
  int32_t read_back = rs232_read_baud(port, read_error);
  debug_log(label + " as " + std::to_string(read_back) + " baud " + port.settings() + " set to " +
            name + " ");
  return "";
}

bool selcom_opened_and_talking(int32_t type, const std::string& id, int32_t& found) {
  SelcomState& s = state();
  FrmSelcom& f = s.form;
  PortService& port = port_object();
  found = kTmNone;
  std::vector<int32_t> order;
  if (tm_info_is_family(type))
    order = {type, kTmNone};
  else
    order.assign(std::begin(kAutomaticOrder), std::end(kAutomaticOrder));
  f.lb_info.caption.clear();
  for (size_t i = 0; i < order.size() && i < 10 && tm_info_is_family(order[i]); ++i) {
    int32_t family = order[i];
    s.key = selcom_key_of(family);
    std::string name = tm_info_family_name(family);
    f.caption = "Choose COM port for " + s.key;
    show_id_choice(tm_family_has_address(family));
    std::string error = selcom_open_at(port, family_baud(family), s.first_time, name);
    if (!error.empty()) {
      f.lb_info.caption += "Unable to open " + rs232_port_name(port) + ":" + error + "\r\n";
      continue;
    }
    std::string result = tm_identify(family, id);
    if (result.empty()) {
      debug_log(name + ":" + std::to_string(family) + ":Exit selcom_opened_and_talking");
      found = family;
      return true;
    }
    f.lb_info.caption += port.settings() + " w/ " + result + ":" + rs232_port_name(port) + "\r\n";
  }
  return false;
}

void selcom_pick_id() {
  FrmSelcom& f = state().form;
  const std::string& key = state().key;
  int row = f.ls_id.list_index;
  if (!f.ls_id.visible || row < 0 || f.ls_id.items.size() <= 1 || row == 0 ||
      row >= static_cast<int>(f.ls_id.items.size())) {
    if (!key.empty()) kw_setting_delete(key, kSection, kIdKey);
    rs232_set_id("");
    return;
  }
  std::string id = f.ls_id.items[row];
  kw_setting_put(key, kSection, kIdKey, id);
  rs232_set_id(id);
}

void selcom_ls_comport_click(int row) {
  const FrmSelcom& f = state().form;
  if (row < 0 || row >= static_cast<int>(f.port_numbers.size())) return;
  selcom_set_commport(f.port_numbers[row]);
}

int32_t rs232_open_instrument(int32_t type, const std::string& id, int port, PortService& line) {
  SelcomState& s = state();
  // A named family's stored port is the one the form starts on.
  if (tm_info_is_family(type)) s.key = selcom_key_of(type);
  if (!s.form.loaded || s.form.ms_comm1 != &line) selcom_load(line);
  bool show_first = port < 0;
  if (port > 0) selcom_set_commport(port);
  int32_t found = kTmNone;
  for (;;) {
    if (!show_first && selcom_opened_and_talking(type, id, found)) break;
    show_first = false;
    Operator* op = current_operator();
    if (op == nullptr) fatal_error("rs232_open_instrument: no operator to show frm_selcom");
    switch (op->show_selcom(s.form)) {
      case SelcomChoice::Retry:
        selcom_pick_id();
        break;
      case SelcomChoice::Abort:
        process_exit(1);
      case SelcomChoice::Closed:
        // Unloaded: the next search starts from a fresh form and port list.
        selcom_close();
        selcom_load(line);
        break;
    }
  }
  debug_log("Done Opening");
  return found;
}

}  // namespace ovn
