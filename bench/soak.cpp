// mvsms_soak [MINUTES]: ten thousand sends of one process in virtual time, then real ones over a
// socket for so many minutes (1 unless told otherwise). Prints memory and descriptors on the way;
// they must not grow.
#include <dirent.h>
#include <malloc.h>

#include <cstdlib>

#include "backends/memory/memory_platform.h"
#include "bench/sends.h"
#include "tests/support/centre_far_end.h"

namespace mvsms {
namespace {

/// A thread's timer table has a hundred slots, and every connection leaves one taken.
constexpr int kSendsPerThread = 90;

int OpenDescriptors() {
  int count = 0;
  DIR* const folder = opendir("/proc/self/fd");
  while (readdir(folder) != nullptr) ++count;
  closedir(folder);
  return count - 3;
}

double ResidentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double size = 0;
  double resident = 0;
  file >> size >> resident;
  return resident * 4096 / 1024 / 1024;
}

void Report(const char* what, int sends, int accepted) {
  std::printf("%-8s %6d sends, %6d accepted: %6.1f MiB, %zu bytes allocated, %d descriptors\n",
              what, sends, accepted, ResidentMegabytes(), mallinfo2().uordblks, OpenDescriptors());
  std::fflush(stdout);
}

void InVirtualTime(int sends) {
  int accepted = 0;
  for (int done = 0; done < sends; done += kSendsPerThread) {
    std::thread([&] {
      memory::MemoryPlatform platform;
      centre::Centre centre(centre::SpeakUcp(), FixedAnswers());
      memory::Line line;
      line.name = "Modem";
      line.far_end = [&](const std::string&) {
        return test::CentreFarEnd::Answering(centre.AnswerCall());
      };
      platform.lines.push_back(line);
      WriteProfile(platform.registry(), "UCP", "1");
      Apartment apartment(platform);
      Sender sender(apartment);
      for (int i = 0; i < kSendsPerThread; ++i) {
        std::string recipient = "01712345678", originator = "0301", service, message = "Pump 3";
        if (sender.SendMessage(recipient, originator, message, service)) ++accepted;
      }
    }).join();
    if (done % (kSendsPerThread * 20) == 0) Report("virtual", done + kSendsPerThread, accepted);
  }
}

void InRealTime(int minutes) {
  const Home home;
  Listening centre("UCP");
  WriteProfile(posix::MakePosixPlatform(home.path())->registry(), "UCP", centre.number());
  const auto end = SteadyClock::now() + std::chrono::minutes(minutes);
  int sends = 0;
  std::atomic<int> accepted = 0;
  while (SteadyClock::now() < end) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 20; ++i, ++sends) {
      threads.emplace_back([&] {
        const auto platform = posix::MakePosixPlatform(home.path());
        if (Send(*platform)) ++accepted;
      });
    }
    for (std::thread& thread : threads) thread.join();
    if (sends % 200 == 0) Report("real", sends, accepted);
  }
  Report("real", sends, accepted);
}

}  // namespace
}  // namespace mvsms

int main(int count, char** texts) {
  mvsms::InVirtualTime(10'000);
  mvsms::InRealTime(count > 1 ? std::atoi(texts[1]) : 1);
}
