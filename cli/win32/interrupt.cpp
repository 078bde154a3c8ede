// Ctrl-C of the console behind InterruptWatch. The run-time library calls the handler on a thread
// of its own and takes it away again, so that a second Ctrl-C ends the program.
#include "cli/interrupt.h"

#include <atomic>
#include <csignal>

namespace mvsms::cli {
namespace {

std::atomic<bool> interrupted = false;

void Remember(int) { interrupted = true; }

}  // namespace

InterruptWatch::InterruptWatch() {
  interrupted = false;
  std::signal(SIGINT, Remember);
}

InterruptWatch::~InterruptWatch() { std::signal(SIGINT, SIG_DFL); }

bool InterruptWatch::Interrupted() const { return interrupted; }

}  // namespace mvsms::cli
