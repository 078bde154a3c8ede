// Ctrl-C and SIGTERM as a question to ask. The signal handler only sets a flag; whoever is busy
// looks at it from a timer or between two waits.
#pragma once

namespace mvsms::cli {

/// Takes the two signals while it lives. A second signal ends the process at once, as if nobody
/// watched. One at a time.
class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// True once a signal came since the watch was made.
  bool Interrupted() const;
};

}  // namespace mvsms::cli
