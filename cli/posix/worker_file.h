// The files by which a worker is known while it runs: a lock, so that a profile has one at most,
// and beside it what its lines are doing.
#pragma once

#include <string>

#include "backends/posix/system/unique_fd.h"
#include "cli/context.h"

namespace mvsms::cli {

/// That pages wait for a service (UTF-8) which no line of the worker has.
std::string SentenceOfUnserved(const std::string& service);
/// The same of pages at the hub, and any machine.
std::string SentenceOfUnservedThere(const std::string& service);

class WorkerFile {
 public:
  /// Of the worker of a profile (UTF-8). Touches nothing yet.
  WorkerFile(const std::string& home, const std::string& profile);

  /// Takes the lock until the end of this object or of the process. False when another one has it.
  /// Throws Failure with the reason when it cannot be made.
  bool Take();
  /// Whether a worker has it.
  bool IsHeld() const;

  /// Replaces what is said of the lines. Nothing depends on it: a failure is not told.
  void Write(const Json& status) const;
  /// What the worker last said; null when none runs.
  Json Read() const;
  /// Warns of pages that no line of the running worker can carry.
  void WarnOfUnserved(Context& context) const;

 private:
  std::string lock_;
  std::string status_;
  posix::UniqueFd fd_;
};

}  // namespace mvsms::cli
