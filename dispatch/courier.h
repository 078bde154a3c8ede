// The courier between this machine's queue and the hub: it hands over what this machine cannot send
// itself, or not soon, tells the hub what became of the pages that lines here have sent for it, and
// brings home what became of the machine's own pages elsewhere.
//
// Everything it does is a step that may be repeated, and each begins with what lies in the queue
// and in the record. So it needs no memory: a courier that dies at any moment is followed by one
// that goes on.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "dispatch/decision.h"
#include "dispatch/hub.h"
#include "dispatch/hub_record.h"
#include "dispatch/journal.h"
#include "dispatch/queue.h"
#include "dispatch/shared_queue.h"

namespace mvsms::dispatch {

/// How this machine is, as its courier needs it.
struct MachineState {
  std::vector<std::string> served{};   // the services that lines here carry
  std::vector<std::string> working{};  // those of them with a line whose modem has not failed
  std::int32_t modems = 0;
  std::int32_t free = 0;
  RetryRules rules{};  // that go with a page
  std::chrono::seconds spill_after{60};
};

/// How the hub is, as a courier last saw it.
struct HubSight {
  std::optional<Moment> away_since{};   // nothing while it answers
  std::string held{};                   // why it gives nothing out; empty when it does
  std::vector<Machine> machines{};      // their times by this machine's clock
  std::vector<std::string> unserved{};  // services that own pages wait for there, and nobody has
};

/// What a courier needs of the program that it runs in.
class CourierHost {
 public:
  virtual ~CourierHost() = default;
  virtual MachineState Look() = 0;
  /// Whether the line of a row of the record is at work no more.
  virtual bool IsGone(const std::string& holder) = 0;
  /// Writes a row of the journal: a try of an own page by another machine.
  virtual void Record(const JournalRow& row) = 0;
  /// The row of that id in this machine's journal, if there is one that began then, by this
  /// machine's clock, or later.
  virtual std::optional<JournalRow> Recorded(const std::string& id, Moment since) = 0;
  /// A sentence for the operator.
  virtual void Tell(const std::string& sentence) = 0;
};

class Courier {
 public:
  /// All outlive it. `now` is the time of the own queue.
  Courier(HomeQueue& own, Hub& hub, HubRecord& record, HubHints& hints, CourierHost& host,
          std::string machine, std::string profile, std::string version,
          std::function<Moment()> now);

  /// One round. Does what can be done now; when the hub cannot be reached, nothing is handed over,
  /// and the next round begins anew. Throws what the own queue and the record throw.
  void Work();
  const HubSight& sight() const { return sight_; }

 private:
  void Round();
  void TellOfLines();
  Machine Self();
  void TellHub();
  void TellOf(const HubRow& row);
  void GiveBack(const HubRow& row);
  bool HasHeard(const HubRow& row);
  void TellResult(const HubRow& row);
  /// The pages of this profile in that state. Those of another one are at the hub by the name of
  /// its worker.
  std::vector<QueuedPage> Own(PageState state);
  void HandOver();
  void KeepHere(const QueuedPage& queued, const std::string& why);
  bool IsForHub(const QueuedPage& queued) const;
  void Offer(const std::string& id);
  void Submit(const QueuedPage& queued);
  void Withdraw();
  void BringHome();
  void BringHome(const QueuedPage& there);
  void RecordTry(const std::string& id, const Page& page, const HubTry& one);
  /// Tells a hub that is held what this machine knows.
  void Remind();
  bool Replay(const HubRow& row);
  bool CancelWhatIsOverHere();
  void See(bool held);
  void LookAfterHub(bool held);
  std::int32_t PagesThere();

  HomeQueue& own_;
  Hub& hub_;
  HubRecord& record_;
  HubHints& hints_;
  CourierHost& host_;
  const std::string machine_;
  const std::string profile_;
  const std::string version_;
  const std::function<Moment()> now_;
  MachineState state_;
  Moment hub_now_{};
  Moment next_look_{};
  Moment next_sight_{};
  Moment next_prune_{};
  HubSight sight_;
  std::set<std::string> refused_;  // pages that the hub did not take, by their ids here
  std::string lines_trouble_;      // as it was last told
};

}  // namespace mvsms::dispatch
