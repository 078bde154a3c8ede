// Waiting, before a send, until the modem is free that it will use.
#pragma once

#include <chrono>
#include <string>

#include "cli/context.h"
#include "cli/dry_run.h"
#include "cli/send_run.h"
#include "cli/system.h"
#include "engine/send_report.h"

namespace mvsms::cli {

class ModemWait {
 public:
  /// Throws UsageError when `options.wait` is no number of seconds.
  ModemWait(Context& context, const SendOptions& options);

  /// Returns when the modem is free, which it stays for a send of this process as long as this
  /// object exists, when it is of no use to wait, or when the time is up: then the send finds the
  /// modem in use and says so. Returns, too, soon after `aborted` has become true in an event.
  void Run(const bool& aborted);

  /// Whether a send that failed may succeed after another Run: it waited, and of the modems that
  /// its modem stands for none has dialled.
  bool IsWorthwhileAfter(const SendReport& report) const;

  /// The report of a send that was aborted in Run, before it began.
  SendReport Aborted() const;
  /// Who was in the way last, as a sentence; empty when nobody was.
  const std::string& obstacle() const { return obstacle_; }

 private:
  bool Comes(const bool& aborted);
  void Announce();

  Context& context_;
  const SendOptions& options_;
  std::chrono::seconds time_{0};
  std::chrono::milliseconds until_{0};  // by the clock; 0 before the first Run
  Way way_;
  std::chrono::milliseconds begun_;  // by the clock
  CalendarTime started_;
  ModemTurn turn_;
  std::string obstacle_;
};

}  // namespace mvsms::cli
