// The per-user settings store: texts by application, section and key, which compare without regard
// to case.
#pragma once

#include <string>

namespace mvsms {

class UserSettings {
 public:
  virtual ~UserSettings() = default;
  /// The stored text, or `fallback` when there is none.
  virtual std::string GetSetting(const std::string& application, const std::string& section,
                                 const std::string& key, const std::string& fallback) = 0;
  /// Stores a text; false when it could not be written.
  virtual bool SaveSetting(const std::string& application, const std::string& section,
                           const std::string& key, const std::string& value) = 0;
};

}  // namespace mvsms
