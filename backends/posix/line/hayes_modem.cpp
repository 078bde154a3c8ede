// Modems differ in what they say and agree in what they do, so a line counts as an answer only when
// it is one of the known results; everything else (echo, progress, noise) passes by.
#include "backends/posix/line/hayes_modem.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "base/texts.h"

namespace mvsms::posix {
namespace {

using Millis = std::chrono::milliseconds;
using Kind = ResultCode::Kind;

constexpr Millis kInitTime{3000};
constexpr int kInitAttempts = 3;
constexpr Millis kSettleTime{150};   // a modem says OK to a reset before it has finished it
constexpr Millis kDialTime{90000};   // longer than any modem waits for a carrier
constexpr Millis kGuardTime{1100};   // one second of silence is what the modem wants
constexpr Millis kHangUpTime{2000};  // for the OK to ATH
constexpr Millis kDtrTime{500};
constexpr Millis kStopTime{500};
constexpr Millis kLineFeedTime{150};  // between the two characters of a line end
constexpr Millis kCarrierTime{200};   // between CONNECT and the carrier line
constexpr Millis kSlice{50};          // how late a cancellation may be noticed
constexpr std::size_t kLongestLine = 200;

// The numbers are those that most chip sets share; beyond 8 they differ, and what one
// means by 12 ("VOICE") is another's 9600 bit/s: "ATV1" in the initialisation asks for words.
struct NamedResult {
  std::string_view text;
  int number;  // kNoNumber: none that is known
  ResultCode code;
  bool goes_on = false;  // more may follow, as in "DELAYED 00:02:00"
};
constexpr int kNoNumber = -1;
constexpr ResultCode kFaxIsUp = {Kind::kFailure, CallCause::kDisconnectFailed,
                                 "has reached a fax machine", false, true};
constexpr NamedResult kResults[] = {
    {"OK", 0, {Kind::kOk, CallCause::kNone}},
    {"CONNECT", 1, {Kind::kConnect, CallCause::kNone}},
    {"NO CARRIER", 3, {Kind::kFailure, CallCause::kDisconnectFailed}},
    {"ERROR", 4, {Kind::kFailure, CallCause::kDisconnectBadAddress}},
    {"NO DIALTONE", 6, {Kind::kFailure, CallCause::kDisconnectFailed, "hears no dial tone", true}},
    {"NO DIAL TONE", 6, {Kind::kFailure, CallCause::kDisconnectFailed, "hears no dial tone", true}},
    {"NO PROMPTTONE",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectFailed, "hears no dial tone", true}},
    {"NO LINE",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectFailed, "finds no telephone line", true}},
    {"LINE IN USE",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectBusy, "finds its telephone line in use", true}},
    {"BUSY", 7, {Kind::kFailure, CallCause::kDisconnectBusy}},
    {"NO ANSWER", 8, {Kind::kFailure, CallCause::kDisconnectNoAnswer}},
    {"VOICE",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectFailed, "heard a voice at the other end"}},
    {"FAX",
     33,
     {Kind::kFailure, CallCause::kDisconnectFailed, "heard a fax machine at the other end"}},
    {"CONNECT FAX", kNoNumber, kFaxIsUp},
    {"+FCON", kNoNumber, kFaxIsUp},
    {"+FCO", kNoNumber, kFaxIsUp},
    {"REORDER",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectFailed, "was told that all circuits are busy"}},
    {"DELAYED",
     24,
     {Kind::kFailure, CallCause::kDisconnectRejected,
      "refuses the number for a while, for it was dialled too often"},
     true},
    {"BLACKLISTED",
     32,
     {Kind::kFailure, CallCause::kDisconnectRejected,
      "refuses the number, for it was dialled in vain too often"},
     true},
    {"BLACKLIST FULL",
     kNoNumber,
     {Kind::kFailure, CallCause::kDisconnectRejected,
      "refuses to dial, for too many numbers were dialled in vain"}},
};
constexpr ResultCode kConnect = kResults[1].code;
constexpr ResultCode kError = kResults[3].code;
constexpr ResultCode kCalled = {Kind::kFailure, CallCause::kDisconnectBusy,
                                "was called by somebody before it could dial", true};

// Numbers of a CONNECT with a speed, as the common chip sets have them (from, to).
constexpr std::pair<int, int> kConnectNumbers[] = {{5, 5},     {9, 23},   {25, 25}, {43, 43},
                                                   {59, 64},   {84, 85},  {91, 91}, {99, 99},
                                                   {103, 103}, {107, 107}};

bool IsAlnum(char code) { return std::isalnum(static_cast<unsigned char>(code)) != 0; }

std::string_view WithoutNoise(std::string_view line) {
  while (!line.empty() && !IsAlnum(line.front()) && line.front() != '+') line.remove_prefix(1);
  while (!line.empty() && line.back() == ' ') line.remove_suffix(1);
  return line;
}

std::optional<ResultCode> ParseNumber(std::string_view line) {
  if (line.size() > 3) return std::nullopt;
  int number = 0;
  for (const char digit : line) number = number * 10 + (digit - '0');
  for (const NamedResult& result : kResults) {
    if (result.number == number) return result.code;
  }
  for (const auto& [from, to] : kConnectNumbers) {
    if (number >= from && number <= to) return kConnect;
  }
  return std::nullopt;
}

using Obstacle = DialResult::Obstacle;

DialResult Failed(CallCause cause, Obstacle obstacle = Obstacle::kNone) {
  DialResult result;
  result.cause = cause;
  result.obstacle = obstacle;
  return result;
}

DialResult FailedBy(const ResultCode& code) {
  const Obstacle obstacle = code.nothing_dialled ? Obstacle::kNoLine : Obstacle::kNone;
  DialResult result = Failed(code.cause, obstacle);
  result.remark = code.remark;
  return result;
}

bool Says(std::string_view line, const NamedResult& result) {
  if (line == result.text) return true;
  return result.goes_on && line.starts_with(result.text) && line[result.text.size()] == ' ';
}

// "CONNECT 2400/ARQ" and "CONNECT/V42" are, "CONNECTING" is not.
bool IsConnect(std::string_view line) {
  constexpr std::string_view kWord = "CONNECT";
  return line.starts_with(kWord) && line.size() > kWord.size() &&
         std::isalpha(static_cast<unsigned char>(line[kWord.size()])) == 0;
}

}  // namespace

std::optional<ResultCode> ParseResultCode(std::string_view line) {
  line = WithoutNoise(line);
  if (line.empty()) return std::nullopt;
  if (std::all_of(line.begin(), line.end(), IsDigit)) return ParseNumber(line);
  for (const NamedResult& result : kResults) {
    if (Says(line, result)) return result.code;
  }
  if (IsConnect(line)) return kConnect;
  if (line.starts_with("+CME ERROR") || line.starts_with("+CMS ERROR")) return kError;
  return std::nullopt;
}

std::optional<ResultCode> ParseDialResult(std::string_view line) {
  const std::string_view words = WithoutNoise(line);
  return words == "RING" || words == "2" ? kCalled : ParseResultCode(line);
}

std::string ResultInWords(std::string_view line) {
  line = WithoutNoise(line);
  for (const NamedResult& result : kResults) {
    if (result.number != kNoNumber && std::to_string(result.number) == line) {
      return std::string(result.text);
    }
  }
  return std::string(line);
}

std::string DialString(const std::string& number) {
  constexpr std::string_view kDialled = "0123456789ABCDabcd*#+,!@WwTtPp";
  std::string dialled;
  for (const char code : number) {
    if (kDialled.find(code) != std::string_view::npos) dialled += code;
  }
  return dialled;
}

std::string AtCommand(const std::string& text, const std::string& fallback) {
  if (text.empty()) return fallback;
  const bool complete = text.size() >= 2 &&
                        std::toupper(static_cast<unsigned char>(text[0])) == 'A' &&
                        std::toupper(static_cast<unsigned char>(text[1])) == 'T';
  return complete ? text : "AT" + text;
}

HayesModem::HayesModem(ModemPort& port, const std::string& init, const std::string& dial)
    : port_(port), init_(AtCommand(init, "ATZ")), dial_(AtCommand(dial, "ATD")) {}

DialResult HayesModem::Dial(const std::string& number) {
  cancellable_ = true;
  DialResult result = Place(number);
  const bool given_up = result.cause != CallCause::kNone && port_.Cancelled();
  cancellable_ = false;
  if (!given_up) return result;
  StopDialling();
  return Failed(CallCause::kDisconnectCancelled);
}

DialResult HayesModem::Place(const std::string& number) {
  const bool carrier_before = port_.Carrier().value_or(true);
  if (!Initialise()) return Failed(CallCause::kDisconnectFailed, Obstacle::kSilent);
  Send(dial_ + number);
  // An OK is a late answer to the initialisation.
  const Millis deadline = port_.Now() + kDialTime;
  while (const auto result = AwaitResult(deadline - port_.Now(), ParseDialResult)) {
    if (result->kind == Kind::kConnect) return Connected(carrier_before);
    if (result->line_is_up) HangUp();
    if (result->kind == Kind::kFailure) return FailedBy(*result);
  }
  return Failed(port_.Gone() ? CallCause::kDisconnectFailed : CallCause::kDisconnectNoAnswer);
}

bool HayesModem::Initialise() {
  for (int attempt = 0; attempt < kInitAttempts && !Stopped(); ++attempt) {
    // A modem that does not answer may have been left in the middle of a call.
    if (attempt > 0) LeaveDataMode();
    Send(init_);
    const auto result = AwaitResult(kInitTime);
    if (!result || result->kind != Kind::kOk) continue;
    Pause(kSettleTime);
    return !Stopped();
  }
  return false;
}

void HayesModem::LeaveDataMode() {
  Pause(kGuardTime);
  Write("+++");
  Pause(kGuardTime);
  Send("ATH");
  AwaitResult(kHangUpTime);
}

DialResult HayesModem::Connected(bool carrier_before) {
  DialResult result;
  result.early_data = EarlyData();
  // A line that was on before tells us nothing: many modems are set to always show a carrier.
  carrier_tells_ = !carrier_before && CarrierComesOn();
  result.carrier_tells = carrier_tells_;
  return result;
}

// The line end of CONNECT is the modem's, the byte after it is the far end's.
std::string HayesModem::EarlyData() {
  const auto next = NextByte(port_.Now() + kLineFeedTime);
  if (!next || *next == '\n') return {};
  return std::string(1, *next);
}

bool HayesModem::CarrierComesOn() {
  const Millis deadline = port_.Now() + kCarrierTime;
  while (!port_.Carrier().value_or(true)) {
    if (Stopped() || port_.Now() >= deadline) return false;
    Pause(Millis(10));
  }
  return port_.Carrier().value_or(false);
}

void HayesModem::StopDialling() {
  Write("\r");  // any character cancels dialling
  DropDtr();
  const auto result = AwaitResult(kStopTime);
  if (result && result->kind == Kind::kConnect)
    LeaveDataMode();  // the call came up at that very moment
}

void HayesModem::HangUp() {
  const auto no_carrier = [this] { return carrier_tells_ && port_.Carrier() == false; };
  if (port_.Gone() || no_carrier()) return;
  if (DropDtr() && no_carrier()) return;
  LeaveDataMode();
}

std::string HayesModem::Ask(const std::string& command, Millis time) {
  Send(command);
  std::string answer;
  const Millis deadline = port_.Now() + time;
  while (const auto line = ReadLine(deadline)) {
    if (line->empty()) continue;
    answer += *line + "\n";
    if (ParseResultCode(*line)) break;
  }
  return answer;
}

bool HayesModem::DropDtr() {
  if (!port_.SetDtr(false)) return false;
  Pause(kDtrTime);
  port_.SetDtr(true);
  return true;
}

void HayesModem::Send(const std::string& command) {
  DiscardInput();
  Write(command + "\r");
}

void HayesModem::Write(std::string_view bytes) {
  if (!Stopped()) port_.Write(bytes);
}

void HayesModem::DiscardInput() {
  line_.clear();
  while (port_.Read(Millis(0))) {
  }
}

std::optional<ResultCode> HayesModem::AwaitResult(Millis time, Parser parse) {
  const Millis deadline = port_.Now() + time;
  while (const auto line = ReadLine(deadline)) {
    if (const auto result = parse(*line)) return result;
  }
  return std::nullopt;
}

std::optional<std::string> HayesModem::ReadLine(Millis deadline) {
  while (const auto code = NextByte(deadline)) {
    if (*code == '\r' || *code == '\n') return std::exchange(line_, {});
    line_ += *code;
    if (line_.size() > kLongestLine) line_.erase(0, 1);
  }
  return std::nullopt;
}

std::optional<char> HayesModem::NextByte(Millis deadline) {
  for (Millis now = port_.Now(); now < deadline && !Stopped(); now = port_.Now()) {
    if (const auto code = port_.Read(std::min(kSlice, deadline - now))) return code;
  }
  return std::nullopt;
}

// Whatever comes meanwhile is left to the next reader, or dropped by the next command.
void HayesModem::Pause(Millis time) {
  const Millis deadline = port_.Now() + time;
  for (Millis now = port_.Now(); now < deadline && !Stopped(); now = port_.Now()) {
    port_.Wait(std::min(kSlice, deadline - now));
  }
}

bool HayesModem::Stopped() { return port_.Gone() || (cancellable_ && port_.Cancelled()); }

}  // namespace mvsms::posix
