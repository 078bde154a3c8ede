// The queue's file: handing a page over, claiming the next one with many waiting, and what an idle
// worker asks five times a second.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "backends/posix/store/queue.h"

namespace mvsms {
namespace {

using dispatch::Page;
using posix::PageQueue;

/// A folder on the disk: the one for tests may lie in memory.
class DiskFolder {
 public:
  DiskFolder() : path_(std::filesystem::temp_directory_path() / "mvsms-bench-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~DiskFolder() { std::filesystem::remove_all(path_); }
  DiskFolder(const DiskFolder&) = delete;
  DiskFolder& operator=(const DiskFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

Page PageOf(std::int64_t number) {
  Page page;
  page.id = "page " + std::to_string(number);
  page.profile = "Standard";
  page.recipient = page.number = "0171" + std::to_string(number);
  page.text = "Pump 3 has stopped, pressure 0.3 bar";
  page.service = "City";
  return page;
}

void Fill(PageQueue& queue, std::int64_t count) {
  std::vector<Page> pages;
  for (std::int64_t i = 0; i < count; ++i) pages.push_back(PageOf(i));
  queue.Put(pages);
}

/// As `mvsms send --queue` does it: a process opens the file, writes, and is gone.
void HandOver(benchmark::State& state) {
  const DiskFolder folder;
  PageQueue queue(folder.path());
  Fill(queue, state.range(0));
  std::int64_t number = state.range(0);
  for (auto _ : state) {
    const Page page = PageOf(number++);
    PageQueue(folder.path()).Put({&page, 1});
  }
}
BENCHMARK(HandOver)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond)->UseRealTime();

void ClaimAndFinish(benchmark::State& state) {
  const DiskFolder folder;
  PageQueue queue(folder.path());
  Fill(queue, state.range(0));
  const std::vector<std::string> services = {"Area", "City"};
  std::int64_t number = state.range(0);
  for (auto _ : state) {
    const auto claimed = queue.Claim("bench", "Standard", services);
    if (!claimed) return state.SkipWithError("no page waits");
    queue.Begin(claimed->page.id, claimed->epoch);
    queue.Finish(claimed->page.id, claimed->epoch, {.outcome = dispatch::Outcome::kAccepted},
                 dispatch::PageState::kAccepted);
    state.PauseTiming();
    const Page next = PageOf(number++);
    queue.Put({&next, 1});
    state.ResumeTiming();
  }
}
BENCHMARK(ClaimAndFinish)
    ->Arg(10)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

/// All pages wait for their next try: none is due.
void LookForWork(benchmark::State& state) {
  const DiskFolder folder;
  PageQueue queue(folder.path());
  std::vector<Page> pages;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    pages.push_back(PageOf(i));
    pages.back().not_before = posix::SystemNow() + std::chrono::hours(1);
  }
  queue.Put(pages);
  for (auto _ : state) benchmark::DoNotOptimize(queue.NextDue("Standard"));
}
BENCHMARK(LookForWork)->Arg(10)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace mvsms
