// See modem_wait.h.
#include "cli/modem_wait.h"

#include <ostream>

#include "base/ansi.h"
#include "media/bascommon.h"

namespace mvsms::cli {
namespace {

constexpr std::int32_t kLookMs = 100;
constexpr long long kLongestWait = 86400;

}  // namespace

ModemWait::ModemWait(Context& context, const SendOptions& options)
    : context_(context),
      options_(options),
      begun_(context.platform().clock().Now()),
      started_(context.platform().clock().LocalTime()) {
  if (options.wait.empty()) return;
  time_ = std::chrono::seconds(ParseNumber("--wait", options.wait, 1, kLongestWait));
}

void ModemWait::Run(const bool& aborted) {
  if (time_.count() == 0) return;
  Clock& clock = context_.platform().clock();
  if (until_.count() == 0) until_ = clock.Now() + time_;
  way_ = Foresee(context_, {options_.to, options_.from, options_.service, options_.text});
  if (!way_.obstacle.empty()) return;  // the send will say the same, without waiting for it
  turn_ = TurnFor(context_, way_.service.ModemName);
  if (!Comes(aborted)) turn_ = nullptr;
}

bool ModemWait::Comes(const bool& aborted) {
  Clock& clock = context_.platform().clock();
  obstacle_ = turn_();
  if (!obstacle_.empty()) Announce();
  while (!obstacle_.empty() && !aborted && clock.Now() < until_) {
    basCommon::Pause(context_.platform().loop(), kLookMs);
    obstacle_ = turn_();
  }
  return obstacle_.empty();
}

void ModemWait::Announce() {
  if (context_.json || options_.quiet) return;
  context_.out << Printable("Waiting for the modem " + Utf8FromAnsi(way_.service.ModemName) + ". " +
                            obstacle_)
               << std::endl;
}

bool ModemWait::IsWorthwhileAfter(const SendReport& report) const {
  return turn_ && !report.result && report.step == SendStep::kCall &&
         NoMemberDialled(context_, report.modem);
}

SendReport ModemWait::Aborted() const {
  SendReport report;
  report.step = SendStep::kCall;
  report.aborted = true;
  report.service = way_.service.Name;
  report.protocol = way_.service.Protocol;
  report.modem = way_.service.ModemName;
  report.started = started_;
  report.ended = context_.platform().clock().LocalTime();
  report.duration = std::chrono::duration_cast<std::chrono::milliseconds>(
      context_.platform().clock().Now() - begun_);
  return report;
}

}  // namespace mvsms::cli
