// See rfc2217.h. Codes are those of telnet (RFC 854) and of the option (RFC 2217).
#include "backends/posix/line/rfc2217.h"

#include <algorithm>
#include <iterator>

namespace mvsms::posix {
namespace {

using Byte = unsigned char;

constexpr Byte kEndOfBlock = 240, kBlock = 250, kWill = 251, kWont = 252, kDo = 253, kDont = 254,
               kCommand = 255;
constexpr Byte kBinary = 0, kNoGoAhead = 3, kPort = 44;
constexpr Byte kSetSpeed = 1, kSetDataBits = 2, kSetParity = 3, kSetStopBits = 4, kControl = 5,
               kLineStateMask = 10, kModemStateMask = 11, kPurge = 12;
constexpr Byte kFromServer = 100;  // what its answers are numbered by, above the command
constexpr Byte kLineState = 106, kModemState = 107;
constexpr Byte kNoFlow = 1, kXonXoff = 2, kRtsCts = 3, kDtrOn = 8, kDtrOff = 9;
constexpr Byte kOverrun = 2, kParityError = 4, kFrameError = 8, kBreak = 16;
constexpr std::size_t kLongestBlock = 64;  // none that we know has more than eight

char Char(Byte code) { return static_cast<char>(code); }

std::string Escaped(std::string_view bytes) {
  std::string escaped;
  for (const char code : bytes) {
    escaped += code;
    if (code == Char(kCommand)) escaped += code;
  }
  return escaped;
}

std::string PortCommand(Byte command, std::string_view value) {
  return std::string{Char(kCommand), Char(kBlock), Char(kPort), Char(command)} + Escaped(value) +
         std::string{Char(kCommand), Char(kEndOfBlock)};
}

std::string PortCommand(Byte command, Byte value) {
  return PortCommand(command, std::string(1, Char(value)));
}

std::string Number(std::uint32_t number) {
  std::string bytes;
  for (unsigned shift = 32; shift > 0; shift -= 8) bytes += Char(Byte(number >> (shift - 8)));
  return bytes;
}

std::uint32_t NumberIn(std::string_view bytes) {
  std::uint32_t number = 0;
  for (const char code : bytes) number = number << 8 | static_cast<Byte>(code);
  return number;
}

Byte FlowCode(const Dcb& state) {
  if ((state.flags & dcb_flag::kOutxCtsFlow) != 0) return kRtsCts;
  return (state.flags & dcb_flag::kOutX) != 0 ? kXonXoff : kNoFlow;
}

}  // namespace

std::optional<Rfc2217::Answer> Rfc2217::answer() const {
  if (!speed_ || !data_bits_ || !parity_ || !stop_bits_) return std::nullopt;
  return Answer{*speed_, *data_bits_, *parity_, *stop_bits_};
}

Rfc2217::Answer Rfc2217::Wanted(const Dcb& state) {
  constexpr Byte kStopBits[] = {1, 3, 2};  // one, one and a half, two
  return {state.BaudRate, state.ByteSize, static_cast<Byte>(state.Parity + 1),
          kStopBits[state.StopBits]};
}

// Ours: binary, no go-ahead, the port. Theirs: binary, no go-ahead.
std::string Rfc2217::Greeting() {
  std::string text;
  for (const Byte option : {kBinary, kNoGoAhead, kPort}) {
    text += {Char(kCommand), Char(kWill), Char(option)};
  }
  for (const Byte option : {kBinary, kNoGoAhead}) {
    text += {Char(kCommand), Char(kDo), Char(option)};
  }
  return text;
}

std::string Rfc2217::Begin() {
  constexpr Byte kInput = 1, kAllLines = 255;
  return PortCommand(kLineStateMask, Byte(kOverrun | kParityError | kFrameError | kBreak)) +
         PortCommand(kModemStateMask, kAllLines) + PortCommand(kPurge, kInput) + Dtr(true);
}

std::string Rfc2217::Settings(const Dcb& state) {
  speed_.reset();
  data_bits_ = parity_ = stop_bits_ = std::nullopt;
  const Answer wanted = Wanted(state);
  return PortCommand(kSetSpeed, Number(wanted.speed)) +
         PortCommand(kSetDataBits, wanted.data_bits) + PortCommand(kSetParity, wanted.parity) +
         PortCommand(kSetStopBits, wanted.stop_bits) + PortCommand(kControl, FlowCode(state));
}

std::string Rfc2217::Dtr(bool on) { return PortCommand(kControl, on ? kDtrOn : kDtrOff); }

std::string Rfc2217::Data(std::string_view bytes) { return Escaped(bytes); }

std::string Rfc2217::Take(std::string& bytes) {
  std::string data, reply;
  for (const char code : bytes) TakeByte(static_cast<Byte>(code), data, reply);
  bytes = data;
  return reply;
}

void Rfc2217::TakeByte(Byte code, std::string& data, std::string& reply) {
  const bool in_block = state_ == State::kBlock || state_ == State::kCommandInBlock;
  if (state_ == State::kOption) {
    state_ = State::kData;
    Negotiate(code, reply);
  } else if (code == kCommand && (state_ == State::kData || state_ == State::kBlock)) {
    state_ = in_block ? State::kCommandInBlock : State::kCommand;
  } else if (state_ == State::kData || (state_ == State::kCommand && code == kCommand)) {
    state_ = State::kData;
    data += Char(code);
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

// What was asked for is only noted; what was not is refused, but for the port, which some servers
// offer by themselves.
void Rfc2217::Negotiate(Byte option, std::string& reply) {
  const bool known = option == kBinary || option == kNoGoAhead;
  if (option == kPort && verb_ == kDo) offered_ = true;
  if (option == kPort && verb_ == kDont) offered_ = false;
  if (known || option == kPort) return;
  if (verb_ == kDo) reply += {Char(kCommand), Char(kWont), Char(option)};
  if (verb_ == kWill) reply += {Char(kCommand), Char(kDont), Char(option)};
}

void Rfc2217::TakeBlock() {
  if (block_.size() < 2 || block_[0] != Char(kPort)) return;
  Note(static_cast<Byte>(block_[1]), std::string_view(block_).substr(2));
}

void Rfc2217::Note(Byte command, std::string_view value) {
  if (value.empty()) return;
  const Byte first = static_cast<Byte>(value[0]);
  if (command == kFromServer + kSetSpeed && value.size() == 4) speed_ = NumberIn(value);
  if (command == kFromServer + kSetDataBits) data_bits_ = first;
  if (command == kFromServer + kSetParity) parity_ = first;
  if (command == kFromServer + kSetStopBits) stop_bits_ = first;
  // The upper four bits are the lines, in the order of kMs*; the lower tell which have changed.
  if (command == kModemState) modem_lines_ = first & 0xF0U;
  if (command == kLineState) CountErrors(first);
}

void Rfc2217::CountErrors(Byte bits) {
  errors_.overrun += (bits & kOverrun) != 0;
  errors_.parity += (bits & kParityError) != 0;
  errors_.frame += (bits & kFrameError) != 0;
  errors_.breaks += (bits & kBreak) != 0;
}

}  // namespace mvsms::posix
