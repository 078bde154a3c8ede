// A serial device for tests: the far side of a pseudo-terminal, and a modem that sits there.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "backends/posix/system/unique_fd.h"
#include "tests/backends/posix/environment.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {

/// Keeps the locks of a test to itself.
class LockFolder {
 public:
  const std::string& path() const { return folder_.path(); }
  /// Where the lock of a device is.
  std::string FileOf(std::string device) const {
    device.erase(0, std::string("/dev/").size());
    for (char& code : device) code = code == '/' ? '_' : code;
    return folder_ / ("LCK.." + device);
  }

 private:
  TempFolder folder_;
  ScopedVariable variable_{"MVSMS_LOCK_DIR", folder_.path()};
};

class PseudoTerminal {
 public:
  PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    char name[64];
    if (!master_ || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0 ||
        ptsname_r(master_.get(), name, sizeof name) != 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    device_ = name;
  }

  const std::string& device() const { return device_; }

  void Write(std::string_view text) const {
    if (write(master_.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      throw std::runtime_error("pseudo-terminal does not take data");
    }
  }
  /// What was written to the device, as soon as it ends with `end`, or after `ms`.
  std::string ReadUntil(std::string_view end, int ms = 1000) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    std::string text;
    while (!text.ends_with(end) && std::chrono::steady_clock::now() < deadline) text += ReadSome();
    return text;
  }
  /// What arrives within some milliseconds.
  std::string ReadSome() const {
    pollfd wait = {master_.get(), POLLIN, 0};
    if (poll(&wait, 1, 5) <= 0) return {};
    char chunk[256];
    const ssize_t count = read(master_.get(), chunk, sizeof chunk);
    if (count > 0) return {chunk, static_cast<std::size_t>(count)};
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // nobody has the device open
    return {};
  }
  /// The device vanishes.
  void Close() { master_.Reset(); }

 private:
  UniqueFd master_;
  std::string device_;
};

/// A modem behind a pseudo-terminal, on a thread of its own. Answers what it was told to, sends
/// back nothing else, and records what it got.
class PtyModem {
 public:
  PtyModem() = default;
  ~PtyModem() { Vanish(); }

  const std::string& device() const { return terminal_.device(); }

  void On(const std::string& command, const std::string& answer) {
    const std::lock_guard guard(mutex_);
    answers_[command] = answer;
  }
  void Say(const std::string& text) const { terminal_.Write(text); }
  /// Everything that came so far.
  std::string received() {
    const std::lock_guard guard(mutex_);
    return received_;
  }
  void Vanish() {
    thread_.request_stop();
    if (thread_.joinable()) thread_.join();
    terminal_.Close();
  }

 private:
  void Run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      for (const char code : terminal_.ReadSome()) Take(code);
    }
  }
  void Take(char code) {
    const std::lock_guard guard(mutex_);
    received_ += code;
    if (code != '\r') command_ += code;
    if (code != '\r' && command_ != "+++") return;
    const auto found = answers_.find(std::exchange(command_, {}));
    if (found != answers_.end()) terminal_.Write(found->second);
  }

  PseudoTerminal terminal_;
  std::mutex mutex_;
  std::map<std::string, std::string> answers_{{"ATZ", "\r\nOK\r\n"}};
  std::string command_;
  std::string received_;
  std::jthread thread_{[this](const std::stop_token& stop) { Run(stop); }};
};

}  // namespace mvsms::posix
