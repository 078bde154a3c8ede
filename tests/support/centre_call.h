// A caller of the message centre with a clock of its own: it sends, waits, and hears, all in the
// notation of control characters.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "centre/centre.h"
#include "centre/line.h"
#include "centre/notation.h"

namespace mvsms::centre::test {

class TestLine : public Line {
 public:
  void Write(std::string_view bytes) override {
    if (!hung_up) sent += bytes;
  }
  void HangUp() override { hung_up = true; }
  void After(Millis delay, std::function<void()> action) override {
    actions_.emplace(now + delay, std::move(action));
  }
  Millis Now() override { return now; }

  void Advance(Millis delay) {
    const Millis end = now + delay;
    while (!gone() && !actions_.empty() && actions_.begin()->first <= end) {
      auto node = actions_.extract(actions_.begin());
      now = node.key();
      node.mapped()();
    }
    now = end;
  }
  bool gone() const { return hung_up || closed; }

  std::string sent;  // by the centre
  bool hung_up = false;
  bool closed = false;  // by the caller
  Millis now{0};

 private:
  std::multimap<Millis, std::function<void()>> actions_;
};

class Call {
 public:
  explicit Call(std::unique_ptr<Answerer> answerer) : answerer_(std::move(answerer)) {
    answerer_->Connected(*line_);
  }

  void SendsBytes(const std::string& bytes) {
    if (!line_->gone()) answerer_->Received(bytes);
  }
  void Sends(const std::string& notation) { SendsBytes(FromNotation(notation)); }
  void Waits(int ms) { line_->Advance(Millis{ms}); }
  void HangsUp() {
    if (!std::exchange(line_->closed, true) && !line_->hung_up) answerer_->HungUp();
  }
  /// What has come since the last time.
  std::string HearsBytes() { return std::exchange(line_->sent, {}); }
  std::string Hears() { return ToNotation(HearsBytes()); }
  /// What comes at once after sending this.
  std::string Answer(const std::string& notation) {
    Sends(notation);
    return Hears();
  }
  bool IsOver() const { return line_->hung_up; }

 private:
  std::unique_ptr<TestLine> line_ = std::make_unique<TestLine>();
  std::unique_ptr<Answerer> answerer_;
};

/// A centre with these settings, and what it recorded.
class TestCentre {
 public:
  TestCentre(Speaker speaker, const std::vector<std::string>& settings)
      : centre_(
            std::move(speaker), Read(settings),
            [this](const Request& request) { requests.push_back(request); },
            [this](Seen what, std::string_view bytes) {
              seen.emplace_back(what, ToNotation(bytes));
            }) {}

  Call Dialled() { return Call(centre_.AnswerCall()); }
  Call Modem() { return Call(centre_.AnswerModem()); }
  Centre& centre() { return centre_; }

  std::vector<Request> requests;
  std::vector<std::pair<Seen, std::string>> seen;  // bytes in notation

 private:
  static Settings Read(const std::vector<std::string>& settings) {
    Settings all;
    for (const std::string& setting : settings) Set(all, setting);
    return all;
  }
  Centre centre_;
};

struct TapTest : TestCentre {
  explicit TapTest(const std::vector<std::string>& settings = {})
      : TestCentre(SpeakTap(), settings) {}
  /// A call that has got as far as the prompt, or as the go-ahead.
  Call Prompted() {
    Call call = Dialled();
    call.Sends("<CR>");
    call.Hears();
    return call;
  }
  Call LoggedIn() {
    Call call = Prompted();
    call.Sends("<ESC>PG1<CR>");
    call.Hears();
    return call;
  }
};

struct UcpTest : TestCentre {
  explicit UcpTest(const std::vector<std::string>& settings = {})
      : TestCentre(SpeakUcp(), settings) {}
};

inline const std::string kPrompt = "ID=";
inline const std::string kLogin = "<ESC>PG1<CR>";
inline const std::string kLoggedIn = "110 1.8<CR><CR><ACK><CR><ESC>[p<CR>";
inline const std::string kPage = "<STX>123<CR>ABC<CR><ETX>17;<CR>";
inline const std::string kPageAccepted = "211 Page accepted<CR><CR><ACK><CR>";
inline const std::string kSubmit01 =
    "<STX>00/00070/O/01/01234567890/09876543210//3/53686F7274204D657373616765/D9<ETX>";
inline const std::string kAlert = "<STX>02/00035/O/31/0234765439845/0139/A0<ETX>";
inline const std::string kSubmit51 =
    "<STX>00/00083/O/51/012345/09876//1//1/////////////3//4D657373616765203531/////////////D1<ETX>";
inline const std::string kLogin60 =
    "<STX>02/00059/O/60/07656765/2/1/1/50617373776F7264//0100//////61<ETX>";

}  // namespace mvsms::centre::test
