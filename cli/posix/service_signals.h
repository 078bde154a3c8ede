// The signals that end a service, or make it begin anew.
#pragma once

#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>

namespace mvsms::cli {

/// Blocks SIGINT, SIGTERM and SIGHUP, for this thread and those that it starts, until its end: they
/// are taken by who waits here, and by nothing else. A broken pipe is no signal from then on.
class ServiceSignals {
 public:
  ServiceSignals() {
    sigemptyset(&set_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set_, signal);
    pthread_sigmask(SIG_BLOCK, &set_, &before_);
    std::signal(SIGPIPE, SIG_IGN);
  }
  ~ServiceSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  ServiceSignals(const ServiceSignals&) = delete;
  ServiceSignals& operator=(const ServiceSignals&) = delete;

  /// The next signal; 0 when none came in this time, which is less than a second.
  int Wait(std::chrono::milliseconds time) const {
    const timespec moment{0, std::chrono::nanoseconds(time).count()};
    return std::max(sigtimedwait(&set_, nullptr, &moment), 0);
  }

 private:
  sigset_t set_{};
  sigset_t before_{};
};

}  // namespace mvsms::cli
