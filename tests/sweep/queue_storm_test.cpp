// Many pages over several lines, with everything that can go wrong at once: centres with every
// fault, lines that are busy, modems in use and modems that fail, a store that refuses operations
// or loses its answers, workers that are killed, told to end, or stand still for minutes while
// others go on. In the end each page was accepted, or is parked with a true reason, and whatever
// a centre has twice is marked.
//
// MVSMS_THOROUGH=1 makes it ten thousand pages, with another seed each time; MVSMS_SEED=N repeats a
// run. Half of the pages are parked when they may have gone out, half are tried again.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <random>
#include <sstream>

#include "tests/sweep/queue_world.h"

namespace mvsms::sweep {
namespace {

using dispatch::PageState;
using dispatch::QueuedPage;

constexpr const char* kLineFaults[] = {
    "answer-delay=900",
    "answer-delay=5000",
    "answer-delay=60000",
    "chunk-bytes=1 chunk-gap=200",
    "truncate-answers=4",
    "noise=~x~",
    "garbage=50",
    "garbage=5000",
    "flood=50",
    "hang-up-after-received=40",
    "hang-up-after-received=90",
    "hang-up-after-sent=20",
    "hang-up-after-sent=60",
    "silent-at=prompt",
    "silent-at=message",
    "refuse=2",
    "carrier-loss=9000",
    "call=busy",
};
constexpr const char* kTapFaults[] = {
    "prompt-delay=20000", "login-refusals=1", "login-refusals=20",    "go-ahead-delay=9000",
    "codes=off",          "ack=ok",           "refuse=1 refusal=nak", "refuse=2 refusal=end",
    "max-block=30",
};
constexpr const char* kUcpFaults[] = {
    "wrong-checksums=1", "refuse=1 ucp-refusal=2", "refuse=1 ucp-refusal=33",
    "login-required=on", "idle-time=500",
};

constexpr char kUcpNumber[] = "0987654";

class Storm {
 public:
  Storm(std::uint32_t seed, int pages) : dice_(seed), left_(pages) {
    const bool park = seed % 2 == 1;  // what is unknown
    world_.settings = [park](test::Host& host) {
      host.AddService("Pager", "TAP", {{"MaxLength", "20"}});
      host.AddService("Phone", "UCP", {{"MaxLength", "20"}, {"PhoneNumber", kUcpNumber}});
      host.profile.Set("OnUnknown", park ? "park" : "again");
      host.profile.Set("QuickRetries", "1 5 5 30");
      host.profile.Set("PagesPerCall", 8);
    };
    world_.centre = [this](const std::string& number, centre::Recorder recorder) {
      return Centre(number == kUcpNumber, std::move(recorder));
    };
    world_.peril = [this](Worker& worker, Step step) { Happen(worker, step); };
    for (const char* modem : {"First", "Second", "Third"}) world_.Hire(modem);
  }

  void Rage() {
    while (left_ > 0 || !open_.empty()) {
      HandOver();
      world_.ReplaceTheDead();
      world_.Watch(std::chrono::seconds(60));
      Worker& worker = *world_.workers().at(Roll(world_.workers().size()));
      Spoil(worker);
      worker.Turn();
      Collect();
    }
    for (const QueuedPage& page : over_) world_.ExpectTrue(page);
    world_.ExpectTrueJournal();
  }

  void Print(std::ostream& out) const {
    int twice = 0, marked = 0, parked = 0;
    for (const QueuedPage& page : over_) {
      twice += world_.Times(page.page.number) > 1 ? 1 : 0;
      marked += page.perhaps_twice ? 1 : 0;
      parked += page.state == PageState::kParked ? 1 : 0;
    }
    out << over_.size() << " pages, " << parked << " parked, " << marked
        << " marked as perhaps twice, of which the centres have " << twice << " twice; " << deaths_
        << " workers killed, " << stops_ << " told to end, " << stands_
        << " times one stood still, " << refusals_ << " operations refused or their answers lost\n";
  }

 private:
  bool Chance(double part) { return std::bernoulli_distribution(part)(dice_); }
  std::size_t Roll(std::size_t sides) {
    return std::uniform_int_distribution<std::size_t>(0, sides - 1)(dice_);
  }

  std::unique_ptr<centre::Centre> Centre(bool ucp, centre::Recorder recorder) {
    centre::Settings settings;
    settings.system_message = "pager";
    settings.seed = static_cast<int>(Roll(1000));
    if (Chance(0.5)) Worsen(settings, Fault(ucp));
    return std::make_unique<centre::Centre>(ucp ? centre::SpeakUcp() : centre::SpeakTap(), settings,
                                            std::move(recorder));
  }
  const char* Fault(bool ucp) {
    const std::size_t all = std::size(kLineFaults);
    const std::size_t own = ucp ? std::size(kUcpFaults) : std::size(kTapFaults);
    const std::size_t one = Roll(all + own);
    if (one < all) return kLineFaults[one];
    return ucp ? kUcpFaults[one - all] : kTapFaults[one - all];
  }
  static void Worsen(centre::Settings& settings, const char* fault) {
    std::istringstream words(fault);
    for (std::string word; words >> word;) centre::Set(settings, word);
  }

  /// How the machine of a worker is for its next call.
  void Spoil(Worker& worker) {
    constexpr std::array kCauses = {CallCause::kDisconnectBusy, CallCause::kDisconnectNoAnswer,
                                    CallCause::kDisconnectFailed};
    const bool fails = Chance(0.15);
    for (memory::Line& line : worker.host().platform.lines) {
      line.outcome = fails ? CallState::kDisconnected : CallState::kConnected;
      line.cause = fails ? kCauses.at(Roll(kCauses.size())) : CallCause::kNone;
      line.in_use = Chance(0.05);
    }
    worker.nothing_dialled = Chance(0.3);
    worker.modem_in_use = Chance(0.05) ? "mgetty has it." : "";
  }

  void Happen(Worker& worker, Step step) {
    if (Chance(0.003)) {
      ++deaths_;
      worker.Die();
    } else if (Chance(0.001)) {
      ++stops_;
      worker.Stop();
    } else if (Chance(0.005)) {
      StandStill();
    } else if (step != Step::kLine && Chance(0.005)) {
      ++refusals_;
      throw RaisedError(75, "Queue", "The disk is full.");
    }
  }

  /// Others go on meanwhile, and may believe that it is gone.
  void StandStill() {
    for (std::size_t turns = Roll(4); turns > 0; --turns) {
      Worker& other = *world_.workers().at(Roll(world_.workers().size()));
      if (other.busy() || !other.alive()) continue;
      ++stands_;
      other.Turn();
      world_.Watch(std::chrono::seconds(60));
    }
  }

  void HandOver() {
    constexpr std::size_t kAtOnce = 20;
    for (; left_ > 0 && open_.size() < kAtOnce; --left_) {
      const std::string id = std::to_string(left_);
      const bool long_one = Chance(0.3), by_phone = Chance(0.5);
      world_.Put(id, "0171" + id,
                 long_one ? "Pump 3 of tank 12 has stopped at noon" : "Pump 3 has stopped",
                 long_one ? 2 : 1, by_phone ? "Phone" : "Pager",
                 Chance(0.3) ? (by_phone ? "Pager" : "Phone") : "");
      open_.insert(id);
    }
  }

  /// Takes what is in the end out of the queue.
  void Collect() {
    for (const QueuedPage& page :
         world_.pages().List({.states = {PageState::kAccepted, PageState::kParked}})) {
      over_.push_back(page);
      open_.erase(page.page.id);
      world_.pages().Operate(page.page.id, dispatch::kCancelPage);
    }
    world_.pages().Prune(dispatch::kNever);
  }

  std::mt19937 dice_;
  int left_;
  World world_;
  std::set<std::string> open_;
  std::vector<QueuedPage> over_;
  int deaths_ = 0, stops_ = 0, stands_ = 0, refusals_ = 0;
};

std::uint32_t Seed() {
  const char* const given = std::getenv("MVSMS_SEED");
  if (given != nullptr) return static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10));
  return Thorough() ? static_cast<std::uint32_t>(std::time(nullptr)) : 1;
}

TEST(QueueStorm, LosesNoPageAndSendsNoneTwiceInSilence) {
  const std::uint32_t first = Seed();
  for (const std::uint32_t seed : {first, first + 1}) {
    SCOPED_TRACE("MVSMS_SEED=" + std::to_string(first));
    Storm storm(seed, Thorough() ? 5000 : 150);
    storm.Rage();
    if (Thorough() || testing::Test::HasFailure()) storm.Print(std::cout);
  }
}

}  // namespace
}  // namespace mvsms::sweep
