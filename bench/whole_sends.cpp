// Real sends over sockets to a message centre in the same process: wall time against the waits that
// the dialogue prescribes, processor time, and five hundred at once. Prints a table.
#include "backends/memory/memory_platform.h"
#include "bench/sends.h"
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

}  // namespace
}  // namespace mvsms

int main() {
  mvsms::OneSend("TAP");
  mvsms::OneSend("UCP");
  mvsms::ManySends("UCP", 500);
  mvsms::ManySends("TAP", 500);
}
