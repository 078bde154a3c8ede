// The settings of a profile: where they lie in the store, which values there are, and the ones that
// every send loads. The tables are the one place that names a value with its type and what it is
// when nobody has set it; whatever shows, writes or checks settings goes by them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "engine/basregistry.h"
#include "platform/registry.h"

namespace mvsms {

/// The hive of every setting, and the key that holds the profiles.
inline constexpr RegKey kSettingsHive = kHKeyLocalMachine;
inline constexpr char kRootKey[] = "Software\\MIRVALEN\\PAGOREX";
/// The profile of a host that has no name.
inline constexpr char kStandardProfile[] = "Standard";

/// Key of the profile named `HostAppName`; an empty name becomes "Standard" in the caller's
/// variable too.
std::string BaseKey(std::string& HostAppName);
/// The keys below a profile key that hold its services and its routes.
inline constexpr char kServices[] = "Services";
inline constexpr char kRouting[] = "Routing";
/// Keys by their profile's key: all services, one service, all routes, one route.
std::string ServicesKey(const std::string& base_key);
std::string ServiceKey(const std::string& base_key, const std::string& service);
std::string RoutingKey(const std::string& base_key);
std::string RouteKey(const std::string& base_key, const std::string& prefix);
/// The one value of a route: the name of the service that serves the prefix.
inline constexpr char kUseService[] = "UseService";

enum class ValueKind {
  kText,
  kNumber,
  kSwitch,  // 0 or 1
};

struct ValueInfo {
  const char* name;
  ValueKind kind;
  RegType type;         // how it is written
  const char* initial;  // as a dialog shows it when absent, or as a blank service starts with
  const char* meaning;
};

/// The values of a profile.
inline constexpr std::array<ValueInfo, 9> kGlobalValues{{
    {"ReplacePlus", ValueKind::kSwitch, RegType::kDword, "1",
     "write a recipient's leading \"+\" as \"00\""},
    {"AddCountry", ValueKind::kSwitch, RegType::kDword, "0",
     "write Country in place of a recipient's single leading \"0\""},
    {"Country", ValueKind::kText, RegType::kSz, "", "text that replaces the leading \"0\""},
    {"Retries", ValueKind::kNumber, RegType::kDword, "3", "number of attempts, for the host"},
    {"RetryDelay", ValueKind::kNumber, RegType::kDword, "1",
     "minutes between attempts, for the host"},
    {"DefaultModem", ValueKind::kText, RegType::kSz, "", "modem of services that name none"},
    {"DefaultService", ValueKind::kText, RegType::kSz, "",
     "service of recipients that no route serves"},
    {"ShowStatus", ValueKind::kSwitch, RegType::kDword, "0", "show the status window"},
    {"WriteLogfile", ValueKind::kSwitch, RegType::kDword, "0", "write the send log"},
}};

/// The values of a service, in the order in which they are written.
inline constexpr std::array<ValueInfo, 12> kServiceValues{{
    {"CountryCode", ValueKind::kText, RegType::kSz, "", "country code of the service"},
    {"Protocol", ValueKind::kText, RegType::kSz, "TAP", "TAP or UCP"},
    {"PhoneNumber", ValueKind::kText, RegType::kSz, "", "number of the message centre's modem"},
    {"Password", ValueKind::kText, RegType::kSz, "", "access password; for TAP, empty is PG1"},
    {"MaxLength", ValueKind::kNumber, RegType::kSz, "160", "characters per piece of a message"},
    {"MaxMessages", ValueKind::kNumber, RegType::kSz, "1", "pieces per call"},
    {"UCPCommand", ValueKind::kText, RegType::kSz, "", "UCP operation, 01 or 51"},
    {"MessageType", ValueKind::kNumber, RegType::kSz, "3", "2 numeric, 3 alphanumeric"},
    {"TimeOut", ValueKind::kNumber, RegType::kSz, "2000",
     "milliseconds to wait for an answer (UCP), before a message (TAP)"},
    {"BaudRate", ValueKind::kText, RegType::kSz, "Auto",
     "port speed; Auto and ISDN leave it to the modem"},
    {"ModemSetting", ValueKind::kText, RegType::kSz, "7E1",
     "data bits, parity letter, stop bits: three characters"},
    {"ModemName", ValueKind::kText, RegType::kSz, "", "modem; empty is DefaultModem"},
}};

/// Whether a service's modem of this name is the default one: the entry that the dialogs offer for
/// it, in either language.
bool NamesDefaultModem(const std::string& modem);

/// What a sender loads at the start of every send.
struct Settings {
  std::string DefaultModem;
  std::string DefaultService;
  std::int32_t Retries = 0;  // kept for the host: nothing is dialled twice
  bool ShowStatus = false;
  bool WriteLogfile = false;
};

/// Loads the profile's settings. True when it names both a modem and a service to fall back on.
/// False also when a value cannot be read as what it should be; the values after it then keep
/// what they were.
bool GetSettings(Registry& registry, std::string& HostAppName, Settings& settings);

}  // namespace mvsms
