// The modem is three states over one serial line; commands are a table from name to function.
#include "centre/modem_emulator.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr std::size_t kLongestCommand = 255;
constexpr int kEscapeCharacter = 2, kGuardTime = 12;  // S registers; the guard counts in 20 ms
constexpr Millis kGuardUnit{20};
constexpr char kBackspace = 8;

struct ResultCode {
  int number;
  std::string_view words;
};
// In the order of Result.
constexpr ResultCode kResultCodes[] = {{0, "OK"},       {1, "CONNECT"},     {3, "NO CARRIER"},
                                       {4, "ERROR"},    {6, "NO DIALTONE"}, {7, "BUSY"},
                                       {8, "NO ANSWER"}};

// Accepted and ignored: they tune speaker, speed, compression and flow control, and which incoming
// calls are told of, or taken for a fax.
constexpr std::string_view kIgnoredLetters = "BCFLMNPTWY";
constexpr std::string_view kIgnoredPrefixes = "&\\%-*#$";
constexpr std::array<std::string_view, 12> kIgnoredWords = {
    "+MS", "+ES", "+ER", "+DS", "+DR", "+IFC", "+ICF", "+IPR", "+ILRR", "+A8E", "+VCID", "+FAA"};

bool IsIgnored(const std::string& name) {
  if (name.size() == 1) return kIgnoredLetters.find(name[0]) != std::string_view::npos;
  if (kIgnoredPrefixes.find(name[0]) != std::string_view::npos) return true;
  return std::find(kIgnoredWords.begin(), kIgnoredWords.end(), name) != kIgnoredWords.end();
}

// What programs ask of a modem before they use it, fax programs above all.
struct Fact {
  std::string_view question;
  std::string_view answer;
};
constexpr std::string_view kMaker = "mvSMS", kModel = "message centre, emulated modem",
                           kRevision = "1";
constexpr Fact kFacts[] = {{"+GMI", kMaker},   {"+GMM", kModel},   {"+GMR", kRevision},
                           {"+FMI?", kMaker},  {"+FMM?", kModel},  {"+FMR?", kRevision},
                           {"+FMFR?", kMaker}, {"+FMDL?", kModel}, {"+FREV?", kRevision},
                           {"+FCLASS?", "0"},  {"+FCLASS=?", "0"}};

/// For commands that are switches: 0 (or nothing) off, 1 on, anything else an error.
bool Switch(const std::string& argument, bool& value) {
  if (argument.size() > 1 || (!argument.empty() && argument > "1")) return false;
  value = argument == "1";
  return true;
}

int Number(const std::string& digits) { return std::atoi(digits.substr(0, 6).c_str()); }

}  // namespace

/// The line of one call, as its answerer sees it. Outlives a call that its answerer ends, until
/// the answerer has returned.
class ModemEmulator::Call : public Line, public std::enable_shared_from_this<Call> {
 public:
  Call(ModemEmulator& modem, std::unique_ptr<Answerer> answerer)
      : modem_(&modem), answerer_(std::move(answerer)) {}

  void Begin() { answerer_->Connected(*this); }
  void Pass(std::string_view bytes) {
    if (modem_ != nullptr) answerer_->Received(bytes);
  }
  void End() {
    if (std::exchange(modem_, nullptr) != nullptr) answerer_->HungUp();
  }

  void Write(std::string_view bytes) override {
    // In command state the far end's bytes are lost, as with a modem without a buffer.
    if (modem_ != nullptr && modem_->state_ == State::kOnline) modem_->Say(bytes);
  }
  void HangUp() override {
    ModemEmulator* const modem = std::exchange(modem_, nullptr);
    if (modem == nullptr) return;
    modem->line_->After(Millis{0}, [self = shared_from_this()] {});
    modem->LoseCarrier();
  }
  void After(Millis delay, std::function<void()> action) override {
    modem_->line_->After(delay, [call = weak_from_this(), act = std::move(action)] {
      const auto alive = call.lock();
      if (alive && alive->modem_ != nullptr) act();
    });
  }
  Millis Now() override { return modem_->line_->Now(); }

 private:
  ModemEmulator* modem_;  // null once the call has ended
  std::unique_ptr<Answerer> answerer_;
};

const ModemEmulator::Handler ModemEmulator::kHandlers[] = {
    {"E", &ModemEmulator::Echo},           {"V", &ModemEmulator::Verbose},
    {"Q", &ModemEmulator::Quiet},          {"X", &ModemEmulator::Extended},
    {"I", &ModemEmulator::Information},    {"S", &ModemEmulator::Register},
    {"H", &ModemEmulator::HookDown},       {"Z", &ModemEmulator::Reset},
    {"&F", &ModemEmulator::Reset},         {"D", &ModemEmulator::Dial},
    {"O", &ModemEmulator::Online},         {"A", &ModemEmulator::Answer},
    {"+FCLASS", &ModemEmulator::FaxClass},
};

ModemEmulator::ModemEmulator(Desk& desk, Dialled dialled, CarrierWatch carrier)
    : desk_(desk), dialled_(std::move(dialled)), carrier_(std::move(carrier)) {
  PowerOn();
}

ModemEmulator::~ModemEmulator() = default;

void ModemEmulator::Connected(Line& line) { line_ = &line; }

void ModemEmulator::Received(std::string_view bytes) {
  while (!bytes.empty()) {
    if (state_ == State::kOnline) return Pass(bytes);
    if (state_ == State::kCommand) {
      Type(bytes.front());
    } else if (bytes.front() != '\n') {  // any key cancels dialling
      pending_.Clear();
      state_ = State::kCommand;
      Report(Result::kNoCarrier);
    }
    bytes.remove_prefix(1);
  }
}

void ModemEmulator::HungUp() {
  EndCall();
  PowerOn();
  line_ = nullptr;
}

void ModemEmulator::Type(char typed) {
  if (echo_) Say({&typed, 1});
  // A modem learns the caller's framing from the "AT" and strips the parity bit.
  const char c = static_cast<char>(typed & 0x7F);
  if (c == '\r')
    Execute(std::exchange(command_, {}));
  else if (c == kBackspace && !command_.empty())
    command_.pop_back();
  else if (c != '\n' && c != kBackspace && command_.size() <= kLongestCommand)
    command_ += c;
  if (command_.size() == 2 && (command_ == "A/" || command_ == "a/")) {
    command_.clear();
    Execute(last_command_);
  }
}

void ModemEmulator::Execute(const std::string& line) {
  if (!line.empty()) desk_.Trace(Seen::kModemReceived, line);
  // Noise before the attention code, and after an escape, is common.
  const std::size_t attention = std::min(line.find("AT"), line.find("at"));
  const auto commands = ParseAtLine(attention == std::string::npos ? line : line.substr(attention));
  if (!commands) return;
  last_command_ = line;
  if (line.size() > kLongestCommand) return Report(Result::kError);
  Result result = Result::kOk;
  for (auto command = commands->begin(); command != commands->end() && result == Result::kOk;
       ++command)
    result = Run(*command);
  Report(result);
}

ModemEmulator::Result ModemEmulator::Run(const AtCommand& command) {
  for (const Fact& fact : kFacts) {
    if (fact.question == command.name + command.argument) return Inform(fact.answer);
  }
  for (const Handler& handler : kHandlers)
    if (handler.name == command.name) return (this->*handler.run)(command);
  return IsIgnored(command.name) ? Result::kOk : Result::kError;
}

ModemEmulator::Result ModemEmulator::Echo(const AtCommand& command) {
  return Switch(command.argument, echo_) ? Result::kOk : Result::kError;
}

ModemEmulator::Result ModemEmulator::Verbose(const AtCommand& command) {
  return Switch(command.argument, verbose_) ? Result::kOk : Result::kError;
}

ModemEmulator::Result ModemEmulator::Quiet(const AtCommand& command) {
  return Switch(command.argument, quiet_) ? Result::kOk : Result::kError;
}

ModemEmulator::Result ModemEmulator::Extended(const AtCommand& command) {
  const int level = Number(command.argument);
  if (level > 4) return Result::kError;
  extended_ = level;
  return Result::kOk;
}

ModemEmulator::Result ModemEmulator::Information(const AtCommand&) {
  return Inform(std::string(kMaker) + " " + std::string(kModel));
}

// For data: what every fax program asks for before it dials a data call.
ModemEmulator::Result ModemEmulator::FaxClass(const AtCommand& command) {
  return command.argument == "=0" ? Result::kOk : Result::kError;
}

ModemEmulator::Result ModemEmulator::Register(const AtCommand& command) {
  const std::size_t mark = command.argument.find_first_of("=?");
  const int number = Number(command.argument.substr(0, mark));
  if (mark == std::string::npos || number > 255) return Result::kError;
  if (command.argument[mark] == '=') {
    registers_[number] = Number(command.argument.substr(mark + 1)) & 0xFF;
    return Result::kOk;
  }
  char value[8];
  std::snprintf(value, sizeof value, "%03d", registers_[number]);
  return Inform(value);
}

ModemEmulator::Result ModemEmulator::HookDown(const AtCommand&) {
  EndCall();
  return Result::kOk;
}

ModemEmulator::Result ModemEmulator::Reset(const AtCommand& command) {
  if (command.name == "Z") EndCall();
  PowerOn();
  return Result::kOk;
}

ModemEmulator::Result ModemEmulator::Dial(const AtCommand& command) {
  if (call_) return Result::kError;
  std::string number = command.argument;
  if (number.starts_with("T") || number.starts_with("P")) number.erase(0, 1);
  if (number.ends_with(";")) return Result::kOk;  // dial and stay in command state
  state_ = State::kDialling;
  pending_.Set(*line_, desk_.settings.ring_time, [this, number] { Outcome(number); });
  return Result::kNone;
}

ModemEmulator::Result ModemEmulator::Online(const AtCommand&) {
  if (!call_) return Result::kNoCarrier;
  state_ = State::kOnline;
  return Result::kConnect;
}

// Nobody ever calls this modem.
ModemEmulator::Result ModemEmulator::Answer(const AtCommand&) { return Result::kError; }

void ModemEmulator::Outcome(const std::string& number) {
  state_ = State::kCommand;
  const CallOutcome outcome = desk_.settings.call;
  if (outcome != CallOutcome::kConnect && Take(desk_.calls_to_fail))
    return Report(Perceived(outcome));
  Connect(number);
}

ModemEmulator::Result ModemEmulator::Perceived(CallOutcome outcome) const {
  const bool hears_dialtone = extended_ == 2 || extended_ == 4;
  const bool hears_busy = extended_ >= 3;
  switch (outcome) {
    case CallOutcome::kBusy:
      return hears_busy ? Result::kBusy : Result::kNoCarrier;
    case CallOutcome::kNoDialtone:
      return hears_dialtone ? Result::kNoDialtone : Result::kNoCarrier;
    case CallOutcome::kNoAnswer:
      return Result::kNoAnswer;
    case CallOutcome::kError:
      return Result::kError;
    case CallOutcome::kNoCarrier:
    case CallOutcome::kConnect:
      break;
  }
  return Result::kNoCarrier;
}

void ModemEmulator::Connect(const std::string& number) {
  call_ = std::make_shared<Call>(*this, dialled_(number));
  ShowCarrier(true);
  Report(Result::kConnect);
  state_ = State::kOnline;
  pluses_ = 0;
  last_byte_ = line_->Now();
  if (desk_.settings.carrier_loss != Millis{0})
    carrier_loss_.Set(*line_, desk_.settings.carrier_loss, [this] { LoseCarrier(); });
  const auto call = call_;
  call->Begin();
}

void ModemEmulator::Pass(std::string_view bytes) {
  WatchEscape(bytes);
  const auto call = call_;
  call->Pass(bytes);
}

// The characters of an escape go through to the far end, as with a real modem: nobody can know that
// they are one before the guard time is over.
void ModemEmulator::WatchEscape(std::string_view bytes) {
  const Millis silence = line_->Now() - std::exchange(last_byte_, line_->Now());
  pending_.Clear();
  const int escape = registers_[kEscapeCharacter];  // above 127: none
  const bool all_escape = std::all_of(bytes.begin(), bytes.end(), [&](char c) {
    return escape < 128 && c == static_cast<char>(escape);
  });
  const bool begins = silence >= Guard();
  if (begins) pluses_ = 0;
  const bool goes_on = pluses_ > 0 && pluses_ < 3;
  if (!all_escape || bytes.size() > 3 || !(begins || goes_on)) {
    pluses_ = 4;  // no escape until the next silence
    return;
  }
  pluses_ += static_cast<int>(bytes.size());
  if (pluses_ != 3) return;
  pending_.Set(*line_, Guard(), [this] {
    state_ = State::kCommand;
    Report(Result::kOk);
  });
}

void ModemEmulator::LoseCarrier() {
  EndCall();
  Report(Result::kNoCarrier);
}

void ModemEmulator::EndCall() {
  pending_.Clear();
  carrier_loss_.Clear();
  state_ = State::kCommand;
  const auto ended = std::exchange(call_, nullptr);
  if (ended == nullptr) return;
  ended->End();
  ShowCarrier(false);
}

void ModemEmulator::ShowCarrier(bool up) const {
  if (carrier_) carrier_(up);
}

void ModemEmulator::PowerOn() {
  echo_ = desk_.settings.echo;
  verbose_ = desk_.settings.verbose;
  quiet_ = false;
  extended_ = 4;
  command_.clear();
  const auto guard = static_cast<int>(desk_.settings.escape_guard / kGuardUnit);
  registers_ = {{kEscapeCharacter, '+'}, {3, 13}, {4, 10}, {5, 8}, {6, 2}, {7, 50},
                {kGuardTime, guard}};
}

void ModemEmulator::Report(Result result) {
  if (result == Result::kNone || quiet_) return;
  const ResultCode& code = kResultCodes[static_cast<std::size_t>(result)];
  if (!verbose_) {
    desk_.Trace(Seen::kModemSent, std::to_string(code.number));
    return Say(std::to_string(code.number) + "\r");
  }
  std::string words(code.words);
  const std::string& speed = desk_.settings.connect_text;
  if (result == Result::kConnect && extended_ > 0 && !speed.empty()) words += " " + speed;
  Inform(words);
}

ModemEmulator::Result ModemEmulator::Inform(std::string_view words) {
  desk_.Trace(Seen::kModemSent, words);
  Say("\r\n" + std::string(words) + "\r\n");
  return Result::kOk;
}

void ModemEmulator::Say(std::string_view text) { line_->Write(text); }

Millis ModemEmulator::Guard() const { return registers_.at(kGuardTime) * kGuardUnit; }

}  // namespace mvsms::centre
