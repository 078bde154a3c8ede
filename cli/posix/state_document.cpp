// See state_document.h.
#include "cli/posix/state_document.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>

#include "base/ansi.h"
#include "cli/json.h"
#include "cli/posix/groups.h"
#include "cli/posix/modem_options.h"
#include "cli/posix/state.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/settings.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

using gateway::JoinedMembers;

constexpr char kFormat[] = "mvsms state";
constexpr int kVersion = 1;
constexpr char kModems[] = "modems";
constexpr char kProfiles[] = "profiles";
constexpr char kSettings[] = "settings";
constexpr char kServices[] = "services";
constexpr char kRoutes[] = "routes";
constexpr char kRouteService[] = "service";
constexpr char kRouteThen[] = "then";
constexpr char kGroups[] = "groups";

// --- reading the state

Json ValueOf(const ValueInfo& info, const std::string& ansi) {
  if (info.kind != ValueKind::kText && IsWholeNumber(ansi)) return std::stoll(ansi);
  return Utf8FromAnsi(ansi);
}

// The values that somebody has set; an empty text is none.
Json ValuesOf(ProfileStore& store, const std::string& key, std::span<const ValueInfo> values,
              Passwords passwords) {
  Json json = Json::object();
  for (const ValueInfo& info : values) {
    const std::string text = store.Get(key, info);
    const bool shown = !info.secret || passwords == Passwords::kIncluded;
    if (!text.empty() && shown) json[info.name] = ValueOf(info, text);
  }
  return json;
}

Json ServicesOf(ProfileStore& store, Passwords passwords) {
  Json json = Json::object();
  for (const std::string& name : store.Services()) {
    json[Utf8FromAnsi(name)] = ValuesOf(store, store.Service(name), kServiceValues, passwords);
  }
  return json;
}

Json RoutesOf(ProfileStore& store) {
  Json json = Json::object();
  for (const std::string& prefix : store.Routes()) {
    const std::string route = store.Route(prefix);
    const std::string service = Utf8FromAnsi(store.Get(route, setting::kUseService));
    const std::string then = Utf8FromAnsi(store.Get(route, setting::kFallbackService));
    Json& written = json[Utf8FromAnsi(prefix)];
    written = service;
    if (!then.empty()) written = {{kRouteService, service}, {kRouteThen, then}};
  }
  return json;
}

Json GroupsOf(ProfileStore& store) {
  Json json = Json::object();
  for (const std::string& name : store.Groups()) {
    Json& members = json[Utf8FromAnsi(name)] = Json::array();
    for (const std::string& member : MembersOf(store, name)) {
      members.push_back(Utf8FromAnsi(member));
    }
  }
  return json;
}

Json ModemsOf(Context& context) {
  Json json = Json::object();
  for (const posix::LineConfig& line : Lines(context).List()) {
    Json modem = ToJson(line);
    modem.erase("name");
    json[Utf8FromAnsi(line.name)] = modem;
  }
  return json;
}

// --- writing it

// A mistake whose place was told already.
class Misplaced : public UsageError {
  using UsageError::UsageError;
};

// A member of the document with its place in it.
class Part {
 public:
  Part(const Json& json, std::string place) : json_(json), place_(std::move(place)) {}

  const Json& json() const { return json_; }
  [[noreturn]] void Refuse(const std::string& why) const {
    throw Misplaced((place_.empty() ? "the document" : place_) + ": " + why);
  }
  bool Has(const char* name) const { return json_.contains(name); }

  /// Its members, in the document's order; it must be an object.
  std::vector<std::pair<std::string, Part>> Members() const {
    if (!json_.is_object()) Refuse("an object is wanted here");
    std::vector<std::pair<std::string, Part>> members;
    for (const auto& [name, value] : json_.items()) {
      members.emplace_back(name, Part(value, place_ + "/" + Escaped(name)));
    }
    return members;
  }
  /// The member of this name; an empty object when there is none.
  Part Member(const char* name) const {
    static const Json kNone = Json::object();
    const auto found = json_.find(name);
    return Part(found == json_.end() ? kNone : *found, place_ + "/" + name);
  }
  /// Refuses members of any other name.
  void Allow(const std::set<std::string>& names) const {
    for (const auto& [name, member] : Members()) {
      if (names.count(name) > 0) continue;
      std::string all;
      for (const std::string& allowed : names) all += (all.empty() ? "" : ", ") + allowed;
      member.Refuse("there is no such name here; there are " + all);
    }
  }
  /// A text, or a whole number as one.
  std::string Text() const {
    if (json_.is_string()) return json_.get<std::string>();
    if (json_.is_number_integer()) return json_.dump();
    Refuse("a text or a whole number is wanted here");
  }
  std::vector<std::string> Texts() const {
    const std::string wanted = "a list of texts is wanted here";
    if (!json_.is_array()) Refuse(wanted);
    std::vector<std::string> texts;
    for (const Json& item : json_) {
      if (!item.is_string()) Refuse(wanted);
      texts.push_back(item.get<std::string>());
    }
    return texts;
  }
  /// The texts of a list, with commas between them, as options have it.
  std::string List() const {
    std::string list;
    for (const std::string& text : Texts()) list += (list.empty() ? "" : ",") + text;
    return list;
  }

  /// Runs what may refuse the part, and says where it stands.
  template <typename Action>
  auto Do(Action action) const {
    try {
      return action();
    } catch (const Misplaced&) {
      throw;
    } catch (const UsageError& error) {
      Refuse(error.what());
    }
  }

 private:
  static std::string Escaped(const std::string& name) {
    std::string text;
    for (const char c : name) text += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return Printable(text);
  }

  const Json& json_;
  std::string place_;
};

std::set<std::string> Folded(const Part& part) {
  std::set<std::string> names;
  for (const auto& [name, member] : part.Members()) names.insert(FoldCase(AnsiFromUtf8(name)));
  return names;
}

using SettingValue = SettingValues::value_type;

// Nothing where the document says what is stored.
std::optional<SettingValue> Change(Context& context, ProfileStore& store, const std::string& key,
                                   const ValueInfo& info, const Part& member) {
  const std::string text = member.Text();
  if (Utf8FromAnsi(store.Get(key, info)) == text) return {};
  return SettingValue{info, CheckedValue(context, store, info, text)};
}

// The values of a key that differ from what is stored, checked.
SettingValues Changes(Context& context, ProfileStore& store, const std::string& key,
                      std::span<const ValueInfo> values, const Part& part) {
  SettingValues changes;
  for (const auto& member : part.Members()) {
    const auto change = member.second.Do([&] {
      return Change(context, store, key, FindValue(values, member.first), member.second);
    });
    if (change) changes.push_back(*change);
  }
  return changes;
}

bool Names(const Part& part, const ValueInfo& info) {
  const auto members = part.Members();
  return std::any_of(members.begin(), members.end(), [&](const auto& member) {
    return FoldCase(AnsiFromUtf8(member.first)) == FoldCase(info.name);
  });
}

void WriteService(Context& context, ProfileStore& store, const std::string& key, const Part& part,
                  bool prune) {
  const bool is_new = !store.Exists(key);
  if (is_new) store.Set(key, BlankService());
  for (const ValueInfo& info : kServiceValues) {
    const bool unnamed = prune && !is_new && !info.secret && !Names(part, info);
    if (unnamed) store.Set(key, {{info, InitialValue(info)}});
  }
  store.Set(key, Changes(context, store, key, kServiceValues, part));
}

void WriteServices(Context& context, ProfileStore& store, const Part& services, bool prune) {
  for (const auto& [name, part] : services.Members()) {
    const std::string service = part.Do([&, &utf8 = name] { return KeyName("service", utf8); });
    WriteService(context, store, store.Service(service), part, prune);
  }
}

/// One value of a route, unless it is there as it is wanted.
void WriteRouteValue(Context& context, ProfileStore& store, const std::string& prefix,
                     const ValueInfo& info, const std::string& service) {
  const std::string stored = store.Route(KeyName("route", prefix));
  if (store.Exists(stored) && Utf8FromAnsi(store.Get(stored, info)) == service) return;
  store.Set(store.Route(RoutePrefix(prefix)),
            {{info, CheckedValue(context, store, info, service)}});
}

/// A route is the name of its service, or an object that names the one for every other try too.
void WriteRoutes(Context& context, ProfileStore& store, const Part& routes) {
  for (const auto& [name, part] : routes.Members()) {
    part.Do([&, &prefix = name, &route = part] {
      const bool both = route.json().is_object();
      if (both) route.Allow({kRouteService, kRouteThen});
      const std::string service = both ? route.Member(kRouteService).Text() : route.Text();
      const bool has_fallback = both && route.Has(kRouteThen);
      WriteRouteValue(context, store, prefix, setting::kUseService, service);
      WriteRouteValue(context, store, prefix, setting::kFallbackService,
                      has_fallback ? route.Member(kRouteThen).Text() : "");
    });
  }
}

// A group may name one that comes later in the document.
void WriteGroups(Context& context, ProfileStore& store, const Part& groups) {
  for (const auto& [name, part] : groups.Members()) {
    part.Do([&, &utf8 = name, &group = part] {
      const std::string stored = KeyName("group", utf8);
      const SettingValues values = GroupValues(context, group.Texts());
      const bool same = JoinedMembers(MembersOf(store, stored)) == values.front().second.data;
      if (!same) store.Set(store.Group(stored), values);
    });
  }
}

void PruneKeys(ProfileStore& store, const Part& profile, const char* list,
               const std::vector<std::string>& names,
               std::string (ProfileStore::*key)(const std::string&) const) {
  if (!profile.Has(list)) return;
  const std::set<std::string> kept = Folded(profile.Member(list));
  for (const std::string& name : names) {
    if (kept.count(FoldCase(name)) == 0) store.Delete((store.*key)(name));
  }
}

void PruneProfile(ProfileStore& store, const Part& profile) {
  PruneKeys(store, profile, kGroups, store.Groups(), &ProfileStore::Group);
  PruneKeys(store, profile, kRoutes, store.Routes(), &ProfileStore::Route);
  PruneKeys(store, profile, kServices, store.Services(), &ProfileStore::Service);
  if (!profile.Has(kSettings)) return;
  for (const ValueInfo& info : kProfileValues) {
    if (!Names(profile.Member(kSettings), info)) store.Unset(info);
  }
}

void WriteProfile(Context& context, const std::string& name, const Part& profile, bool prune) {
  profile.Allow({kSettings, kServices, kRoutes, kGroups});
  ProfileStore store = profile.Do([&] { return ProfileStore(context, name); });
  WriteServices(context, store, profile.Member(kServices), prune);
  WriteRoutes(context, store, profile.Member(kRoutes));
  WriteGroups(context, store, profile.Member(kGroups));
  const Part settings = profile.Member(kSettings);
  for (const auto& [info, value] : Changes(context, store, store.key(), kProfileValues, settings)) {
    store.Set(info, value);
  }
  if (prune) PruneProfile(store, profile);
}

constexpr char kMembers[] = "members";

using LineOption = std::optional<std::string> LineOptions::*;
const std::map<std::string, LineOption> kLineOptions = {
    {"kind", &LineOptions::kind},
    {"device", &LineOptions::device},
    {"init", &LineOptions::init},
    {"dial", &LineOptions::dial},
    {"speed", &LineOptions::speed},
    {"framing", &LineOptions::framing},
    {"flow", &LineOptions::flow},
    {kMembers, &LineOptions::members},
    {"rest", &LineOptions::rest},
    {"ca", &LineOptions::ca},
    {"certificate", &LineOptions::certificate},
    {"key", &LineOptions::key},
    {"login", &LineOptions::login},
    {"password_file", &LineOptions::password_file}};

// The device need not be there: the same document may come before the modem.
LineOptions OptionsOf(const Part& modem) {
  std::set<std::string> names;
  for (const auto& [name, option] : kLineOptions) names.insert(name);
  modem.Allow(names);
  LineOptions options;
  options.force = true;
  for (const auto& [name, value] : modem.Members()) {
    options.*kLineOptions.at(name) = name == kMembers ? value.List() : value.Text();
  }
  return options;
}

void WriteModem(Context& context, const std::string& name, const Part& part) {
  part.Do([&] {
    CheckModemName(name);
    const auto stored = Lines(context).Find(AnsiFromUtf8(name));
    posix::LineConfig line;
    line.name = AnsiFromUtf8(name);
    if (!stored && !part.Has("kind")) part.Refuse("a new modem needs its kind");
    Json before = stored ? ToJson(*stored) : Json::object();
    before.erase("name");
    if (before == part.json()) return;
    PutModem(context, OptionsOf(part), stored.value_or(line));
  });
}

// Pools come after their members, wherever the document has them.
void WriteModems(Context& context, const Part& modems) {
  for (const bool pools : {false, true}) {
    for (const auto& [name, part] : modems.Members()) {
      if (part.Has(kMembers) == pools) WriteModem(context, name, part);
    }
  }
}

// Pools go before their members.
void PruneModems(Context& context, const Part& modems) {
  for (const bool pools : {true, false}) {
    for (const posix::LineConfig& line : Lines(context).List()) {
      if ((line.kind == posix::LineKind::kPool) != pools) continue;
      if (!modems.Has(Utf8FromAnsi(line.name).c_str())) DeleteModem(context, line.name);
    }
  }
}

void PruneProfiles(Context& context, const Part& profiles) {
  const std::set<std::string> kept = Folded(profiles);
  for (const std::string& name : ProfileNames(context)) {
    if (kept.count(FoldCase(name)) > 0) continue;
    ProfileStore store(context, Utf8FromAnsi(name));
    store.Delete(store.key());
  }
}

void CheckHead(const Part& document) {
  document.Allow({"format", "version", kModems, kProfiles});
  if (document.Has("format") && document.json()["format"] != kFormat) {
    document.Member("format").Refuse(std::string("\"") + kFormat + "\" is wanted here");
  }
  if (document.Has("version") && document.json()["version"] != kVersion) {
    document.Member("version").Refuse("this program knows version 1 only");
  }
}

bool IsSecret(const std::string& place) {
  const std::string name = place.substr(place.rfind('/') + 1);
  return std::any_of(kServiceValues.begin(), kServiceValues.end(),
                     [&](const ValueInfo& info) { return info.secret && info.name == name; });
}

// A value as JSON; "" where there is none. Of an object without members there is null.
std::string Raw(const Json& flat, const std::string& place) {
  const auto found = flat.find(place);
  return found == flat.end() || found->is_null() ? "" : found->dump();
}

std::string Shown(const Json& flat, const std::string& place) {
  const std::string raw = Raw(flat, place);
  return raw.empty() || !IsSecret(place) ? raw : std::string("\"") + kHiddenPassword + "\"";
}

}  // namespace

Json StateDocument(Context& context, Passwords passwords) {
  CheckReadable(context);
  Json profiles = Json::object();
  for (const std::string& name : ProfileNames(context)) {
    ProfileStore store(context, Utf8FromAnsi(name));
    profiles[Utf8FromAnsi(name)] = {
        {kSettings, ValuesOf(store, store.key(), kProfileValues, passwords)},
        {kServices, ServicesOf(store, passwords)},
        {kRoutes, RoutesOf(store)},
        {kGroups, GroupsOf(store)}};
  }
  return {{"format", kFormat},
          {"version", kVersion},
          {kModems, ModemsOf(context)},
          {kProfiles, profiles}};
}

void WriteState(Context& context, const Json& document, bool prune) {
  const Part whole(document, "");
  CheckHead(whole);
  const Part modems = whole.Member(kModems), profiles = whole.Member(kProfiles);
  WriteModems(context, modems);
  for (const auto& [name, part] : profiles.Members()) WriteProfile(context, name, part, prune);
  if (prune && whole.Has(kProfiles)) PruneProfiles(context, profiles);
  if (prune && whole.Has(kModems)) PruneModems(context, modems);
}

std::vector<Difference> Differences(const Json& before, const Json& after) {
  const Json old_values = before.flatten(), new_values = after.flatten();
  Json places = new_values;
  places.update(old_values);
  std::vector<Difference> differences;
  for (const auto& [place, value] : places.items()) {
    const Difference difference{place, Shown(old_values, place), Shown(new_values, place)};
    if (Raw(old_values, place) != Raw(new_values, place)) differences.push_back(difference);
  }
  return differences;
}

}  // namespace mvsms::cli
