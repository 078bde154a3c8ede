// Small services, see small_services.h.
#include "platform/memory/small_services.h"

#include <cstdio>

namespace mvsms::memory {
namespace {

// The calendar's start, at a Now of zero.
constexpr std::chrono::sys_seconds kStart = std::chrono::sys_days{std::chrono::year{2026} / 1 / 2} +
                                            std::chrono::hours{3} + std::chrono::minutes{4} +
                                            std::chrono::seconds{5};

std::chrono::sys_seconds CalendarTime(Millis now) {
  return kStart + std::chrono::floor<std::chrono::seconds>(now);
}

/// Three numbers joined by a separator, each with at least two digits.
std::string Joined(long first, long second, long third, char separator) {
  char text[64];
  std::snprintf(text, sizeof text, "%02ld%c%02ld%c%02ld", first, separator, second, separator,
                third);
  return text;
}

}  // namespace

Millis MemoryClock::Now() {
  machine_.Refuses("Clock.Now");
  return machine_.now();
}

std::string MemoryClock::ShortDate() {
  machine_.Refuses("Clock.ShortDate");
  const std::chrono::year_month_day date{
      std::chrono::floor<std::chrono::days>(CalendarTime(machine_.now()))};
  return Joined(static_cast<int>(date.year()), static_cast<long>(unsigned{date.month()}),
                static_cast<long>(unsigned{date.day()}), '-');
}

std::string MemoryClock::TimeOfDay() {
  machine_.Refuses("Clock.TimeOfDay");
  const auto time = CalendarTime(machine_.now());
  const std::chrono::hh_mm_ss clock{time - std::chrono::floor<std::chrono::days>(time)};
  return Joined(clock.hours().count(), clock.minutes().count(),
                static_cast<long>(clock.seconds().count()), ':');
}

bool MemoryTextFile::IsWritable(const std::string& path) const {
  const auto& folders = machine_.platform().folders;
  if (folders.empty()) return true;
  const std::string folder = path.substr(0, path.find_last_of("\\/"));
  for (const std::string& writable : folders) {
    if (folder == writable) return true;
  }
  return false;
}

bool MemoryTextFile::Append(const std::string& path, const std::string& text) {
  if (machine_.Refuses("TextFile.Append") || !IsWritable(path)) return false;
  machine_.platform().files[path] += text;
  return true;
}

std::uint16_t MemoryLocale::UserLanguage() {
  machine_.Refuses("Locale.UserLanguage");
  return machine_.platform().language;
}

std::string MemoryLocale::ComponentFolder() {
  machine_.Refuses("Locale.ComponentFolder");
  return machine_.platform().component_folder;
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

std::string MemoryUserSettings::GetSetting(const std::string& application,
                                           const std::string& section, const std::string& key,
                                           const std::string& fallback) {
  if (machine_.Refuses("UserSettings.GetSetting")) return fallback;
  const auto found = settings_.find({application, section, key});
  return found == settings_.end() ? fallback : found->second;
}

bool MemoryUserSettings::SaveSetting(const std::string& application, const std::string& section,
                                     const std::string& key, const std::string& value) {
  if (machine_.Refuses("UserSettings.SaveSetting")) return false;
  settings_[{application, section, key}] = value;
  return true;
}

}  // namespace mvsms::memory
