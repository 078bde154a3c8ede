// Looking at a line to find what is wrong with it: the modem is asked in one way after the other
// until it answers, a number may be dialled, and the far end is heard and asked what it is, but
// told nothing and given no page. What was seen goes into Seen; what it means, diagnosis.h says.
//
// The device runs with eight bits and without parity meanwhile, and the parity of the line is made
// here, so that bit 7 of all that comes is there to be seen.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "backends/posix/line/diagnosis.h"
#include "backends/posix/line/framing.h"
#include "backends/posix/line/hayes_modem.h"

namespace mvsms::posix {

/// Told of each step before it is taken, with the longest time that it may need.
using Progress = std::function<void(const std::string& step, std::chrono::milliseconds most)>;

/// Thrown between two steps when the port says that the caller has given up; no call is up then.
struct GivenUp {};

/// The settings of a line, to be changed at will, and its modem lines.
class Bench {
 public:
  virtual ~Bench() = default;
  /// Gives the device speed, framing and flow control of `line`. False when it does not do exactly
  /// this.
  virtual bool Apply(const LineConfig& line) = 0;
  /// Modem lines as kMs* bits; nothing when there are none.
  virtual std::optional<std::uint32_t> ModemLines() = 0;
};

/// A port that makes the parity of what is written, takes it from what is read, and keeps what came
/// as it came.
class LineMonitor : public ModemPort {
 public:
  explicit LineMonitor(ModemPort& port) : port_(port) {}

  /// E, O, M, or N for none.
  void SetParity(char letter);
  char parity() const { return parity_; }
  /// From this time on the dialling is cancelled.
  void SetDeadline(Millis deadline) { deadline_ = deadline; }
  bool GivenUp() { return port_.Cancelled(); }

  /// Whether telnet commands were among all that ever came, also among what was dropped.
  bool HeardTelnet() const;

  /// Begins anew with what is read from now on; Forget drops what has come unread, too.
  void ListenAnew();
  void Forget();
  /// Listens until `done`, for `time` at most.
  void Listen(Millis time, const std::function<bool()>& done = [] { return false; });
  const std::vector<Piece>& pieces() const { return pieces_; }
  std::string bytes() const { return Joined(pieces_); }

  void Write(std::string_view bytes) override;
  std::optional<char> Read(Millis time) override;
  void Wait(Millis time) override { port_.Wait(time); }
  bool SetDtr(bool on) override { return port_.SetDtr(on); }
  std::optional<bool> Carrier() override { return port_.Carrier(); }
  bool Cancelled() override { return port_.Cancelled() || port_.Now() >= deadline_; }
  bool Gone() override { return port_.Gone(); }
  Millis Now() override { return port_.Now(); }

 private:
  void Keep(char code);

  ModemPort& port_;
  char parity_ = 'N';
  std::uint8_t code_ = 0;
  Millis deadline_ = Millis::max();
  Millis begun_{0}, last_{0};
  std::vector<Piece> pieces_;
  bool telnet_ = false;  // in pieces that are forgotten
};

/// A hayes line.
class ModemDoctor {
 public:
  using Millis = ModemPort::Millis;

  /// `seen` has the line. All outlive the object.
  ModemDoctor(ModemPort& port, Bench& bench, Seen& seen, Progress progress);

  /// Makes the modem answer, initialises it and asks what it is.
  void Examine();
  /// Dials, looks at the far end, and hangs up. After Examine; nothing when the modem cannot dial.
  void Call(const std::string& number);

 private:
  using Attempt = bool (ModemDoctor::*)();

  void MakeContact();
  void CheckFraming();
  bool WithOwnSettings();
  bool WithoutFlowControl();
  bool Talkative();
  bool OffLine();
  bool AtOtherSpeeds();
  bool AtSpeed(std::uint32_t speed);
  bool InOtherParity(char parity);
  void RestoreFlow();
  void NoteModemLines();

  void Initialise();
  bool Prove(const std::string& init);
  void FindQuiet(const std::string& init);
  void FindRefused(const std::string& init);
  void Identify();

  bool Dial(const std::string& step, const std::string& init);
  bool Reached(const std::string& number);
  void NoteEnd(const std::string& text);
  void TakeGreeting();
  void TryWithoutTone(const std::string& number);
  void ListenForTone();
  void LookAtCentre();
  void HangUp();

  void Step(const std::string& step, Millis most);
  Heard Ask(const std::string& command, Millis time);
  bool Answers(const std::string& step, const std::string& command);
  bool Understood(const Heard& heard);
  void PutFraming(char parity);
  std::string FramingFor(char parity);
  bool Apply();

  LineMonitor monitor_;
  Bench& bench_;
  Seen& seen_;
  Progress progress_;
  std::optional<HayesModem> call_;
};

/// Looks at the far end of a call that is up. `seen.centre` may have the beginning of its greeting.
/// The framing that the centre wants goes into the way of the line; `framing_for` names it.
void LookAtCentre(LineMonitor& line, Seen& seen, const Progress& progress,
                  const std::function<std::string(char parity)>& framing_for);

// --- on real lines -----------------------------------------------------------------------------

struct DoctorsOrder {
  std::string number;     // to dial, ANSI; empty: the modem alone
  std::string protocol;   // of the service: "TAP", "UCP" or ""
  std::string command{};  // and its operation of UCP: "51", or "" when it has none
  std::function<bool()> given_up = [] { return false; };
};

/// Opens a hayes or a tcp line and looks at it. Sends no page. Throws GivenUp.
Seen Examine(const LineConfig& line, const DoctorsOrder& order, const Progress& progress);

}  // namespace mvsms::posix
