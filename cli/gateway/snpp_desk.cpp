// See snpp_desk.h.
#include "cli/gateway/snpp_desk.h"

#include <exception>
#include <utility>

#include "base/ansi.h"
#include "cli/json.h"
#include "dispatch/way.h"
#include "gateway/groups.h"

namespace mvsms::cli {

SnppDesk::SnppDesk(const std::string& home, const std::string& profile, gateway::ApiShared& shared,
                   std::unique_ptr<gateway::Desk> queue)
    : shared_(shared), queue_(std::move(queue)), context_(home, nothing_, nothing_, nothing_) {
  context_.profile = profile;
}

bool SnppDesk::LogIn(const std::string& name, const std::string& password) {
  if (IsOpen()) return true;  // whoever it says it is
  if (!shared_.access.Knows(name, password, gateway::Role::kSubmit)) return false;
  who_ = name;
  return true;
}

/// A name that a group has is that group, with or without the "@".
SnppDesk::Found SnppDesk::Find(const std::string& pager) try {
  const std::string name = gateway::IsGroup(pager) ? pager.substr(1) : pager;
  const gateway::Groups groups(context_.platform().registry(), AnsiFromUtf8(context_.profile));
  if (groups.Members(AnsiFromUtf8(name))) return {gateway::kGroupMark + name, ""};
  const dispatch::Way way = dispatch::FindWay(context_.platform(), AnsiFromUtf8(context_.profile),
                                              AnsiFromUtf8(pager), "");
  return {pager, Utf8FromAnsi(way.obstacle)};
} catch (const std::exception& error) {
  return {pager, error.what()};
}

SnppDesk::Answer SnppDesk::Send(const gateway::PageRequest& page) try {
  if (const auto crowd = shared_.Crowded(who_, page.to.size())) {
    return {End::kUnavailable, crowd->sentence};
  }
  const Json taken = queue_->Put({page});
  std::string sentence = "id " + page.id;
  for (const std::string& skipped : gateway::SkippedIn(taken)) sentence += "; " + skipped;
  return {End::kQueued, sentence};
} catch (const gateway::WrongFields& wrong) {
  return {End::kRefused, wrong.what()};
} catch (const std::exception& error) {
  return {End::kUnavailable, error.what()};
}

}  // namespace mvsms::cli
