// The small services: text files, per-user settings, and the component's place.
#pragma once

#include <array>
#include <map>
#include <string>

#include "backends/memory/machine.h"

namespace mvsms::memory {

class MemoryTextFile : public TextFile {
 public:
  explicit MemoryTextFile(Machine& machine) : machine_(machine) {}
  bool Append(const std::string& path, const std::string& text) override;
  bool Read(const std::string& path, std::string& text) override;

 private:
  Machine& machine_;
};

/// Application, section and key compare without regard to case, as in the Windows registry.
class MemoryUserSettings : public UserSettings {
 public:
  explicit MemoryUserSettings(Machine& machine) : machine_(machine) {}
  std::string GetSetting(const std::string& application, const std::string& section,
                         const std::string& key, const std::string& fallback) override;
  bool SaveSetting(const std::string& application, const std::string& section,
                   const std::string& key, const std::string& value) override;

 private:
  Machine& machine_;
  std::map<std::array<std::string, 3>, std::string> texts_;
};

class MemoryLocale : public Locale {
 public:
  explicit MemoryLocale(Machine& machine) : machine_(machine) {}
  std::uint16_t UserLanguage() override;
  std::string ComponentFolder() override;
  char PathSeparator() override;
  std::string ComponentName() override;
  std::string ComponentVersion() override;
  std::string HostTitle() override;
  bool GetOsVersion(OsVersion& version) override;

 private:
  Machine& machine_;
};

}  // namespace mvsms::memory
