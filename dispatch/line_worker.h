// The worker of one line: it takes the pages of the queue that its modem can carry, all that wait
// for one message centre in one call, and says of each what became of it: to the queue, and to the
// journal. What is tried again, and when, is decided by dispatch/decision.h.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dispatch/decision.h"
#include "dispatch/journal.h"
#include "dispatch/queue.h"
#include "engine/sender.h"
#include "platform/platform.h"

namespace mvsms::dispatch {

enum class LineState {
  kIdle,     // no page waits for it
  kWaiting,  // another program has its modem
  kCalling,  // from the dialling on
  kResting,  // its modem has failed
};

inline constexpr std::array<std::string_view, 4> kLineStateNames = {"idle", "waiting", "calling",
                                                                    "resting"};

constexpr std::string_view NameOf(LineState state) {
  return kLineStateNames[static_cast<std::size_t>(state)];
}

/// What a worker needs of the program that it runs in. Called on the worker's thread. Texts are in
/// the ANSI code page.
class WorkerHost {
 public:
  virtual ~WorkerHost() = default;
  /// Writes a row of the journal. Throws RaisedError; the page goes out all the same.
  virtual void Record(const JournalRow& row) = 0;
  /// Makes the modem ready for the next call of this thread: the empty text, or who has it.
  virtual std::string TakeModem(const std::string& modem) = 0;
  /// Whether the last call of the modem failed before the number was dialled, because of the modem
  /// or its line.
  virtual bool NothingDialled(const std::string& modem) = 0;
  /// The line's state has changed; `why` is empty for most.
  virtual void Entered(LineState state, const std::string& why) = 0;
  /// A sentence for the operator.
  virtual void Tell(const std::string& sentence) = 0;
};

/// What a line stands for.
struct WorkerLine {
  std::string modem;               // that it dials with
  std::vector<std::string> names;  // the modems in whose place it does: itself, and its pools
  std::string profile;             // whose services it serves
  std::string holder;              // its name in the queue, which no other line on earth has
};

class LineWorker {
 public:
  /// Everything outlives the worker, and is of its thread. `now` is the time of the queue.
  LineWorker(Platform& platform, PageSource& queue, WorkerHost& host, WorkerLine line,
             std::function<Moment()> now);

  /// One call, if a page waits that this line can carry: with it, and with those for the same
  /// service that wait or come meanwhile. False when there was nothing to do, or nothing can be
  /// done now. Throws what the queue throws; what it was to be told is kept, and told at the next
  /// call.
  bool Work();
  // Both from an event of the thread, or between two calls.
  /// No page is begun any more.
  void Finish() { finishing_ = true; }
  /// Nor is the running call waited for: it is aborted.
  void Stop();

 private:
  /// What the queue is to be told of a page, until it has taken it.
  struct Report {
    std::string id;
    std::int64_t epoch;
    PageResult result;
    Decision decision;
    bool counts;  // as a try of the page
  };

  std::string Words(const QueuedPage& queued) const;
  void Call(QueuedPage queued);
  bool Begin(const QueuedPage& queued);
  std::optional<QueuedPage> Next(const std::string& service);
  bool MayGoOn(std::size_t pages, std::chrono::milliseconds began) const;
  /// False when the line is not fit for another page.
  bool Send(Sender& sender, const QueuedPage& queued);
  static void ForgetWhatWasSaid(Report& report);
  void Record(const JournalRow& row);
  bool ModemFailed(const SendReport& report, const Judgement& judgement);
  void CountFailure(const std::string& why);
  void TellQueue();
  void Enter(LineState state, const std::string& why = {});

  Platform& platform_;
  PageSource& queue_;
  WorkerHost& host_;
  const WorkerLine line_;
  const std::function<Moment()> now_;
  Sender* sender_ = nullptr;  // of the running call
  bool finishing_ = false;
  std::optional<Report> report_;
  LineState state_ = LineState::kIdle;
  std::size_t failures_ = 0;                  // of the modem, one after the other
  std::chrono::milliseconds rests_until_{0};  // by the clock
};

/// The services of a profile whose modem is one of these names, as the settings are now.
std::vector<std::string> ServicesOf(Registry& registry, std::string profile,
                                    const std::vector<std::string>& modems);

/// The row of that id in the journal, if there is one that began at `since` (as the pages of the
/// queue have it) or later: an id that is given again when its page has gone from the queue must
/// not find what became of the former one.
using Recorded = std::function<std::optional<JournalRow>(const std::string& id, Moment since)>;

/// Decides about the pages of a profile that are unknown since `before` or longer. One whose holder
/// died between the journal and the queue is as the journal says; the others are tried again, or
/// parked. Until then their holders may still say what became of them.
void SettleUnknown(Queue& queue, const std::string& profile, const RetryRules& rules, Moment now,
                   Moment before, const Recorded& recorded);

}  // namespace mvsms::dispatch
