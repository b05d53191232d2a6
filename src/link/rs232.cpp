#include "link/rs232.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>

#include "foundation/debug_log.h"
#include "foundation/events.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"

namespace ovn {

namespace {

// The port of a module that has none attached yet: never open, refuses to open.
class NoPort final : public PortService {
 public:
  int port_number() const override { return number_; }
  void set_port_number(int n) override { number_ = n; }
  std::string device_name() const override { return ""; }
  std::string settings() const override { return settings_; }
  void set_settings(const std::string& s) override { settings_ = s; }
  bool is_open() const override { return false; }
  bool open(std::string& error) override {
    error = "No serial port is attached";
    return false;
  }
  void close() override {}
  std::string input() override { return {}; }
  void output(const std::string&) override {}
  bool get_state_baud(long&, int& os_error) override { return (os_error = 6, false); }
  bool set_state_baud(long, int& os_error) override { return (os_error = 6, false); }
  void set_dtr(bool) override {}
  void set_rts(bool) override {}
  bool wait_input_until(double deadline_ms) override {
    wait_events_until(deadline_ms);
    return false;
  }

 private:
  int number_ = 1;
  std::string settings_ = "9600,n,8,1";
};

constexpr int32_t kSettingsBaudLimit = 200000;
// A stop box; the text verbatim, so a backslash in a reply shows as it came.
constexpr int32_t kFailureDialogFlags = kGibStop | kGibVerbatim;
const char* const kRelaxedSection = "Settings";
const char* const kRelaxedKey = "Relaxed CPU";

struct Rs232State {
  NoPort no_port;
  PortService* port = &no_port;
  int32_t baud = 0;
  // The floor for the port's default "9600,n,8,1", until a rate is set.
  int32_t min_timeout_ms = 1126;
  int32_t relax_ms = 0;
  std::string id;
  std::string out;
  int32_t retries = 0;
  double exit_deadline_ms = 0;  // 0: none
  int64_t failure_number = 0;   // failed exchanges so far (see rs232_failure_number)
  int32_t open_failures = 0;    // calls whose failure has not ended yet
  bool trace = false;
  bool busy = false;
  int32_t good_count = 0;
};

Rs232State& st() {
  static Rs232State s;
  return s;
}

// Outside the state record so that a signal handler may raise it.
volatile std::sig_atomic_t g_exit_flag = 0;

// One failed exchange lasts from the first failed attempt of a call to that call's return;
// a failure inside another (the retried exchange inside a typed reader) is the same one.
struct FailureMark {
  bool marked = false;
  void begin() {
    if (marked) return;
    marked = true;
    if (st().open_failures++ == 0) ++st().failure_number;
  }
  ~FailureMark() {
    if (marked) --st().open_failures;
  }
};

// The shutdown request as every wait and loop of the link sees it: the flag, or the
// run's deadline passed.
bool exiting() {
  if (g_exit_flag != 0) return true;
  double deadline = st().exit_deadline_ms;
  return deadline > 0 && now_ms() >= deadline;
}

// A double as the program writes it in dialogs and log lines: shortest form, "-149".
std::string number_text(double value) {
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, value);
  return std::string(buf, r.ptr);
}

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// The decimal baud at the front of a settings text, and where the number stopped.
int32_t leading_baud(const std::string& text, size_t& stop) {
  int32_t baud = 0;
  auto r = std::from_chars(text.data(), text.data() + text.size(), baud);
  stop = static_cast<size_t>(r.ptr - text.data());
  return baud;
}

// The tail of a settings text from its first comma on; empty when it has none.
std::string settings_tail(const std::string& settings) {
  size_t comma = settings.find(',');
  return comma == std::string::npos ? std::string() : settings.substr(comma);
}

std::string error_text(int number, const std::string& text) {
  return std::to_string(number) + "Error Code:\r\n" + text;
}

double effective_timeout(double timeout) {
  return timeout < st().min_timeout_ms ? st().min_timeout_ms : timeout;
}

// The log form of a reply: CR written "\n" and LF "\r" (crossed, as the whole program
// writes them), then escaped, which doubles those backslashes.
std::string log_form(const std::string& reply) {
  std::string crossed;
  for (char ch : reply) {
    if (ch == '\r')
      crossed += "\\n";
    else if (ch == '\n')
      crossed += "\\r";
    else
      crossed += ch;
  }
  return kw_escape(crossed, false);
}

// The window whose title shows a failing exchange, taken at the first failure.
struct TitleWatch {
  bool have_window = false;
  std::string saved;

  void on_failure(int32_t attempts, const std::string& message, const std::string& reply) {
    std::string title;
    if (attempts == 1) {
      have_window = active_window_title(title);
      if (!have_window) debug_log("RS232 whandle=0 0");
    } else if (have_window && saved.empty()) {
      active_window_title(title);
    }
    if (!have_window) return;
    if (saved.empty()) {
      if (title.size() > 127) title.resize(127);  // read into 128 characters
      size_t first = title.find_first_not_of(' ');
      size_t last = title.find_last_not_of(' ');
      if (first != std::string::npos) saved = title.substr(first, last - first + 1);
    }
    if (saved.empty()) return;
    set_active_window_title("No replie to " + quoted(message) + "  Recieved " + quoted(reply));
    flash_active_window();
  }
  void restore() {
    if (!saved.empty()) set_active_window_title(saved);
  }
};

bool is_upper_hex(const std::string& text) {
  for (char ch : text)
    if (!((ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'F'))) return false;
  return true;
}

// The loop of the typed readers: asks until `accept` takes the reply. Rejections are
// counted; every `reset_every`-th resets the port (from `name` and the message; 0: never),
// every `ask_every`-th shows the failure dialog. False after Skip or at shutdown.
template <typename Accept>
bool read_until(const std::string& message, double timeout, const std::string& expecting,
                const std::string& name, int reset_every, int ask_every, Accept accept) {
  FailureMark failure;
  for (int32_t rejected = 1;; ++rejected) {
    std::string reply = get_reply(message, timeout);
    if (accept(reply)) return true;
    if (exiting()) return false;
    failure.begin();
    if (reset_every > 0 && rejected % reset_every == 0) (void)rs232_reset(name + message);
    if (rejected % ask_every == 0 &&
        rs232_failure_dialog(message, reply, rejected, timeout, expecting) == 2)
      return false;
  }
}

// The integer readers: a reset at every second rejection, the dialog at every third.
template <typename Accept>
bool read_number(const std::string& name, const std::string& message, double timeout,
                 const std::string& expecting, Accept accept) {
  return read_until(message, timeout, expecting, name, 2, 3, accept);
}

// The hex readers: hex of an accepted length, the dialog at every rejection, no reset. A
// reply whose value is wider than the result (allow_long lets long texts through) is a
// failed exchange like a garbled one, never an overflow that ends the process.
template <typename Value, typename Convert>
Value read_hex(const std::string& message, double timeout, const std::string& expecting,
               bool length_ok(size_t, bool), bool allow_long, Convert convert) {
  Value value = 0;
  const int width = sizeof(Value) == 2 ? 4 : 8;
  read_until(message, timeout, expecting, "", 0, 1, [&](const std::string& r) {
    if (!hex_fits(r, width) || !length_ok(r.size(), allow_long)) return false;
    value = static_cast<Value>(convert(r));
    return true;
  });
  return value;
}

bool exactly_8(size_t n, bool) {
  return n == 8;
}
bool exactly_2(size_t n, bool) {
  return n == 2;
}
bool up_to_8(size_t n, bool allow_long) {
  return n <= 8 || allow_long;
}
bool up_to_4(size_t n, bool allow_long) {
  return n <= 4 || allow_long;
}
bool any_length(size_t, bool) {
  return true;
}

}  // namespace

// ---- The port ----------------------------------------------------------------------------

void rs232_attach(PortService& port, const std::string& id) {
  st().port = &port;
  port.set_dtr(true);
  port.set_rts(true);
  rs232_set_id(id);
}

PortService& rs232_port() {
  return *st().port;
}

bool rs232_is_open(PortService& port) {
  return port.is_open();
}

void rs232_close(PortService& port) {
  port.close();
  debug_log("RS232 CLOSE " + rs232_port_name(port) + " " + port.settings());
}

void rs232_close_if_open(PortService& port) {
  if (port.is_open()) rs232_close(port);
}

std::string rs232_port_name(PortService& port) {
  return "COM" + rs232_port_number_text(port);
}

std::string rs232_port_number_text(PortService& port) {
  return std::to_string(port.port_number());
}

void rs232_set_port_number(PortService& port, int n) {
  port.set_port_number(n);
}

void rs232_set_settings(PortService& port, const std::string& settings) {
  auto& s = st();
  size_t stop = 0;
  int32_t baud = leading_baud(settings, stop);
  std::string text;
  if (stop < settings.size()) {
    text = std::to_string(baud) + settings.substr(stop);
  } else {
    std::string tail = settings_tail(port.settings());
    text = std::to_string(baud) + (tail.empty() ? ",n,8,1" : tail);
  }
  if (baud < kSettingsBaudLimit) port.set_settings(text);
  s.baud = baud;
  if (baud > 0) s.min_timeout_ms = static_cast<int32_t>(std::nearbyint(10713600.0 / baud + 10.0));
}

std::string rs232_open_at(PortService& port, int32_t baud) {
  if (baud < kSettingsBaudLimit) rs232_set_settings(port, std::to_string(baud));
  if (!port.is_open()) {
    std::string refused;
    if (!port.open(refused))
      return refused.empty() ? "Could not open " + rs232_port_name(port) : refused;
  }
  debug_log("RS232 OPEN  " + rs232_port_name(port) + " " + port.settings());
  std::string error;
  if (port.is_open()) {
    long found = 0;
    int os_error = 0;
    if (!port.get_state_baud(found, os_error)) {
      error = error_text(8021, "Could not read state of the port:" + std::to_string(os_error));
    } else if (found != baud && !port.set_state_baud(baud, os_error)) {
      error = error_text(8015, "Could not set baud rate of " + std::to_string(baud) + ":" +
                                   std::to_string(os_error));
    }
  } else {
    error = error_text(8018, "Operation valid iff port is open");
  }
  if (error.empty()) st().baud = baud;
  return error;
}

std::string rs232_open(PortService& port, const std::string& settings) {
  size_t stop = 0;
  int32_t baud = leading_baud(settings, stop);
  rs232_set_settings(port, settings);
  return rs232_open_at(port, baud);
}

int32_t rs232_read_baud(PortService& port, Rs232Error& error) {
  error = Rs232Error{};
  long baud = 0;
  int os_error = 0;
  if (!port.is_open()) {
    error = {8018, "Operation valid iff port is open", "CommID"};
  } else if (!port.get_state_baud(baud, os_error) || baud <= 0) {
    error = {8021, "Could not read state of the port", "CommID"};
    baud = 0;
  }
  return static_cast<int32_t>(baud);
}

Rs232Error rs232_reset(const std::string& from) {
  auto& port = *st().port;
  debug_log("RS232 RESET from " + from);
  Rs232Error error;
  int32_t baud = rs232_read_baud(port, error);
  if (error) {
    debug_log("RS232 RESET FAILED:" + std::to_string(error.number) + " " + error.text);
    return error;
  }
  rs232_close(port);
  sleep_ms(100, 1);
  (void)rs232_open(port, std::to_string(baud));
  return error;
}

void rs232_set_relaxed(bool on) {
  st().relax_ms = on ? 1 : 0;
  kw_setting_put(kSharedApp, kRelaxedSection, kRelaxedKey, on ? "True" : "False");
}

bool rs232_load_relaxed() {
  // Written "True"/"False"; a hand-edited "true", "1" or "-1" counts as on too.
  std::string value = kw_setting_get(kSharedApp, kRelaxedSection, kRelaxedKey, "False");
  bool on = value == "True" || value == "true" || value == "1" || value == "-1";
  st().relax_ms = on ? 1 : 0;
  return on;
}

bool rs232_relaxed() {
  return st().relax_ms > 0;
}

int32_t rs232_get_baud() {
  return st().baud;
}
int32_t rs232_get_retries() {
  return st().retries;
}
int32_t rs232_min_timeout_ms() {
  return st().min_timeout_ms;
}
const std::string& rs232_out() {
  return st().out;
}
void rs232_set_exit_flag(bool on) {
  g_exit_flag = on ? 1 : 0;
}
int64_t rs232_failure_number() {
  return st().failure_number;
}
void rs232_set_exit_deadline(double at_ms) {
  st().exit_deadline_ms = at_ms;
}
bool rs232_exit_flag() {
  return exiting();
}
void rs232_set_trace(bool on) {
  st().trace = on;
}
bool rs232_busy() {
  return st().busy;
}
int32_t rs232_good_count() {
  return st().good_count;
}

void rs232_reset_state() {
  st() = Rs232State{};
  g_exit_flag = 0;
  st().port = &st().no_port;
}

// ---- The exchange ------------------------------------------------------------------------

void rs232_set_id(const std::string& id) {
  auto& s = st();
  if (id.empty()) {
    s.id.clear();
    return;
  }
  char ch = id[0];
  bool keeps = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || ch == '*';
  s.id.assign(1, keeps ? ch : 'A');
}

const std::string& rs232_id() {
  return st().id;
}

void rs232_send(const std::string& message) {
  auto& s = st();
  s.out.assign(s.id).append(message).push_back('\n');
  if (s.trace) debug_log("RS232 SENT:" + quoted(log_form(s.out)));
  s.port->output(s.out);
}

bool rs232_read_input(std::string& reply) {
  std::string pending = st().port->input();
  if (pending.empty()) return false;
  if (st().trace) debug_log("RS232 READ:" + quoted(log_form(pending)));
  reply += pending;
  return true;
}

bool rs232_is_terminated(const std::string& reply) {
  return !reply.empty() && (reply.back() == '\r' || reply.back() == '\n');
}

std::string rs232_wait_reply(const std::string& message, double timeout) {
  auto& s = st();
  if (!s.port->is_open()) return "!" + rs232_port_name(*s.port) + " Not Open!";
  std::string reply;
  rs232_send(message);
  double deadline = now_ms() + effective_timeout(timeout);
  // Pending events run, then the wait blocks on the port and the program's events together:
  // it wakes on the reply's bytes, on an event (which may set ExitFlag) or at the deadline.
  for (;;) {
    if (rs232_read_input(reply) && rs232_is_terminated(reply)) break;
    if (deadline <= now_ms() || exiting()) break;
    pump_events();
    // The run's own end comes first when it is nearer than the reply's deadline.
    const double stop = s.exit_deadline_ms > 0 ? std::min(deadline, s.exit_deadline_ms) : deadline;
    s.port->wait_input_until(stop);
  }
  // The reply still holds its terminator here, so only a bare "OK" without one changes
  // the ID; the ID command finishes the change itself.
  if (message.size() == 3 && message.compare(0, 2, "ID") == 0 && reply == "OK")
    rs232_set_id(message.substr(2));
  return reply;
}

std::string rs232_try_reply(const std::string& message, double timeout) {
  std::string reply = rs232_wait_reply(message, timeout);
  if (rs232_is_terminated(reply)) reply.pop_back();
  return reply;
}

std::string get_reply(const std::string& message, double timeout) {
  auto& s = st();
  while (s.busy && !exiting()) yield_ms(1);
  s.busy = true;
  int32_t attempts = 0;
  TitleWatch title;
  FailureMark failure;
  ++s.good_count;
  if (!s.port->is_open()) {
    s.busy = false;
    return "!" + rs232_port_name(*s.port) + " Not Open!";
  }
  std::string reply;
  while (!exiting()) {
    if (!rs232_read_input(reply)) reply = rs232_wait_reply(message, timeout);
    if (rs232_is_terminated(reply)) {
      if (reply[0] == '!') s.good_count = 0;
      title.restore();
      s.busy = false;
      reply.pop_back();
      return reply;
    }
    ++attempts;
    failure.begin();
    char count[16];
    std::snprintf(count, sizeof count, "%04d", static_cast<int>(attempts));
    debug_log("RS232 REPT" + std::string(count) + "(" + quoted(s.id + message) + "," +
              number_text(timeout) + ") GOT:" + quoted(log_form(reply)) + " " +
              std::to_string(s.good_count - 1) + " good messages");
    s.good_count = 0;
    title.on_failure(attempts, message, reply);
    // At shutdown nothing more is asked: no dialog, no pause, no reset.
    if (exiting()) break;
    if (attempts % 3 == 0 && rs232_failure_dialog(message, reply, attempts, timeout, "") == 2)
      break;
    sleep_ms(100, 1);
    (void)rs232_reset("get_reply:" + message);
    ++s.retries;
    yield_ms(s.relax_ms);
  }
  if (attempts == 0) debug_log("RS232:EXITING:" + s.id + message);
  if (!title.saved.empty() && title.have_window) {
    debug_log("RS232  REFAIL:" + title.saved);
    title.restore();
  }
  s.busy = false;
  return "";
}

int16_t rs232_failure_dialog(const std::string& message, const std::string& got, int32_t retries,
                             double timeout, const std::string& expecting) {
  auto& s = st();
  std::string text = "Communications Failure on " + rs232_port_name(*s.port) + "\r\n";
  text += "   Sent    :" + quoted(s.id + message) + "\r\n";
  text += "   Got     :" + quoted(got) + "\r\n";
  text += "   Retries :" + std::to_string(retries) + "\r\n";
  text += "   Timeout :" + number_text(timeout) + " ms\r\n";
  text += std::string("   ExitFlag:") + (exiting() ? "True" : "False") + "\r\n";
  if (!expecting.empty()) {
    bool vowel = std::string("aeiou").find(expecting[0]) != std::string::npos;
    text += "   Expecting " + std::string(vowel ? "an" : "a") + " " + expecting + ".\r\n";
  }
  int choice =
      gib(text, "Abort|Retry|Skip", kFailureDialogFlags, "Communications Failure", "Courier New");
  static const char* const kAnswers[] = {"Abort", "Retry", "Skip"};
  ovn_event("failure",
            {{"sent", json_string(s.id + message)},
             {"got", json_string(got)},
             {"answer", json_string(choice >= 0 && choice <= 2 ? kAnswers[choice] : "")}});
  if (choice == 0) process_exit(1);
  return static_cast<int16_t>(choice);
}

// ---- Typed readers -----------------------------------------------------------------------

std::string get_numeric(const std::string& message, double timeout, const std::string& expecting) {
  std::string value;
  bool ok = read_number("get_numeric:", message, timeout, expecting, [&](const std::string& r) {
    value = r;
    return kw_is_numeric(r);
  });
  return ok ? value : "0";
}

int32_t get_si32(const std::string& message, double timeout) {
  int32_t value = 0;
  bool ok = read_number("get_si32:", message, timeout, "long number", [&](const std::string& r) {
    int stop = 0, sign = 0;
    value = kw_parse_int(r, stop, sign);
    return !r.empty() && stop > static_cast<int>(r.size());
  });
  return ok ? value : 0;
}

int16_t get_si16(const std::string& message, double timeout) {
  int16_t value = 0;
  bool ok = read_number("get_si16:", message, timeout, "integer number", [&](const std::string& r) {
    int stop = 0;
    return kw_is_i16_text(r, value, stop);
  });
  return ok ? value : 0;
}

double get_f64(const std::string& message, double timeout) {
  int stop = 0;
  return kw_parse_double(get_numeric(message, timeout, "64-bit floating point number"), stop);
}

float get_f32(const std::string& message, double timeout) {
  int stop = 0;
  return static_cast<float>(
      kw_parse_double(get_numeric(message, timeout, "32-bit floating point number"), stop));
}

std::string get_hexstr(const std::string& message, double timeout) {
  // Asked again until it is hex; an instrument that never gets there is the operator's
  // to judge at every third reply, like the number readers, so the asking always ends.
  std::string hex;
  read_until(message, timeout, "hex string", "", 0, 3, [&](const std::string& r) {
    if (!is_upper_hex(r)) {
      if (!exiting()) debug_log("NOT-a-HEXSTR:" + r);
      return false;
    }
    hex = r;
    return true;
  });
  return hex;
}

float get_hex_f32(const std::string& message, double timeout) {
  return read_hex<float>(message, timeout, "hex-float", exactly_8, false, hex_to_single);
}

int32_t get_hex_si32(const std::string& message, double timeout, bool allow_long) {
  return read_hex<int32_t>(message, timeout, "hex-long32", up_to_8, allow_long, hex_to_s32);
}

int16_t get_hex_si16(const std::string& message, double timeout, bool allow_long) {
  return read_hex<int16_t>(message, timeout, "hex-int16", up_to_4, allow_long, hex_to_s16);
}

int16_t get_hex_int(const std::string& message, double timeout) {
  return read_hex<int16_t>(message, timeout, "hex-int", any_length, false, hex_to_s16);
}

int16_t get_hex_u8(const std::string& message, double timeout) {
  return read_hex<int16_t>(message, timeout, "hex-int8", exactly_2, false, hex_to_s16);
}

// ---- The "OK" forms ----------------------------------------------------------------------

bool rs232_send_ok(const std::string& message, double timeout, int tries) {
  FailureMark failure;
  for (;;) {
    std::string reply;
    for (int k = 1; k <= tries; ++k) {
      reply = get_reply(message, timeout);
      if (reply == "OK") return true;
      failure.begin();
      debug_log("RS232 OK-RETRY:SENT" + quoted(st().id + message) + "  GOT:" + quoted(reply));
    }
    if (rs232_failure_dialog(message, reply, tries, timeout, "\"OK\"") == 2) return false;
  }
}

bool rs232_send_ok_eq(const std::string& name, const std::string& value, double timeout,
                      int tries) {
  return rs232_send_ok(name + "=" + value, timeout, tries);
}

bool rs232_send_ok_eqeq(const std::string& name, const std::string& value, double timeout,
                        int tries) {
  return rs232_send_ok(name + "==" + value, timeout, tries);
}

bool rs232_send_ok_f32hex(const std::string& name, float value, double timeout, int tries) {
  return rs232_send_ok(name + single_to_hex(value), timeout, tries);
}

bool rs232_send_ok_hex(const std::string& name, const std::vector<std::string>& values,
                       const std::string& format) {
  return rs232_send_ok(name + hexstr_encode(format, values), kRs232DefaultTimeout, 3);
}

bool rs232_set_bits(const std::string& name, int32_t mask, double timeout) {
  int32_t value = get_si32(name, timeout) | mask;
  return rs232_send_ok(name + std::to_string(value), timeout, 3);
}

bool rs232_clear_bits(const std::string& name, int32_t mask, double timeout) {
  int32_t value = get_si32(name, timeout) & ~mask;
  return rs232_send_ok(name + std::to_string(value), timeout, 3);
}

}  // namespace ovn
