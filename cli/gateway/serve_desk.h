// The desk behind the gateway: this machine's queue, journal and lines.
#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "backends/posix/store/queue.h"
#include "backends/posix/store/store.h"
#include "cli/context.h"
#include "cli/gateway/attempt_tally.h"
#include "cli/posix/page_order.h"
#include "gateway/desk.h"
#include "gateway/put_batch.h"

namespace mvsms::cli {

/// The event that tells of a page.
std::string EventOf(const dispatch::QueuedPage& page);

class ServeDesk : public gateway::Desk {
 public:
  /// `batch` and `tally` outlive the desk, and are those of all desks. Texts are UTF-8.
  ServeDesk(const std::string& home, const std::string& profile, gateway::PutBatch& batch,
            AttemptTally& tally);

  gateway::Json Put(const std::vector<gateway::PageRequest>& requests) override;
  gateway::Json Page(const std::string& id) override;
  gateway::Json Pages(const gateway::ListQuery& query) override;
  gateway::Operated Operate(const std::string& id, const dispatch::OperatorAction& action) override;
  gateway::Json Stats() override;
  gateway::Json Lines() override;
  gateway::Json Hub() override;
  gateway::Json Attempts(const gateway::ListQuery& query) override;
  gateway::Json Attempt(const std::string& id) override;
  gateway::Json History() override;
  std::string EventsSince(std::int64_t since) override;
  gateway::Figures Measure() override;
  void CheckReady() override;

 private:
  /// Throws Failure when the settings cannot be read.
  void CheckSettings();
  /// The pages of requests; `skipped` gets the parts of groups that nothing can be sent to.
  std::vector<dispatch::Page> Ordered(const std::vector<gateway::PageRequest>& requests,
                                      std::vector<Obstacle>& skipped);

  std::istream no_input_{nullptr};  // what a command would read, print and warn of
  std::ostream no_output_{nullptr};
  Context context_;
  const std::string profile_;
  posix::StoreMark checked_{};
  posix::PageQueue queue_;
  gateway::PutBatch& batch_;
  AttemptTally& tally_;
};

}  // namespace mvsms::cli
