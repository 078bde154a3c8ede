// Another program, run to its end on somebody's behalf: given its input, listened to, and not
// waited for longer than agreed.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mvsms::posix {

struct ProgramEnd {
  /// 128 plus the number of the signal that killed it. Nothing when it was ended because its time
  /// was over.
  std::optional<int> exit_code;
  /// Its standard output, the first kMostOutput bytes. Its error stream is this process's.
  std::string output;
};

inline constexpr std::size_t kMostOutput = 65536;

/// Runs a program: its path and its arguments, which no shell looks at, with this process's
/// environment and `input` on its standard input. When it has not ended in time, or `cancelled`
/// says so, it is killed with all that it started. Throws RaisedError when it cannot be started.
ProgramEnd RunProgram(
    const std::vector<std::string>& words, const std::string& input, std::chrono::milliseconds most,
    const std::function<bool()>& cancelled = [] { return false; });

}  // namespace mvsms::posix
