// The message centre in real time: one thread that waits for descriptors and due actions.
// Everything but Stop belongs to the thread that calls Run.
#pragma once

#include <poll.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "centre/line.h"

namespace mvsms::centre {

/// A descriptor, closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  int get() const { return fd_; }

 private:
  int fd_;
};

class ServerLoop {
 public:
  /// Something with a descriptor.
  class Watcher {
   public:
    virtual ~Watcher() = default;
    virtual int fd() const = 0;            // -1: nothing to wait for now
    virtual short Events() const = 0;      // of poll(2)
    virtual void Ready(short events) = 0;  // what poll reported
    virtual bool Done() const = 0;         // the loop lets go of it
  };

  ServerLoop();
  void Watch(std::shared_ptr<Watcher> watcher);
  /// Runs `action` after `delay`, if `owner` still exists by then.
  void After(Millis delay, std::weak_ptr<void> owner, std::function<void()> action);
  /// The time since 1970 (UTC) when the loop was made, counted on by a clock that never jumps.
  Millis Now() const;
  /// Returns after Stop, or once no watcher is left.
  void Run();
  /// Ends Run soon. From any thread, and from a signal handler.
  void Stop();

 private:
  struct Action {
    std::weak_ptr<void> owner;
    std::function<void()> run;
  };
  void Wait();
  int Timeout() const;
  void RunDue();

  const Millis started_at_;
  const std::chrono::steady_clock::time_point started_;
  std::vector<std::shared_ptr<Watcher>> watchers_;
  std::multimap<Millis, Action> actions_;
  Descriptor wake_read_, wake_write_;
  std::atomic<bool> stopped_{false};
};

}  // namespace mvsms::centre
