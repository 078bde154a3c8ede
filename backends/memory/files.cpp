// See files.h.
#include "backends/memory/files.h"

#include <algorithm>

#include "base/ansi.h"

namespace mvsms::memory {
namespace {

std::string FolderOf(const std::string& path) {
  const std::size_t end = path.find_last_of("\\/");
  return end == std::string::npos ? "" : path.substr(0, end);
}

std::array<std::string, 3> Folded(const std::string& application, const std::string& section,
                                  const std::string& key) {
  return {FoldCase(application), FoldCase(section), FoldCase(key)};
}

}  // namespace

bool MemoryTextFile::Append(const std::string& path, const std::string& text) {
  if (machine_.Refuses("TextFile.Append") || path.empty()) return false;
  const auto& folders = machine_.platform.folders;
  const bool writable =
      folders.empty() || std::find(folders.begin(), folders.end(), FolderOf(path)) != folders.end();
  if (writable) machine_.platform.files[path] += text;
  return writable;
}

bool MemoryTextFile::Read(const std::string& path, std::string& text) {
  if (machine_.Refuses("TextFile.Read")) RaiseFileAccess(path);
  const auto found = machine_.platform.files.find(path);
  if (found == machine_.platform.files.end()) return false;
  text = found->second;
  return true;
}

std::string MemoryUserSettings::GetSetting(const std::string& application,
                                           const std::string& section, const std::string& key,
                                           const std::string& fallback) {
  if (machine_.Refuses("UserSettings.GetSetting")) return fallback;
  const auto found = texts_.find(Folded(application, section, key));
  return found == texts_.end() ? fallback : found->second;
}

bool MemoryUserSettings::SaveSetting(const std::string& application, const std::string& section,
                                     const std::string& key, const std::string& value) {
  if (machine_.Refuses("UserSettings.SaveSetting")) return false;
  texts_[Folded(application, section, key)] = value;
  return true;
}

std::uint16_t MemoryLocale::UserLanguage() {
  machine_.Refuses("Locale.UserLanguage");
  return machine_.platform.language;
}

std::string MemoryLocale::ComponentFolder() {
  machine_.Refuses("Locale.ComponentFolder");
  return machine_.platform.component_folder;
}

char MemoryLocale::PathSeparator() {
  machine_.Refuses("Locale.PathSeparator");
  return '\\';
}

std::string MemoryLocale::ComponentName() {
  machine_.Refuses("Locale.ComponentName");
  return "mvSMS";
}

std::string MemoryLocale::ComponentVersion() {
  machine_.Refuses("Locale.ComponentVersion");
  return "1.0.0";
}

std::string MemoryLocale::HostTitle() {
  machine_.Refuses("Locale.HostTitle");
  return machine_.platform.host_title;
}

bool MemoryLocale::GetOsVersion(OsVersion& version) {
  if (machine_.Refuses("Locale.GetOsVersion")) return false;
  version = machine_.platform.os_version;
  return true;
}

}  // namespace mvsms::memory
