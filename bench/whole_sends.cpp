// Real sends over sockets to a message centre in the same process: wall time against the waits that
// the dialogue prescribes, processor time, and five hundred at once; the queue's pages in one call,
// and pages handed over by many processes. Prints a table.
#include <sys/wait.h>

#include "backends/memory/memory_platform.h"
#include "backends/memory/queue.h"
#include "backends/posix/store/journal.h"
#include "backends/posix/store/queue.h"
#include "bench/sends.h"
#include "dispatch/line_worker.h"
#include "tests/support/centre_far_end.h"

namespace mvsms {
namespace {

/// What the same dialogue waits in virtual time, where nothing else takes any.
double PrescribedSeconds(const std::string& protocol) {
  memory::MemoryPlatform platform;
  centre::Centre centre(protocol == "TAP" ? centre::SpeakTap() : centre::SpeakUcp(),
                        FixedAnswers());
  memory::Line line;
  line.name = "Modem";
  line.ring_time = memory::Millis(0);
  line.far_end = [&](const std::string&) {
    return test::CentreFarEnd::Answering(centre.AnswerCall());
  };
  platform.lines.push_back(line);
  WriteProfile(platform.registry(), protocol, "1");
  Send(platform);
  return std::chrono::duration<double>(platform.slept()).count();
}

void OneSend(const std::string& protocol) {
  const Home home;
  Listening centre(protocol);
  const auto platform = posix::MakePosixPlatform(home.path());
  WriteProfile(platform->registry(), protocol, centre.number());
  const double prescribed = PrescribedSeconds(protocol);
  const double processor = ProcessorSeconds(RUSAGE_THREAD);
  const auto start = SteadyClock::now();
  const bool sent = Send(*platform);
  const double wall = std::chrono::duration<double>(SteadyClock::now() - start).count();
  std::printf(
      "%-4s one send over a socket: %s, %.3f s, prescribed waits %.3f s (%+.2f %%), %.1f ms of "
      "processor\n",
      protocol.c_str(), sent ? "accepted" : "FAILED", wall, prescribed,
      100 * (wall - prescribed) / prescribed, 1000 * (ProcessorSeconds(RUSAGE_THREAD) - processor));
}

void ManySends(const std::string& protocol, int count) {
  const Home home;
  Listening centre(protocol);
  WriteProfile(posix::MakePosixPlatform(home.path())->registry(), protocol, centre.number());
  const double processor = ProcessorSeconds(RUSAGE_SELF);
  const auto start = SteadyClock::now();
  std::atomic<int> accepted = 0;
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      const auto platform = posix::MakePosixPlatform(home.path());
      if (Send(*platform)) ++accepted;
    });
  }
  for (std::thread& thread : threads) thread.join();
  const double wall = std::chrono::duration<double>(SteadyClock::now() - start).count();
  const double used = ProcessorSeconds(RUSAGE_SELF) - processor;
  std::printf(
      "%-4s %d sends at once: %d accepted, %d pages at the centre, %.2f s, %.0f %% of a core, %.0f "
      "MiB\n",
      protocol.c_str(), count, accepted.load(), centre.pages(), wall, 100 * used / wall,
      PeakMegabytes());
}

std::vector<dispatch::Page> Pages(const std::string& prefix, int count) {
  std::vector<dispatch::Page> pages;
  for (int i = 0; i < count; ++i) {
    dispatch::Page page;
    page.id = prefix + std::to_string(i);
    page.profile = "Standard";
    page.recipient = page.number = "0171" + std::to_string(i);
    page.text = "Pump 3 of tank 12 has stopped at noon";
    page.service = "Pager";
    pages.push_back(page);
  }
  return pages;
}

class QuietHost : public dispatch::WorkerHost {
 public:
  explicit QuietHost(std::string home) : home_(std::move(home)) {}
  void Record(const dispatch::JournalRow& row) override {
    if (!home_.empty()) posix::Journal(home_).Put(row);
  }
  std::string TakeModem(const std::string&) override { return {}; }
  bool NothingDialled(const std::string&) override { return false; }
  void Entered(dispatch::LineState, const std::string&) override {}
  void Tell(const std::string&) override {}

 private:
  std::string home_;
};

/// One call with so many pages; how many of them were accepted.
std::int64_t WorkThrough(Platform& platform, dispatch::Queue& queue, const std::string& home,
                         int count) {
  QuietHost host(home);
  queue.Put(Pages("page ", count));
  const dispatch::WorkerLine line{
      .modem = "Modem", .names = {"Modem"}, .profile = "Standard", .holder = "bench"};
  dispatch::LineWorker(platform, queue, host, line, posix::SystemNow).Work();
  return queue.Stats().at(static_cast<std::size_t>(dispatch::PageState::kAccepted)).pages;
}

/// The same in virtual time; `dialling` is what comes before the call is up.
double PrescribedForPages(const std::string& protocol, int count, memory::Millis dialling) {
  memory::MemoryPlatform platform;
  memory::MemoryQueue queue(posix::SystemNow);
  centre::Centre centre(protocol == "TAP" ? centre::SpeakTap() : centre::SpeakUcp(),
                        FixedAnswers());
  memory::Line line;
  line.name = "Modem";
  line.ring_time = dialling;
  line.far_end = [&](const std::string&) {
    return test::CentreFarEnd::Answering(centre.AnswerCall());
  };
  platform.lines.push_back(line);
  WriteProfile(platform.registry(), protocol, "1");
  WorkThrough(platform, queue, "", count);
  return std::chrono::duration<double>(platform.slept()).count();
}

void OneCall(const std::string& protocol, int count) {
  const Home home;
  Listening centre(protocol);
  const auto platform = posix::MakePosixPlatform(home.path());
  WriteProfile(platform->registry(), protocol, centre.number());
  posix::PageQueue queue(home.path());
  const double prescribed = PrescribedForPages(protocol, count, memory::Millis(0));
  const auto start = SteadyClock::now();
  const std::int64_t accepted = WorkThrough(*platform, queue, home.path(), count);
  const double wall = std::chrono::duration<double>(SteadyClock::now() - start).count();
  std::printf(
      "%-4s %d pages in one call over a socket: %d accepted, %.2f s, prescribed waits %.2f s "
      "(%+.2f "
      "%%): %.1f pages a minute\n",
      protocol.c_str(), count, static_cast<int>(accepted), wall, prescribed,
      100 * (wall - prescribed) / prescribed, 60 * count / wall);
  std::printf(
      "%-4s 20 pages in one call over a modem that dials for 15 s: %.1f s in virtual time\n",
      protocol.c_str(), PrescribedForPages(protocol, 20, memory::Millis(15'000)));
}

void HandOverFromManyProcesses(int processes, int count) {
  const Home home;
  posix::PageQueue(home.path()).Put(Pages("first ", 1));
  const auto start = SteadyClock::now();
  for (int i = 0; i < processes; ++i) {
    if (fork() != 0) continue;
    posix::PageQueue queue(home.path());
    for (const dispatch::Page& page : Pages(std::to_string(i) + ".", count)) queue.Put({&page, 1});
    _exit(0);
  }
  while (wait(nullptr) > 0) {
  }
  const double wall = std::chrono::duration<double>(SteadyClock::now() - start).count();
  const auto lie = posix::PageQueue(home.path())
                       .Stats()
                       .at(static_cast<std::size_t>(dispatch::PageState::kReady));
  std::printf("%d processes hand over %d pages each: %.0f a second, %d pages lie there\n",
              processes, count, processes * count / wall, static_cast<int>(lie.pages));
}

}  // namespace
}  // namespace mvsms

int main() {
  mvsms::HandOverFromManyProcesses(16, 200);
  mvsms::OneCall("TAP", 10);
  mvsms::OneCall("UCP", 10);
  mvsms::OneSend("TAP");
  mvsms::OneSend("UCP");
  mvsms::ManySends("UCP", 500);
  mvsms::ManySends("TAP", 500);
}
