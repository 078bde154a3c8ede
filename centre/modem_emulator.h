// A Hayes modem in front of any answerer: what a program sees on a serial port with a modem and a
// message centre at the far end. Commands that only tune a real modem are accepted and ignored;
// dialling turns out as the settings say.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "centre/at_command.h"
#include "centre/deadline.h"
#include "centre/desk.h"
#include "centre/line.h"

namespace mvsms::centre {

class ModemEmulator : public Answerer {
 public:
  /// Makes the answerer of a call to the number dialled, which is given without its T or P.
  using Dialled = std::function<std::unique_ptr<Answerer>(const std::string& number)>;

  /// `desk` outlives the modem. `carrier` is told of the carrier of its calls; it may be empty.
  ModemEmulator(Desk& desk, Dialled dialled, CarrierWatch carrier = {});
  ~ModemEmulator() override;
  /// The program has opened the port. `line` is the serial line, not the call.
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  /// The program has closed the port, which drops DTR: the call ends, the modem is reset.
  void HungUp() override;

 private:
  enum class State { kCommand, kDialling, kOnline };
  enum class Result { kOk, kConnect, kNoCarrier, kError, kNoDialtone, kBusy, kNoAnswer, kNone };
  class Call;
  struct Handler {
    std::string_view name;
    Result (ModemEmulator::*run)(const AtCommand&);
  };
  static const Handler kHandlers[];

  void Type(char typed);
  void Execute(const std::string& line);
  Result Run(const AtCommand& command);
  Result Echo(const AtCommand& command);
  Result Verbose(const AtCommand& command);
  Result Quiet(const AtCommand& command);
  Result Extended(const AtCommand& command);
  Result Information(const AtCommand& command);
  Result FaxClass(const AtCommand& command);
  Result Register(const AtCommand& command);
  Result HookDown(const AtCommand& command);
  Result Reset(const AtCommand& command);
  Result Dial(const AtCommand& command);
  Result Online(const AtCommand& command);
  Result Answer(const AtCommand& command);

  void Outcome(const std::string& number);
  Result Perceived(CallOutcome outcome) const;
  void Connect(const std::string& number);
  void Pass(std::string_view bytes);
  void WatchEscape(std::string_view bytes);
  void LoseCarrier();
  void EndCall();
  void ShowCarrier(bool up) const;
  void PowerOn();
  void Report(Result result);
  Result Inform(std::string_view words);
  void Say(std::string_view text);
  Millis Guard() const;

  Desk& desk_;
  const Dialled dialled_;
  const CarrierWatch carrier_;
  Line* line_ = nullptr;
  std::shared_ptr<Call> call_;
  State state_ = State::kCommand;
  std::string command_;
  std::string last_command_;
  bool echo_ = true, verbose_ = true, quiet_ = false;
  int extended_ = 4;              // ATX: which outcomes of a call have a code of their own
  std::map<int, int> registers_;  // S registers
  int pluses_ = 0;
  Millis last_byte_{0};
  Deadline pending_;  // the outcome of a dialled call, or the end of an escape's guard time
  Deadline carrier_loss_;
};

}  // namespace mvsms::centre
