// A modem's command line taken apart: "ATE0&K3S7=45DT0171" is four commands. Knows no modem.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mvsms::centre {

struct AtCommand {
  /// Uppercase: a letter ("E"), a prefix with a letter ("&K", "\\N", "%C"), "S", "D", or a
  /// command word ("+MS").
  std::string name;
  /// Digits; for S "7=45", "7?" or "38.3=1"; for D and for words everything up to the end or ";".
  std::string argument;
};

/// The commands after "AT", or nothing if the line does not begin with it. Blanks are ignored.
std::optional<std::vector<AtCommand>> ParseAtLine(std::string_view line);

}  // namespace mvsms::centre
