// A modem is asked the way a call would open it; a call takes the way of every send, over a
// TAPILine.
#include "cli/posix/modem_test.h"

#include "backends/posix/line/line_check.h"
#include "backends/posix/line/line_trouble.h"
#include "base/ansi.h"
#include "cli/posix/state.h"
#include "media/apartment.h"
#include "media/tapiline.h"

namespace mvsms::cli {
namespace {

/// Why a modem cannot be used; one that can rests no more in its pools.
std::string ProblemOf(Context& context, const posix::LineConfig& modem) {
  std::string report;
  std::string problem = posix::TestLine(modem, report);
  posix::LineStore store = Lines(context);
  if (problem.empty() && store.RestsUntil(modem.name) != 0) store.SetRest(modem.name, 0);
  return problem;
}

std::string Finding(Context& context, const posix::LineConfig& modem, bool& answers) {
  const std::string problem = ProblemOf(context, modem);
  answers = problem.empty();
  return answers ? "the modem on " + modem.device + " answers" : problem;
}

std::string TestPool(Context& context, const posix::LineConfig& pool) {
  std::string findings;
  bool all_answer = true;
  for (const std::string& name : pool.members) {
    const auto member = Lines(context).Find(name);
    bool answers = false;
    findings += (findings.empty() ? "" : "; ") + Utf8FromAnsi(name) + ": " +
                (member ? Finding(context, *member, answers) : "there is no such modem");
    all_answer = all_answer && answers;
  }
  if (!all_answer) throw Failure(findings);
  return findings;
}

}  // namespace

std::string TestModem(Context& context, const posix::LineConfig& line) {
  if (line.kind == posix::LineKind::kPool) return TestPool(context, line);
  if (line.kind == posix::LineKind::kTcp) return "is a TCP line; test it with --dial host:port";
  bool answers = false;
  const std::string finding = Finding(context, line, answers);
  if (!answers) throw Failure(finding);
  return finding;
}

std::string TestCall(Context& context, const posix::LineConfig& line, const std::string& number) {
  std::string reasons;
  const auto note = [&](std::int32_t, const std::string&, const std::string& text) {
    reasons += "; " + Utf8FromAnsi(text);
  };
  Apartment apartment(context.platform());
  TAPILine call(apartment, note, {});
  call.PhoneNumber = number;
  call.SetParams("", "N", 8, 1, false);
  std::int32_t error = 0;
  std::string message;
  if (!call.SetDevice(line.name) || !call.Connect(error, message)) {
    const std::string trouble = posix::LastTrouble(line.name);
    throw Failure("no call to " + Utf8FromAnsi(number) + reasons +
                  (trouble.empty() ? "" : "; " + trouble));
  }
  call.Disconnect(error, message);
  return "connected to " + Utf8FromAnsi(number) + " and hung up";
}

}  // namespace mvsms::cli
