// A TAP centre for tests: it prompts at each CR, answers a login and every block with the texts it
// was given, and keeps what it received. It checks nothing; the tests do.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/memory/memory_platform.h"

namespace mvsms::test {

struct ScriptedTap {
  // How it answers; an empty text is no answer.
  std::string prompt = "ID=";
  std::string login_answer = "\r\x06\r\x1b[p\r";
  std::vector<std::string> block_answers;  // in turn; then every block is acknowledged

  // What it received.
  std::vector<std::string> numbers;
  std::vector<std::string> logins;
  std::vector<std::string> blocks;  // STX to the CR after the checksum
  int prompted = 0;
  int hang_ups = 0;
  memory::Wire* wire = nullptr;  // of the latest call

  std::unique_ptr<memory::FarEnd> Answer(const std::string& number);

  std::string NextBlockAnswer() const {
    const std::size_t turn = blocks.size() - 1;
    return turn < block_answers.size() ? block_answers[turn] : "\r\x06\r";
  }
};

class ScriptedTapCall : public memory::FarEnd {
 public:
  explicit ScriptedTapCall(ScriptedTap& script) : script_(script) {}

  void Connected(memory::Wire& wire) override { wire_ = script_.wire = &wire; }
  void HungUp() override { ++script_.hang_ups; }
  void Received(std::string_view bytes) override {
    for (const char byte : bytes) {
      input_ += byte;
      if (byte == '\r') TakeLine();
    }
  }

 private:
  void TakeLine() {
    if (input_.starts_with('\x02') && input_.find('\x03') == std::string::npos) return;
    const std::string line = std::exchange(input_, {});
    if (line == "\r") {
      ++script_.prompted;
      Reply(script_.prompt);
    } else if (line.starts_with('\x1b')) {
      script_.logins.push_back(line);
      Reply(script_.login_answer);
    } else {
      script_.blocks.push_back(line);
      Reply(script_.NextBlockAnswer());
    }
  }

  void Reply(const std::string& text) {
    if (!text.empty()) wire_->Write(text);
  }

  ScriptedTap& script_;
  memory::Wire* wire_ = nullptr;
  std::string input_;
};

inline std::unique_ptr<memory::FarEnd> ScriptedTap::Answer(const std::string& number) {
  numbers.push_back(number);
  return std::make_unique<ScriptedTapCall>(*this);
}

/// The block that carries `text` to `pager`, worked out independently of the code under test.
inline std::string TapBlock(const std::string& pager, const std::string& text) {
  const std::string block = "\x02" + pager + "\r" + text + "\r\x03";
  unsigned sum = 0;
  for (const char c : block) sum += static_cast<unsigned char>(c);
  std::string checksum;
  for (const unsigned shift : {8U, 4U, 0U}) {
    checksum += static_cast<char>('0' + ((sum >> shift) & 15U));
  }
  return block + checksum + "\r";
}

}  // namespace mvsms::test
