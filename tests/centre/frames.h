// Frames as another client would build them, with its own arithmetic.
#pragma once

#include <cstdio>
#include <string>

#include "centre/notation.h"

namespace mvsms::centre::test {

/// A TAP block in notation: `content` from STX to its end character, with checksum and CR.
inline std::string TapBlockOf(const std::string& content) {
  int sum = 0;
  for (const char c : FromNotation(content)) sum += c & 0x7F;
  std::string checksum;
  for (int divisor = 256; divisor > 0; divisor /= 16)
    checksum += static_cast<char>(48 + sum / divisor % 16);
  return content + ToNotation(checksum) + "<CR>";
}

inline std::string PageOf(const std::string& pager, const std::string& text) {
  return TapBlockOf("<STX>" + pager + "<CR>" + text + "<CR><ETX>");
}

/// A UCP frame in notation around `fields`, each of which ends in "/".
inline std::string UcpFrameOf(const std::string& operation, const std::string& fields,
                              const std::string& trn = "00", const std::string& kind = "O") {
  const std::string tail = "/" + kind + "/" + operation + "/" + fields;
  char length[16];
  std::snprintf(length, sizeof length, "%05u",
                static_cast<unsigned>(trn.size() + 6 + tail.size() + 2));
  const std::string body = trn + "/" + length + tail;
  unsigned sum = 0;
  for (const char c : body) sum += static_cast<unsigned char>(c);
  char checksum[8];
  std::snprintf(checksum, sizeof checksum, "%02X", sum % 256);
  return "<STX>" + body + checksum + "<ETX>";
}

inline std::string Refusal(const std::string& operation, const std::string& code,
                           const std::string& text, const std::string& trn = "00") {
  return UcpFrameOf(operation, "N/" + code + "/" + text + "/", trn, "R");
}

inline std::string HexOf(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    digits += pair;
  }
  return digits;
}

/// Fields of an operation 51 that few messages have.
struct Rarely {
  std::string notification = "//";  // NRq, NAdC and NT
  std::string originator_type = "";
  std::string extra_services = "";
};

/// An operation 51 with these fields, all others empty.
inline std::string Submit(const std::string& recipient, const std::string& originator,
                          const std::string& type, const std::string& message,
                          const Rarely& rarely = {}) {
  return UcpFrameOf("51", recipient + "/" + originator + "//" + rarely.notification +
                              std::string(13, '/') + type + "//" + message + std::string(8, '/') +
                              rarely.originator_type + "//" + rarely.extra_services + "///");
}

}  // namespace mvsms::centre::test
