#pragma once
// A program started by a test (ovn-sim, ovn-kst, a broker), its standard output and error
// read through pipes. Every wait is bounded; the program is stopped and reaped when this
// goes: SIGTERM, and SIGKILL when it is still there after three seconds.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ovn::test {

class ChildProcess {
 public:
  enum class Output { Pipes, Discard, Inherit };  // where its output goes
  // Starts `exe` with `args` (argv[0] is `name`) and the environment changed by `env`
  // (name, value).
  ChildProcess(const std::string& exe, const std::string& name, std::vector<std::string> args,
               const std::vector<std::pair<std::string, std::string>>& env = {},
               Output output = Output::Pipes) {
    int out[2], err[2];
    if (::pipe(out) != 0 || ::pipe(err) != 0) return;
    args.insert(args.begin(), name);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      const int null = ::open("/dev/null", O_WRONLY);
      if (output != Output::Inherit) {
        ::dup2(output == Output::Discard ? null : out[1], 1);
        ::dup2(output == Output::Discard ? null : err[1], 2);
      }
      for (int fd : {out[0], out[1], err[0], err[1], null}) ::close(fd);
      for (const auto& [key, value] : env) ::setenv(key.c_str(), value.c_str(), 1);
      ::execv(exe.c_str(), argv.data());
      ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    fd_[0] = out[0];
    fd_[1] = err[0];
  }
  ~ChildProcess() {
    stop();
    for (int fd : fd_)
      if (fd >= 0) ::close(fd);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void signal(int sig) const {
    if (pid_ > 0) ::kill(pid_, sig);
  }

  // The next line of standard output (stream 0) or error (1), without its LF; what came
  // when none ends within `ms`.
  std::string read_line(int stream, int ms = 5000) {
    std::string line;
    char c;
    pollfd p{fd_[stream], POLLIN, 0};
    while (::poll(&p, 1, ms) > 0 && ::read(fd_[stream], &c, 1) == 1 && c != '\n') line += c;
    return line;
  }

  // Reads both streams into `out` and `err` until the program closes them or `seconds`
  // pass (then it is killed). The exit code, or -1 when it had to be killed.
  int wait_end(int seconds) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    pollfd p[2] = {{fd_[0], POLLIN, 0}, {fd_[1], POLLIN, 0}};
    std::string* into[2] = {&out, &err};
    int open_pipes = 2;
    while (open_pipes > 0 && std::chrono::steady_clock::now() < deadline) {
      if (::poll(p, 2, 100) <= 0) continue;
      for (int i = 0; i < 2; ++i) {
        if (p[i].fd < 0 || !(p[i].revents & (POLLIN | POLLHUP))) continue;
        char buf[512];
        ssize_t n = ::read(p[i].fd, buf, sizeof buf);
        if (n > 0) {
          into[i]->append(buf, static_cast<size_t>(n));
        } else {
          p[i].fd = -1;
          --open_pipes;
        }
      }
    }
    if (open_pipes > 0) signal(SIGKILL);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return open_pipes == 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // SIGTERM (or `sig`), then SIGKILL after three seconds; the exit status as waitpid gave
  // it, or -1 when nothing was running.
  int stop(int sig = SIGTERM) {
    if (pid_ <= 0) return -1;
    ::kill(pid_, sig);
    int status = 0;
    bool gone = false;
    for (int i = 0; i < 300 && !gone; ++i) {
      gone = ::waitpid(pid_, &status, WNOHANG) == pid_;
      if (!gone) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!gone) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status, 0);
    }
    pid_ = -1;
    return status;
  }

  std::string out, err;  // what wait_end read

 private:
  pid_t pid_ = -1;
  int fd_[2] = {-1, -1};
};

}  // namespace ovn::test
