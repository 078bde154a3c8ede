// Each step of the dialogue is a function named after it; what the caller asked for is judged
// first, then the verdict is recorded and carried out in one place (Carry).
#include "centre/tap_centre.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <iterator>
#include <utility>
#include <variant>

namespace mvsms::centre {
namespace {

constexpr std::string_view kTimedOut = "501 Timeout occurred waiting for input";
constexpr std::string_view kTooManyChecksums = "503 Too many attempts with checksum errors";
constexpr std::string_view kUnknownService = "508 Service type is not supported";
constexpr std::string_view kWrongPassword = "509 Invalid password";
constexpr std::string_view kUnknownPager = "511 Invalid pager ID";
constexpr std::string_view kTooLong = "513 Message exceeds the maximum length";
constexpr std::string_view kChecksumError = "514 Checksum error";
constexpr std::string_view kFormatError = "515 Message format error";

constexpr std::size_t kLongestPage = 65536;

bool EvenParity(char c) { return std::popcount(static_cast<unsigned char>(c)) % 2 == 0; }
char WithoutParity(char c) { return static_cast<char>(c & 0x7F); }
char WithEvenParity(char c) {
  return EvenParity(WithoutParity(c)) ? WithoutParity(c) : static_cast<char>(c | 0x80);
}

std::string TypeOf(std::string_view text) {
  if (text.empty()) return "tone";
  const bool numeric = text.find_first_not_of("0123456789 -()*#[]U") == std::string_view::npos;
  return numeric ? "numeric" : "alphanumeric";
}

Request NewRequest(std::string_view operation) {
  Request request;
  request.protocol = "TAP";
  request.operation = operation;
  return request;
}

}  // namespace

TapCentre::TapCentre(Desk& desk)
    : desk_(desk),
      settings_(desk.settings),
      reader_(settings_.max_block),
      crs_to_ignore_(settings_.ignored_crs) {}

void TapCentre::Connected(Line& line) {
  line_ = &line;
  WatchSilence();
}

void TapCentre::Received(std::string_view bytes) {
  for (const TapEvent& event : reader_.Feed(FromLine(bytes))) {
    if (line_ == nullptr) return;
    std::visit([this](const auto& what) { On(what); }, event);
  }
  WatchSilence();
}

void TapCentre::HungUp() {
  line_ = nullptr;
  silence_.Clear();
}

void TapCentre::On(const TapLine& line) {
  const std::size_t escape = line.text.rfind(kEsc);
  if (stage_ == Stage::kPrompt) {
    if (!Take(crs_to_ignore_)) Prompt();
  } else if (line.text.ends_with(kEot)) {
    Logout();
  } else if (escape != std::string::npos) {
    Login(line.text.substr(escape + 1));
  } else if (stage_ == Stage::kLogin) {
    Prompt();
  }
}

void TapCentre::Prompt() {
  if (FallsSilent(SilentAt::kPrompt)) return;
  stage_ = Stage::kLogin;
  ++prompts_;
  Later(settings_.prompt_delay, [this] { Send(settings_.prompt); });
}

void TapCentre::Login(const std::string& login) {
  if (FallsSilent(SilentAt::kLogin)) return;
  Request request = NewRequest("login");
  request.originator = DecodeText(Alphabet::kAscii, login);
  request.raw = kEsc + login + kCr;
  const Verdict verdict = JudgeLogin(login);
  Carry(verdict, std::move(request));
  if (verdict.answer == TapAnswer::kAck) GoAhead();
}

TapCentre::Verdict TapCentre::JudgeLogin(std::string_view login) {
  if (Take(desk_.logins_to_refuse)) return {settings_.login_refusal, settings_.login_refusal_text};
  const bool known = login.starts_with(settings_.identifier);
  const bool allowed = known && (settings_.password.empty() ||
                                 login.substr(settings_.identifier.size()) == settings_.password);
  if (allowed) return {TapAnswer::kAck, settings_.login_text};
  return {++wrong_logins_ >= settings_.n2 ? TapAnswer::kEnd : TapAnswer::kNak,
          std::string(known ? kWrongPassword : kUnknownService)};
}

void TapCentre::GoAhead() {
  stage_ = Stage::kPages;
  page_.clear();
  if (FallsSilent(SilentAt::kGoAhead)) return;
  Later(settings_.go_ahead_delay, [this] { Send(settings_.go_ahead); });
}

void TapCentre::On(const TapBlock& block) {
  if (stage_ != Stage::kPages || FallsSilent(SilentAt::kMessage)) return;
  std::string contents = page_ + block.content;
  const Verdict verdict = JudgeBlock(block, contents);
  if (verdict.answer == TapAnswer::kAck && block.end != kEtx) {
    page_ = std::move(contents);
    return Send(settings_.ack);
  }
  // After a NAK the caller sends this block again, not the ones before it.
  if (verdict.answer != TapAnswer::kNak) page_.clear();
  Carry(verdict, PageRequest(contents));
}

TapCentre::Verdict TapCentre::JudgeBlock(const TapBlock& block, std::string_view contents) {
  if (block.too_long || contents.size() > kLongestPage)
    return {TapAnswer::kRs, std::string(kTooLong)};
  if (!block.checksum_ok) return WrongChecksum();
  wrong_checksums_ = 0;
  return block.end == kEtx ? JudgePage(ReadTapPage(contents)) : Verdict{TapAnswer::kAck, {}};
}

Request TapCentre::PageRequest(std::string_view contents) const {
  const TapPage page = ReadTapPage(contents);
  Request request = NewRequest("page");
  request.recipient = DecodeText(Alphabet::kAscii, page.pager);
  request.text = DecodeText(settings_.tap_alphabet, page.text);
  request.type = TypeOf(page.text);
  request.raw = contents;
  return request;
}

TapCentre::Verdict TapCentre::WrongChecksum() {
  if (++wrong_checksums_ >= settings_.n3) return {TapAnswer::kEnd, std::string(kTooManyChecksums)};
  return {TapAnswer::kNak, std::string(kChecksumError)};
}

TapCentre::Verdict TapCentre::JudgePage(const TapPage& page) {
  if (!page.complete) return {TapAnswer::kRs, std::string(kFormatError)};
  if (!desk_.Serves(page.pager)) return {TapAnswer::kRs, std::string(kUnknownPager)};
  if (Take(desk_.messages_to_refuse)) return {settings_.refusal, settings_.refusal_text};
  return {TapAnswer::kAck, settings_.accept_text};
}

void TapCentre::Logout() {
  if (FallsSilent(SilentAt::kLogout)) return;
  const bool refused = settings_.logout_refusal;
  Request request = NewRequest("logout");
  request.raw = {kEot, kCr};
  request.accepted = !refused;
  request.answer =
      (refused ? settings_.rs : "") +
      Answer({TapAnswer::kEnd, refused ? settings_.refusal_text : settings_.logout_text});
  Send(request.answer);
  desk_.Record(request);
  HangUp();
}

std::string TapCentre::Answer(const Verdict& verdict) const {
  static constexpr std::string Settings::* kControls[] = {&Settings::ack, &Settings::nak,
                                                          &Settings::rs, &Settings::end};
  const std::string& control = settings_.*kControls[static_cast<std::size_t>(verdict.answer)];
  return settings_.codes && !verdict.text.empty() ? verdict.text + kCr + control : control;
}

void TapCentre::Carry(const Verdict& verdict, Request request) {
  request.answer = Answer(verdict);
  request.accepted = verdict.answer == TapAnswer::kAck;
  desk_.Record(request);
  Send(request.answer);
  if (verdict.answer == TapAnswer::kEnd) HangUp();
}

void TapCentre::End(std::string_view text) {
  Send(Answer({TapAnswer::kEnd, std::string(text)}));
  HangUp();
}

void TapCentre::HangUp() {
  silence_.Clear();
  if (line_ != nullptr) std::exchange(line_, nullptr)->HangUp();
}

bool TapCentre::FallsSilent(SilentAt here) {
  if (settings_.silent_at != here) return false;
  HungUp();
  return true;
}

void TapCentre::WatchSilence() {
  if (line_ == nullptr) return;
  const Millis limit = stage_ == Stage::kPrompt  ? settings_.t3
                       : stage_ == Stage::kLogin ? settings_.t4
                                                 : settings_.t5;
  if (limit == Millis{0}) return silence_.Clear();
  silence_.Set(*line_, limit, [this] {
    if (stage_ == Stage::kPrompt)
      HangUp();
    else if (stage_ == Stage::kLogin)
      OnSilentLogin();
    else
      End(kTimedOut);
  });
}

void TapCentre::OnSilentLogin() {
  if (prompts_ >= settings_.n1) return End(kTimedOut);
  Prompt();
  WatchSilence();
}

void TapCentre::Later(Millis delay, std::function<void()> action) {
  if (delay == Millis{0})
    action();
  else if (line_ != nullptr)
    line_->After(delay, std::move(action));
}

void TapCentre::Send(std::string_view bytes) {
  if (line_ == nullptr) return;
  std::string out(bytes);
  if (settings_.even_parity) std::transform(out.begin(), out.end(), out.begin(), WithEvenParity);
  line_->Write(out);
}

std::string TapCentre::FromLine(std::string_view bytes) const {
  std::string in(bytes);
  if (settings_.even_parity) {
    std::string odd;
    std::copy_if(in.begin(), in.end(), std::back_inserter(odd), std::not_fn(EvenParity));
    if (!odd.empty()) desk_.Trace(Seen::kDropped, odd);
    std::erase_if(in, std::not_fn(EvenParity));
  }
  if (settings_.even_parity || settings_.strip_bit_7)
    std::transform(in.begin(), in.end(), in.begin(), WithoutParity);
  return in;
}

}  // namespace mvsms::centre
