// Normalisation, prefix search and the reading of a service record.
#include "engine/routing.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "base/numbers.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "engine/profile.h"
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
std::string ProbeRoutes(Registry& registry, const std::string& base_key,
                        const std::string& address) {
  RegKey routing = 0;
  if (registry.OpenKey(kSettingsHive, RoutingKey(base_key), kKeyAllAccess, routing) !=
      kErrorSuccess) {
    return {};
  }
  const KeyCloser closer(registry, routing);
  std::string prefix = address.substr(0, kLongestKeyName);
  while (!prefix.empty() && !RouteExists(registry, routing, prefix)) prefix.pop_back();
  return prefix;
}

/// The same by comparing every route. Only this is exact for other characters than digits: the
/// store takes "A" and "a" for the same key and "\" for a step into one.
std::string SearchRoutes(Registry& registry, const std::string& base_key,
                         const std::string& address) {
  std::string best;
  for (const std::string& prefix : Profile(registry, base_key).Routes()) {
    if (address.starts_with(prefix) && prefix.size() > best.size()) best = prefix;
  }
  return best;
}

std::string CharacterAt(const std::string& text, std::size_t index) {
  return index < text.size() ? text.substr(index, 1) : std::string();
}

struct PrefixRules {
  bool replace_plus;
  bool add_country;
  std::string country;
};

PrefixRules ReadPrefixRules(Registry& registry, const std::string& base_key) {
  const Profile profile(registry, base_key);
  const OneReading reading(registry);
  return {ToBoolean(profile.Get(setting::kReplacePlus)),
          ToBoolean(profile.Get(setting::kAddCountry)), ToText(profile.Get(setting::kCountry))};
}

/// Reads the record, or throws RaisedError when a number cannot be read as one.
ServiceRecord ReadService(const SettingsKey& service) {
  ServiceRecord record;
  record.CountryCode = ToText(service.Get(setting::kCountryCode));
  record.Protocol = ToText(service.Get(setting::kProtocol));
  record.PhoneNumber = ToText(service.Get(setting::kPhoneNumber));
  record.Password = ToText(service.Get(setting::kPassword));
  record.MaxLength = ToLeadingNumber(service.Get(setting::kMaxLength));
  record.MaxMessages = ToWholeNumber(service.Get(setting::kMaxMessages));
  record.UCPCommand = ToText(service.Get(setting::kUCPCommand));
  record.MessageType = ToWholeNumber(service.Get(setting::kMessageType));
  record.TimeOut = ToLeadingNumber(service.Get(setting::kTimeOut));
  record.BaudRate = ToText(service.Get(setting::kBaudRate));
  record.ModemName = ToText(service.Get(setting::kModemName));
  const std::string framing = ToText(service.Get(setting::kModemSetting));
  record.DataBits = ToLeadingNumber(CharacterAt(framing, 0));
  record.Parity = CharacterAt(framing, 1);
  record.StopBits = ToLeadingNumber(CharacterAt(framing, 2));
  return record;
}

}  // namespace

std::string FixAddress(Registry& registry, std::string& HostAppName, std::string& Address,
                       const ErrorReport& report_error) {
  Address = Trim(Address);
  const PrefixRules rules = ReadPrefixRules(registry, BaseKey(HostAppName));

  std::string number = Address;
  if (rules.replace_plus && number.starts_with('+')) {
    number = ReplaceAll(number, "+", "00");
  } else if (rules.add_country && number.starts_with('0') && !number.starts_with("00")) {
    number.replace(0, 1, rules.country);
  }
  std::erase_if(number, [](char c) { return kSeparators.find(c) != std::string_view::npos; });
  if (AllDigits(number)) return number;
  report_error(kErrInvalidAddress, "The recipient address contains invalid characters: " + number,
               "Sender.FixAddress");
  return {};
}

std::string FindService(Registry& registry, std::string& HostAppName, const std::string& Address) {
  const std::string base_key = BaseKey(HostAppName);
  const OneReading reading(registry);
  const auto search = AllDigits(Address) ? ProbeRoutes : SearchRoutes;
  const std::string prefix = search(registry, base_key, Address);
  if (prefix.empty()) return {};
  return ToText(Profile(registry, base_key).Route(prefix).Get(setting::kUseService));
}

bool GetServiceInfo(Registry& registry, std::string& HostAppName, const Settings& settings,
                    ServiceRecord& record, std::string& ServiceName) {
  if (ServiceName.empty()) ServiceName = settings.DefaultService;
  const Profile profile(registry, BaseKey(HostAppName));
  const OneReading reading(registry);
  try {
    record = ReadService(profile.Service(ServiceName));
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
