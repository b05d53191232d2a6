#include "monitor/publish.h"

#include <mosquitto.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "foundation/events.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "foundation/settings.h"
#include "instrument/tm_info.h"
#include "monitor/frm_kst_main.h"

namespace ovn {

namespace {

constexpr int kKeepAliveS = 30;
constexpr unsigned kReconnectFirstS = 1, kReconnectMaxS = 30;
constexpr auto kGoodbyeWait = std::chrono::seconds(2);
constexpr int kLoopMs = 50;  // the longest a queued message waits for the client's thread

bool all_digits(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  return true;
}

void library_init() {
  static const int once = mosquitto_lib_init();
  (void)once;
}

}  // namespace

std::string publish_parse_url(const std::string& url, PublishTarget& target) {
  PublishTarget t = target;
  std::string rest;
  if (url.rfind("mqtt://", 0) == 0) {
    t.tls = false;
    t.port = 1883;
    rest = url.substr(7);
  } else if (url.rfind("mqtts://", 0) == 0) {
    t.tls = true;
    t.port = 8883;
    rest = url.substr(8);
  } else {
    return "\"" + url + "\" is no broker address: mqtt://[user@]host[:port]/prefix";
  }
  const size_t slash = rest.find('/');
  if (slash == std::string::npos || slash + 1 == rest.size())
    return "\"" + url + "\" names no topic prefix: mqtt://host/prefix";
  t.prefix = rest.substr(slash + 1);
  while (!t.prefix.empty() && t.prefix.back() == '/') t.prefix.pop_back();
  if (t.prefix.find_first_of("+#") != std::string::npos)
    return "the topic prefix \"" + t.prefix + "\" may not hold + or #";
  std::string authority = rest.substr(0, slash);
  if (const size_t at = authority.rfind('@'); at != std::string::npos) {
    t.user = authority.substr(0, at);
    if (t.user.find(':') != std::string::npos)
      return "a password is never given on the command line: set OVN_MQTT_PASSWORD";
    authority = authority.substr(at + 1);
  }
  if (const size_t colon = authority.rfind(':'); colon != std::string::npos) {
    const std::string port = authority.substr(colon + 1);
    if (!all_digits(port) || port.size() > 5 || std::stoi(port) < 1 || std::stoi(port) > 65535)
      return "\"" + port + "\" is no port number (1 to 65535)";
    t.port = std::stoi(port);
    authority = authority.substr(0, colon);
  }
  if (authority.empty()) return "\"" + url + "\" names no broker host";
  t.host = authority;
  target = t;
  return "";
}

std::string publish_password_from_environment() {
  if (const char* p = std::getenv("OVN_MQTT_PASSWORD"); p != nullptr) return p;
  if (const char* f = std::getenv("OVN_MQTT_PASSWORD_FILE"); f != nullptr) {
    std::ifstream in(f);
    std::string line;
    std::getline(in, line);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
  }
  return "";
}

std::string publish_topic_id(const std::string& id) {
  std::string out;
  for (char c : id) {
    const bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '.';
    out += keep ? c : '_';
  }
  return out.empty() ? "unknown" : out;
}

std::string publish_live_json(const LiveBatch& b, int channels,
                              const std::array<std::string, 3>& units) {
  auto list = [](const std::vector<double>& values) {
    std::string text = "[";
    for (size_t i = 0; i < values.size(); ++i) text += (i ? "," : "") + json_number(values[i]);
    return text + "]";
  };
  std::string unit_list;
  for (int c = 0; c < channels; ++c)
    unit_list += (c ? "," : "") + json_string(units[static_cast<size_t>(c)]);
  std::string json =
      "{\"start\":" + json_string(b.start) + ",\"units\":[" + unit_list + "],\"t\":" + list(b.t);
  for (int c = 0; c < channels; ++c)
    json += ",\"ch" + std::to_string(c + 1) + "\":" + list(b.ch[static_cast<size_t>(c)]);
  return json + "}";
}

// ---- Publisher ---------------------------------------------------------------------------

Publisher::Publisher(PublishTarget target, const std::string& instrument_id)
    : target_(std::move(target)) {
  root_ = (target_.prefix.empty() ? "" : target_.prefix + "/") + publish_topic_id(instrument_id);
}

std::string Publisher::start() {
  library_init();
  client_ = mosquitto_new(nullptr, true, this);
  if (client_ == nullptr) return "cannot make an MQTT client";
  mosquitto_threaded_set(client_, true);
  if (!target_.user.empty())
    mosquitto_username_pw_set(client_, target_.user.c_str(),
                              target_.password.empty() ? nullptr : target_.password.c_str());
  if (target_.tls) {
    const char* ca_file = target_.ca_file.empty() ? nullptr : target_.ca_file.c_str();
    const char* ca_path = ca_file == nullptr ? "/etc/ssl/certs" : nullptr;
    if (mosquitto_tls_set(client_, ca_file, ca_path, nullptr, nullptr, nullptr) != MOSQ_ERR_SUCCESS)
      return "cannot use the certificate authority \"" + target_.ca_file + "\"";
  }
  const std::string status = root_ + "/status";
  mosquitto_will_set(client_, status.c_str(), 7, "offline", 1, true);
  mosquitto_connect_callback_set(client_, &Publisher::on_connect);
  mosquitto_disconnect_callback_set(client_, &Publisher::on_disconnect);
  mosquitto_publish_callback_set(client_, &Publisher::on_publish);
  // The connection is made in the client's own thread: a name lookup or a broker that
  // never answers holds that thread, not the main loop.
  network_ = std::thread([this] { run(); });
  return "";
}

Publisher::~Publisher() {
  finish();
}

void Publisher::finish() {
  if (client_ == nullptr) return;
  close_batch();
  push({root_ + "/status", "offline", 1, true, false});
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (network_.joinable()) network_.join();
  mosquitto_destroy(client_);
  client_ = nullptr;
}

bool Publisher::stopping() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return stopping_;
}

void Publisher::run() {
  unsigned delay = kReconnectFirstS;
  bool linked = mosquitto_connect_async(client_, target_.host.c_str(), target_.port, kKeepAliveS) ==
                MOSQ_ERR_SUCCESS;
  while (!stopping()) {
    if (!linked) {
      // Away: wait, longer each time, then try again.
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait_for(lock, std::chrono::seconds(delay), [this] { return stopping_; });
      if (stopping_) break;
      lock.unlock();
      delay = std::min(delay * 2, kReconnectMaxS);
      linked = mosquitto_reconnect_async(client_) == MOSQ_ERR_SUCCESS;
      continue;
    }
    hand_over();
    if (mosquitto_loop(client_, kLoopMs, 1) != MOSQ_ERR_SUCCESS) {
      std::lock_guard<std::mutex> lock(mutex_);
      connected_ = false;
      linked = false;
    } else if (connected()) {
      delay = kReconnectFirstS;
    }
  }
  // Goodbye: what is queued (the "offline" last) reaches a broker that is there, within
  // two seconds; one that is away is not waited for.
  const auto until = std::chrono::steady_clock::now() + kGoodbyeWait;
  while (connected() && std::chrono::steady_clock::now() < until) {
    hand_over();
    bool done = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done = queue_.empty() && unacknowledged_ == 0;
    }
    if (done && !mosquitto_want_write(client_)) break;
    if (mosquitto_loop(client_, 20, 1) != MOSQ_ERR_SUCCESS) break;
  }
  mosquitto_disconnect(client_);
  mosquitto_loop(client_, 20, 1);
}

void Publisher::open_session(const std::string& session_json) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    session_json_ = session_json;
  }
  push({root_ + "/status", "online", 1, true, false});
  push({root_ + "/session", session_json, 1, true, false});
}

void Publisher::sample(double t_s, const std::array<double, 3>& values, int channels,
                       const std::array<std::string, 3>& units) {
  const double now = now_ms();
  if (batch_.size() == 0) {
    batch_.start = kw_iso_time(kw_now(), true);
    batch_.first_ms = now;
    channels_ = std::min(channels, 3);
    units_ = units;
  }
  batch_.t.push_back(std::round(t_s * 1000) / 1000);
  for (size_t c = 0; c < 3; ++c) batch_.ch[c].push_back(values[c]);
  if (batch_.size() >= kBatchSamples || now - batch_.first_ms >= kBatchMs) close_batch();
}

void Publisher::event(const std::string& json) {
  push({root_ + "/events", json, 1, false, false});
}

int64_t Publisher::batches() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return batches_;
}

int64_t Publisher::dropped() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return dropped_;
}

bool Publisher::connected() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return connected_;
}

void Publisher::close_batch() {
  if (batch_.size() == 0) return;
  push({root_ + "/live", publish_live_json(batch_, channels_, units_), 0, false, true});
  batch_ = LiveBatch{};
}

void Publisher::push(Message m) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (queue_.size() >= kMaxQueued) {
      // The oldest batch gives way; records and events give way only to a flood of their own.
      auto oldest = queue_.begin();
      while (oldest != queue_.end() && !oldest->live) ++oldest;
      if (oldest != queue_.end() || queue_.size() >= 4 * kMaxQueued) {
        if (oldest == queue_.end()) oldest = queue_.begin();
        dropped_ += oldest->live ? 1 : 0;
        queue_.erase(oldest);
      }
    }
    queue_.push_back(std::move(m));
  }
  wake_.notify_all();
}

void Publisher::hand_over() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (connected_ && !queue_.empty()) {
    Message m = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    int mid = 0;
    const int rc =
        mosquitto_publish(client_, &mid, m.topic.c_str(), static_cast<int>(m.payload.size()),
                          m.payload.data(), m.qos, m.retain);
    lock.lock();
    if (rc != MOSQ_ERR_SUCCESS) {
      // The connection went while we looked: the message waits, first in line.
      connected_ = false;
      queue_.push_front(std::move(m));
      return;
    }
    batches_ += m.live ? 1 : 0;
    unacknowledged_ += m.qos > 0 ? 1 : 0;
  }
}

void Publisher::on_connect(mosquitto*, void* self, int rc) {
  auto* p = static_cast<Publisher*>(self);
  if (rc != 0) return;
  {
    std::lock_guard<std::mutex> lock(p->mutex_);
    p->connected_ = true;
    // Back after a break (the broker restarted, or the line): the last will may have said
    // "offline" meanwhile, and a broker without memory has lost the retained record.
    if (p->ever_connected_ && !p->session_json_.empty()) {
      p->queue_.push_front({p->root_ + "/session", p->session_json_, 1, true, false});
      p->queue_.push_front({p->root_ + "/status", "online", 1, true, false});
    }
    p->ever_connected_ = true;
  }
  p->wake_.notify_all();
}

void Publisher::on_disconnect(mosquitto*, void* self, int) {
  auto* p = static_cast<Publisher*>(self);
  std::lock_guard<std::mutex> lock(p->mutex_);
  p->connected_ = false;
  p->unacknowledged_ = 0;  // a new session sends them again
}

void Publisher::on_publish(mosquitto*, void* self, int) {
  auto* p = static_cast<Publisher*>(self);
  std::lock_guard<std::mutex> lock(p->mutex_);
  if (p->unacknowledged_ > 0) --p->unacknowledged_;
}

// ---- A session's publishing --------------------------------------------------------------

namespace {
constexpr const char* kSection = "Publish";
}  // namespace

bool publish_stored_target(PublishTarget& target) {
  const std::string url = kw_setting_get(kSharedApp, kSection, "URL", "");
  if (url.empty()) return false;
  PublishTarget t;
  t.ca_file = kw_setting_get(kSharedApp, kSection, "CA", "");
  t.password = publish_password_from_environment();
  if (!publish_parse_url(url, t).empty()) return false;
  target = t;
  return true;
}

std::string publish_store_target(const std::string& url, const std::string& ca_file) {
  PublishTarget t;
  if (!url.empty()) {
    if (std::string why = publish_parse_url(url, t); !why.empty()) return why;
    if (!ca_file.empty() && !t.tls) return "a certificate authority belongs to an mqtts:// broker";
  }
  kw_setting_put(kSharedApp, kSection, "URL", url);
  kw_setting_put(kSharedApp, kSection, "CA", ca_file);
  return "";
}

std::string publish_session_json(const FrmKstMain& f) {
  const TmInfoRecord& r = tm_info_current_record();
  std::string scales, units;
  for (int c = 0; c < f.session.channels && c < 3; ++c) {
    scales += (c ? "," : "") + json_number(f.session.full_scale[static_cast<size_t>(c)]);
    units += (c ? "," : "") + json_string(f.session.unit[static_cast<size_t>(c)]);
  }
  return "{\"family\":" + json_string(r.tm_name) + ",\"firmware\":" + json_string(r.firmware) +
         ",\"model\":" + json_string(r.model) + ",\"serial\":" + json_string(r.serial) +
         ",\"shaft\":" + json_string(r.shaft) + ",\"customer\":" + json_string(r.customer_name) +
         ",\"uid\":" + json_string(r.uid) + ",\"full_scale\":[" + scales + "],\"units\":[" + units +
         "]}";
}

std::unique_ptr<Publisher> publish_session(const PublishTarget& target, const FrmKstMain& f,
                                           std::string& error) {
  const TmInfoRecord& r = tm_info_current_record();
  const bool named = !r.serial.empty() && r.serial != "None" && r.serial != "NoSerial";
  auto p = std::make_unique<Publisher>(target, named ? r.serial : r.uid);
  error = p->start();
  if (!error.empty()) return nullptr;
  p->open_session(publish_session_json(f));
  Publisher* raw = p.get();
  set_event_sink([raw](const std::string& json) { raw->event(json); });
  return p;
}

void publish_round(Publisher& p, const FrmKstMain& f, double t_s) {
  p.sample(t_s, f.cur, f.session.channels, f.session.unit);
}

std::string publish_end(std::unique_ptr<Publisher>& p) {
  if (!p) return "";
  set_event_sink(nullptr);
  p->finish();
  std::string counts = std::to_string(p->batches()) + " live batches published, " +
                       std::to_string(p->dropped()) + " dropped";
  p.reset();
  return counts;
}

}  // namespace ovn
