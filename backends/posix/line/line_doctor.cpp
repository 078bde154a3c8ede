// The modem's part: attempts in the order of how often each is the cause, cheap ones first.
#include "backends/posix/line/line_doctor.h"

#include <algorithm>
#include <utility>

#include "backends/posix/line/network_modem.h"
#include "backends/posix/line/soft_parity.h"
#include "base/ansi.h"

namespace mvsms::posix {
namespace {

using Millis = ModemPort::Millis;

constexpr Millis kAnswerTime{1000};
constexpr Millis kInitTime{3000};
constexpr Millis kSettleTime{200};  // a modem says OK to a reset before it has finished it
constexpr Millis kModelTime{2000};
constexpr Millis kGuardTime{1100};
constexpr Millis kHookTime{2000};
constexpr Millis kToneTime{10000};
constexpr Millis kDialTime{60000};  // modems give up by themselves after 50 s
constexpr Millis kStopTime{6000};   // for a call that comes up while it is given up
constexpr Millis kHangUpTime{5000};
constexpr Millis kServerTime{5000};
constexpr Millis kPause{50};  // what comes later is a piece of its own

/// Those that people set, most of them first.
constexpr std::uint32_t kSpeeds[] = {115200, 57600, 38400, 19200, 9600, 4800, 2400, 1200, 300};

// Results in words, whatever is stored.
constexpr char kTalk[] = "ATQ0V1";
constexpr char kListen[] = "ATX4D;";

std::uint8_t CodeOf(char letter) {
  return letter == 'N' ? 0 : ParityCode({.data_bits = 7, .parity = letter});
}

// A framing of seven bits with parity is one of eight bits to who makes the parity himself.
bool IsMadeHere(const Framing& framing) { return framing.data_bits == 7 && framing.parity != 'N'; }

Framing FramingOf(const LineConfig& line) { return ParseFraming(line.framing).value_or(Framing()); }

char ParityOf(const LineConfig& line) {
  const Framing framing = FramingOf(line);
  return IsMadeHere(framing) && framing.parity != 'S' ? framing.parity : 'N';
}

LineConfig Plain(LineConfig line) {
  Framing framing = FramingOf(line);
  if (IsMadeHere(framing)) framing = {.stop_bits = framing.stop_bits};
  line.framing = ToString(framing);
  return line;
}

bool IsNoTone(const SeenCall& call) {
  return call.result && call.result->nothing_dialled && call.words.starts_with("NO ");
}

std::vector<std::string> ModelLines(const Heard& heard) {
  std::vector<std::string> lines = LinesOf(heard.text, "ATI");
  std::erase_if(lines, [](const std::string& line) { return ParseResultCode(line).has_value(); });
  return lines;
}

}  // namespace

// --- the monitor -------------------------------------------------------------------------------

void LineMonitor::SetParity(char letter) {
  parity_ = letter;
  code_ = CodeOf(letter);
}

bool LineMonitor::HeardTelnet() const { return telnet_ || HasTelnet(bytes()); }

void LineMonitor::Forget() {
  while (Read(Millis(0))) {
  }
  ListenAnew();
}

void LineMonitor::ListenAnew() {
  telnet_ = HeardTelnet();
  pieces_.clear();
  begun_ = last_ = port_.Now();
}

void LineMonitor::Listen(Millis time, const std::function<bool()>& done) {
  const Millis deadline = Now() + time;
  while (!done() && !Gone() && Now() < deadline) Read(std::min(kPause, deadline - Now()));
}

void LineMonitor::Write(std::string_view bytes) {
  port_.Write(code_ == 0 ? std::string(bytes) : WithParity(bytes, code_));
}

// NULs are kept, and are no part of what is said, as on every line.
std::optional<char> LineMonitor::Read(Millis time) {
  const Millis deadline = Now() + time;
  while (const auto code = port_.Read(std::max(Millis(0), deadline - Now()))) {
    Keep(*code);
    const char said = code_ == 0 ? *code : WithoutParity(*code);
    if (said != '\0') return said;
  }
  return std::nullopt;
}

void LineMonitor::Keep(char code) {
  const Millis now = port_.Now();
  if (pieces_.empty() || now - last_ > kPause) pieces_.push_back({now - begun_, ""});
  pieces_.back().bytes += code;
  last_ = now;
}

// --- contact -----------------------------------------------------------------------------------

ModemDoctor::ModemDoctor(ModemPort& port, Bench& bench, Seen& seen, Progress progress)
    : monitor_(port), bench_(bench), seen_(seen), progress_(std::move(progress)) {
  seen_.way = seen_.line;
  monitor_.SetParity(ParityOf(seen_.line));
}

void ModemDoctor::Examine() {
  MakeContact();
  if (seen_.answers) Initialise();
  if (seen_.initialised) Identify();
  // A server's telnet comes when it likes. On a device it would be noise.
  seen_.telnet = !HasPortSettings(seen_.line) && monitor_.HeardTelnet();
  seen_.gone = monitor_.Gone();
}

void ModemDoctor::MakeContact() {
  constexpr Attempt kAttempts[] = {&ModemDoctor::WithOwnSettings, &ModemDoctor::WithoutFlowControl,
                                   &ModemDoctor::Talkative, &ModemDoctor::OffLine,
                                   &ModemDoctor::AtOtherSpeeds};
  CheckFraming();
  const LineConfig before = seen_.way;
  for (const Attempt attempt : kAttempts) {
    if (monitor_.Gone()) return;
    seen_.answers = (this->*attempt)();
    if (seen_.answers) return RestoreFlow();
  }
  seen_.way = before;
}

// Devices that cannot do seven bits are common, and the parity can be made here.
void ModemDoctor::CheckFraming() {
  const Framing framing = FramingOf(seen_.line);
  if (!IsMadeHere(framing) || framing.soft_parity || !HasPortSettings(seen_.line)) return;
  const std::string possible = FramingFor(framing.parity);
  seen_.framing_refused = possible != seen_.line.framing && Apply();
  if (seen_.framing_refused) seen_.way.framing = possible;
}

bool ModemDoctor::WithOwnSettings() {
  seen_.own.reply = Reply::kSilence;
  if (!Apply()) return false;  // the device does not know the speed
  Step("asking for an answer (AT)", kAnswerTime);
  seen_.own = Ask("AT", kAnswerTime);
  NoteModemLines();
  return Understood(seen_.own);
}

void ModemDoctor::NoteModemLines() {
  const auto lines = bench_.ModemLines();
  if (!lines) return;
  seen_.cts = (*lines & kMsCtsOn) != 0;
  seen_.dsr = (*lines & kMsDsrOn) != 0;
}

bool ModemDoctor::WithoutFlowControl() {
  if (seen_.line.flow == "none" || !HasPortSettings(seen_.line)) return false;
  seen_.way.flow = "none";
  Apply();
  return Answers("asking without flow control", "AT");
}

bool ModemDoctor::Talkative() { return Answers("asking for result codes (ATQ0V1)", kTalk); }

bool ModemDoctor::OffLine() {
  Step("leaving a call that may still be up (silence, +++, silence, ATH)",
       2 * kGuardTime + kHookTime + kAnswerTime);
  monitor_.Wait(kGuardTime);
  monitor_.Forget();
  monitor_.Write("+++");
  monitor_.Listen(kGuardTime);
  const bool left = ReadAnswer("+++", monitor_.bytes()).result.has_value();
  Ask("ATH", kHookTime);
  seen_.held_call = Understood(Ask("AT", kAnswerTime)) && left;
  return seen_.held_call;
}

// What sends everything back does so at any speed.
bool ModemDoctor::AtOtherSpeeds() {
  if (seen_.own.reply == Reply::kEcho) return false;
  if (AtSpeed(seen_.line.speed)) return true;
  if (!HasPortSettings(seen_.line)) return false;
  return std::any_of(std::begin(kSpeeds), std::end(kSpeeds), [this](std::uint32_t speed) {
    return speed != seen_.line.speed && AtSpeed(speed);
  });
}

bool ModemDoctor::AtSpeed(std::uint32_t speed) {
  seen_.way.speed = speed;
  if (!Apply()) return false;
  Step("asking at " + std::to_string(speed) + " bit/s, with and without parity", 3 * kAnswerTime);
  const char own = ParityOf(seen_.line);
  monitor_.SetParity(own);
  if (Understood(Ask(kTalk, kAnswerTime))) return true;
  return (own != 'N' && InOtherParity('N')) || (own != 'E' && InOtherParity('E'));
}

bool ModemDoctor::InOtherParity(char parity) {
  monitor_.SetParity(parity);
  const Heard heard = Ask(kTalk, kAnswerTime);
  if (heard.reply != Reply::kResult) return false;
  PutFraming(heard.parity == 'N' ? parity : heard.parity);
  return true;
}

void ModemDoctor::RestoreFlow() {
  if (seen_.way.flow == seen_.line.flow) return;
  seen_.way.flow = seen_.line.flow;
  Apply();
  if (Answers("asking with flow control again", kTalk)) return;
  seen_.way.flow = "none";
  Apply();
}

// --- initialisation ----------------------------------------------------------------------------

void ModemDoctor::Initialise() {
  const std::string init = AtCommand(seen_.line.init, "ATZ");
  Step("initialising it with " + Utf8FromAnsi(init), kInitTime + kSettleTime);
  const Heard heard = Ask(init, kInitTime);
  monitor_.Wait(kSettleTime);
  seen_.initialised = SaysOk(heard);
  seen_.numeric = heard.result && heard.number;
  if (!heard.result) return FindQuiet(init);
  if (!seen_.initialised) return FindRefused(init);
  if (seen_.numeric) Prove(WithCommands(init, "V1"));
}

bool ModemDoctor::Prove(const std::string& init) {
  Step("initialising it with " + Utf8FromAnsi(init), kInitTime + kSettleTime);
  const Heard heard = Ask(init, kInitTime);
  monitor_.Wait(kSettleTime);
  if (!SaysOk(heard) || heard.number) return false;
  seen_.way.init = init;
  return seen_.initialised = true;
}

void ModemDoctor::FindQuiet(const std::string& init) {
  seen_.quiet = Answers("asking for result codes (ATQ0V1)", kTalk);
  if (seen_.quiet) Prove(WithCommands(init, "Q0V1"));
}

void ModemDoctor::FindRefused(const std::string& init) {
  const std::vector<std::string> commands = SplitCommands(init);
  Step("asking for each command of it alone", static_cast<int>(commands.size()) * kAnswerTime);
  std::vector<std::string> taken;
  for (const std::string& command : commands) {
    const Heard heard = Ask("AT" + command, kAnswerTime);
    (SaysOk(heard) ? taken : seen_.refused).push_back(command);
  }
  if (!seen_.refused.empty()) Prove(taken.empty() ? "ATZ" : JoinCommands(taken));
}

void ModemDoctor::Identify() {
  Step("asking what it is (ATI)", kModelTime);
  for (const std::string& line : ModelLines(Ask("ATI", kModelTime))) {
    seen_.model += (seen_.model.empty() ? "" : " ") + line;
  }
}

// --- the call ----------------------------------------------------------------------------------

void ModemDoctor::Call(const std::string& number) {
  seen_.call.number = number;
  if (!seen_.initialised || monitor_.Gone()) return;
  if (Reached(number)) LookAtCentre();
  seen_.gone = monitor_.Gone();
}

bool ModemDoctor::Reached(const std::string& number) {
  if (Dial("dialling " + number, seen_.way.init)) return true;
  if (IsNoTone(seen_.call)) TryWithoutTone(number);
  if (seen_.call.words == "NO CARRIER") ListenForTone();
  return seen_.call.blind;
}

bool ModemDoctor::Dial(const std::string& step, const std::string& init) {
  Step(step, kDialTime + kStopTime);
  const Millis begun = monitor_.Now();
  monitor_.SetDeadline(begun + kDialTime);
  monitor_.Forget();
  call_.emplace(monitor_, init, seen_.way.dial);
  const DialResult result = call_->Dial(seen_.call.number);
  monitor_.SetDeadline(Millis::max());
  seen_.call.took = monitor_.Now() - begun;
  const std::string bytes = monitor_.bytes();
  NoteEnd(monitor_.parity() == 'N' ? bytes : SevenBits(bytes));
  return result.cause == CallCause::kNone;
}

void ModemDoctor::HangUp() {
  progress_("hanging up", kHangUpTime);
  if (call_) call_->HangUp();
}

// The OK is the initialisation's.
void ModemDoctor::NoteEnd(const std::string& text) {
  seen_.call.result.reset();
  seen_.call.words.clear();
  const std::string command = AtCommand(seen_.way.dial, "ATD") + seen_.call.number;
  const std::size_t echo = text.find(command);
  for (const std::string& line : LinesOf(text.substr(echo == text.npos ? 0 : echo), command)) {
    const auto result = ParseDialResult(line);
    if (result && result->kind == ResultCode::Kind::kOk) continue;
    if (line != AtCommand(seen_.way.init, "ATZ")) seen_.call.words = ResultInWords(line);
    seen_.call.result = result;
    if (result) break;
  }
  seen_.call.connect = ReadConnect(text);
}

void ModemDoctor::TryWithoutTone(const std::string& number) {
  const SeenCall before = seen_.call;
  const std::string init = WithCommands(AtCommand(seen_.way.init, "ATZ"), "X3");
  seen_.call.blind = Dial("dialling " + number + " without waiting for a dial tone (X3)", init);
  if (seen_.call.blind) {
    seen_.way.init = init;
  } else {
    seen_.call = before;
  }
}

void ModemDoctor::ListenForTone() {
  Step("listening for a dial tone", kToneTime + kHookTime);
  const Heard heard = Ask(kListen, kToneTime);
  if (SaysOk(heard)) seen_.call.tone = true;
  if (heard.result && heard.result->nothing_dialled) seen_.call.tone = false;
  Ask("ATH", kHookTime);
}

void ModemDoctor::LookAtCentre() try {
  seen_.centre.reached = true;
  TakeGreeting();
  posix::LookAtCentre(monitor_, seen_, progress_,
                      [this](char parity) { return FramingFor(parity); });
  HangUp();
} catch (const GivenUp&) {
  HangUp();
  throw;
}

// What followed the CONNECT and was read with it.
void ModemDoctor::TakeGreeting() {
  const std::string bytes = monitor_.bytes(), text = SevenBits(bytes);
  std::size_t end = text.find_first_of("\r\n", text.rfind("CONNECT"));
  if (end == text.npos) return;
  end += text.compare(end, 2, "\r\n") == 0 ? 2U : 1U;
  if (end < bytes.size()) seen_.centre.greeting.push_back({Millis(0), bytes.substr(end)});
}

// --- small steps -------------------------------------------------------------------------------

// A serial server has a word in each change of its port.
void ModemDoctor::Step(const std::string& step, Millis most) {
  if (monitor_.GivenUp()) throw GivenUp();
  const bool served = NamesNetwork(seen_.line.device) && HasPortSettings(seen_.line);
  progress_(step, served ? most + kServerTime : most);
}

Heard ModemDoctor::Ask(const std::string& command, Millis time) {
  monitor_.Forget();
  HayesModem(monitor_, "", "").Ask(command, time);
  return ReadAnswer(command, monitor_.bytes());
}

bool ModemDoctor::Answers(const std::string& step, const std::string& command) {
  Step(step, kAnswerTime);
  return Understood(Ask(command, kAnswerTime));
}

// A modem goes by the parity of the AT that it hears; one that shows another has its own.
bool ModemDoctor::Understood(const Heard& heard) {
  if (heard.reply != Reply::kResult) return false;
  if (heard.parity != 'N' && heard.parity != monitor_.parity()) PutFraming(heard.parity);
  return true;
}

void ModemDoctor::PutFraming(char parity) {
  seen_.way.framing = FramingFor(parity);
  seen_.modem_framing = true;
  monitor_.SetParity(parity);
}

std::string ModemDoctor::FramingFor(char parity) {
  Framing framing;
  if (parity != 'N') framing = {.data_bits = 7, .parity = parity};
  LineConfig wanted = seen_.way;
  wanted.framing = ToString(framing);
  framing.soft_parity = parity != 'N' && !(HasPortSettings(wanted) && bench_.Apply(wanted));
  Apply();
  return ToString(framing);
}

bool ModemDoctor::Apply() { return bench_.Apply(Plain(seen_.way)); }

}  // namespace mvsms::posix
