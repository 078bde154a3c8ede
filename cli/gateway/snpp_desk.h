// The desk behind the door for paging clients.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "cli/context.h"
#include "gateway/api.h"
#include "gateway/desk.h"
#include "gateway/snpp.h"

namespace mvsms::cli {

class SnppDesk : public gateway::SnppSink {
 public:
  /// `shared` outlives the desk, which is one thread's, as `queue` is. Texts are UTF-8.
  SnppDesk(const std::string& home, const std::string& profile, gateway::ApiShared& shared,
           std::unique_ptr<gateway::Desk> queue);

  bool IsOpen() override { return !shared_.access.has_tokens(); }
  bool LogIn(const std::string& name, const std::string& password) override;
  Found Find(const std::string& pager) override;
  Answer Send(const gateway::PageRequest& page) override;

 private:
  gateway::ApiShared& shared_;
  std::string who_;  // has logged in
  const std::unique_ptr<gateway::Desk> queue_;
  std::stringstream nothing_;  // what a command would read, print and warn of
  Context context_;
};

}  // namespace mvsms::cli
