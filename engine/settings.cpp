// Reading the settings of a profile.
#include "engine/settings.h"

#include "base/raised_error.h"

namespace mvsms {

std::string BaseKey(std::string& HostAppName) {
  if (HostAppName.empty()) HostAppName = kStandardProfile;
  return std::string(kRootKey) + "\\" + HostAppName;
}

std::string ServicesKey(const std::string& base_key) { return base_key + "\\" + kServices; }

std::string ServiceKey(const std::string& base_key, const std::string& service) {
  return ServicesKey(base_key) + "\\" + service;
}

std::string RoutingKey(const std::string& base_key) { return base_key + "\\" + kRouting; }

std::string RouteKey(const std::string& base_key, const std::string& prefix) {
  return RoutingKey(base_key) + "\\" + prefix;
}

bool NamesDefaultModem(const std::string& modem) {
  return modem == "Default" || modem == "Standard";
}

bool GetSettings(Registry& registry, std::string& HostAppName, Settings& settings) {
  const std::string base_key = BaseKey(HostAppName);
  const auto read = [&](const char* name) {
    return basRegistry::GetValue(registry, kSettingsHive, base_key, name, {});
  };
  try {
    settings.Retries = ToLeadingNumber(read("Retries"));
    settings.DefaultModem = ToText(read("DefaultModem"));
    settings.DefaultService = ToText(read("DefaultService"));
    settings.ShowStatus = ToBoolean(read("ShowStatus"));
    settings.WriteLogfile = ToBoolean(read("WriteLogfile"));
  } catch (const RaisedError&) {
    return false;
  }
  return !settings.DefaultModem.empty() && !settings.DefaultService.empty();
}

}  // namespace mvsms
