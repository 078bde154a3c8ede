// ProfileStore over the registry of the platform.
#include "cli/store.h"

#include <algorithm>

#include "base/ansi.h"
#include "cli/mistyped.h"
#include "cli/setting_rules.h"
#include "cli/system.h"
#include "engine/profile.h"

namespace mvsms::cli {
namespace {

std::string ProfileKey(const std::string& utf8) {
  std::string profile = AnsiFromUtf8(utf8);
  if (!profile.empty()) KeyName("profile", utf8);
  return BaseKey(profile);
}

// Stands while changes are made together: the checks of the store would wait for their end.
class WritingMark {
 public:
  explicit WritingMark(Context& context) : context_(context), before_(context.writing) {
    context_.writing = true;
  }
  ~WritingMark() { context_.writing = before_; }
  WritingMark(const WritingMark&) = delete;
  WritingMark& operator=(const WritingMark&) = delete;

 private:
  Context& context_;
  const bool before_;
};

}  // namespace

void CheckReadable(Context& context) {
  if (context.writing) return;
  bool passes = false;
  const std::string problem = StoreProblem(context.home, passes);
  if (passes) throw Busy(problem);
  if (!problem.empty()) throw Failure(problem);
}

void CheckWritable(Context& context) {
  if (context.writing) return;
  const std::string problem = WriteProblem(context.home);
  if (!problem.empty()) throw Failure(problem);
}

ProfileStore::ProfileStore(Context& context) : ProfileStore(context, context.profile) {}

ProfileStore::ProfileStore(Context& context, const std::string& profile)
    : context_(context), registry_(context.platform().registry()), base_key_(ProfileKey(profile)) {
  CheckReadable(context);
}

std::vector<std::string> ProfileStore::Services() {
  return KeyNames(registry_, ServicesKey(base_key_));
}

std::vector<std::string> ProfileStore::Routes() {
  return KeyNames(registry_, RoutingKey(base_key_));
}

std::vector<std::string> ProfileStore::Groups() {
  return KeyNames(registry_, GroupsKey(base_key_));
}

std::string ProfileStore::Service(const std::string& name) const {
  return ServiceKey(base_key_, name);
}

std::string ProfileStore::Route(const std::string& prefix) const {
  return RouteKey(base_key_, prefix);
}

std::string ProfileStore::Group(const std::string& name) const { return GroupKey(base_key_, name); }

bool ProfileStore::Exists() { return Exists(base_key_); }

bool ProfileStore::Exists(const std::string& key) { return KeyExists(registry_, key); }

std::string ProfileStore::Get(const ValueInfo& info) { return Get(base_key_, info); }

std::string ProfileStore::Get(const std::string& key, const ValueInfo& info) {
  return ReadText(registry_, key, info.name);
}

void ProfileStore::Together(const std::function<void()>& changes) {
  CheckWritable(context_);
  const WritingMark mark(context_);
  WriteTogether(context_, changes);
}

void ProfileStore::Add(const std::string& key, const SettingValues& values,
                       const std::function<void()>& follow) {
  if (Exists(key)) {
    return Together([&] {
      Set(key, values);
      follow();
    });
  }
  Together([&] {
    try {
      Set(key, values);
      follow();
    } catch (const std::exception&) {
      SettingsKey(registry_, key).Delete();
      throw;
    }
  });
}

void ProfileStore::Set(const ValueInfo& info, const RegistryValue& value) {
  Set(base_key_, {{info, value}});
}

void ProfileStore::Set(const std::string& key, const SettingValues& values) {
  RegistryTree tree;
  for (const auto& [info, value] : values) tree.values.emplace_back(info.name, value);
  Together([&] { WriteTree(registry_, key, tree); });
}

void ProfileStore::Unset(const ValueInfo& info) {
  CheckWritable(context_);
  DeleteValue(registry_, base_key_, info.name);
}

void ProfileStore::Move(const std::string& from, const std::string& to,
                        const std::function<void()>& follow) {
  const RegistryTree tree = ReadTree(registry_, from);
  const bool same_place = FoldCase(from) == FoldCase(to);
  Together([&] {
    try {
      if (same_place) Delete(from);
      WriteTree(registry_, to, tree);
      follow();
      if (!same_place) Delete(from);
    } catch (const std::exception&) {
      // Where nothing is taken back by itself, the command can be given again.
      if (!same_place) SettingsKey(registry_, to).Delete();
      throw;
    }
  });
}

void ProfileStore::Delete(const std::string& key) {
  CheckWritable(context_);
  if (!SettingsKey(registry_, key).Delete()) {
    throw Failure("cannot delete the key \"" + Utf8FromAnsi(key) + "\"");
  }
}

std::string SettingOrInitial(Context& context, const ValueInfo& info) {
  std::string profile = AnsiFromUtf8(context.profile);
  return ToText(Profile(context.platform().registry(), BaseKey(profile)).GetOrInitial(info));
}

std::vector<std::string> ProfileNames(Context& context) {
  return KeyNames(context.platform().registry(), kRootKey);
}

ProfileStore ExistingProfile(Context& context) {
  ProfileStore store(context);
  const std::string profile = AnsiFromUtf8(context.profile);
  const bool standard = profile.empty() || FoldCase(profile) == FoldCase(kStandardProfile);
  if (!standard && !store.Exists()) throw UsageError(NoProfile(context));
  return store;
}

std::string KeyName(const std::string& what, const std::string& utf8) {
  if (!HasAnsiForm(utf8)) {
    throw UsageError("the name \"" + Printable(utf8) + "\" has characters outside Windows-1252");
  }
  std::string name = AnsiFromUtf8(utf8);
  const bool unfit = std::any_of(name.begin(), name.end(), [](char c) {
    return c == '\\' || static_cast<unsigned char>(c) < ' ';
  });
  if (name.empty() || unfit || name.size() > kLongestKeyName) {
    throw UsageError("\"" + Printable(utf8) + "\" cannot be the name of a " + what);
  }
  return name;
}

std::string RoutePrefix(const std::string& utf8) {
  std::string prefix = KeyName("route", utf8);
  if (prefix.find_first_not_of("0123456789") != std::string::npos) {
    throw UsageError("the prefix \"" + Printable(utf8) +
                     "\" must be digits, with 00 for the international \"+\"");
  }
  return prefix;
}

SettingValues BlankService() {
  SettingValues values;
  for (const ValueInfo& info : kServiceValues) values.emplace_back(info, InitialValue(info));
  return values;
}

std::string ExistingService(ProfileStore& store, const std::string& utf8) {
  std::string name = KeyName("service", utf8);
  if (!store.Exists(store.Service(name))) {
    throw UsageError("there is no service \"" + utf8 + "\"" + DidYouMean(name, store.Services()));
  }
  return name;
}

}  // namespace mvsms::cli
