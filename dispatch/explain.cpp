// Finds the frames in what came over the line, and leaves each to its protocol.
#include "dispatch/explain.h"

#include <algorithm>
#include <cstddef>

#include "dispatch/explain_tap.h"
#include "dispatch/explain_ucp.h"
#include "dispatch/notation.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

/// Through ETX, or up to the next STX.
std::size_t LengthOfUcpFrame(std::string_view bytes) {
  constexpr char kEnds[] = {kSTX, kETX};
  const std::size_t end = bytes.find_first_of(std::string_view(kEnds, 2), 1);
  if (end == bytes.npos) return bytes.size();
  return bytes[end] == kETX ? end + 1 : end;
}

std::size_t LengthOfTalk(std::string_view bytes) {
  return std::min(bytes.find(kSTX), bytes.size());
}

/// One way to read what comes next.
struct Reading {
  std::size_t (*length)(std::string_view bytes);
  Explanation (*explain)(std::string_view part);
};

Reading ReadingOf(std::string_view bytes) {
  if (LooksLikeUcp(bytes)) return {LengthOfUcpFrame, ExplainUcp};
  if (bytes.starts_with(kSTX)) return {LengthOfTapBlock, ExplainTapBlock};
  return {LengthOfTalk, ExplainTapTalk};
}

/// What a send log puts before bytes of the line.
constexpr std::string_view kLogPhrases[] = {
    "Sending TAP Message: ",   "UCP Message sent: ",
    "Received response: ",     "Response received: ",
    "Transmitter Response: ",  "Transmitter acknowledge: ",
    "Received Logon prompt: ", "TAP response not understood: ",
};

/// What it puts before the text of a login, of which it leaves out what stands around it.
constexpr std::string_view kLoginPhrase = "Sending Terminal ID: ";

/// Taken as it stands, whatever it looks like: all of it may be a password.
std::string LoginBytes(std::string_view text) {
  if (text.ends_with(kCR)) text.remove_suffix(1);
  return kESC + std::string(text) + kCR;
}

}  // namespace

std::vector<Explanation> Explain(std::string_view bytes) {
  std::vector<Explanation> parts;
  while (!bytes.empty()) {
    const Reading reading = ReadingOf(bytes);
    const std::size_t length = reading.length(bytes);
    parts.push_back(reading.explain(bytes.substr(0, length)));
    bytes.remove_prefix(length);
  }
  return parts;
}

std::string BytesInLog(std::string_view text) {
  const std::size_t login = text.find(kLoginPhrase);
  if (login != text.npos) return LoginBytes(text.substr(login + kLoginPhrase.size()));
  for (const std::string_view phrase : kLogPhrases) {
    const std::size_t at = text.find(phrase);
    if (at != text.npos) return BytesOfNotation(text.substr(at + phrase.size()));
  }
  return BytesOfNotation(text);
}

}  // namespace mvsms::dispatch
