// What comes over a line, read as a person at a line monitor reads it: whether it is an answer, an
// echo, text or noise, what bit 7 proves, and what a modem or a centre says with it.
//
// Texts here are bytes of the line, in the ANSI code page where they are words.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backends/posix/line/hayes_modem.h"

namespace mvsms::posix {

/// Bytes that came without a pause between them.
struct Piece {
  std::chrono::milliseconds at;  // since the listening began
  std::string bytes;
};
std::string Joined(const std::vector<Piece>& pieces);

/// The parity that bit 7 of these bytes proves, as a letter of a framing: E, O or M when bit 7 is
/// in all of them the parity of the other seven, and set in one; N when it is set in none; "?" when
/// it goes by no rule.
char ShownParity(std::string_view bytes);
/// The low seven bits of each.
std::string SevenBits(std::string_view bytes);

/// Whether there are telnet commands in the bytes; and the bytes without them.
bool HasTelnet(std::string_view bytes);
std::string WithoutTelnet(std::string_view bytes);

enum class Reply {
  kUnasked,
  kSilence,
  kEcho,    // the command and nothing else
  kResult,  // the end of a command, be it OK or ERROR
  kText,    // readable, but nothing that a modem says to a command
  kNoise
};

/// What came after a command.
struct Heard {
  Reply reply = Reply::kUnasked;
  char parity = 'N';    // as ShownParity, where the bytes can be read
  bool number = false;  // the result is a number
  std::string bytes;    // as they came
  std::string text;     // without parity, telnet and NULs
  std::optional<ResultCode> result;
};
Heard ReadAnswer(const std::string& command, const std::string& bytes);
bool SaysOk(const Heard& heard);

/// The lines of a text that say something, without the echo of `command`.
std::vector<std::string> LinesOf(const std::string& text, const std::string& command = "");

/// What a modem tells of a call that came up. What it does not tell is empty.
struct ConnectText {
  std::string speed, modulation, correction, compression;
};
ConnectText ReadConnect(const std::string& text);

/// Whether there is a frame of UCP in the bytes.
bool HasUcpFrame(std::string_view bytes);

/// The commands of an AT command line: "AT&FX3\N0+ES=1;+MS=V22B" is "&F", "X3", "\N0", "+ES=1",
/// "+MS=V22B". A command that dials, or that cannot be told apart, is one with all that follows.
std::vector<std::string> SplitCommands(const std::string& line);
/// A command line out of them.
std::string JoinCommands(const std::vector<std::string>& commands);
/// The line with `more` where it takes effect: behind a reset to the factory's settings. A reset to
/// the stored ones (Z), which end a line, gives way to one.
std::string WithCommands(const std::string& line, const std::string& more);

}  // namespace mvsms::posix
