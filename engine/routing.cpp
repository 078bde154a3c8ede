// Normalisation, prefix search and the reading of a service record.
#include "engine/routing.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "base/numbers.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "engine/basregistry.h"
#include "platform/registry_key.h"

namespace mvsms {
namespace {

constexpr std::string_view kSeparators = "-/ ()";

bool RouteExists(Registry& registry, RegKey routing, const std::string& prefix) {
  RegKey route = 0;
  const RegStatus status = registry.OpenKey(routing, prefix, kMaximumAllowed, route);
  if (status == kErrorSuccess) registry.CloseKey(route);
  return status != kErrorFileNotFound;  // a route that may not be opened is one all the same
}

/// Asks the store for each prefix, the longest first, instead of listing a table of any size.
std::string ProbeRoutes(Registry& registry, const std::string& routing_key,
                        const std::string& address) {
  RegKey routing = 0;
  if (registry.OpenKey(kSettingsHive, routing_key, kKeyAllAccess, routing) != kErrorSuccess) {
    return {};
  }
  const KeyCloser closer(registry, routing);
  std::string prefix = address.substr(0, kLongestKeyName);
  while (!prefix.empty() && !RouteExists(registry, routing, prefix)) prefix.pop_back();
  return prefix;
}

/// The same by comparing every route. Only this is exact for other characters than digits: the
/// store takes "A" and "a" for the same key and "\" for a step into one.
std::string SearchRoutes(Registry& registry, const std::string& routing_key,
                         const std::string& address) {
  std::string best;
  for (const std::string& prefix : basRegistry::EnumKeys(registry, kSettingsHive, routing_key)) {
    if (address.starts_with(prefix) && prefix.size() > best.size()) best = prefix;
  }
  return best;
}

std::string CharacterAt(const std::string& text, std::size_t index) {
  return index < text.size() ? text.substr(index, 1) : std::string();
}

/// Reads the record, or throws RaisedError when a number cannot be read as one.
ServiceRecord ReadService(Registry& registry, const std::string& key) {
  const auto read = [&](const char* name) {
    return basRegistry::GetValue(registry, kSettingsHive, key, name, {});
  };
  ServiceRecord record;
  record.CountryCode = ToText(read("CountryCode"));
  record.Protocol = ToText(read("Protocol"));
  record.PhoneNumber = ToText(read("PhoneNumber"));
  record.Password = ToText(read("Password"));
  record.MaxLength = ToLeadingNumber(read("MaxLength"));
  record.MaxMessages = ToWholeNumber(read("MaxMessages"));
  record.UCPCommand = ToText(read("UCPCommand"));
  record.MessageType = ToWholeNumber(read("MessageType"));
  record.TimeOut = ToLeadingNumber(read("TimeOut"));
  record.BaudRate = ToText(read("BaudRate"));
  record.ModemName = ToText(read("ModemName"));
  const std::string framing = ToText(read("ModemSetting"));
  record.DataBits = ToLeadingNumber(CharacterAt(framing, 0));
  record.Parity = CharacterAt(framing, 1);
  record.StopBits = ToLeadingNumber(CharacterAt(framing, 2));
  return record;
}

}  // namespace

std::string FixAddress(Registry& registry, std::string& HostAppName, std::string& Address,
                       const ErrorReport& report_error) {
  Address = Trim(Address);
  const std::string base_key = BaseKey(HostAppName);
  const auto read = [&](const char* name) {
    return basRegistry::GetValue(registry, kSettingsHive, base_key, name, {});
  };
  const bool replace_plus = ToBoolean(read("ReplacePlus"));
  const bool add_country = ToBoolean(read("AddCountry"));
  const std::string country = ToText(read("Country"));

  std::string number = Address;
  if (replace_plus && number.starts_with('+')) {
    number = ReplaceAll(number, "+", "00");
  } else if (add_country && number.starts_with('0') && !number.starts_with("00")) {
    number.replace(0, 1, country);
  }
  std::erase_if(number, [](char c) { return kSeparators.find(c) != std::string_view::npos; });
  if (AllDigits(number)) return number;
  report_error(kErrInvalidAddress, "The recipient address contains invalid characters: " + number,
               "Sender.FixAddress");
  return {};
}

std::string FindService(Registry& registry, std::string& HostAppName, const std::string& Address) {
  const std::string base_key = BaseKey(HostAppName);
  const auto search = AllDigits(Address) ? ProbeRoutes : SearchRoutes;
  const std::string prefix = search(registry, RoutingKey(base_key), Address);
  if (prefix.empty()) return {};
  return ToText(
      basRegistry::GetValue(registry, kSettingsHive, RouteKey(base_key, prefix), kUseService, {}));
}

bool GetServiceInfo(Registry& registry, std::string& HostAppName, const Settings& settings,
                    ServiceRecord& record, std::string& ServiceName) {
  if (ServiceName.empty()) ServiceName = settings.DefaultService;
  const std::string base_key = BaseKey(HostAppName);
  try {
    record = ReadService(registry, ServiceKey(base_key, ServiceName));
  } catch (const RaisedError&) {
    return false;
  }
  record.Name = ServiceName;
  std::string& modem = record.ModemName;
  if (modem.empty() || NamesDefaultModem(modem)) modem = settings.DefaultModem;
  if (record.BaudRate == "Auto" || record.BaudRate == "ISDN") record.BaudRate.clear();
  return true;
}

}  // namespace mvsms
