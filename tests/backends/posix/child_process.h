// A part of a test in a process of its own: to write at the same time as others, to be killed, or
// to run without the rights of root.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace mvsms {

class ChildProcess {
 public:
  /// Runs `body` in a copy of this process; false from it is a failure.
  explicit ChildProcess(const std::function<bool()>& body) : id_(fork()) {
    if (id_ == 0) _exit(body() ? 0 : 1);
  }
  ~ChildProcess() { Kill(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Waits for the end; whether the body returned true.
  bool Succeeded() {
    int status = 0;
    const bool ended = waitpid(id_, &status, 0) == id_;
    id_ = -1;
    return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  void Kill() {
    if (id_ <= 0) return;
    kill(id_, SIGKILL);
    Succeeded();
  }

 private:
  pid_t id_;
};

/// Runs `body` in a process that may not override file modes.
inline bool SucceedsUnprivileged(const std::function<bool()>& body) {
  constexpr uid_t kNobody = 65534;
  return ChildProcess([&] { return (geteuid() != 0 || setuid(kNobody) == 0) && body(); })
      .Succeeded();
}

}  // namespace mvsms
