// A small world of paging in virtual time: pages that wait, lines with a worker each, message
// centres that write down what they heard, and perils. A worker may die at any step; its
// pages, the journal and what the centres heard outlive it, and another one takes its place. What
// must hold of every page in the end stands here once.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "backends/memory/queue.h"
#include "base/raised_error.h"
#include "centre/centre.h"
#include "dispatch/line_worker.h"
#include "tests/support/centre_far_end.h"
#include "tests/support/host.h"

namespace mvsms::sweep {

/// Whether to take the time for every step and ten thousand pages, instead of a sample.
inline bool Thorough() { return std::getenv("MVSMS_THOROUGH") != nullptr; }

/// Where pages and journal lie, for longer than a worker lives.
class Shelf {
 public:
  virtual ~Shelf() = default;
  virtual dispatch::Queue& Pages() = 0;
  virtual void Record(const dispatch::JournalRow& row) = 0;
  /// In the order in which they were begun.
  virtual std::vector<dispatch::JournalRow> Journal() = 0;
};

class MemoryShelf : public Shelf {
 public:
  explicit MemoryShelf(std::function<dispatch::Moment()> now) : pages_(std::move(now)) {}
  dispatch::Queue& Pages() override { return pages_; }
  void Record(const dispatch::JournalRow& row) override {
    const auto [place, fresh] = places_.emplace(row.id, rows_.size());
    if (fresh) rows_.push_back(row);
    rows_.at(place->second) = row;
  }
  std::vector<dispatch::JournalRow> Journal() override { return rows_; }

 private:
  memory::MemoryQueue pages_;
  std::vector<dispatch::JournalRow> rows_;
  std::map<std::string, std::size_t> places_;
};

/// What a step of a worker is about.
enum class Step {
  kQueueBefore,    // an operation of the queue
  kQueueAfter,     // it is done, and its answer is on the way
  kJournalBefore,  // a row of the journal
  kJournalAfter,
  kLine,  // bytes to the modem, or a message that the centre has heard
};

/// The queue as a worker sees it: each operation is two steps.
class QueueInSteps : public dispatch::Queue {
  template <class Operation>
  auto Done(Operation operation) {
    step_(Step::kQueueBefore);
    auto result = operation(shelf_.Pages());
    step_(Step::kQueueAfter);
    return result;
  }

 public:
  QueueInSteps(Shelf& shelf, std::function<void(Step)> step)
      : shelf_(shelf), step_(std::move(step)) {}

  std::size_t Put(std::span<const dispatch::Page> pages) override {
    return Done([&](Queue& queue) { return queue.Put(pages); });
  }
  std::optional<dispatch::QueuedPage> Claim(const std::string& holder, const std::string& profile,
                                            std::span<const std::string> services) override {
    return Done([&](Queue& queue) { return queue.Claim(holder, profile, services); });
  }
  bool Begin(const std::string& id, std::int64_t epoch) override {
    return Done([&](Queue& queue) { return queue.Begin(id, epoch); });
  }
  bool Extend(const std::string& id, std::int64_t epoch) override {
    return Done([&](Queue& queue) { return queue.Extend(id, epoch); });
  }
  bool GiveBack(const std::string& id, std::int64_t epoch) override {
    return Done([&](Queue& queue) { return queue.GiveBack(id, epoch); });
  }
  bool Finish(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
              dispatch::PageState state) override {
    return Done([&](Queue& queue) { return queue.Finish(id, epoch, result, state); });
  }
  bool TryAgain(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
                dispatch::Moment not_before) override {
    return Done([&](Queue& queue) { return queue.TryAgain(id, epoch, result, not_before); });
  }
  std::int64_t Divert(const std::string& profile, std::span<const std::string> services) override {
    return Done([&](Queue& queue) { return queue.Divert(profile, services); });
  }
  void Sweep(const std::function<bool(const std::string&)>& gone) override {
    shelf_.Pages().Sweep(gone);
  }
  bool Operate(const std::string& id, const dispatch::OperatorAction& action) override {
    return shelf_.Pages().Operate(id, action);
  }
  std::optional<dispatch::QueuedPage> Find(const std::string& id) override {
    return shelf_.Pages().Find(id);
  }
  std::vector<dispatch::QueuedPage> List(const dispatch::PageFilter& filter) override {
    return shelf_.Pages().List(filter);
  }
  dispatch::QueueStats Stats() override { return shelf_.Pages().Stats(); }
  std::vector<std::string> WaitedFor(const std::string& profile) override {
    return shelf_.Pages().WaitedFor(profile);
  }
  dispatch::Moment NextDue(const std::string& profile) override {
    return shelf_.Pages().NextDue(profile);
  }
  std::int64_t Prune(dispatch::Moment before) override { return shelf_.Pages().Prune(before); }

 private:
  Shelf& shelf_;
  std::function<void(Step)> step_;
};

class Worker;

class World {
 public:
  using MakeShelf = std::function<std::unique_ptr<Shelf>(std::function<dispatch::Moment()> now)>;
  explicit World(const MakeShelf& make =
                     [](auto now) { return std::make_unique<MemoryShelf>(std::move(now)); })
      : shelf_(make([this] { return Now(); })) {}

  dispatch::Moment Now() const;
  Shelf& shelf() { return *shelf_; }
  /// Whether the journal has what became of a page.
  bool HasEnding(const std::string& id) {
    return std::ranges::any_of(shelf().Journal(), [&](const dispatch::JournalRow& row) {
      return row.id.starts_with(id + ".") &&
             std::ranges::count(dispatch::kOutcomeNames, row.outcome) > 0;
    });
  }
  dispatch::Queue& pages() { return shelf_->Pages(); }

  /// Hands a page of so many pieces over, the only one to this number.
  void Put(const std::string& id, const std::string& number, const std::string& text,
           std::size_t pieces, const std::string& service = "Pager",
           const std::string& fallback = "") {
    pieces_[number] = pieces;
    dispatch::Page page;
    page.id = id;
    page.profile = "Standard";
    page.recipient = page.number = number;
    page.text = text;
    page.service = service;
    page.fallback = fallback;
    pages().Put({&page, 1});
  }

  Worker& Hire(const std::string& modem = "Modem");
  /// Those who have died are gone, and another one is in the place of each.
  void ReplaceTheDead();
  std::deque<std::unique_ptr<Worker>>& workers() { return workers_; }

  /// What the one who watches over the lines does: pages of holders that died are freed, and what
  /// is unknown for so long is decided about.
  void Watch(std::chrono::seconds patience);
  /// Works until every page is where nobody does anything about it.
  void WorkToTheEnd(std::chrono::seconds patience = {});

  /// What must hold of a page that is in the end, whatever happened to it.
  void ExpectTrue(const dispatch::QueuedPage& queued);
  /// What must hold of the journal.
  void ExpectTrueJournal();

  /// How often the recipient's centre has taken the same piece.
  int Times(const std::string& number) const {
    const auto found = heard_.find(number);
    int most = 0;
    if (found == heard_.end()) return 0;
    for (const auto& [text, times] : found->second) most = std::max(most, times);
    return most;
  }
  /// Different pieces for the recipient that a centre has taken.
  std::size_t Pieces(const std::string& number) const {
    const auto found = heard_.find(number);
    return found == heard_.end() ? 0 : found->second.size();
  }

  // How the world is, to be changed at any time.
  std::function<void(Worker&, Step)> peril = [](Worker&, Step) {};
  std::function<void(test::Host&)> settings = [](test::Host& host) { host.AddTapService(); };
  /// The message centre that takes the next call of a worker to this number.
  std::function<std::unique_ptr<centre::Centre>(const std::string& number, centre::Recorder)>
      centre = [](const std::string&, centre::Recorder recorder) {
        return std::make_unique<centre::Centre>(centre::SpeakTap(), centre::Settings{},
                                                std::move(recorder));
      };
  std::vector<std::string> told;  // by workers to the operator

 private:
  friend class Worker;
  void Hear(const centre::Request& request) {
    if (request.type.empty()) {
      refused_a_login_ |= !request.accepted;
      return;
    }
    if (!request.accepted) refused_.insert(request.recipient);
    if (request.accepted) ++heard_[request.recipient][request.text];
  }

  std::deque<std::unique_ptr<Worker>> workers_;
  std::chrono::milliseconds past_{0};  // of workers that are gone
  int hired_ = 0;
  std::set<std::string> gone_;
  std::map<std::string, std::map<std::string, int>> heard_;  // texts by recipient
  std::set<std::string> refused_;
  bool refused_a_login_ = false;
  std::set<std::string> unrecorded_;  // numbers whose row in the journal was refused
  std::map<std::string, std::size_t> pieces_;
  std::unique_ptr<Shelf> shelf_;
};

/// A worker and its machine, as one process.
class Worker : private dispatch::WorkerHost {
 public:
  Worker(World& world, std::string modem, std::string holder)
      : world_(world),
        modem_(std::move(modem)),
        holder_(std::move(holder)),
        queue_(world.shelf(), [this](Step step) { Take(step); }) {
    if (modem_ != "Modem") host_.AddLine(modem_);
    world_.settings(host_);
    host_.far_end = [this](const std::string& number) { return Answer(number); };
    host_.platform.fail = [this](const std::string& operation) {
      if (operation == "Comm.WriteFile" && alive_) world_.peril(*this, Step::kLine);
      return operation == "Comm.WriteFile" && !alive_;
    };
  }

  /// One call, when there is something to do; else a moment passes.
  bool Turn() {
    busy_ = true;
    const bool worked = Work();
    busy_ = false;
    if (stopped_) Die();
    if (!worked && alive_) host_.platform.loop().Sleep(std::chrono::seconds(5));
    host_.platform.calls.clear();
    return worked;
  }
  /// From here on nothing that it does has any effect.
  void Die() {
    if (std::exchange(alive_, false)) died_ = host_.platform.slept();
  }
  bool alive() const { return alive_; }
  /// In a call, or dead and not yet at the end of it.
  bool busy() const { return busy_; }
  const std::string& holder() const { return holder_; }
  /// As a signal to end does it: the call is aborted.
  void Stop() {
    stopped_ = true;
    worker_.Stop();
  }
  const std::string& modem() const { return modem_; }
  std::chrono::milliseconds lived() const {
    return alive_ ? const_cast<test::Host&>(host_).platform.slept() : died_;
  }
  test::Host& host() { return host_; }

  std::string modem_in_use;
  bool nothing_dialled = false;

 private:
  bool Work() try { return worker_.Work(); } catch (const RaisedError&) {
    return false;
  }
  void Take(Step step) {
    if (alive_) world_.peril(*this, step);
    if (!alive_) throw RaisedError(1, "Worker", "It is dead.");
  }
  std::unique_ptr<memory::FarEnd> Answer(const std::string& number) {
    centres_.push_back(world_.centre(number, [this](const centre::Request& request) {
      world_.Hear(request);
      if (alive_) world_.peril(*this, Step::kLine);
    }));
    return test::CentreFarEnd::Answering(centres_.back()->AnswerCall());
  }

  void Record(const dispatch::JournalRow& row) override {
    world_.unrecorded_.insert(row.recipient);
    Take(Step::kJournalBefore);
    world_.shelf().Record(row);
    world_.unrecorded_.erase(row.recipient);
    Take(Step::kJournalAfter);
  }
  std::string TakeModem(const std::string&) override { return modem_in_use; }
  bool NothingDialled(const std::string&) override { return nothing_dialled; }
  void Entered(dispatch::LineState, const std::string&) override {}
  void Tell(const std::string& sentence) override {
    if (alive_) world_.told.push_back(sentence);
  }

  World& world_;
  const std::string modem_;
  const std::string holder_;
  bool alive_ = true;
  bool busy_ = false;
  bool stopped_ = false;
  std::chrono::milliseconds died_{0};
  QueueInSteps queue_;
  std::deque<std::unique_ptr<centre::Centre>> centres_;
  test::Host host_;
  dispatch::LineWorker worker_{
      host_.platform,
      queue_,
      *this,
      {.modem = modem_, .names = {modem_, "Modem"}, .profile = "Standard", .holder = holder_},
      [this] { return world_.Now(); }};
};

inline dispatch::Moment World::Now() const {
  dispatch::Moment now = dispatch::Moment(std::chrono::seconds(1'000'000)) + past_;
  for (const auto& worker : workers_) now += worker->lived();
  return now;
}

inline Worker& World::Hire(const std::string& modem) {
  const std::string holder = "worker " + std::to_string(++hired_);
  return *workers_.emplace_back(std::make_unique<Worker>(*this, modem, holder));
}

inline void World::ReplaceTheDead() {
  for (auto& worker : workers_) {
    if (worker->alive() || worker->busy()) continue;
    past_ += worker->lived();
    gone_.insert(worker->holder());
    worker = std::make_unique<Worker>(*this, worker->modem(), "worker " + std::to_string(++hired_));
  }
}

inline void World::Watch(std::chrono::seconds patience) {
  pages().Sweep([this](const std::string& holder) { return gone_.contains(holder); });
  const Profile profile(workers_.front()->host().platform.registry(),
                        workers_.front()->host().profile.base_key());
  SettleUnknown(
      pages(), "Standard", dispatch::ReadRetryRules(profile), Now(), Now() - patience,
      [this](const std::string& id, dispatch::Moment) -> std::optional<dispatch::JournalRow> {
        const auto rows = shelf().Journal();
        const auto row = std::ranges::find(rows, id, &dispatch::JournalRow::id);
        return row == rows.end() ? std::nullopt : std::optional(*row);
      });
}

inline void World::WorkToTheEnd(std::chrono::seconds patience) {
  using dispatch::PageState;
  constexpr dispatch::PageStates kOnTheWay = {PageState::kReady, PageState::kClaimed,
                                              PageState::kDialling, PageState::kUnknown};
  constexpr int kManyTurns = 1000;
  for (int turn = 0; !pages().List({.states = kOnTheWay, .most = 1}).empty(); ++turn) {
    ASSERT_LT(turn, kManyTurns) << "pages lie still";
    ReplaceTheDead();
    Watch(patience);
    for (const auto& worker : workers_) worker->Turn();
  }
}

inline void World::ExpectTrue(const dispatch::QueuedPage& queued) {
  using dispatch::PageState;
  const std::string& number = queued.page.number;
  const std::string reason = queued.result ? queued.result->reason : "";
  SCOPED_TRACE("page " + queued.page.id + " to " + number + ", " +
               std::string(NameOf(queued.state)) + ": " + reason + "; the centre has it " +
               std::to_string(Times(number)) + " times");
  EXPECT_TRUE(queued.state == PageState::kAccepted || queued.state == PageState::kParked);
  EXPECT_TRUE(Times(number) < 2 || queued.perhaps_twice) << "twice, and nobody says so";
  if (queued.state == PageState::kAccepted) {
    EXPECT_EQ(Pieces(number), pieces_.at(number));
    return;
  }
  ASSERT_TRUE(queued.result);
  EXPECT_NE(reason, "");
  if (!queued.result->perhaps_out && !queued.perhaps_twice) {
    EXPECT_EQ(Times(number), 0) << "it went out, and nobody says so";
  }
  if (reason.ends_with("it was refused for good")) {
    const bool login = reason.find("refused the login") != std::string::npos;
    EXPECT_TRUE(login ? refused_a_login_ : refused_.contains(number));
  }
  if (reason.ends_with("it is not to go out twice")) {
    EXPECT_TRUE(queued.result->perhaps_out);
  }
}

inline void World::ExpectTrueJournal() {
  std::map<std::string, bool> accepted;  // by the number of every page that has a row
  for (const dispatch::JournalRow& row : shelf().Journal()) {
    accepted[row.recipient] |= row.outcome == NameOf(dispatch::Outcome::kAccepted);
  }
  for (const auto& [number, says_so] : accepted) {
    EXPECT_TRUE(!says_so || Times(number) > 0) << "the journal lies about " << number;
  }
  for (const auto& [number, texts] : heard_) {
    EXPECT_TRUE(accepted.contains(number) || unrecorded_.contains(number))
        << "no row for " << number << ", which went out";
  }
}

}  // namespace mvsms::sweep
