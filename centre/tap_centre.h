// The answering side of TAP 1.8: prompt, login, go-ahead, blocks, logout, with the centre's own
// timers and counters. It asks nothing of the caller beyond the protocol, and repeats an answer
// whenever the caller repeats its step.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "centre/deadline.h"
#include "centre/desk.h"
#include "centre/line.h"
#include "centre/tap_frame.h"

namespace mvsms::centre {

class TapCentre : public Answerer {
 public:
  /// `desk` outlives the call.
  explicit TapCentre(Desk& desk);
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  enum class Stage { kPrompt, kLogin, kPages };
  struct Verdict {
    TapAnswer answer;
    std::string text;
  };

  void On(const TapLine& line);
  void On(const TapBlock& block);
  void Prompt();
  void Login(const std::string& login);
  Verdict JudgeLogin(std::string_view login);
  void GoAhead();
  Verdict JudgeBlock(const TapBlock& block, std::string_view contents);
  Request PageRequest(std::string_view contents) const;
  Verdict JudgePage(const TapPage& page);
  Verdict WrongChecksum();
  void Logout();

  std::string Answer(const Verdict& verdict) const;
  void Carry(const Verdict& verdict, Request request);
  void End(std::string_view text);
  void HangUp();
  bool FallsSilent(SilentAt here);
  void WatchSilence();
  void OnSilentLogin();
  void Later(Millis delay, std::function<void()> action);
  void Send(std::string_view bytes);
  std::string FromLine(std::string_view bytes) const;

  Desk& desk_;
  const Settings& settings_;
  Line* line_ = nullptr;  // null: not connected, hung up, or silent for good
  TapReader reader_;
  Deadline silence_;
  Stage stage_ = Stage::kPrompt;
  std::string page_;  // contents of the blocks so far
  int crs_to_ignore_;
  int prompts_ = 0;
  int wrong_logins_ = 0;
  int wrong_checksums_ = 0;
};

}  // namespace mvsms::centre
