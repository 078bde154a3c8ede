// Writing a settings profile the way the dialogs do, for tests of whatever reads it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include "engine/settings.h"

namespace mvsms::test {

class Profile {
 public:
  explicit Profile(Registry& registry, std::string name = "Standard")
      : registry_(registry), base_key_("Software\\MIRVALEN\\PAGOREX\\" + name) {}

  const std::string& base_key() const { return base_key_; }

  void Set(const std::string& name, const std::string& text) {
    Write(base_key_, name, text, RegType::kSz);
  }
  void Set(const std::string& name, std::int32_t number) {
    Write(base_key_, name, number, RegType::kDword);
  }
  void SetService(const std::string& service,
                  std::initializer_list<std::pair<const char*, const char*>> values) {
    for (const auto& [name, text] : values) {
      Write(base_key_ + "\\Services\\" + service, name, std::string(text), RegType::kSz);
    }
  }
  void Route(const std::string& prefix, const std::string& service) {
    Write(base_key_ + "\\Routing\\" + prefix, "UseService", service, RegType::kSz);
  }

 private:
  void Write(const std::string& key, const std::string& name, const Variant& value, RegType type) {
    basRegistry::SetValue(registry_, kSettingsHive, key, name, value, type);
  }

  Registry& registry_;
  std::string base_key_;
};

}  // namespace mvsms::test
