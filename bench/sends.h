// What the programs with real sends share: a profile, a message centre on a socket, and the figures
// of the process.
#pragma once

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

#include "backends/memory/memory_platform.h"
#include "backends/posix/posix_platform.h"
#include "backends/posix/store/line_store.h"
#include "centre/centre.h"
#include "centre/posix/server.h"
#include "engine/sender.h"
#include "engine/settings.h"
#include "tests/support/centre_far_end.h"

namespace mvsms {

using SteadyClock = std::chrono::steady_clock;

inline centre::Settings FixedAnswers() {
  centre::Settings settings;
  centre::Set(settings, "system-message=pager");
  centre::Set(settings, "ring-time=0");
  return settings;
}

inline void WriteProfile(Registry& registry, const std::string& protocol,
                         const std::string& number) {
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

inline bool Send(Platform& platform) {
  Apartment apartment(platform);
  Sender sender(apartment);
  std::string recipient = "01712345678", originator = "0301", service;
  std::string message = "Pump 3 of tank 12 has stopped at noon";
  return sender.SendMessage(recipient, originator, message, service);
}

inline double ProcessorSeconds(int who) {
  rusage usage = {};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

inline double PeakMegabytes() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
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
    posix::LineConfig line;
    line.name = "Modem";
    line.kind = posix::LineKind::kTcp;
    posix::LineStore(path_).Put(line);
  }
  ~Home() { std::filesystem::remove_all(path_); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace mvsms
