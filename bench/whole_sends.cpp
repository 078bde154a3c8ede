// Real sends over sockets to a message centre in the same process: wall time against the waits that
// the dialogue prescribes, processor time, and five hundred at once. Prints a table.
#include <sys/resource.h>
#include <sys/time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "centre/centre.h"
#include "centre/server.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "platform/memory/memory_platform.h"
#include "platform/posix/line_store.h"
#include "platform/posix/posix_platform.h"
#include "tests/support/centre_far_end.h"

namespace mvsms {
namespace {

using Clock = std::chrono::steady_clock;

centre::Settings FixedAnswers() {
  centre::Settings settings;
  centre::Set(settings, "system-message=pager");
  centre::Set(settings, "ring-time=0");
  return settings;
}

void WriteProfile(Registry& registry, const std::string& protocol, const std::string& number) {
  std::string profile = "Standard";
  const std::string key = BaseKey(profile);
  const auto write = [&](const std::string& at, const char* name, const std::string& text) {
    basRegistry::SetValue(registry, kSettingsHive, at, name, text, RegType::kSz);
  };
  write(key, "DefaultModem", "Modem");
  write(key, "DefaultService", "Pager");
  const std::string service = ServiceKey(key, "Pager");
  for (const ValueInfo& info : kServiceValues) write(service, info.name, info.initial);
  write(service, "Protocol", protocol);
  write(service, "UCPCommand", "51");
  write(service, "PhoneNumber", number);
}

bool Send(Platform& platform) {
  Apartment apartment(platform);
  Sender sender(apartment);
  std::string recipient = "01712345678", originator = "0301", service;
  std::string message = "Pump 3 of tank 12 has stopped at noon";
  return sender.SendMessage(recipient, originator, message, service);
}

double ProcessorSeconds(int who) {
  rusage usage = {};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double PeakMegabytes() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

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

/// A message centre on a socket, on a thread of its own.
class Listening {
 public:
  explicit Listening(const std::string& protocol)
      : centre_(protocol == "TAP" ? centre::SpeakTap() : centre::SpeakUcp(), FixedAnswers(),
                [this](const centre::Request& request) {
                  if (request.accepted && !request.type.empty()) ++pages_;
                }),
        server_(0, [this] { return centre_.AnswerCall(); }),
        thread_([this] { server_.Run(); }) {}
  ~Listening() {
    server_.Stop();
    thread_.join();
  }
  std::string number() const { return "127.0.0.1:" + std::to_string(server_.port()); }
  int pages() const { return pages_; }

 private:
  std::atomic<int> pages_ = 0;
  centre::Centre centre_;
  centre::TcpServer server_;
  std::thread thread_;
};

class Home {
 public:
  Home()
      : path_(std::filesystem::temp_directory_path() /
              ("mvsms-bench-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(path_);
    posix::LineStore(path_).Put(
        {.name = "Modem", .kind = posix::LineKind::kTcp, .device = "", .init = ""});
  }
  ~Home() { std::filesystem::remove_all(path_); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

void OneSend(const std::string& protocol) {
  const Home home;
  Listening centre(protocol);
  const auto platform = posix::MakePosixPlatform(home.path());
  WriteProfile(platform->registry(), protocol, centre.number());
  const double prescribed = PrescribedSeconds(protocol);
  const double processor = ProcessorSeconds(RUSAGE_THREAD);
  const auto start = Clock::now();
  const bool sent = Send(*platform);
  const double wall = std::chrono::duration<double>(Clock::now() - start).count();
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
  const auto start = Clock::now();
  std::atomic<int> accepted = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      const auto platform = posix::MakePosixPlatform(home.path());
      if (Send(*platform)) ++accepted;
    });
  }
  for (std::thread& thread : threads) thread.join();
  const double wall = std::chrono::duration<double>(Clock::now() - start).count();
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
