#pragma once
// Publishing a stand's live data and events over MQTT, for a lab's historian, dashboards
// and alarms. Topics under "<prefix>/<instrument id>/":
//   status   "online" when the session opens, "offline" when it ends; "offline" is also the
//            last will, so a stand that dies says so; retained, QoS 1
//   session  the session record as JSON (family, firmware, model, serial, shaft, customer,
//            full scales, units); retained, QoS 1
//   live     JSON batches of samples every 200 ms or 100 samples, whichever comes first:
//            {"start":ISO 8601,"units":[...],"t":[s...],"ch1":[...],...}; QoS 0
//   events   one JSON object an event (foundation/events.h); QoS 1
//
// The main loop never waits for the network: messages go into a bounded queue (10 s of
// batches) that a thread of the publisher's own hands to the broker; that thread alone
// talks to the client library. While the broker is
// away the oldest batches give way and are counted; the client reconnects by itself, waiting
// longer each time up to 30 s. The client library is Eclipse Mosquitto's libmosquitto.

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct mosquitto;

namespace ovn {

struct FrmKstMain;

// Where to publish: "mqtt://[user@]host[:port]/prefix", or "mqtts://" for TLS.
struct PublishTarget {
  bool tls = false;
  std::string user;
  std::string host;
  int port = 1883;  // 8883 for mqtts
  std::string prefix;
  std::string ca_file;   // TLS: the authority to trust; empty: the system's
  std::string password;  // never from the command line: OVN_MQTT_PASSWORD or its file
};

// Reads `url` into `target` (keeping its ca_file and password). "" when it can be used,
// else why not, in the operator's words.
std::string publish_parse_url(const std::string& url, PublishTarget& target);
// The password of the environment: OVN_MQTT_PASSWORD, else the first line of the file
// named by OVN_MQTT_PASSWORD_FILE; "" when neither is set.
std::string publish_password_from_environment();
// An instrument id as one topic level: letters, digits, "-", "_" and "." stay, the rest
// become "_"; empty gives "unknown".
std::string publish_topic_id(const std::string& id);

// The live batch being filled: samples since its start, closed at 200 ms or 100 samples.
struct LiveBatch {
  std::string start;  // ISO 8601 of the first sample
  double first_ms = 0;
  std::vector<double> t;
  std::array<std::vector<double>, 3> ch;
  size_t size() const { return t.size(); }
};
// The batch as JSON.
std::string publish_live_json(const LiveBatch& batch, int channels,
                              const std::array<std::string, 3>& units);

class Publisher {
 public:
  // Messages held while the broker is away: 50 batches of 200 ms, and events.
  static constexpr size_t kMaxQueued = 50;
  static constexpr double kBatchMs = 200;
  static constexpr size_t kBatchSamples = 100;

  Publisher(PublishTarget target, const std::string& instrument_id);
  // Says "offline", gives the queue up to two seconds to reach a broker that is there,
  // then disconnects. The counts stay readable.
  void finish();
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  // Starts the client's thread, which connects (and reconnects) by itself. "" or why not.
  std::string start();
  // "online", then the session record, retained.
  void open_session(const std::string& session_json);
  // One sample at `t_s` seconds; a batch closes when it is due.
  void sample(double t_s, const std::array<double, 3>& values, int channels,
              const std::array<std::string, 3>& units);
  // One event (its JSON).
  void event(const std::string& json);

  int64_t batches() const;  // live batches handed to the broker
  int64_t dropped() const;  // live batches given up while the broker was away
  bool connected() const;
  const std::string& topic_root() const { return root_; }

 private:
  struct Message {
    std::string topic;
    std::string payload;
    int qos = 0;
    bool retain = false;
    bool live = false;
  };
  void push(Message m);
  void close_batch();
  // The client's thread: connects, hands the queue over, reconnects, says goodbye. Every
  // call into the client library happens here.
  void run();
  void hand_over();
  bool stopping() const;
  static void on_connect(mosquitto*, void* self, int rc);
  static void on_disconnect(mosquitto*, void* self, int rc);
  static void on_publish(mosquitto*, void* self, int mid);

  PublishTarget target_;
  std::string root_;
  mosquitto* client_ = nullptr;
  LiveBatch batch_;
  int channels_ = 0;
  std::array<std::string, 3> units_;

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Message> queue_;
  bool connected_ = false;
  bool ever_connected_ = false;
  bool stopping_ = false;
  std::string session_json_;  // told again at each reconnection
  int64_t batches_ = 0, dropped_ = 0;
  int unacknowledged_ = 0;  // QoS 1 messages the broker has not confirmed yet
  std::thread network_;
};

// ---- A session's publishing, the same for the window and the headless run --------------

// The broker kept by the window's "Publish..." dialog: settings "OVN-Shared", section
// "Publish", keys "URL" and "CA"; the password from the environment. False when none is
// kept, or the kept one cannot be read.
bool publish_stored_target(PublishTarget& target);
// Keeps `url` (empty: no publishing) and `ca_file`. "" when kept, else why not.
std::string publish_store_target(const std::string& url, const std::string& ca_file);
// The session record of `f` as the "session" topic carries it.
std::string publish_session_json(const FrmKstMain& f);
// Starts publishing the session of `f`: the client started, "online" and the session
// record queued, and every event from here on. Nothing, and `error` said, when the client
// cannot start.
std::unique_ptr<Publisher> publish_session(const PublishTarget& target, const FrmKstMain& f,
                                           std::string& error);
// The round's sample of `f`, `t_s` seconds into the session.
void publish_round(Publisher& p, const FrmKstMain& f, double t_s);
// Ends the publishing: events stop, "offline", the goodbye. The count of batches published
// and dropped ("7 live batches published, 0 dropped"); "" when there was none.
std::string publish_end(std::unique_ptr<Publisher>& p);

}  // namespace ovn
