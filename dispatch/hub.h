// The hub: a queue that several machines share. Each machine's own queue comes first and is whole
// without it; what a machine cannot send itself it hands to the hub, where one that can takes it.
//
// To whoever sends, the hub is a queue like any other. What is said here is for those who hand
// pages over and want to know what became of them. The hub is reached over a network, which fails:
// an operation that throws may have been done. So each can be repeated, and the time that counts is
// the hub's own, for the machines' clocks may disagree.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "base/raised_error.h"
#include "dispatch/queue.h"

namespace mvsms::dispatch {

/// A machine as it last spoke of itself.
struct Machine {
  std::string name{};
  std::string home{};  // by which it is told from another one of that name
  std::string version{};
  std::vector<std::string> services{};  // that its modems carry
  std::int32_t modems = 0;
  std::int32_t free = 0;    // of them without a call, and not resting
  std::int32_t at_hub = 0;  // of its pages there, as it knows it
  Moment seen{};            // by the hub
  bool told = false;        // what it knew, since the hub is held
};

/// What the hub answers to a machine that speaks of itself.
struct HubNews {
  Moment now{};       // by the hub's clock
  bool held = false;  // it gives nothing out until an operator releases it
  bool told = false;  // the machine has told what it knew since then
  /// How often the machine has spoken of itself. Where that is not more than it was, the hub is an
  /// older one, as from a backup.
  std::int64_t beats = 0;
  /// Another machine of this name is alive. Nothing has changed then.
  bool twin = false;
};

/// One try of a page, by whichever machine.
struct HubTry {
  std::int64_t epoch = 0;
  std::string holder{};
  Moment begun{};
  Moment ended{};         // the epoch of all time while it has not
  std::string outcome{};  // its name; empty until then, or when nobody has dialled
  std::string reason{};
  std::string modem{};
  bool late = false;  // it was told when somebody else had the page already
};

/// What at the hub nobody seems to look after.
struct HubRests {
  std::int64_t unfetched = 0;  // results that the machines of their pages have not fetched
  Moment unfetched_since{};    // the longest known of them
  std::int64_t unknown = 0;    // pages of which nobody knew for ten minutes whether they are out
  std::vector<std::string> unserved{};  // services that pages wait for, and no live machine has
};

/// A service that pages wait for, and how urgent the most urgent of them is.
struct WaitedService {
  std::string service{};
  std::int32_t priority = kUsualPriority;
};

/// A machine that was not heard of for so long is held for dead.
inline constexpr std::chrono::seconds kLivesFor{60};

/// The hub has answered that it cannot take such a page, nor will.
class HubRefusal : public RaisedError {
 public:
  using RaisedError::RaisedError;
};

class Hub : public Queue {
 public:
  /// By the hub's clock. A machine translates the times of its pages by it.
  virtual Moment Now() = 0;

  /// Takes a page from the machine that it names as its origin, with the tries that it has behind
  /// it and the pages that have joined it. Its epoch is that of the offer, by which a known page
  /// that was seen to be over, or was withdrawn, is to be sent anew. False when this offer, or one
  /// after it, is known, and when a holder has the page, or its origin has not seen its result:
  /// that counts, then. Throws HubRefusal for one that it cannot keep.
  virtual bool Submit(const QueuedPage& page) = 0;
  /// Nobody sends the page by this offer, now or later: one that waits is cancelled, and an id that
  /// is not known is from now on, so that a Submit still on its way changes nothing. False when a
  /// holder has the page, or it has ended: then its result counts. True again for whoever asks
  /// again.
  virtual bool Withdraw(const std::string& id, std::int64_t offer) = 0;

  /// Pages of this origin that are over, parked or unknown, and were not seen so; the longest known
  /// first.
  virtual std::vector<QueuedPage> Results(const std::string& origin, std::size_t most) = 0;
  /// The page's origin has noted that it is in this state in this epoch.
  virtual bool Seen(const std::string& id, std::int64_t epoch, PageState state) = 0;
  /// All tries of a page here, in their order.
  virtual std::vector<HubTry> Tries(const std::string& id) = 0;
  /// What became of a try whose page went to another holder meanwhile, or was parked as unknown. A
  /// page that was accepted before another try of it is marked as perhaps twice; one that is parked
  /// is accepted now.
  virtual void Late(const std::string& id, std::int64_t epoch, const PageResult& result) = 0;

  /// What pages of the profile that are due wait for.
  virtual std::vector<WaitedService> Waited(const std::string& profile) = 0;

  /// The machine is alive, and so. One that has another home than the one of its name takes its
  /// place when that has not been heard of for kLivesFor, and is its twin before.
  virtual HubNews Beat(const Machine& machine) = 0;
  virtual std::vector<Machine> Machines() = 0;
  /// Of the pages of this origin; of all without one.
  virtual HubRests Rests(const std::string& origin) = 0;

  /// Gives nothing out any more: the hub has lost what it knew, and the machines have to tell it
  /// again, also when it is held already. The first reason stays.
  virtual void Hold(const std::string& why) = 0;
  /// What became of a try, from the record of the machine that made it: accepted, parked, ready,
  /// which is to be tried again, or unknown. True when the page is as it says now: the hub did not
  /// know its end, nor anything later. A page that is later, or was accepted, is marked where that
  /// may be its second time. Of a page that the hub does not know, the result waits for its origin;
  /// one that is not over, and perhaps went out, is parked.
  virtual bool Replay(const std::string& id, std::int64_t epoch, const std::string& holder,
                      const PageResult& result, PageState state) = 0;
  /// The machine has told all that it knew.
  virtual void HasTold(const std::string& machine) = 0;
  virtual void Release() = 0;
  /// Why it is held; empty when it is not.
  virtual std::string HeldBecause() = 0;
};

/// The id of a machine's page at the hub, where pages of all machines lie.
inline std::string HubId(const std::string& machine, const std::string& id) {
  return machine + "/" + id;
}
/// No page that was handed over on a machine has such an id.
inline bool IsHubId(const std::string& id) { return id.find('/') != std::string::npos; }
inline std::string OriginOf(const std::string& hub_id) {
  return hub_id.substr(0, hub_id.find('/'));
}
/// The id that the page has on the machine that it comes from.
inline std::string IdAtOrigin(const std::string& hub_id) {
  return hub_id.substr(hub_id.find('/') + 1);
}

}  // namespace mvsms::dispatch
