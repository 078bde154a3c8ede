// The courier of the worker: a thread with a platform, a queue and a journal of its own, and the
// way to the hub that the lines share with it.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "backends/posix/hub/hub.h"
#include "backends/posix/hub/wire.h"
#include "cli/posix/line_thread.h"
#include "dispatch/courier.h"

namespace mvsms::cli {

class CourierThread {
 public:
  /// Begins its rounds, until `floor` finishes; then it tells what there is to tell, and ends.
  CourierThread(WorkFloor& floor, HubShare& share, std::string home, std::string profile,
                std::vector<dispatch::WorkerLine> lines);

  /// How the hub is, as of the latest round.
  dispatch::HubSight sight();
  /// Returns when the first round is over.
  void AwaitFirstRound() { first_round_.wait(false); }

 private:
  void See(const dispatch::HubSight& sight);

  std::mutex mutex_;
  dispatch::HubSight sight_;
  std::atomic<bool> first_round_ = false;
  std::jthread thread_;
};

}  // namespace mvsms::cli
