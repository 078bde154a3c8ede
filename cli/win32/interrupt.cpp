// Ctrl-C of the console behind InterruptWatch. The run-time library calls the handler on a thread
// of its own and takes it away again, so that a second Ctrl-C ends the program.
#include "cli/interrupt.h"

#include <atomic>
#include <csignal>

namespace mvsms::cli {
namespace {

std::atomic<int> first_signal = 0;

void Remember(int signal) { first_signal = signal; }

}  // namespace

InterruptWatch::InterruptWatch() {
  first_signal = 0;
  std::signal(SIGINT, Remember);
}

InterruptWatch::~InterruptWatch() { std::signal(SIGINT, SIG_DFL); }

int InterruptWatch::Signal() const { return first_signal; }

}  // namespace mvsms::cli
