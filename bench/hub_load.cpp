// A hub's server under load, as fifty lines on many machines make it: pages submitted, claimed,
// begun and finished as fast as it goes, each on a connection of its own; and again with a million
// finished pages there.
//
//     mvsms_hub_load WHERE [PAGES [FINISHED]]
//
// WHERE is how the owner reaches a hub that has nothing in it.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "backends/posix/hub/hub.h"

namespace mvsms {
namespace {

using dispatch::PageState;
using Ticks = std::chrono::steady_clock;

constexpr int kWorkers = 50;
const std::vector<std::string> kServices = {"City"};

double SecondsSince(Ticks::time_point begun) {
  return std::chrono::duration<double>(Ticks::now() - begun).count();
}

/// How long each call of a kind took, of all threads.
class Times {
 public:
  void Take(const std::function<void()>& call) {
    const auto begun = Ticks::now();
    call();
    const double seconds = SecondsSince(begun);
    const std::lock_guard guard(mutex_);
    all_.push_back(seconds);
  }
  void Print(const char* what) {
    std::sort(all_.begin(), all_.end());
    if (all_.empty()) return;
    std::printf("    %-8s median %7.2f ms, p99 %7.2f ms\n", what, 1000 * all_[all_.size() / 2],
                1000 * all_[all_.size() * 99 / 100]);
  }

 private:
  std::mutex mutex_;
  std::vector<double> all_;
};

struct Figures {
  Times submit, waited, claim, begin, finish;
};

dispatch::QueuedPage PageOf(const std::string& id) {
  dispatch::QueuedPage queued;
  queued.page.id = dispatch::HubId("site", id);
  queued.page.profile = "Standard";
  queued.page.recipient = queued.page.number = "0171" + id;
  queued.page.text = "Pump 3 has stopped, pressure 0.3 bar";
  queued.page.service = "City";
  queued.page.origin = "site";
  return queued;
}

void InThreads(int count, const std::string& where,
               const std::function<void(int, dispatch::Hub&)>& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      const auto wire = posix::MakeHubWire(where, "");
      posix::ServerHub hub(*wire);
      hub.Now();
      work(i, hub);
    });
  }
}

std::string Only(posix::HubWire& wire, const std::string& sql) {
  const posix::HubAnswer answer = wire.Ask(sql, {});
  return answer.done && !answer.rows.empty() ? answer.rows.at(0).at(0) : answer.trouble;
}

/// What the server has written to its log, in bytes from its beginning; a standby gets all of it.
double Logged(posix::HubWire& wire) {
  return std::stod(Only(wire, "SELECT pg_current_wal_lsn() - '0/0'"));
}

/// Each worker hands its part over, then all take whatever is there until nothing is.
void Run(const std::string& where, const std::string& round, int pages, int workers) {
  Figures figures;
  const auto owner = posix::MakeHubWire(where, "");
  const double logged = Logged(*owner);
  const auto begun = Ticks::now();
  InThreads(workers, where, [&](int worker, dispatch::Hub& hub) {
    for (int i = worker; i < pages; i += workers) {
      figures.submit.Take([&] { hub.Submit(PageOf(round + std::to_string(i))); });
    }
  });
  const double submitted = SecondsSince(begun);
  InThreads(1, where,
            [&](int, dispatch::Hub& hub) { figures.waited.Take([&] { hub.Waited("Standard"); }); });
  const auto working = Ticks::now();
  std::atomic<int> sent = 0;
  InThreads(workers, where, [&](int worker, dispatch::Hub& hub) {
    const std::string holder = "site" + std::to_string(worker) + "/1";
    while (true) {
      std::optional<dispatch::QueuedPage> page;
      figures.claim.Take([&] { page = hub.Claim(holder, "Standard", kServices); });
      if (!page) return;
      figures.begin.Take([&] { hub.Begin(page->page.id, page->epoch); });
      figures.finish.Take([&] {
        hub.Finish(page->page.id, page->epoch, {.outcome = dispatch::Outcome::kAccepted},
                   PageState::kAccepted);
      });
      ++sent;
    }
  });
  const double worked = SecondsSince(working);
  std::printf(
      "%d pages by %d workers: submitted %.0f a second; claimed, begun and finished %.0f a "
      "second\n",
      sent.load(), workers, pages / submitted, sent / worked);
  std::printf("    its log: %.1f kB a page\n", (Logged(*owner) - logged) / 1000 / pages);
  figures.submit.Print("submit");
  figures.waited.Print("waited");
  figures.claim.Print("claim");
  figures.begin.Print("begin");
  figures.finish.Print("finish");
}

double Took(const std::function<void()>& call) {
  const auto begun = Ticks::now();
  call();
  return 1000 * SecondsSince(begun);
}

/// Pages of the last thirty days, as the hub keeps them, each with its try; their origin has seen
/// them.
void Fill(posix::HubWire& wire, int finished) {
  const int part = std::min(finished, 20'000);
  for (int first = 0; first < finished; first += part) {
    const std::string from = std::to_string(first + 1), to = std::to_string(first + part);
    Only(
        wire,
        "INSERT INTO mvsms.pages(id, profile, recipient, number, originator, text, service,"
        " fallback, priority, not_before, expires, origin, quick, retries, delay, repeats_unknown,"
        " state, epoch, arrived, changed, attempts, outcome, modem, seen) SELECT 'site/old' || i,"
        " 'Standard', '0172' || i, '0172' || i, '', 'Pump 3 has stopped, pressure 0.3 bar', 'City',"
        " '', 5, 0, 9000000000000000, 'site', '', 3, 5, false, 'accepted', 1,"
        " mvsms.clock() - 2592000000 + i, mvsms.clock() - 2592000000 + i, 1, 'accepted', 'Modem',"
        " true FROM generate_series(" +
            from + ", " + to + ") AS i");
    Only(wire,
         "INSERT INTO mvsms.tries(id, epoch, holder, begun, ended, outcome, modem) SELECT"
         " 'site/old' || i, 1, 'b/1/Modem', 0, 1, 'accepted', 'Modem' FROM generate_series(" +
             from + ", " + to + ") AS i");
  }
  Only(wire, "ANALYZE");
}

int Main(int count, char** words) {
  setlinebuf(stdout);
  const std::string where = words[1];
  const int pages = count > 2 ? std::stoi(words[2]) : 5000;
  const int finished = count > 3 ? std::stoi(words[3]) : 1'000'000;
  Run(where, "single", pages / 10, 1);
  Run(where, "empty", pages, kWorkers);
  const auto wire = posix::MakeHubWire(where, "");
  const double filled = Took([&] { Fill(*wire, finished); }) / 1000;
  const std::string size =
      Only(*wire, "SELECT pg_size_pretty(pg_database_size(current_database()))");
  std::printf("%d finished pages put there in %.0f s, of %s\n", finished, filled, size.c_str());
  Run(where, "full", pages, kWorkers);
  posix::ServerHub hub(*wire);
  const dispatch::Machine machine{.name = "site", .version = "1.0", .services = {"City"}};
  std::printf(
      "with them: a beat %.1f ms, what is waited for %.1f ms, results %.1f ms, the sweep %.1f ms,"
      " what is unknown %.1f ms, the counts of 'hub status' %.0f ms\n",
      Took([&] { hub.Beat(machine); }), Took([&] { hub.Waited("Standard"); }),
      Took([&] { hub.Results("site", 200); }),
      Took([&] { hub.Sweep([](const std::string&) { return false; }); }),
      Took([&] { hub.List({.states = {PageState::kUnknown}}); }), Took([&] { hub.Stats(); }));
  std::int64_t gone = 0;
  const double took = Took([&] { gone = hub.Prune(hub.Now() - std::chrono::days(29)); });
  std::printf("forgetting %lld of them: %.1f s\n", static_cast<long long>(gone), took / 1000);
  return 0;
}

}  // namespace
}  // namespace mvsms

int main(int count, char** words) {
  if (count >= 2) return mvsms::Main(count, words);
  std::puts("mvsms_hub_load WHERE [PAGES [FINISHED]]");
  return 2;
}
