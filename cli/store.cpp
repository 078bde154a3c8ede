// ProfileStore over the registry of the platform.
#include "cli/store.h"

#include <algorithm>

#include "base/ansi.h"
#include "cli/system.h"
#include "engine/basregistry.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

std::string ProfileKey(Context& context) {
  std::string profile = AnsiFromUtf8(context.profile);
  if (!profile.empty()) KeyName("profile", context.profile);
  return BaseKey(profile);
}

}  // namespace

void CheckReadable(Context& context) {
  const std::string problem = StoreProblem(context.home);
  if (!problem.empty()) throw Failure(problem);
}

void CheckWritable(Context& context) {
  const std::string problem = WriteProblem(context.home);
  if (!problem.empty()) throw Failure(problem);
}

ProfileStore::ProfileStore(Context& context)
    : context_(context), registry_(context.platform().registry()), base_key_(ProfileKey(context)) {
  CheckReadable(context);
}

void ProfileStore::PrepareToWrite() {
  if (!writable_) CheckWritable(context_);
  writable_ = true;
}

std::string ProfileStore::Path(const std::string& key) const {
  return key.empty() ? base_key_ : base_key_ + "\\" + key;
}

bool ProfileStore::Exists(const std::string& key) { return KeyExists(registry_, Path(key)); }

std::string ProfileStore::Get(const std::string& key, const std::string& name) {
  return ReadText(registry_, Path(key), name);
}

std::vector<std::string> ProfileStore::Keys(const std::string& key) {
  return KeyNames(registry_, Path(key));
}

void ProfileStore::Add(const std::string& key,
                       const std::vector<std::pair<std::string, RegistryValue>>& values) {
  PrepareToWrite();
  try {
    Set(key, values);
  } catch (const Failure&) {
    basRegistry::DeleteKey(registry_, kSettingsHive, Path(key));
    throw;
  }
}

void ProfileStore::Set(const std::string& key,
                       const std::vector<std::pair<std::string, RegistryValue>>& values) {
  PrepareToWrite();
  WriteTree(registry_, Path(key), {values, {}});
}

void ProfileStore::Delete(const std::string& key) {
  PrepareToWrite();
  if (!basRegistry::DeleteKey(registry_, kSettingsHive, Path(key))) {
    throw Failure("cannot delete the key \"" + Utf8FromAnsi(Path(key)) + "\"");
  }
}

std::string ServicePath(const std::string& service) {
  return std::string(kServices) + "\\" + service;
}

std::string RoutePath(const std::string& prefix) { return std::string(kRouting) + "\\" + prefix; }

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

std::string ExistingService(ProfileStore& store, const std::string& utf8) {
  std::string name = KeyName("service", utf8);
  if (!store.Exists(ServicePath(name))) throw UsageError("there is no service \"" + utf8 + "\"");
  return name;
}

}  // namespace mvsms::cli
