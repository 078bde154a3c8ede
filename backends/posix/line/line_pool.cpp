// See line_pool.h. Where the store cannot be written a member does not rest, and is tried again.
#include "backends/posix/line/line_pool.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <utility>

#include "backends/posix/line/device_lock.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/network_modem.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

// A clock that was set back must not make the rest longer than it is.
bool Rests(LineStore& store, const LineConfig& pool, const std::string& member) {
  const std::int64_t left = store.RestsUntil(member) - std::time(nullptr);
  return left > 0 && left <= pool.rest;
}

// Why a member is passed by; empty when it is not.
std::string Absence(LineStore& store, const LineConfig& pool, const LineConfig& member) {
  const std::string name = Utf8FromAnsi(member.name);
  if (!NamesNetwork(member.device) && access(member.device.c_str(), F_OK) != 0)
    return name + " is not plugged in";
  if (Rests(store, pool, member.name)) return name + " rests, for it did not answer";
  return {};
}

std::vector<LineConfig> MembersOf(LineStore& store, const LineConfig& pool) {
  std::vector<LineConfig> members;
  for (const std::string& name : pool.members) {
    auto member = store.Find(name);
    if (member && member->kind == LineKind::kHayes) members.push_back(*std::move(member));
  }
  return members;
}

// What was reserved for this call is its modem, whatever else has become free since.
void PutReservedFirst(std::vector<LineConfig>& members) {
  const auto reserved = std::ranges::find_if(
      members, [](const LineConfig& member) { return IsReserved(member.device); });
  if (reserved != members.end()) std::rotate(members.begin(), reserved, std::next(reserved));
}

std::string Joined(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += (text.empty() ? "" : "; ") + sentence;
  return text;
}

class PoolDialler : public Dialler {
 public:
  PoolDialler(std::string home, LineConfig pool, std::string destination)
      : home_(std::move(home)), pool_(std::move(pool)), destination_(std::move(destination)) {}
  ~PoolDialler() override { HangUp(); }

  void Prepare() override {
    Modems modems = ModemsOf(home_, pool_);
    untried_ = std::move(modems.ready);
    troubles_ = std::move(modems.away);
    NoteMember(pool_.name, "");
    if (!PrepareNext()) throw RaisedError(error_, "LinePool", AnsiFromUtf8(NoMember()));
  }

  CallCause Dial(const std::stop_token& stop) override {
    CallCause cause = call_->Dial(stop);
    while (call_->NothingDialled() && !stop.stop_requested()) {
      SpareMember();
      if (!PrepareNext()) break;
      cause = call_->Dial(stop);
    }
    if (cause == CallCause::kNone) EndRest();
    return cause;
  }

  const std::shared_ptr<Channel>& channel() const override { return call_->channel(); }
  bool NothingDialled() const override { return call_ && call_->NothingDialled(); }

  std::string Trouble() const override {
    std::vector<std::string> troubles = troubles_;
    const std::string last = call_ ? call_->Trouble() : "";
    if (!last.empty() && !NothingDialled()) troubles.push_back(Utf8FromAnsi(member_) + ": " + last);
    return Joined(troubles);
  }

  void HangUp() override {
    if (call_) call_->HangUp();
  }

 private:
  /// Makes the next member that can be had the one that the call goes over; false, and all stays as
  /// it was, when there is none.
  bool PrepareNext() {
    for (; !untried_.empty(); untried_.erase(untried_.begin())) {
      const LineConfig& member = untried_.front();
      auto call = MakeHayesDialler(member, destination_);
      if (!HasPrepared(*call, member)) continue;
      HangUp();
      call_ = std::move(call);
      untried_.erase(untried_.begin());
      return true;
    }
    return false;
  }

  bool HasPrepared(Dialler& call, const LineConfig& member) try {
    call.Prepare();
    member_ = member.name;
    NoteMember(pool_.name, member_);
    return true;
  } catch (const RaisedError& error) {
    troubles_.push_back(Utf8FromAnsi(member.name) + ": " + Utf8FromAnsi(error.description()));
    if (error_ != EBUSY) error_ = error.number();
    // A device that is busy or unplugged shows that by itself, as soon as it is not any more.
    if (error.number() != EBUSY && error.number() != ENOENT) SetRest(member.name, RestEnd());
    return false;
  }

  std::string NoMember() const {
    return "No modem of the pool \"" + Utf8FromAnsi(pool_.name) +
           "\" can be used: " + (troubles_.empty() ? "it has none" : Joined(troubles_));
  }

  void SpareMember() {
    NoteMember(pool_.name, "");
    troubles_.push_back(Utf8FromAnsi(member_) + ": " + call_->Trouble());
    SetRest(member_, RestEnd());
  }

  // It may have been tried because all members rest.
  void EndRest() try {
    if (LineStore(home_).RestsUntil(member_) != 0) SetRest(member_, 0);
  } catch (const RaisedError&) {
    // the call is up: nothing else counts
  }

  std::int64_t RestEnd() const { return std::time(nullptr) + pool_.rest; }

  void SetRest(const std::string& member, std::int64_t until) try {
    LineStore(home_).SetRest(member, until);
  } catch (const RaisedError&) {
    // see above
  }

  std::string home_;
  LineConfig pool_;
  std::string destination_;
  std::vector<LineConfig> untried_;
  std::vector<std::string> troubles_;  // of the members that did not take the call
  std::int32_t error_ = ENODEV;        // of Prepare
  std::string member_;                 // that call_ goes over
  std::unique_ptr<Dialler> call_;
};

}  // namespace

Modems ModemsOf(const std::string& home, const LineConfig& line) {
  Modems modems;
  if (line.kind == LineKind::kHayes) modems.ready.push_back(line);
  if (line.kind != LineKind::kPool) return modems;
  LineStore store(home);
  const std::vector<LineConfig> members = MembersOf(store, line);
  for (const LineConfig& member : members) {
    const std::string absence = Absence(store, line, member);
    if (absence.empty()) {
      modems.ready.push_back(member);
    } else {
      modems.away.push_back(absence);
    }
  }
  if (modems.ready.empty()) modems = {members, {}};
  PutReservedFirst(modems.ready);
  return modems;
}

std::string LineInUse(const std::string& home, const LineConfig& line) {
  const Modems modems = ModemsOf(home, line);
  std::vector<std::string> reasons;
  for (const LineConfig& modem : modems.ready) {
    reasons.push_back(DeviceInUse(modem.device));
    if (reasons.back().empty()) return {};
  }
  return WhyNoneIsFree(line, reasons, modems.away);
}

std::string WhyNoneIsFree(const LineConfig& line, std::vector<std::string> reasons,
                          const std::vector<std::string>& away) {
  if (line.kind != LineKind::kPool || reasons.empty()) return Joined(reasons);
  reasons.insert(reasons.end(), away.begin(), away.end());
  return "No modem of the pool \"" + Utf8FromAnsi(line.name) + "\" is free: " + Joined(reasons);
}

std::unique_ptr<Dialler> MakePoolDialler(const std::string& home, const LineConfig& pool,
                                         const std::string& destination) {
  return std::make_unique<PoolDialler>(home, pool, destination);
}

}  // namespace mvsms::posix
