// What this machine has to do with pages of the hub: a journal of its own, for what a worker knew
// when it died must reach the hub all the same. A row is written before the step that it names has
// any effect outside.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "dispatch/queue.h"

namespace mvsms::dispatch {

enum class HubStep {
  kClaimed,   // nobody has dialled
  kDialling,  // the hub has confirmed that this machine may
  kReturned,  // nobody has dialled, nor will: the hub gets it back
  kAgain,     // tried; to be tried again by whoever can
  kFinished,  // tried for the last time
};

inline constexpr std::array<std::string_view, 5> kHubStepNames = {"claimed", "dialling", "returned",
                                                                  "again", "finished"};

constexpr std::string_view NameOf(HubStep step) {
  return kHubStepNames[static_cast<std::size_t>(step)];
}

/// Whether a call may have been made.
constexpr bool IsTry(HubStep step) {
  return step == HubStep::kDialling || step == HubStep::kAgain || step == HubStep::kFinished;
}

/// A page of the hub in one epoch.
struct HubRow {
  std::string id{};
  std::int64_t epoch = 0;
  std::string holder{};  // the line that has it, as this machine calls it
  HubStep step = HubStep::kClaimed;
  PageResult result{};                   // of the steps that follow a try
  PageState state = PageState::kParked;  // of kFinished: accepted or parked
  std::chrono::milliseconds pause{0};    // of kAgain: before the next try
};

/// Throws RaisedError where the store fails.
class HubRecord {
 public:
  virtual ~HubRecord() = default;
  /// Puts the row in the place of the one with its id and epoch. On stable storage when it returns.
  virtual void Note(const HubRow& row) = 0;
  /// The rows of which the hub has not heard the end, in the order of their first steps.
  virtual std::vector<HubRow> Open() = 0;
  /// The hub knows what this row says, and nothing is left to do about it. Where it tells of a try,
  /// it is kept nevertheless: a hub that comes back from a backup does not know it any more.
  virtual void Close(const std::string& id, std::int64_t epoch) = 0;
  /// The rows that are kept, in the order of their first steps.
  virtual std::vector<HubRow> Kept() = 0;
  /// Deletes the kept rows that were closed before that moment.
  virtual void Prune(Moment before) = 0;

  /// A word that no other machine's record has, not even one that began as a copy of this.
  virtual std::string Home() = 0;
  /// How often the hub has heard of this machine by that name, as it last said; 0 at first. The
  /// workers of several profiles may have a name each.
  virtual std::int64_t Beats(const std::string& machine) = 0;
  virtual void NoteBeats(const std::string& machine, std::int64_t beats) = 0;
};

}  // namespace mvsms::dispatch
