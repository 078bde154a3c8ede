// mvsms route: which service serves which number prefix.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/store.h"
#include "engine/routing.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

struct RouteOptions {
  std::string prefix;
  std::string service;
  std::optional<std::string> fallback;  // empty: none
  bool or_replace = false;
};

using Run = void (*)(Context&, const RouteOptions&);

std::string ExistingRoute(ProfileStore& store, const std::string& utf8) {
  std::string prefix = KeyName("route", utf8);
  if (!store.Exists(store.Route(prefix))) throw UsageError("there is no route \"" + utf8 + "\"");
  return prefix;
}

Json ToJson(ProfileStore& store, const std::string& prefix) {
  const std::string route = store.Route(prefix);
  return {{"prefix", Utf8FromAnsi(prefix)},
          {"service", Utf8FromAnsi(store.Get(route, setting::kUseService))},
          {"then", Utf8FromAnsi(store.Get(route, setting::kFallbackService))}};
}

void List(Context& context, const RouteOptions&) {
  ProfileStore store = ExistingProfile(context);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"PREFIX", "SERVICE", "THEN"}};
  for (const std::string& prefix : store.Routes()) {
    const Json route = ToJson(store, prefix);
    const auto name = [&](const char* field) {
      const std::string service = route[field];
      return service.empty() ? "-" : service;
    };
    rows.push_back({route["prefix"], name("service"), name("then")});
    json.push_back(route);
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

void Show(Context& context, const RouteOptions& options) {
  ProfileStore store = ExistingProfile(context);
  const Json route = ToJson(store, ExistingRoute(store, options.prefix));
  if (context.json) return context.PrintJson(route);
  context.out << route["service"].get<std::string>() << '\n';
}

SettingValues LeadingTo(ProfileStore& store, const RouteOptions& options) {
  const std::string service = ExistingService(store, options.service);
  SettingValues values = {{setting::kUseService, TextValue(service)}};
  if (!options.fallback) return values;
  std::string fallback;
  if (!options.fallback->empty()) fallback = ExistingService(store, *options.fallback);
  if (FoldCase(fallback) == FoldCase(service)) {
    throw UsageError("--then must name another service than \"" + options.service + "\"");
  }
  values.emplace_back(setting::kFallbackService, TextValue(fallback));
  return values;
}

// A prefix is compared with a number in digits, so nothing else could ever match.
void Add(Context& context, const RouteOptions& options) {
  ProfileStore store(context);
  const std::string prefix = RoutePrefix(options.prefix);
  if (!options.or_replace && store.Exists(store.Route(prefix))) {
    throw UsageError("there is a route \"" + options.prefix +
                     "\" already; --or-replace changes it");
  }
  store.Add(store.Route(prefix), LeadingTo(store, options));
}

void Set(Context& context, const RouteOptions& options) {
  ProfileStore store(context);
  const std::string prefix = ExistingRoute(store, options.prefix);
  store.Set(store.Route(prefix), LeadingTo(store, options));
}

void Delete(Context& context, const RouteOptions& options) {
  ProfileStore store(context);
  store.Delete(store.Route(ExistingRoute(store, options.prefix)));
}

// The number as it would be dialled into the routing table, and where that leads.
void Test(Context& context, const RouteOptions& options) {
  ProfileStore store = ExistingProfile(context);
  Registry& registry = context.platform().registry();
  std::string profile = AnsiFromUtf8(context.profile);
  std::string address = AnsiFromUtf8(options.prefix);
  std::string reason = "the number is empty";
  const auto note = [&reason](std::int32_t, const std::string& text, const std::string&) {
    reason = Utf8FromAnsi(text);
  };
  const std::string number = FixAddress(registry, profile, address, note);
  if (number.empty()) {
    const bool plus = options.prefix.starts_with('+');
    throw UsageError(plus ? reason + "; " + kPlusHint : reason);
  }

  const std::string routed = FindService(registry, profile, number);
  const std::string service = routed.empty() ? store.Get(setting::kDefaultService) : routed;
  if (!service.empty() && !store.Exists(store.Service(service))) {
    throw Failure(Utf8FromAnsi(number) + " would go to the service \"" + Utf8FromAnsi(service) +
                  "\", which does not exist");
  }
  if (context.json) {
    return context.PrintJson({{"number", Utf8FromAnsi(number)},
                              {"service", Utf8FromAnsi(service)},
                              {"routed", !routed.empty()}});
  }
  context.out << Printable(Utf8FromAnsi(number)) << ": "
              << (service.empty() ? "no service" : Printable(Utf8FromAnsi(service)))
              << (routed.empty() ? " (no route; the default service)" : "") << '\n';
}

struct RouteCommand {
  const char* name;
  const char* what;
  const char* example;
  const char* argument;  // what the prefix is called; null for none
  bool takes_service;
  Run run;
};

constexpr RouteCommand kCommands[] = {
    {"list", "List the routes", "  mvsms route list", nullptr, false, List},
    {"show", "Print the service of a route", "  mvsms route show 0049171", "PREFIX", false, Show},
    {"add", "Route a number prefix to a service",
     "  mvsms route add 0049171 Pager\n"
     "The longest prefix that a number begins with wins; numbers are compared as digits, with 00\n"
     "for the international \"+\" while ReplacePlus is on. With --then, the queue sends every "
     "other\n"
     "try through a second service, and what waits for a modem that has failed.",
     "PREFIX", true, Add},
    {"set", "Route a prefix to another service", "  mvsms route set 0049171 City", "PREFIX", true,
     Set},
    {"delete", "Delete a route", "  mvsms route delete 0049171", "PREFIX", false, Delete},
    {"test", "Show which service a number would go to", "  mvsms route test \"+49 (171) 123-456\"",
     "NUMBER", false, Test},
};

}  // namespace

void AddRouteCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "route", "Which service serves which number prefix");
  const auto options = std::make_shared<RouteOptions>();
  for (const RouteCommand& entry : kCommands) {
    Command* const command = AddCommand(*group, context, entry.name, entry.what, entry.example);
    if (entry.argument != nullptr) {
      command->AddOption(entry.argument, options->prefix, "Number or prefix")->Required();
    }
    if (entry.takes_service) {
      command->AddOption("SERVICE", options->service, "Name of the service")->Required();
    }
    if (entry.takes_service) {
      command->AddOption("--then", options->fallback,
                         "The queue tries this service where the first has failed; '' for none");
    }
    if (entry.run == Add) {
      command->AddFlag("--or-replace", options->or_replace, "A route of this prefix is changed");
    }
    command->Callback([&context, options, run = entry.run] { run(context, *options); });
  }
}

}  // namespace mvsms::cli
