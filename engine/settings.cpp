// Reading the settings of a profile.
#include "engine/settings.h"

#include "base/raised_error.h"
#include "engine/profile.h"

namespace mvsms {

std::string BaseKey(std::string& HostAppName) {
  if (HostAppName.empty()) HostAppName = kStandardProfile;
  return std::string(kRootKey) + "\\" + HostAppName;
}

std::string ServicesKey(const std::string& base_key) { return base_key + "\\Services"; }

std::string ServiceKey(const std::string& base_key, const std::string& service) {
  return ServicesKey(base_key) + "\\" + service;
}

std::string RoutingKey(const std::string& base_key) { return base_key + "\\Routing"; }

std::string RouteKey(const std::string& base_key, const std::string& prefix) {
  return RoutingKey(base_key) + "\\" + prefix;
}

std::string GroupsKey(const std::string& base_key) { return base_key + "\\Groups"; }

std::string GroupKey(const std::string& base_key, const std::string& group) {
  return GroupsKey(base_key) + "\\" + group;
}

bool NamesDefaultModem(const std::string& modem) {
  return modem == "Default" || modem == "Standard";
}

bool GetSettings(Registry& registry, std::string& HostAppName, Settings& settings) {
  const Profile profile(registry, BaseKey(HostAppName));
  const OneReading reading(registry);
  try {
    settings.Retries = ToLeadingNumber(profile.Get(setting::kRetries));
    settings.DefaultModem = ToText(profile.Get(setting::kDefaultModem));
    settings.DefaultService = ToText(profile.Get(setting::kDefaultService));
    settings.ShowStatus = ToBoolean(profile.Get(setting::kShowStatus));
    settings.WriteLogfile = ToBoolean(profile.Get(setting::kWriteLogfile));
  } catch (const RaisedError&) {
    return false;
  }
  return !settings.DefaultModem.empty() && !settings.DefaultService.empty();
}

}  // namespace mvsms
