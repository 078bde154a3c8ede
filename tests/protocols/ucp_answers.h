// Answers of a UCP centre, made by its own arithmetic: nothing here uses the code under test.
#pragma once

#include <cstdio>
#include <string>

namespace mvsms {

inline int SumModulo256(const std::string& text) {
  int sum = 0;
  for (const char c : text) sum = (sum + static_cast<unsigned char>(c)) % 256;
  return sum;
}

inline std::string TwoHexDigits(int value) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(value) & 0xFFU);
  return digits;
}

// STX, `body`, checksum, ETX.
inline std::string UCPAnswer(const std::string& body) {
  return "\x02" + body + TwoHexDigits(SumModulo256(body)) + "\x03";
}

inline std::string UCPAcknowledgement() { return UCPAnswer("00/00019/R/01/A//"); }

// `code` stands in positions 18 and 19, `rest` from position 20.
inline std::string UCPRefusal(const std::string& code, const std::string& rest) {
  std::string answer = UCPAnswer("00/00030/R/01/N/" + code + rest);
  // A checksum below hexadecimal 10 would be taken as wrong; such answers have their own test.
  while (answer[answer.size() - 3] == '0')
    answer = UCPAnswer(answer.substr(1, answer.size() - 4) + "~");
  return answer;
}

}  // namespace mvsms
