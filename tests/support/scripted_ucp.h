// A UCP centre for tests: it answers every frame with the text it was given and keeps the frames.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/memory/memory_platform.h"

namespace mvsms::test {

/// A result frame with `data` such as "A//" or "N/04//", worked out independently of the code
/// under test.
inline std::string UcpResult(const std::string& data) {
  char head[32];
  std::snprintf(head, sizeof(head), "00/%05zu/R/51/", data.size() + 17);
  const std::string body = head + data;
  unsigned sum = 0;
  for (const char c : body) sum += static_cast<unsigned char>(c);
  char checksum[8];
  std::snprintf(checksum, sizeof(checksum), "%02X", sum & 255U);
  return "\x02" + body + checksum + "\x03";
}

struct ScriptedUcp {
  std::vector<std::string> answers;  // in turn, empty for none; then every frame is accepted
  std::vector<std::string> frames;   // STX to ETX
  int hang_ups = 0;
  memory::Wire* wire = nullptr;  // of the latest call

  std::unique_ptr<memory::FarEnd> Answer(const std::string& number);

  std::string NextAnswer() const {
    const std::size_t turn = frames.size() - 1;
    return turn < answers.size() ? answers[turn] : UcpResult("A//pager:1/");
  }
};

class ScriptedUcpCall : public memory::FarEnd {
 public:
  explicit ScriptedUcpCall(ScriptedUcp& script) : script_(script) {}

  void Connected(memory::Wire& wire) override { wire_ = script_.wire = &wire; }
  void HungUp() override { ++script_.hang_ups; }
  void Received(std::string_view bytes) override {
    for (const char byte : bytes) {
      input_ += byte;
      if (byte == '\x03') TakeFrame();
    }
  }

 private:
  void TakeFrame() {
    script_.frames.push_back(std::exchange(input_, {}));
    const std::string answer = script_.NextAnswer();
    if (!answer.empty()) wire_->Write(answer);
  }

  ScriptedUcp& script_;
  memory::Wire* wire_ = nullptr;
  std::string input_;
};

inline std::unique_ptr<memory::FarEnd> ScriptedUcp::Answer(const std::string&) {
  return std::make_unique<ScriptedUcpCall>(*this);
}

}  // namespace mvsms::test
