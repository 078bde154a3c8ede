// What the fuzz targets share: a cursor over the input, and the ways to say what must hold. A
// target turns any bytes into one run of the code under test and calls Require for whatever the
// user may rely on, so that a wrong answer stops it like a crash does.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace mvsms::fuzz {

/// Stops the run, with the input, when `holds` is false.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Does not hold: %s\n", what);
  std::abort();
}

/// Takes an input apart. Past the end everything reads as zero and empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  std::uint8_t Byte() {
    const std::string byte = Text(1);
    return byte.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(byte[0]);
  }
  std::string Text(std::size_t length) {
    std::string text(rest_.substr(0, length));
    rest_.remove_prefix(text.size());
    return text;
  }
  std::string Rest() { return Text(rest_.size()); }
  bool empty() const { return rest_.empty(); }
  /// The rest, cut at every `separator`; without empty pieces at the end.
  std::vector<std::string> Pieces(char separator) {
    std::vector<std::string> pieces;
    while (!empty()) {
      pieces.push_back(Text(std::min(rest_.find(separator), rest_.size())));
      Text(1);
    }
    return pieces;
  }

 private:
  std::string_view rest_;
};

/// Whether `text` is what a JSON writer takes.
inline bool IsUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

}  // namespace mvsms::fuzz
