// Ctrl-C, SIGTERM and the end of the terminal (SIGHUP) as a question to ask. The signal handler
// only sets a flag; whoever is busy looks at it from a timer or between two waits. SIGPIPE is
// ignored, so that a reader who stops reading the output does not end the program.
#pragma once

namespace mvsms::cli {

/// Takes the signals while it exists. A second one ends the process at once, as if nobody watched.
/// One at a time.
class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// True once a signal came since the watch was made.
  bool Interrupted() const { return Signal() != 0; }
  /// The first signal that came since then; 0 when none did.
  int Signal() const;
};

}  // namespace mvsms::cli
