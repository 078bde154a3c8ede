// Clock, files, locale and user settings of the in-memory machine.
#pragma once

#include <map>
#include <string>
#include <tuple>

#include "platform/memory/machine.h"

namespace mvsms::memory {

class MemoryClock : public Clock {
 public:
  explicit MemoryClock(Machine& machine) : machine_(machine) {}
  Millis Now() override;
  std::string ShortDate() override;
  std::string TimeOfDay() override;

 private:
  Machine& machine_;
};

class MemoryTextFile : public TextFile {
 public:
  explicit MemoryTextFile(Machine& machine) : machine_(machine) {}
  bool Append(const std::string& path, const std::string& text) override;

 private:
  bool IsWritable(const std::string& path) const;
  Machine& machine_;
};

class MemoryLocale : public Locale {
 public:
  explicit MemoryLocale(Machine& machine) : machine_(machine) {}
  std::uint16_t UserLanguage() override;
  std::string ComponentFolder() override;
  char PathSeparator() override;
  std::string ComponentName() override;
  std::string ComponentVersion() override;

 private:
  Machine& machine_;
};

class MemoryUserSettings : public UserSettings {
 public:
  explicit MemoryUserSettings(Machine& machine) : machine_(machine) {}
  std::string GetSetting(const std::string& application, const std::string& section,
                         const std::string& key, const std::string& fallback) override;
  bool SaveSetting(const std::string& application, const std::string& section,
                   const std::string& key, const std::string& value) override;

 private:
  Machine& machine_;
  std::map<std::tuple<std::string, std::string, std::string>, std::string> settings_;
};

}  // namespace mvsms::memory
