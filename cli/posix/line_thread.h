// A line of the worker: a thread with a platform, a queue and a journal of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "backends/posix/hub/wire.h"
#include "cli/context.h"
#include "dispatch/line_worker.h"
#include "dispatch/shared_queue.h"

namespace mvsms::cli {

/// What the worker's threads share.
class WorkFloor {
 public:
  /// Prints lines for the operator; texts in UTF-8.
  explicit WorkFloor(std::ostream& out) : out_(out) {}

  struct LineNews {
    dispatch::LineState state = dispatch::LineState::kIdle;
    std::string why{};       // UTF-8
    std::int64_t since = 0;  // seconds since 1970
    std::int64_t last_success = 0;
    std::chrono::steady_clock::time_point heard{};
  };

  // For the one who watches.
  void WakeAll();
  /// No page is begun any more.
  void Finish() {
    finishing_ = true;
    WakeAll();
  }
  /// The running calls are aborted.
  void Abort() { aborting_ = true; }
  std::map<std::string, LineNews> News();
  /// How many lines have ended.
  std::size_t ended() const { return ended_; }

  // For the lines.
  bool finishing() const { return finishing_; }
  bool aborting() const { return aborting_; }
  /// Returns after a WakeAll that came since `seen`, which is then the newest; after a while in any
  /// case.
  void WaitForWork(std::uint64_t& seen);
  /// For the courier: returns after so long, or, with true, when every line has ended.
  bool WaitForEnd(std::chrono::milliseconds longest);
  /// All lines have ended.
  void End();
  void Print(const std::string& line);
  void Tell(const std::string& line, dispatch::LineState state, const std::string& why);
  void Heartbeat(const std::string& line);
  void Succeeded(const std::string& line);
  void Ended() { ++ended_; }

 private:
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable end_;
  std::uint64_t wakings_ = 0;
  std::map<std::string, LineNews> news_;
  std::ostream& out_;
  bool over_ = false;
  std::atomic<bool> finishing_ = false;
  std::atomic<bool> aborting_ = false;
  std::atomic<std::size_t> ended_ = 0;
};

/// What the lines share with the courier.
struct HubShare {
  HubShare(std::unique_ptr<posix::HubWire> way, std::unique_ptr<posix::HubWire> listener,
           std::string name)
      : wire(std::move(way)), ear(std::move(listener)), machine(std::move(name)) {}
  posix::SharedWire wire;
  const std::unique_ptr<posix::HubWire> ear;  // the courier's alone
  const std::string machine;                  // this machine's name at the hub
  dispatch::HubHints hints;
};

class LineThread {
 public:
  /// Begins to work, until the floor finishes; with `once`, until nothing is to do.
  /// With pages of the hub, too, where there is one.
  LineThread(WorkFloor& floor, HubShare* share, std::string home, dispatch::WorkerLine line,
             bool once);

 private:
  std::jthread thread_;
};

}  // namespace mvsms::cli
