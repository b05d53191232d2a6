#pragma once
// A real MQTT broker for the publishing tests: Eclipse Mosquitto on a free loopback port,
// started and stopped by the test, and a subscriber that keeps every message it hears.

#include <arpa/inet.h>
#include <fcntl.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/child_process.h"

namespace ovn::test {

inline const char* mosquitto_broker_path() {
  for (const char* p : {"/usr/sbin/mosquitto", "/usr/bin/mosquitto"})
    if (::access(p, X_OK) == 0) return p;
  return nullptr;
}

// A loopback port nobody listens on now.
inline int free_loopback_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  (void)::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
  (void)::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  ::close(fd);
  return ntohs(a.sin_port);
}

inline bool port_accepts(int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
  ::close(fd);
  return ok;
}

// Waits up to `ms` for `done`, looking every 10 ms.
inline bool eventually(const std::function<bool()>& done, int ms = 5000) {
  for (int waited = 0; waited < ms; waited += 10) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return done();
}

// A certificate authority and a server certificate for 127.0.0.1 it signed, made by the
// openssl tool in `dir`: "ca.crt", "server.crt", "server.key". False when they could not be.
inline bool make_test_certificates(const std::string& dir) {
  const std::string d = "'" + dir + "'";
  const std::string commands =
      "(cd " + d +
      " && openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj '/CN=ovn test CA'"
      " -keyout ca.key -out ca.crt"
      " && openssl req -newkey rsa:2048 -nodes -subj '/CN=127.0.0.1' -keyout server.key"
      " -out server.csr"
      " && echo subjectAltName=IP:127.0.0.1 > ext.cnf"
      " && openssl x509 -req -in server.csr -CA ca.crt -CAkey ca.key -CAcreateserial -days 2"
      " -extfile ext.cnf -out server.crt"
      " && chmod 644 server.key) >/dev/null 2>&1";  // the broker reads it as its own user
  return std::system(commands.c_str()) == 0;
}

class MqttBroker {
 public:
  explicit MqttBroker(int port = free_loopback_port()) : port_(port) { start(); }
  // A broker that speaks TLS only, with the certificates of make_test_certificates(dir).
  MqttBroker(const std::string& certificates, int port = free_loopback_port())
      : port_(port), certificates_(certificates) {
    start();
  }
  ~MqttBroker() { stop(); }
  MqttBroker(const MqttBroker&) = delete;
  MqttBroker& operator=(const MqttBroker&) = delete;

  bool start() {
    const char* exe = mosquitto_broker_path();
    if (exe == nullptr) return false;
    config_ = "/tmp/ovn-test-mosquitto-" + std::to_string(::getpid()) + "-" +
              std::to_string(port_) + ".conf";
    std::ofstream config(config_);
    config << "listener " << port_ << " 127.0.0.1\nallow_anonymous true\n";
    if (!certificates_.empty())
      config << "cafile " << certificates_ << "/ca.crt\ncertfile " << certificates_
             << "/server.crt\nkeyfile " << certificates_ << "/server.key\n";
    config.close();
    // Quiet, unless OVN_TEST_BROKER_VERBOSE asks for its log.
    const bool verbose = std::getenv("OVN_TEST_BROKER_VERBOSE") != nullptr;
    std::vector<std::string> args = {"-c", config_};
    if (verbose) args.emplace_back("-v");
    process_ = std::make_unique<ChildProcess>(
        exe, exe, args, std::vector<std::pair<std::string, std::string>>{},
        verbose ? ChildProcess::Output::Inherit : ChildProcess::Output::Discard);
    return eventually([this] { return port_accepts(port_); });
  }
  void stop() {
    if (!process_) return;
    process_->stop(SIGKILL);
    process_.reset();
    ::unlink(config_.c_str());
  }
  int port() const { return port_; }
  bool running() const { return process_ != nullptr; }

 private:
  int port_;
  std::string certificates_;
  std::unique_ptr<ChildProcess> process_;
  std::string config_;
};

// One message as heard.
struct Heard {
  std::string topic;
  std::string payload;
  bool retained = false;
};

// Subscribes to `filter` and keeps what it hears.
class MqttListener {
 public:
  MqttListener(int port, const std::string& filter) {
    mosquitto_lib_init();
    client_ = mosquitto_new(nullptr, true, this);
    mosquitto_message_callback_set(client_, [](mosquitto*, void* self, const mosquitto_message* m) {
      auto* l = static_cast<MqttListener*>(self);
      std::lock_guard<std::mutex> lock(l->mutex_);
      l->heard_.push_back(
          {m->topic,
           std::string(static_cast<const char*>(m->payload), static_cast<size_t>(m->payloadlen)),
           m->retain});
    });
    filter_ = filter;
    mosquitto_connect_callback_set(client_, [](mosquitto* c, void* self, int) {
      mosquitto_subscribe(c, nullptr, static_cast<MqttListener*>(self)->filter_.c_str(), 1);
    });
    mosquitto_subscribe_callback_set(client_, [](mosquitto*, void* self, int, int, const int*) {
      auto* l = static_cast<MqttListener*>(self);
      std::lock_guard<std::mutex> lock(l->mutex_);
      l->subscribed_ = true;
    });
    mosquitto_connect(client_, "127.0.0.1", port, 30);
    mosquitto_loop_start(client_);
  }
  ~MqttListener() {
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, false);
    mosquitto_destroy(client_);
  }
  // True once the broker has confirmed the subscription: from here nothing is missed.
  bool subscribed() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return subscribed_;
  }
  std::vector<Heard> heard() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return heard_;
  }
  // The messages heard on topics ending in `leaf` ("status", "live"...).
  std::vector<Heard> on(const std::string& leaf) const {
    std::vector<Heard> out;
    for (const Heard& h : heard())
      if (h.topic.size() > leaf.size() && h.topic.ends_with("/" + leaf)) out.push_back(h);
    return out;
  }

 private:
  mosquitto* client_ = nullptr;
  std::string filter_;
  mutable std::mutex mutex_;
  bool subscribed_ = false;
  std::vector<Heard> heard_;
};

}  // namespace ovn::test
