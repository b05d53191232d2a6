#pragma once
// A port that hands every call to another one; a test overrides only what it changes
// (which port numbers exist, which requests go unanswered).

#include <string>

#include "link/port_service.h"

namespace ovn::test {

class ForwardingPort : public PortService {
 public:
  explicit ForwardingPort(PortService& inner) : inner_(inner) {}
  int port_number() const override { return inner_.port_number(); }
  void set_port_number(int n) override { inner_.set_port_number(n); }
  std::string device_name() const override { return inner_.device_name(); }
  std::string settings() const override { return inner_.settings(); }
  void set_settings(const std::string& s) override { inner_.set_settings(s); }
  bool is_open() const override { return inner_.is_open(); }
  bool open(std::string& error) override { return inner_.open(error); }
  void close() override { inner_.close(); }
  std::string input() override { return inner_.input(); }
  void output(const std::string& text) override { inner_.output(text); }
  bool get_state_baud(long& baud, int& e) override { return inner_.get_state_baud(baud, e); }
  bool set_state_baud(long baud, int& e) override { return inner_.set_state_baud(baud, e); }
  void set_dtr(bool on) override { inner_.set_dtr(on); }
  void set_rts(bool on) override { inner_.set_rts(on); }
  bool wait_input_until(double deadline_ms) override {
    return inner_.wait_input_until(deadline_ms);
  }

 private:
  PortService& inner_;
};

}  // namespace ovn::test
