// Codes are those of telnet (RFC 854) and of the option (RFC 2217).
#include "centre/serial_server.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace mvsms::centre {
namespace {

using Byte = std::uint8_t;

constexpr Byte kEndOfBlock = 240, kBlock = 250, kWill = 251, kWont = 252, kDo = 253, kDont = 254,
               kTelnet = 255;
constexpr Byte kBinary = 0, kNoGoAhead = 3, kPort = 44;
constexpr Byte kSignature = 0, kSpeed = 1, kDataBits = 2, kParity = 3, kStopBits = 4, kControl = 5,
               kLineStateMask = 10, kModemStateMask = 11, kPurge = 12;
constexpr Byte kFromServer = 100;  // what its answers are numbered by, above the command
constexpr Byte kModemState = 7;
constexpr Byte kCts = 16, kDsr = 32, kDcd = 128;
constexpr Byte kDcdChanged = 8;
constexpr std::size_t kLongestBlock = 64;
constexpr std::string_view kName = "mvSMS message centre";

// What one byte may say; a speed is any but 0.
struct Range {
  Byte command, least, most;
};
constexpr Range kRanges[] = {{kDataBits, 5, 8}, {kParity, 1, 5}, {kStopBits, 1, 3}};

// Values of the control command that belong together: one asks, the others set.
struct Group {
  Byte question, first, last;
};
constexpr Group kGroups[] = {{0, 1, 3},      // flow control
                             {4, 5, 6},      // break
                             {7, 8, 9},      // DTR
                             {10, 11, 12},   // RTS
                             {13, 14, 16}};  // flow control of what is received
constexpr std::size_t kDtr = 2;
constexpr Byte kDtrOff = 9;

char Char(Byte code) { return static_cast<char>(code); }

std::string Escaped(std::string_view bytes) {
  std::string escaped;
  for (const char code : bytes) {
    escaped += code;
    if (code == Char(kTelnet)) escaped += code;
  }
  return escaped;
}

bool Holds(Byte command, std::string_view value) {
  for (const Range& range : kRanges) {
    if (range.command == command)
      return static_cast<Byte>(value[0]) >= range.least &&
             static_cast<Byte>(value[0]) <= range.most;
  }
  return value.find_first_not_of('\0') != std::string_view::npos;
}

}  // namespace

SerialServer::SerialServer(const Port& port)
    : modem_(port([this](bool up) { ShowCarrier(up); })),
      settings_{{kSpeed, std::string("\0\0\x25\x80", 4)},  // 9600
                {kDataBits, "\x8"},
                {kParity, "\x1"},
                {kStopBits, "\x1"}},
      controls_{1, 6, 8, 11, 14},
      modem_lines_(kCts | kDsr) {}

void SerialServer::Connected(Line& line) {
  line_ = &line;
  RaiseDtr();
}

void SerialServer::Received(std::string_view bytes) {
  for (const char code : bytes) Take(static_cast<Byte>(code));
  PassData();
}

void SerialServer::HungUp() {
  line_ = nullptr;
  DropDtr();
}

void SerialServer::Write(std::string_view bytes) { line_->Write(Escaped(bytes)); }

void SerialServer::HangUp() { std::exchange(line_, nullptr)->HangUp(); }

void SerialServer::After(Millis delay, std::function<void()> action) {
  line_->After(delay, [dtr = std::weak_ptr(dtr_), act = std::move(action)] {
    if (!dtr.expired()) act();
  });
}

Millis SerialServer::Now() { return line_->Now(); }

void SerialServer::Take(Byte code) {
  const bool in_block = state_ == State::kBlock || state_ == State::kCommandInBlock;
  if (state_ == State::kOption) {
    state_ = State::kData;
    Negotiate(code);
  } else if (code == kTelnet && (state_ == State::kData || state_ == State::kBlock)) {
    state_ = in_block ? State::kCommandInBlock : State::kCommand;
  } else if (state_ == State::kData || (state_ == State::kCommand && code == kTelnet)) {
    state_ = State::kData;
    data_ += Char(code);
  } else if (state_ == State::kCommand) {
    verb_ = code;
    state_ = code == kBlock ? State::kBlock : code > kBlock ? State::kOption : State::kData;
    block_.clear();
  } else if (state_ == State::kCommandInBlock && code == kEndOfBlock) {
    state_ = State::kData;
    TakeBlock();
  } else {
    state_ = State::kBlock;
    if (block_.size() < kLongestBlock) block_ += Char(code);
  }
}

void SerialServer::PassData() {
  const std::string data = std::exchange(data_, {});
  if (dtr_ && !data.empty()) modem_->Received(data);
}

void SerialServer::Negotiate(Byte option) {
  if (verb_ == kWill || verb_ == kWont) Agree(theirs_, option, verb_ == kWill, kDo, kDont);
  if (verb_ == kDo || verb_ == kDont) Agree(ours_, option, verb_ == kDo, kWill, kWont);
}

// What is in force already is not confirmed again, or both sides would never end.
void SerialServer::Agree(std::set<Byte>& options, Byte option, bool on, Byte yes, Byte no) {
  const bool known = option == kBinary || option == kNoGoAhead || option == kPort;
  if (on && !known) return line_->Write(std::string{Char(kTelnet), Char(no), Char(option)});
  const bool changes = on ? options.insert(option).second : options.erase(option) > 0;
  if (changes) line_->Write(std::string{Char(kTelnet), Char(on ? yes : no), Char(option)});
}

void SerialServer::TakeBlock() {
  PassData();
  if (block_.size() >= 2 && block_[0] == Char(kPort) && line_ != nullptr)
    Command(static_cast<Byte>(block_[1]), std::string_view(block_).substr(2));
}

void SerialServer::Command(Byte command, std::string_view value) {
  if (command == kSignature && value.empty()) return Tell(command, kName);
  if (const auto setting = settings_.find(command); setting != settings_.end()) {
    if (value.size() == setting->second.size() && Holds(command, value)) setting->second = value;
    return Tell(command, setting->second);
  }
  if (value.size() != 1) return;
  if (command == kControl) return Control(static_cast<Byte>(value[0]));
  if (command == kModemStateMask) mask_ = static_cast<Byte>(value[0]);
  if (command == kLineStateMask || command == kModemStateMask || command == kPurge)
    Tell(command, value);
  if (command == kModemStateMask) TellModemState(0);
}

void SerialServer::Control(Byte value) {
  const auto group = std::find_if(std::begin(kGroups), std::end(kGroups), [&](const Group& each) {
    return value >= each.question && value <= each.last;
  });
  if (group == std::end(kGroups)) return;
  const auto index = static_cast<std::size_t>(group - std::begin(kGroups));
  if (value >= group->first) controls_[index] = value;
  Tell(kControl, std::string(1, Char(controls_[index])));
  if (index != kDtr) return;
  if (controls_[kDtr] == kDtrOff)
    DropDtr();
  else
    RaiseDtr();
}

void SerialServer::RaiseDtr() {
  if (dtr_) return;
  dtr_ = std::make_shared<char>();
  modem_->Connected(*this);
}

void SerialServer::DropDtr() {
  if (std::exchange(dtr_, nullptr)) modem_->HungUp();
}

void SerialServer::ShowCarrier(bool up) {
  modem_lines_ = static_cast<Byte>(kCts | kDsr | (up ? kDcd : 0));
  if (line_ != nullptr) TellModemState(kDcdChanged);
}

void SerialServer::TellModemState(Byte changed) {
  const auto state = static_cast<Byte>((modem_lines_ | changed) & mask_);
  const bool spoken = theirs_.contains(kPort) || ours_.contains(kPort);
  if (spoken && state != 0) Tell(kModemState, std::string(1, Char(state)));
}

void SerialServer::Tell(Byte command, std::string_view value) {
  const std::string head = {Char(kTelnet), Char(kBlock), Char(kPort),
                            Char(static_cast<Byte>(command + kFromServer))};
  line_->Write(head + Escaped(value) + Char(kTelnet) + Char(kEndOfBlock));
}

}  // namespace mvsms::centre
