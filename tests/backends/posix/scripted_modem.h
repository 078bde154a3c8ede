// An AT-command modem with a script and a clock of its own: commands get the answers they are
// given, at their time, and everything the dialogue does is recorded.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "backends/posix/line/hayes_modem.h"

namespace mvsms::posix {

class ScriptedModem : public ModemPort {
 public:
  // --- the script -----------------------------------------------------------------------------
  bool echo = false;
  bool one_by_one = false;  // answers come a character at a time, 20 ms apart
  bool has_lines = false;   // DTR and carrier exist
  bool carrier = false;
  bool gone = false;
  Millis cancelled_at{1'000'000'000};
  std::function<void()> on_dtr_drop;

  /// The answers to a command (without its CR, but "+++" as it stands), each after a delay. A
  /// command that comes again gets the next script for it, the last one again and again.
  void On(const std::string& command, std::vector<std::pair<int, std::string>> answers) {
    scripts_[command].push_back(std::move(answers));
  }
  /// Runs `action` at `ms` from now.
  void After(int ms, std::function<void()> action) {
    events_.emplace(now_ + Millis(ms), std::move(action));
  }
  void Say(const std::string& text) { output_ += text; }

  // --- the record -----------------------------------------------------------------------------
  /// What was done to the port, in order: writes as they stand, "<DTR off>", "<DTR on>".
  std::string record;
  /// When each write began.
  std::vector<std::pair<Millis, std::string>> writes;
  const std::string& unread() const { return output_; }

  // --- ModemPort ------------------------------------------------------------------------------
  void Write(std::string_view bytes) override {
    record += bytes;
    writes.emplace_back(now_, bytes);
    if (echo) output_ += bytes;
    for (const char code : bytes) Take(code);
  }
  std::optional<char> Read(Millis time) override {
    const Millis limit = now_ + time;
    while (output_.empty() && RunNextEvent(limit)) {
    }
    if (output_.empty()) {
      now_ = limit;
      return std::nullopt;
    }
    const char code = output_.front();
    output_.erase(0, 1);
    return code;
  }
  void Wait(Millis time) override {
    const Millis limit = now_ + time;
    while (RunNextEvent(limit)) {
    }
    now_ = limit;
  }
  bool SetDtr(bool on) override {
    if (!has_lines) return false;
    record += on ? "<DTR on>" : "<DTR off>";
    if (!on && on_dtr_drop) on_dtr_drop();
    return true;
  }
  std::optional<bool> Carrier() override {
    return has_lines ? std::optional<bool>(carrier) : std::nullopt;
  }
  bool Cancelled() override { return now_ >= cancelled_at; }
  bool Gone() override { return gone; }
  Millis Now() override { return now_; }

 private:
  using Answers = std::vector<std::pair<int, std::string>>;

  void Take(char code) {
    if (code != '\r') input_ += code;
    if (code == '\r' || input_ == "+++") Answer(std::exchange(input_, {}));
  }
  void Answer(const std::string& command) {
    const auto found = scripts_.find(command);
    if (found == scripts_.end()) return;
    auto& [name, scripts] = *found;
    const Answers answers = scripts.front();
    if (scripts.size() > 1) scripts.erase(scripts.begin());
    for (const auto& [delay, text] : answers) Schedule(delay, text);
  }
  void Schedule(int delay, const std::string& text) {
    if (!one_by_one) return After(delay, [this, text] { Say(text); });
    for (const char code : text) {
      After(delay, [this, code] { output_ += code; });
      delay += 20;
    }
  }
  bool RunNextEvent(Millis limit) {
    if (events_.empty() || events_.begin()->first > limit) return false;
    const auto [time, action] = *events_.begin();
    events_.erase(events_.begin());
    now_ = std::max(now_, time);
    action();
    return true;
  }

  Millis now_{1000};
  std::string input_;
  std::string output_;
  std::map<std::string, std::vector<Answers>> scripts_;
  std::multimap<Millis, std::function<void()>> events_;
};

}  // namespace mvsms::posix
