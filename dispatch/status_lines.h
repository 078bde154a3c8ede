// The lines of a send's status text, one by one as they come.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "engine/send_report.h"

namespace mvsms::dispatch {

class StatusLines {
 public:
  /// The line that `status` has gained since the last call, without the password; nothing when it
  /// is the same text again, as after an error. Texts are in the ANSI code page. Only the line that
  /// begins a send ends in a line end of its own.
  std::optional<std::string> Next(const SendReport& report, const std::string& status);

 private:
  std::size_t seen_ = 0;  // characters
};

}  // namespace mvsms::dispatch
