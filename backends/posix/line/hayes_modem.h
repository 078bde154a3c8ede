// The dialogue with an AT-command modem: make it listen, dial, hang up. Written straight down, one
// function per step, over a small port that tests replace by a scripted modem with its own clock.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/telephony.h"

namespace mvsms::posix {

/// The serial port of a modem as the dialogue needs it.
class ModemPort {
 public:
  using Millis = std::chrono::milliseconds;

  virtual ~ModemPort() = default;
  virtual void Write(std::string_view bytes) = 0;
  /// The next byte; nothing when none came within `time`, all of which has then passed, even on a
  /// port that is gone.
  virtual std::optional<char> Read(Millis time) = 0;
  /// Lets time pass; what comes meanwhile is kept.
  virtual void Wait(Millis time) = 0;
  /// Raises or drops DTR; false when the port has no modem lines.
  virtual bool SetDtr(bool on) = 0;
  /// The carrier line (DCD); nothing when the port has none.
  virtual std::optional<bool> Carrier() = 0;
  /// The caller has given up dialling. May change at any time.
  virtual bool Cancelled() = 0;
  /// The device has vanished.
  virtual bool Gone() = 0;
  virtual Millis Now() = 0;
};

/// A final answer of a modem to a command.
struct ResultCode {
  enum class Kind { kOk, kConnect, kFailure };
  Kind kind;
  CallCause cause;            // of a call that ends with it
  std::string_view remark{};  // what it means, where the cause does not tell; after "The modem"
  bool nothing_dialled = false;
  bool line_is_up = false;  // with somebody who is none for us
};

/// The meaning of an answer line, in words or as a number. Nothing for a line that does not end a
/// command: the echo of the command, a progress report, noise.
std::optional<ResultCode> ParseResultCode(std::string_view line);

/// The same for a line that comes after the command to dial. There somebody's call ends it, too:
/// the line that was to be dialled on rings.
std::optional<ResultCode> ParseDialResult(std::string_view line);

/// A result line in words: a number by the words for it, anything else as it stands.
std::string ResultInWords(std::string_view line);

/// What a modem accepts of a number to dial. Everything else is left out: it is only there for the
/// eye, or would end the command, or (";") would turn it into a voice call.
std::string DialString(const std::string& number);

/// A command as a modem takes it: "Z" and "ATZ" are the same; the empty one is `fallback`.
std::string AtCommand(const std::string& text, const std::string& fallback);

struct DialResult {
  /// What kept the modem from dialling, so that another one may try.
  enum class Obstacle { kNone, kSilent, kNoLine };

  CallCause cause = CallCause::kNone;  // kNone: the call is up
  Obstacle obstacle = Obstacle::kNone;
  std::string_view remark;  // as in ResultCode
  std::string early_data;   // what followed the CONNECT and was read with it
  /// The carrier line came on with the call, so it tells when the call is lost.
  bool carrier_tells = false;
};

class HayesModem {
 public:
  using Millis = std::chrono::milliseconds;

  /// `init` and `dial` as in LineConfig. `port` outlives the object.
  HayesModem(ModemPort& port, const std::string& init, const std::string& dial);

  /// Initialises the modem and dials. Blocks until the call is up or has failed, or the port says
  /// that the dialling is cancelled; the modem has then been told to stop.
  DialResult Dial(const std::string& number);

  /// Ends the call that the last Dial set up. Not cancellable.
  void HangUp();

  /// Sends one command and returns everything that the modem says until it has finished with it, or
  /// `time` is up.
  std::string Ask(const std::string& command, Millis time);

  /// The commands that this modem gets.
  const std::string& init() const { return init_; }

 private:
  DialResult Place(const std::string& number);
  bool Initialise();
  void LeaveDataMode();
  DialResult Connected(bool carrier_before);
  std::string EarlyData();
  bool CarrierComesOn();
  void StopDialling();
  bool DropDtr();

  // Once the dialogue is to stop, each step returns soon without doing anything more.
  void Send(const std::string& command);
  void Write(std::string_view bytes);
  void DiscardInput();
  using Parser = std::optional<ResultCode> (*)(std::string_view);
  std::optional<ResultCode> AwaitResult(Millis time, Parser parse = ParseResultCode);
  std::optional<std::string> ReadLine(Millis deadline);
  std::optional<char> NextByte(Millis deadline);
  void Pause(Millis time);
  bool Stopped();

  ModemPort& port_;
  std::string init_;
  std::string dial_;
  std::string line_;  // what has come of the current line
  bool cancellable_ = false;
  bool carrier_tells_ = false;
};

}  // namespace mvsms::posix
