// POSIX signals behind InterruptWatch.
#include "cli/interrupt.h"

#include <csignal>

namespace mvsms::cli {
namespace {

volatile std::sig_atomic_t first_signal = 0;

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

void Remember(int signal) {
  if (first_signal == 0) first_signal = signal;
}

bool IsIgnored(int signal) {
  struct sigaction action{};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void Install(int signal) {
  if (IsIgnored(signal)) return;  // as nohup wants it
  struct sigaction action{};
  action.sa_handler = Remember;
  // One signal only: the second one finds the default action.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

void Remove(int signal) {
  if (!IsIgnored(signal)) std::signal(signal, SIG_DFL);
}

}  // namespace

InterruptWatch::InterruptWatch() {
  first_signal = 0;
  for (const int signal : kSignals) Install(signal);
  std::signal(SIGPIPE, SIG_IGN);  // for good: the outcome, which comes afterwards, counts too
}

InterruptWatch::~InterruptWatch() {
  for (const int signal : kSignals) Remove(signal);
}

int InterruptWatch::Signal() const { return first_signal; }

}  // namespace mvsms::cli
