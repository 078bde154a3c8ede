// mvsms hub: the queue that several machines share, as its operator sees it.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "backends/posix/hub/hub.h"
#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/posix/hub_access.h"
#include "cli/posix/since.h"
#include "cli/posix/views.h"
#include "cli/posix/worker_file.h"

namespace mvsms::cli {
namespace {

using dispatch::Machine;
using dispatch::Moment;
using posix::ServerHub;

}  // namespace

Json Utf8Words(const std::vector<std::string>& ansi) {
  Json words = Json::array();
  for (const std::string& word : ansi) words.push_back(Utf8FromAnsi(word));
  return words;
}

Json MachineJson(const Machine& machine) {
  return {{"name", Utf8FromAnsi(machine.name)},
          {"version", Utf8FromAnsi(machine.version)},
          {"services", Utf8Words(machine.services)},
          {"modems", machine.modems},
          {"free", machine.free},
          {"pages_at_hub", machine.at_hub},
          {"seen", LocalMoment(SecondsOf(machine.seen))},
          {"told", machine.told}};
}

namespace {

struct HubOptions {
  std::string at;
  bool anyway = false;
};

/// The hub, with the way to it.
struct Reached {
  Reached(Context& context, const HubOptions& options)
      : wire(HubWireOf(context, options.at)), hub(*wire) {}
  std::unique_ptr<posix::HubWire> wire;
  ServerHub hub;
};

void Init(Context& context, const HubOptions& options) {
  Reached reached(context, options);
  if (reached.hub.Version()) throw Failure("the hub is there already; see 'mvsms hub status'");
  reached.hub.Init();
  context.out << "The hub is made. Each machine gets a role of its own there that is a member of "
                 "mvsms_worker.\n";
}

void Upgrade(Context& context, const HubOptions& options) {
  Reached reached(context, options);
  reached.hub.Upgrade();
  context.out << "The hub has version " << reached.hub.Version().value_or(0) << ".\n";
}

void Release(Context& context, const HubOptions& options) {
  Reached reached(context, options);
  reached.hub.CheckVersion();
  std::string untold;
  for (const Machine& machine : reached.hub.Machines()) {
    if (!machine.told) untold += (untold.empty() ? "" : ", ") + Utf8FromAnsi(machine.name);
  }
  if (!untold.empty() && !options.anyway && !reached.hub.HeldBecause().empty()) {
    throw Failure("these machines have not told the hub yet what they know: " + Printable(untold) +
                  "; what they have sent may go out twice (--anyway releases it nevertheless)");
  }
  reached.hub.Release();
}

Json RestsJson(const dispatch::HubRests& rests) {
  return {
      {"unfetched", rests.unfetched},
      {"unfetched_since",
       rests.unfetched == 0 ? Json(nullptr) : Json(LocalMoment(SecondsOf(rests.unfetched_since)))},
      {"unknown_ten_minutes", rests.unknown},
      {"unserved", Utf8Words(rests.unserved)}};
}

std::string Listed(const Json& words) {
  std::string list;
  for (const Json& word : words) list += (list.empty() ? "" : ", ") + word.get<std::string>();
  return list;
}

void WarnOfRests(Context& context, const Json& rests) {
  if (const std::int64_t unknown = rests.at("unknown_ten_minutes"); unknown > 0) {
    context.Warn("pages that are unknown for more than ten minutes: " + std::to_string(unknown));
  }
  if (rests.at("unfetched") > 0) {
    context.Warn("results that the machines of their pages have not fetched: " +
                 rests.at("unfetched").dump() + ", the first of them since " +
                 rests.at("unfetched_since").get<std::string>());
  }
  for (const Json& service : rests.at("unserved")) {
    context.Warn(Printable(SentenceOfUnservedThere(service)));
  }
}

void PrintStatus(Context& context, const Json& status) {
  const std::string held = status.at("held");
  if (!held.empty()) {
    context.Warn("the hub gives nothing out: " + Printable(held) + "; see 'mvsms hub release'");
  }
  WarnOfRests(context, status.at("rests"));
  std::vector<std::vector<std::string>> pages{{"STATE", "PAGES", "OLDEST"}};
  for (const auto& [state, count] : status.at("pages").items()) {
    if (count.at("pages") == 0) continue;
    pages.push_back({state, count.at("pages").dump(), count.at("oldest").get<std::string>()});
  }
  if (pages.size() == 1) pages.push_back({"(none)", "0", ""});
  context.PrintTable(pages);
  std::vector<std::vector<std::string>> rows{
      {"MACHINE", "SILENT", "MODEMS", "FREE", "ITS PAGES", "VERSION", "SERVICES"}};
  if (!held.empty()) rows.front().emplace_back("HAS TOLD");
  for (const Json& machine : status.at("machines")) {
    rows.push_back({machine.at("name"), machine.at("seconds_silent").dump() + " s",
                    machine.at("modems").dump(), machine.at("free").dump(),
                    machine.at("pages_at_hub").dump(), machine.at("version"),
                    Listed(machine.at("services"))});
    if (!held.empty()) rows.back().emplace_back(machine.at("told") ? "yes" : "no");
  }
  context.out << '\n';
  context.PrintTable(rows);
}

void Status(Context& context, const HubOptions& options) {
  Reached reached(context, options);
  ServerHub& hub = reached.hub;
  hub.CheckVersion();
  const Moment now = hub.Now();
  const std::vector<Machine> machines = hub.Machines();
  Json status = {{"version", posix::kHubVersion},
                 {"held", Utf8FromAnsi(hub.HeldBecause())},
                 {"pages", StatsJson(hub.Stats())},
                 {"rests", RestsJson(hub.Rests(""))},
                 {"machines", Json::array()}};
  for (const Machine& machine : machines) {
    Json& added = status["machines"].emplace_back(MachineJson(machine));
    added["seconds_silent"] = SecondsOf(now) - SecondsOf(machine.seen);
  }
  if (context.json) return context.PrintJson(status);
  PrintStatus(context, status);
}

Command* AddHubAction(Command& group, Context& context, const std::string& name,
                      const std::string& what, const std::string& help,
                      void (*action)(Context&, const HubOptions&),
                      const std::shared_ptr<HubOptions>& options) {
  Command* const command = AddCommand(group, context, name, what, help);
  command->AddOption("--at", options->at, "Another way to the server than the setting Hub")
      ->TypeName("WORDS");
  command->Callback([&context, options, action] { action(context, *options); });
  return command;
}

}  // namespace

void AddHubCommand(Command& app, Context& context) {
  Command* const group =
      AddGroup(app, "hub", "The queue that several machines share, on a PostgreSQL server");
  AddHubAction(*group, context, "init", "Make the hub's tables and functions in a database",
               "  mvsms hub init --at 'host=db1 dbname=mvsms user=owner sslmode=verify-full'\n"
               "As the owner of the database, who may make roles. His password comes from\n"
               "~/.pgpass, or the file that PGPASSFILE names.",
               Init, std::make_shared<HubOptions>());
  AddHubAction(*group, context, "status", "Show pages, machines, and whether the hub is held",
               "  mvsms hub status --json\n"
               "SILENT: since a machine's worker has last spoken; it does every five seconds.",
               Status, std::make_shared<HubOptions>());
  auto release = std::make_shared<HubOptions>();
  AddHubAction(
      *group, context, "release", "Let a held hub give pages out again",
      "  mvsms hub release --at 'host=db1 dbname=mvsms user=owner'\n"
      "As the owner of the database, when every machine has told what it knew; 'mvsms hub\n"
      "status' says which have.",
      Release, release)
      ->AddFlag("--anyway", release->anyway, "Also while machines have not told it what they know");
  AddHubAction(*group, context, "upgrade", "Bring the hub to the version of this program",
               "  mvsms hub upgrade --at 'host=db1 dbname=mvsms user=owner'\n"
               "As the owner of the database.",
               Upgrade, std::make_shared<HubOptions>());
}

}  // namespace mvsms::cli
