// mvsms profile: the sets of settings that hosts and commands choose by name.
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/mistyped.h"
#include "cli/store.h"
#include "engine/profile.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

struct ProfileOptions {
  std::string name;
  std::string copy;
};

using Run = void (*)(Context&, const ProfileOptions&);

void List(Context& context, const ProfileOptions&) {
  CheckReadable(context);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "SERVICES", "ROUTES", "DEFAULT SERVICE"}};
  for (const std::string& name : ProfileNames(context)) {
    ProfileStore store(context, Utf8FromAnsi(name));
    const std::string service = Utf8FromAnsi(store.Get(setting::kDefaultService));
    json.push_back({{"name", Utf8FromAnsi(name)},
                    {"services", store.Services().size()},
                    {"routes", store.Routes().size()},
                    {"default_service", service}});
    rows.push_back({Utf8FromAnsi(name), std::to_string(store.Services().size()),
                    std::to_string(store.Routes().size()), service.empty() ? "-" : service});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

std::string KeyOf(const std::string& utf8) {
  std::string profile = KeyName("profile", utf8);
  return BaseKey(profile);
}

ProfileStore Existing(Context& context, const std::string& name) {
  ProfileStore store(context, name);
  if (store.Exists()) return store;
  context.profile = name;
  throw UsageError(NoProfile(context));
}

void Copy(Context& context, const ProfileOptions& options) {
  const std::string from = KeyOf(options.name), to = KeyOf(options.copy);
  Existing(context, options.name);
  ProfileStore copy(context, options.copy);
  if (copy.Exists()) throw UsageError("there is a profile \"" + options.copy + "\" already");
  Registry& registry = context.platform().registry();
  const RegistryTree tree = ReadTree(registry, from);
  copy.Together([&] { WriteTree(registry, to, tree); });
}

void Delete(Context& context, const ProfileOptions& options) {
  const std::string key = KeyOf(options.name);
  Existing(context, options.name).Delete(key);
}

struct ProfileCommand {
  const char* name;
  const char* what;
  const char* example;
  bool takes_name;
  bool takes_copy;
  Run run;
};

constexpr ProfileCommand kCommands[] = {
    {"list", "List the profiles", "  mvsms profile list", false, false, List},
    {"copy", "Make a profile with the settings, services, routes and passwords of another one",
     "  mvsms profile copy Standard Alarms", true, true, Copy},
    {"delete", "Delete a profile with its services and routes", "  mvsms profile delete Alarms",
     true, false, Delete},
};

}  // namespace

void AddProfileCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "profile", "The sets of settings");
  const auto options = std::make_shared<ProfileOptions>();
  for (const ProfileCommand& entry : kCommands) {
    Command* const command = AddCommand(*group, context, entry.name, entry.what, entry.example);
    if (entry.takes_name) {
      command->AddOption("NAME", options->name, "Name of the profile")->Required();
    }
    if (entry.takes_copy) {
      command->AddOption("COPY", options->copy, "Name of the new one")->Required();
    }
    command->Callback([&context, options, run = entry.run] { run(context, *options); });
  }
}

}  // namespace mvsms::cli
