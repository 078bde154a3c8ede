// Beside the protocols of the core, because to these a line is one that is ready.
#include "backends/posix/line/ucp_login.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>

#include "base/texts.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kAnswerTime{15};
constexpr milliseconds kSlice{50};
constexpr std::size_t kLongestAnswer = 4096;
constexpr char kStx = '\x02', kEtx = '\x03';
constexpr std::size_t kHeader = 13;  // "00/00000/O/60" and all other headers
constexpr std::size_t kKind = 9;     // O or R in it

std::string Hex(const std::string& bytes) {
  std::string hex;
  for (const char code : bytes) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(code)));
    hex += digits.data();
  }
  return hex;
}

std::string Checksum(const std::string& text) {
  unsigned sum = 0;
  for (const char code : text) sum += static_cast<unsigned char>(code);
  return Hex(std::string(1, static_cast<char>(sum)));
}

// The text between STX and ETX of the first frame, which is taken out of `heard`.
std::optional<std::string> TakeFrame(std::string& heard) {
  const std::size_t begin = heard.find(kStx);
  const std::size_t end = heard.find(kEtx, begin == heard.npos ? 0 : begin);
  if (begin == heard.npos || end == heard.npos) return std::nullopt;
  std::string frame = heard.substr(begin + 1, end - begin - 1);
  heard.erase(0, end + 1);
  return frame;
}

// Whether a frame is the answer to the login; then what it says, from "A" or "N" on.
std::optional<std::string> AnswerIn(const std::string& frame) {
  if (frame.size() < kHeader + 2 || frame.substr(kKind, 5) != "R/60/") return std::nullopt;
  return frame.substr(kHeader + 1, frame.rfind('/') - kHeader - 1);
}

LoginResult Read(const std::string& answer) {
  if (answer.starts_with("A")) return {};
  // "N/07/Authentication failure": the code and the words
  return {CallCause::kDisconnectRejected, answer.size() > 2 ? answer.substr(2) : answer,
          " refuses the login"};
}

}  // namespace

std::string UcpFrame(const std::string& operation, const std::string& fields) {
  std::array<char, 6> length{};
  std::snprintf(length.data(), length.size(), "%05zu", kHeader + 1 + fields.size() + 2);
  const std::string text = std::string("00/") + length.data() + "/O/" + operation + "/" + fields;
  return kStx + text + Checksum(text) + kEtx;
}

std::string LoginFrame(const std::string& user, const std::string& password) {
  // An abbreviated number in a private plan, which says the least; open a session; version 1.0.
  return UcpFrame("60", user + "/6/5/1/" + Hex(password) + "//0100//////");
}

LoginResult LogIn(Channel& channel, const std::string& user, const std::string& password,
                  const std::stop_token& stop) {
  channel.Write(LoginFrame(user, password));
  const auto deadline = steady_clock::now() + kAnswerTime;
  std::string heard;
  while (!stop.stop_requested() && steady_clock::now() < deadline) {
    channel.WaitForInput(kSlice);
    std::array<char, 256> buffer{};
    heard.append(buffer.data(), channel.Read(buffer.data(), buffer.size()));
    while (const auto frame = TakeFrame(heard)) {
      const auto answer = AnswerIn(*frame);
      if (!answer) continue;
      channel.PutBack(heard);
      return Read(*answer);
    }
    if (channel.Ended()) {
      return {CallCause::kDisconnectFailed, "",
              " closed the connection without a word to the login"};
    }
    if (heard.size() > kLongestAnswer) break;
  }
  if (stop.stop_requested()) return {CallCause::kDisconnectCancelled, "", ""};
  return {CallCause::kDisconnectFailed, "", " does not answer the login (UCP operation 60)"};
}

bool ReadPassword(const std::string& file, std::string& password, std::string& problem) {
  std::ifstream stream(file);
  const int error = errno;
  password.clear();
  if (!stream) {
    problem = "The password file " + file + " cannot be read: " + std::strerror(error);
    return false;
  }
  std::getline(stream, password);
  if (password.ends_with('\r')) password.pop_back();
  if (password.empty())
    problem = "The password file " + file + " has no password in its first line";
  return !password.empty();
}

}  // namespace mvsms::posix
