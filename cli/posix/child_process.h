// Another program as a child of this one, its output collected while it runs. The demonstration
// and the end-to-end tests run `mvsms` itself this way, as a user would.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace mvsms::cli {

class ChildProcess {
 public:
  /// Starts `command` (a path and its arguments) with this process's environment, to which
  /// `variables` ("NAME=VALUE") are added, and without input. Throws Failure when it cannot start.
  ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& variables);
  /// Ends the child, at once if it is still running.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Takes in what the child has written by now; with a positive time, waits so long for more.
  void Read(std::chrono::milliseconds wait = {});
  /// Everything read so far from the standard output and the error stream.
  const std::string& out() const { return streams_[0].text; }
  const std::string& err() const { return streams_[1].text; }
  /// The next whole line of either stream, without its end; nothing when there is none yet.
  std::optional<std::string> NextLine();

  void Signal(int signal);
  /// Reads until the child has ended or the time is up. Its exit code, 128 plus the number of the
  /// signal that killed it, or nothing when it is still running.
  std::optional<int> Wait(std::chrono::milliseconds time);

 private:
  struct Stream {
    int fd = -1;
    std::string text;
    std::size_t taken = 0;  // of `text`, by NextLine
  };

  static void Take(Stream& stream);
  bool Reap();

  pid_t pid_ = -1;
  std::optional<int> exit_code_;
  std::array<Stream, 2> streams_;
};

/// The path of the running program.
std::string OwnProgram();

}  // namespace mvsms::cli
