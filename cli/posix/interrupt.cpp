// POSIX signals behind InterruptWatch.
#include "cli/interrupt.h"

#include <csignal>

namespace mvsms::cli {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void Remember(int) { interrupted = 1; }

void Install(int signal) {
  struct sigaction action {};
  action.sa_handler = Remember;
  // One signal only: the second one finds the default action.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

InterruptWatch::InterruptWatch() {
  interrupted = 0;
  Install(SIGINT);
  Install(SIGTERM);
}

InterruptWatch::~InterruptWatch() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

bool InterruptWatch::Interrupted() const { return interrupted != 0; }

}  // namespace mvsms::cli
