// mvsms queue: what waits, what became of it, and what an operator does with a page.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "backends/posix/store/journal.h"
#include "backends/posix/store/queue.h"
#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/interrupt.h"
#include "cli/json.h"
#include "cli/posix/since.h"
#include "cli/posix/views.h"
#include "cli/posix/worker_file.h"
#include "media/bascommon.h"

namespace mvsms::cli {
namespace {

using dispatch::Moment;
using dispatch::OperatorAction;
using dispatch::PageState;
using dispatch::PageStates;
using dispatch::QueuedPage;
using posix::PageQueue;

constexpr PageStates kWaiting = {PageState::kReady,      PageState::kClaimed,  PageState::kDialling,
                                 PageState::kUnknown,    PageState::kOffering, PageState::kAtHub,
                                 PageState::kWithdrawing};
constexpr PageStates kOfInterest = {
    PageState::kReady,    PageState::kHeld,    PageState::kClaimed,
    PageState::kDialling, PageState::kUnknown, PageState::kParked,
    PageState::kOffering, PageState::kAtHub,   PageState::kWithdrawing};

struct QueueCommandOptions {
  std::vector<std::string> ids;
  std::vector<std::string> states;
  std::string timeout;
};

Json ShownMoment(Moment moment) {
  const bool none = moment == Moment{} || moment == dispatch::kNever;
  return none ? Json(nullptr) : Json(LocalMoment(SecondsOf(moment)));
}

Json ResultOf(const QueuedPage& queued) {
  if (!queued.result) return nullptr;
  return {{"outcome", dispatch::NameOf(queued.result->outcome)},
          {"reason", Utf8FromAnsi(queued.result->reason)},
          {"answer", Printable(Utf8FromAnsi(queued.result->answer))},
          {"modem", Utf8FromAnsi(queued.result->modem)}};
}

}  // namespace

Json PageJson(const QueuedPage& queued) {
  const dispatch::Page& page = queued.page;
  return {{"id", Utf8FromAnsi(page.id)},
          {"state", dispatch::NameOf(queued.state)},
          {"profile", Utf8FromAnsi(page.profile)},
          {"recipient", Utf8FromAnsi(page.recipient)},
          {"from", Utf8FromAnsi(page.originator)},
          {"text", Utf8FromAnsi(page.text)},
          {"service", Utf8FromAnsi(page.service)},
          {"then", Utf8FromAnsi(page.fallback)},
          {"priority", page.priority},
          {"arrived", ShownMoment(queued.arrived)},
          {"changed", ShownMoment(queued.changed)},
          {"not_before", ShownMoment(page.not_before)},
          {"expires", ShownMoment(page.expires)},
          {"attempts", queued.attempts},
          {"perhaps_twice", queued.perhaps_twice},
          {"more", queued.more},
          {"joined", Utf8FromAnsi(queued.joined)},
          {"last_result", ResultOf(queued)}};
}

Json StatsJson(const dispatch::QueueStats& stats) {
  Json json = Json::object();
  for (std::size_t i = 0; i < stats.size(); ++i) {
    const auto& [pages, oldest] = stats.at(i);
    json[std::string(dispatch::kPageStateNames.at(i))] = {
        {"pages", pages}, {"oldest", pages == 0 ? Json(nullptr) : ShownMoment(oldest)}};
  }
  return json;
}

namespace {

PageStates StatesOf(const std::vector<std::string>& names) {
  PageStates states;
  for (std::size_t i = 0; i < dispatch::kPageStateNames.size(); ++i) {
    const auto state = static_cast<PageState>(i);
    if (std::ranges::find(names, NameOf(state)) != names.end()) states |= state;
  }
  return states.empty() ? kOfInterest : states;
}

std::string Short(Moment moment) {
  std::string text = LocalMoment(SecondsOf(moment)).substr(0, 19);
  text[10] = ' ';
  return text;
}

void List(Context& context, const QueueCommandOptions& options) {
  std::vector<std::vector<std::string>> rows{
      {"ARRIVED", "ID", "STATE", "P", "TRIES", "TO", "SERVICE", "TEXT"}};
  Json json = Json::array();
  for (const QueuedPage& queued :
       PageQueue(context.home).List({.states = StatesOf(options.states)})) {
    const dispatch::Page& page = queued.page;
    json.push_back(PageJson(queued));
    rows.push_back({Short(queued.arrived), Utf8FromAnsi(page.id), std::string(NameOf(queued.state)),
                    std::to_string(page.priority), std::to_string(queued.attempts),
                    Utf8FromAnsi(page.recipient), Utf8FromAnsi(page.service),
                    Utf8FromAnsi(page.text)});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
  WorkerFile(context.home, context.profile).WarnOfUnserved(context);
}

QueuedPage Existing(Context& context, PageQueue& queue, const std::string& id) {
  auto found = queue.Find(AnsiFromUtf8(id));
  if (!found) {
    throw UsageError("there is no page \"" + Printable(id) + "\" in the queue of " + context.home);
  }
  return *std::move(found);
}

}  // namespace

Json TriesJson(const std::string& home, const QueuedPage& queued) {
  const std::string& id = queued.page.id;
  Json tries = Json::array();
  for (const posix::JournalEntry& entry : posix::Journal(home).Read(SecondsOf(queued.arrived), 0)) {
    if (entry.row.id.rfind(id + ".", 0) != 0) continue;
    tries.push_back({{"id", Utf8FromAnsi(entry.row.id)},
                     {"begun", LocalMoment(entry.begun)},
                     {"outcome", Utf8FromAnsi(entry.row.outcome)},
                     {"service", Utf8FromAnsi(entry.row.service)},
                     {"modem", Utf8FromAnsi(entry.row.modem)},
                     {"reason", Utf8FromAnsi(entry.row.reason)}});
  }
  return tries;
}

namespace {

void PrintMember(Context& context, const std::string& name, const Json& value) {
  if (value.is_null()) return;
  context.out << name << ": "
              << Printable(value.is_string() ? value.get<std::string>() : value.dump()) << '\n';
}

void Show(Context& context, const QueueCommandOptions& options) {
  PageQueue queue(context.home);
  const QueuedPage queued = Existing(context, queue, options.ids.front());
  Json json = PageJson(queued);
  json["tries"] = TriesJson(context.home, queued);
  if (context.json) return context.PrintJson(json);
  for (const auto& [name, value] : json.items()) {
    if (name != "last_result" && name != "tries") PrintMember(context, name, value);
  }
  for (const Json& one : json["tries"]) {
    const auto text = [&](const char* name) { return one.at(name).get<std::string>(); };
    context.out << Printable("try: " + text("begun") + "  " + text("outcome") + "  " +
                             text("service") + "  " + text("modem") + "  " + text("reason"))
                << '\n';
  }
}

void Operate(Context& context, const QueueCommandOptions& options, const OperatorAction& action) {
  PageQueue queue(context.home);
  for (const std::string& id : options.ids) Existing(context, queue, id);
  for (const std::string& id : options.ids) {
    const bool done = queue.Operate(AnsiFromUtf8(id), action);
    const QueuedPage page = Existing(context, queue, id);
    if (done && page.state == PageState::kWithdrawing) {
      context.Warn("the page " + Printable(id) +
                   " may be with other machines; it is cancelled unless one of them was sooner");
    }
    if (done) continue;
    context.Warn("the page " + Printable(id) + " is " + std::string(NameOf(page.state)) +
                 ", and stays so");
    context.exit_code = kExitFailed;
  }
}

void Stats(Context& context) {
  const dispatch::QueueStats stats = PageQueue(context.home).Stats();
  if (context.json) return context.PrintJson(StatsJson(stats));
  std::vector<std::vector<std::string>> rows{{"STATE", "PAGES", "OLDEST"}};
  for (std::size_t i = 0; i < stats.size(); ++i) {
    const auto& [pages, oldest] = stats.at(i);
    const std::string name(dispatch::kPageStateNames.at(i));
    rows.push_back({name, std::to_string(pages), pages == 0 ? "" : Short(oldest)});
  }
  context.PrintTable(rows);
}

/// Whether the page is on its way: due, on a line, or to be tried again. One for later is not.
bool IsOnItsWay(const QueuedPage& queued) {
  const bool tried = queued.state != PageState::kReady || queued.attempts > 0;
  return tried || queued.page.not_before <= posix::SystemNow();
}

bool Waits(Context& context) {
  return std::ranges::any_of(PageQueue(context.home).List({.states = kWaiting}), IsOnItsWay);
}

void Drain(Context& context, const QueueCommandOptions& options) {
  constexpr std::int32_t kLookMs = 200;
  constexpr long long kDay = 86400;
  const bool limited = !options.timeout.empty();
  const std::chrono::seconds most(limited ? ParseNumber("--timeout", options.timeout, 1, kDay) : 0);
  const InterruptWatch watch;
  const auto begun = context.platform().clock().Now();
  const auto over = [&] {
    return watch.Interrupted() || (limited && context.platform().clock().Now() - begun >= most);
  };
  bool waits = Waits(context);
  for (; waits && !over(); waits = Waits(context)) {
    basCommon::Pause(context.platform().loop(), kLookMs);
  }
  if (!waits) return;
  context.Warn("pages are still waiting; see 'mvsms queue list'");
  context.exit_code = static_cast<int>(dispatch::Exit::kRetry);
}

void AddOperation(Command& group, Context& context, const OperatorAction& action,
                  const std::string& what) {
  auto options = std::make_shared<QueueCommandOptions>();
  const std::string name = action.name;
  Command* const command =
      AddCommand(group, context, name, what,
                 "  mvsms queue " + name +
                     " 3f2a9c4d5e6f708192a3b4c5d6e7f809\n"
                     "Exit code: 0; 1 when a page was in another state, which it keeps.");
  command->AddOption("ID", options->ids, "Ids of pages")->Required();
  command->Callback([&context, options, &action] { Operate(context, *options, action); });
}

}  // namespace

void AddQueueCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "queue", "The pages that wait to be sent by the worker");
  auto options = std::make_shared<QueueCommandOptions>();

  Command* const list = AddCommand(
      *group, context, "list", "List the pages that are not done with",
      "  mvsms queue list\n"
      "  mvsms queue list --state parked --state unknown --json\n"
      "States: ready (waits for its turn), held, claimed and dialling (a line has it), accepted,\n"
      "unknown (it may have gone out), parked (nobody tries it again by himself), cancelled,\n"
      "expired, joined (it goes out with an earlier page of the same words), offering and at-hub\n"
      "(other machines may send it), withdrawing (cancelled, if none of them was sooner).");
  list->AddOption("--state", options->states, "Pages in this state; several are possible")
      ->OneValueEach()
      ->OneOf({dispatch::kPageStateNames.begin(), dispatch::kPageStateNames.end()});
  list->Callback([&context, options] { List(context, *options); });

  Command* const show = AddCommand(*group, context, "show", "Show a page with all its tries",
                                   "  mvsms queue show 3f2a9c4d5e6f708192a3b4c5d6e7f809");
  show->AddOption("ID", options->ids, "The page's id")->Required();
  show->Callback([&context, options] { Show(context, *options); });

  AddOperation(*group, context, dispatch::kCancelPage, "Cancel pages that are not on the line");
  AddOperation(*group, context, dispatch::kRetryPage, "Try pages again, at once");
  AddOperation(*group, context, dispatch::kHoldPage, "Hold pages back");
  AddOperation(*group, context, dispatch::kReleasePage, "Let held pages go");

  AddCommand(*group, context, "stats", "Count the pages by state", "  mvsms queue stats --json")
      ->Callback([&context] { Stats(context); });

  Command* const drain =
      AddCommand(*group, context, "drain", "Wait until no page is on its way any more",
                 "  mvsms queue drain --timeout 600\n"
                 "Exit code: 0; 75 when the time is over, or after Ctrl-C.");
  drain->AddOption("--timeout", options->timeout, "Wait at most so many seconds")
      ->TypeName("SECONDS");
  drain->Callback([&context, options] { Drain(context, *options); });
}

}  // namespace mvsms::cli
