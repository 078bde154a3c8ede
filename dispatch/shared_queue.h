// The pages that a line sends: those of its own machine, and those of the hub.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "dispatch/hub.h"
#include "dispatch/hub_record.h"

namespace mvsms::dispatch {

/// What lines and courier know of each other: which pages wait at the hub, and which calls are on.
/// Of any thread.
class HubHints {
 public:
  void Set(const std::vector<WaitedService>& waited);
  /// Nothing waits for the services, as far as anybody knows.
  void Clear(std::span<const std::string> services);
  bool Any();
  /// How urgent the most urgent page for one of the services is; nothing when none waits.
  std::optional<std::int32_t> MostUrgent(std::span<const std::string> services);
  /// A line got no answer that it could use.
  void Trouble(const std::string& sentence);
  /// The latest of these since this was last asked; empty without one.
  std::string TakeTrouble();
  /// The line with this page of the hub is at work.
  void IsAtWork(const std::string& id);
  /// Whether one has said so since this was last asked.
  bool WasAtWork(const std::string& id);

 private:
  std::mutex mutex_;
  std::set<std::string> at_work_;
  std::map<std::string, std::int32_t> waited_;
  std::string trouble_;
};

/// Own pages come before those of the hub that are as urgent. A page of the hub is dialled only
/// when the hub has confirmed that, and this machine's record says so; what became of it is written
/// into the record, and the courier tells the hub. So a line waits for the network before it dials,
/// and never during a call or after it.
class SharedQueue : public PageSource {
 public:
  /// All outlive it. `hub` is asked by several threads: it takes care of that itself. `now` is the
  /// time of the own queue, `machine` this machine's name at the hub.
  SharedQueue(PageSource& own, Hub& hub, HubRecord& record, HubHints& hints, std::string machine,
              std::function<Moment()> now);

  std::optional<QueuedPage> Claim(const std::string& holder, const std::string& profile,
                                  std::span<const std::string> services) override;
  bool Begin(const std::string& id, std::int64_t epoch) override;
  /// The courier extends it at the hub.
  bool Extend(const std::string& id, std::int64_t epoch) override;
  bool GiveBack(const std::string& id, std::int64_t epoch) override;
  bool Finish(const std::string& id, std::int64_t epoch, const PageResult& result,
              PageState state) override;
  bool TryAgain(const std::string& id, std::int64_t epoch, const PageResult& result,
                Moment not_before) override;
  std::int64_t Divert(const std::string& profile, std::span<const std::string> services) override;

 private:
  std::optional<QueuedPage> ClaimAtHub(const std::string& holder, const std::string& profile,
                                       std::span<const std::string> services);
  /// As the hub says. When it does not answer, nothing there is waited for until the courier has
  /// looked again, and has said what is the matter: it may come back as another one.
  template <class Question>
  auto Asked(Question question);
  void Note(HubStep step, const std::string& id, std::int64_t epoch, HubRow row = {});

  PageSource& own_;
  Hub& hub_;
  HubRecord& record_;
  HubHints& hints_;
  const std::string machine_;
  const std::function<Moment()> now_;
  std::string holder_;  // of the page of the hub that the line has
};

}  // namespace mvsms::dispatch
