// Random texts over all 256 codes, the same on every run.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace mvsms {

class RandomText {
 public:
  std::size_t UpTo(std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(engine_);
  }
  std::string Of(std::size_t length) {
    std::string text(length, '\0');
    for (char& c : text) c = static_cast<char>(UpTo(255));
    return text;
  }
  std::string From(std::string_view alphabet, std::size_t length) {
    std::string text(length, '\0');
    for (char& c : text) c = alphabet[UpTo(alphabet.size() - 1)];
    return text;
  }

 private:
  std::mt19937 engine_{19730401};
};

}  // namespace mvsms
