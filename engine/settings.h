// The settings of a profile: where they lie in the store, which values there are, and the ones that
// every send loads. The rows of `setting` are the one place that names a value, with its type, what
// it is when nobody has set it, and what it may be; whatever reads, shows, writes or checks
// settings goes by them (engine/profile.h). A row misspelt does not compile.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

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
/// Keys by their profile's key: all services, one service, all routes, one route, all
/// groups, one group.
std::string ServicesKey(const std::string& base_key);
std::string ServiceKey(const std::string& base_key, const std::string& service);
std::string RoutingKey(const std::string& base_key);
std::string RouteKey(const std::string& base_key, const std::string& prefix);
std::string GroupsKey(const std::string& base_key);
std::string GroupKey(const std::string& base_key, const std::string& group);

enum class ValueKind {
  kText,
  kNumber,
  kSwitch,  // 0 or 1
};

/// What a value must be beyond its kind. The engine and the dialogs take whatever is stored or
/// typed; the command, whose user does not see the value standing there, refuses what breaks this.
enum class ValueRule {
  kNone,
  kDigits,
  kChoice,          // one of `choices`
  kOneOfEach,       // a character out of each of `choices`, in their order
  kBaudRate,        // one of `choices`, or a speed of serial ports
  kDialled,         // empty, what a modem can dial, or host:port
  kModem,           // empty, or a modem that the system has
  kModemOrDefault,  // the same, or a name of the default modem, which is stored as empty
  kService,         // empty, or a service of the profile
  kPauses,          // whole numbers with blanks between them
  kWebAddress,      // empty, or http or https to a host
  kServer,          // empty, or words such as host=a dbname=b, without a password
};

/// One setting. Values that bear the same name are the same setting.
struct ValueInfo {
  const char* name;
  ValueKind kind = ValueKind::kText;
  RegType type = RegType::kSz;  // how it is written
  const char* initial = "";  // as a dialog shows it when absent, or as a blank service starts with
  const char* meaning = "";
  bool secret = false;  // shown to nobody who does not ask for it
  ValueRule rule = ValueRule::kNone;
  std::array<const char*, 3> choices{};  // null where there are fewer
  std::int32_t least = 0;                // of a number
  std::int32_t usual_least = 0;          // below and above, a number is more likely a slip
  std::int32_t usual_most = std::numeric_limits<std::int32_t>::max();
  const char* expected = "";  // the rule in words, after "must be"

  friend constexpr bool operator==(const ValueInfo& a, const ValueInfo& b) {
    return std::string_view(a.name) == b.name;
  }
};

/// Every setting, each named here and nowhere else.
namespace setting {

// Of a profile.
inline constexpr ValueInfo kReplacePlus{.name = "ReplacePlus",
                                        .kind = ValueKind::kSwitch,
                                        .type = RegType::kDword,
                                        .initial = "1",
                                        .meaning = "write a recipient's leading \"+\" as \"00\""};
inline constexpr ValueInfo kAddCountry{
    .name = "AddCountry",
    .kind = ValueKind::kSwitch,
    .type = RegType::kDword,
    .initial = "0",
    .meaning = "write Country in place of a recipient's single leading \"0\""};
inline constexpr ValueInfo kCountry{.name = "Country",
                                    .meaning = "text that replaces the leading \"0\"",
                                    .rule = ValueRule::kDigits,
                                    .expected = "digits, as a number is dialled"};
inline constexpr ValueInfo kRetries{.name = "Retries",
                                    .kind = ValueKind::kNumber,
                                    .type = RegType::kDword,
                                    .initial = "3",
                                    .meaning = "number of attempts, for the host",
                                    .usual_most = 100};
inline constexpr ValueInfo kRetryDelay{.name = "RetryDelay",
                                       .kind = ValueKind::kNumber,
                                       .type = RegType::kDword,
                                       .initial = "1",
                                       .meaning = "minutes between attempts, for the host",
                                       .usual_most = 1440};
inline constexpr ValueInfo kDefaultModem{.name = "DefaultModem",
                                         .meaning = "modem of services that name none",
                                         .rule = ValueRule::kModem};
inline constexpr ValueInfo kDefaultService{.name = "DefaultService",
                                           .meaning = "service of recipients that no route serves",
                                           .rule = ValueRule::kService};
inline constexpr ValueInfo kShowStatus{.name = "ShowStatus",
                                       .kind = ValueKind::kSwitch,
                                       .type = RegType::kDword,
                                       .initial = "0",
                                       .meaning = "show the status window"};
inline constexpr ValueInfo kWriteLogfile{.name = "WriteLogfile",
                                         .kind = ValueKind::kSwitch,
                                         .type = RegType::kDword,
                                         .initial = "0",
                                         .meaning = "write the send log"};

// Of a profile too, but for the command alone: no sender and no dialog reads or writes them, so
// that what hosts know of a profile does not change by them.
inline constexpr ValueInfo kFit{.name = "Fit",
                                .kind = ValueKind::kSwitch,
                                .type = RegType::kDword,
                                .initial = "0",
                                .meaning = "send every text as with --fit"};
inline constexpr ValueInfo kJournalText{
    .name = "JournalText",
    .initial = "full",
    .meaning = "what of a text the journal keeps (Linux): full, hash, none",
    .rule = ValueRule::kChoice,
    .choices = {"full", "hash", "none"},
    .expected = "full, hash or none"};
inline constexpr ValueInfo kSyslog{
    .name = "Syslog",
    .kind = ValueKind::kSwitch,
    .type = RegType::kDword,
    .initial = "0",
    .meaning = "write a line for each send to the system's log (Linux)"};
inline constexpr ValueInfo kQuickRetries{
    .name = "QuickRetries",
    .initial = "10 30 60",
    .meaning = "the queue's pauses before its first tries, in seconds (Linux)",
    .rule = ValueRule::kPauses,
    .expected = "numbers of seconds with blanks between them, or empty"};
inline constexpr ValueInfo kOnUnknown{
    .name = "OnUnknown",
    .initial = "again",
    .meaning = "what the queue does with a page that may have gone out (Linux): again, park",
    .rule = ValueRule::kChoice,
    .choices = {"again", "park"},
    .expected = "again or park"};
inline constexpr ValueInfo kPagesPerCall{
    .name = "PagesPerCall",
    .kind = ValueKind::kNumber,
    .type = RegType::kDword,
    .initial = "50",
    .meaning = "pages that the queue sends in one call (Linux)",
    .least = 1,
    .usual_most = 1000};
inline constexpr ValueInfo kMinutesPerCall{
    .name = "MinutesPerCall",
    .kind = ValueKind::kNumber,
    .type = RegType::kDword,
    .initial = "10",
    .meaning = "minutes after which the queue begins no page in a call (Linux)",
    .least = 1,
    .usual_most = 120};
inline constexpr ValueInfo kJoinMinutes{
    .name = "JoinMinutes",
    .kind = ValueKind::kNumber,
    .type = RegType::kDword,
    .initial = "0",
    .meaning = "minutes in which pages with the same text to one recipient join the first (Linux)",
    .usual_most = 1440};
inline constexpr ValueInfo kGateway{
    .name = "Gateway",
    .meaning = "the machine that send --queue hands pages to (Windows)",
    .rule = ValueRule::kWebAddress,
    .expected = "an address such as https://pager.example:8026, or empty"};
/// A file rather than the token: settings are readable to everybody on the machine, and listed.
inline constexpr ValueInfo kGatewayTokenFile{
    .name = "GatewayTokenFile", .meaning = "the file whose one line is the token for it (Windows)"};
inline constexpr ValueInfo kHub{
    .name = "Hub",
    .meaning = "the server of the queue that several machines share (Linux)",
    .rule = ValueRule::kServer,
    .expected =
        "words such as host=a,b dbname=mvsms user=site sslmode=verify-full, without a "
        "password, or empty"};
inline constexpr ValueInfo kHubPasswordFile{
    .name = "HubPasswordFile",
    .meaning = "the file with the password for it, in the form of ~/.pgpass (Linux)"};
inline constexpr ValueInfo kHubName{
    .name = "HubName", .meaning = "this machine's name there; without one, its host name (Linux)"};
inline constexpr ValueInfo kSpillAfter{
    .name = "SpillAfter",
    .kind = ValueKind::kNumber,
    .type = RegType::kDword,
    .initial = "60",
    .meaning = "seconds that a page waits for the modems here before the hub gets it (Linux)",
    .usual_most = 3600};
inline constexpr ValueInfo kHubAlarmTo{
    .name = "HubAlarmTo",
    .meaning = "the number that is paged when the hub is away; without one, nobody (Linux)"};
inline constexpr ValueInfo kHubAlarmAfter{
    .name = "HubAlarmAfter",
    .kind = ValueKind::kNumber,
    .type = RegType::kDword,
    .initial = "300",
    .meaning = "seconds that it may be away before that (Linux)",
    .usual_most = 86400};

// Of a service.
inline constexpr ValueInfo kCountryCode{.name = "CountryCode",
                                        .meaning = "country code of the service"};
inline constexpr ValueInfo kProtocol{.name = "Protocol",
                                     .initial = "TAP",
                                     .meaning = "TAP or UCP",
                                     .rule = ValueRule::kChoice,
                                     .choices = {"TAP", "UCP"},
                                     .expected = "TAP or UCP"};
inline constexpr ValueInfo kPhoneNumber{
    .name = "PhoneNumber",
    .meaning = "number of the message centre's modem",
    .rule = ValueRule::kDialled,
    .expected = "a number as a modem dials it, or host:port for a modem of the kind tcp"};
inline constexpr ValueInfo kPassword{
    .name = "Password", .meaning = "access password; for TAP, empty is PG1", .secret = true};
inline constexpr ValueInfo kMaxLength{.name = "MaxLength",
                                      .kind = ValueKind::kNumber,
                                      .initial = "160",
                                      .meaning = "characters per piece of a message",
                                      .least = 1,
                                      .usual_most = 1000};
inline constexpr ValueInfo kMaxMessages{.name = "MaxMessages",
                                        .kind = ValueKind::kNumber,
                                        .initial = "1",
                                        .meaning = "pieces per call",
                                        .least = 1,
                                        .usual_most = 99};
inline constexpr ValueInfo kUCPCommand{.name = "UCPCommand",
                                       .meaning = "UCP operation, 01 or 51",
                                       .rule = ValueRule::kChoice,
                                       .choices = {"", "01", "51"},
                                       .expected = "01 or 51, or empty"};
inline constexpr ValueInfo kMessageType{.name = "MessageType",
                                        .kind = ValueKind::kNumber,
                                        .initial = "3",
                                        .meaning = "2 numeric, 3 alphanumeric",
                                        .rule = ValueRule::kChoice,
                                        .choices = {"2", "3"},
                                        .expected = "2 (numeric) or 3 (alphanumeric)"};
inline constexpr ValueInfo kTimeOut{
    .name = "TimeOut",
    .kind = ValueKind::kNumber,
    .initial = "2000",
    .meaning = "milliseconds to wait for an answer (UCP), before a message (TAP)",
    .least = 1,
    .usual_least = 50,
    .usual_most = 120000};
inline constexpr ValueInfo kBaudRate{
    .name = "BaudRate",
    .initial = "Auto",
    .meaning = "port speed; Auto and ISDN leave it to the modem",
    .rule = ValueRule::kBaudRate,
    .choices = {"Auto", "ISDN"},
    .expected = "Auto, ISDN or a rate of serial ports in bit/s, such as 9600 or 19200"};
inline constexpr ValueInfo kModemSetting{
    .name = "ModemSetting",
    .initial = "7E1",
    .meaning = "data bits, parity letter, stop bits: three characters",
    .rule = ValueRule::kOneOfEach,
    .choices = {"45678", "NEOMS", "12"},
    .expected = "three characters: data bits, parity letter, stop bits, such as 8N1"};
inline constexpr ValueInfo kModemName{.name = "ModemName",
                                      .meaning = "modem; empty is DefaultModem",
                                      .rule = ValueRule::kModemOrDefault};
/// Written first, and never read: with it the service's key is there.
inline constexpr ValueInfo kServiceMark{.name = "Default"};

// Of a route.
inline constexpr ValueInfo kUseService{.name = "UseService",
                                       .meaning = "service of the numbers with the prefix",
                                       .rule = ValueRule::kService};
/// The component knows nothing of it: the queue tries it where UseService has failed.
inline constexpr ValueInfo kFallbackService{.name = "FallbackService",
                                            .meaning = "service of every other try (Linux)",
                                            .rule = ValueRule::kService};

// Of a group of recipients.
inline constexpr ValueInfo kMembers{
    .name = "Members", .meaning = "numbers, @groups and !commands, a line each (Linux)"};

// Of the root key, where an installation may set them; nothing here writes them.
inline constexpr ValueInfo kProviderInfoPage{
    .name = "ProviderInfoPage",
    .meaning = "a page about SMS and paging providers, for the new-service dialog"};
/// Without it a report has no recipient until the user enters one.
inline constexpr ValueInfo kSupportMailbox{.name = "SupportMailbox",
                                           .meaning = "recipient of error reports"};

}  // namespace setting

/// The values of a profile, the command's own last.
inline constexpr std::array<ValueInfo, 25> kProfileValues{
    {setting::kReplacePlus,      setting::kAddCountry,
     setting::kCountry,          setting::kRetries,
     setting::kRetryDelay,       setting::kDefaultModem,
     setting::kDefaultService,   setting::kShowStatus,
     setting::kWriteLogfile,     setting::kFit,
     setting::kJournalText,      setting::kSyslog,
     setting::kQuickRetries,     setting::kOnUnknown,
     setting::kPagesPerCall,     setting::kMinutesPerCall,
     setting::kJoinMinutes,      setting::kGateway,
     setting::kGatewayTokenFile, setting::kHub,
     setting::kHubPasswordFile,  setting::kHubName,
     setting::kSpillAfter,       setting::kHubAlarmTo,
     setting::kHubAlarmAfter}};
/// Those that the component goes by.
inline constexpr auto kGlobalValues = std::span(kProfileValues).first<9>();

/// The values of a service, in the order in which they are written.
inline constexpr std::array<ValueInfo, 12> kServiceValues{
    {setting::kCountryCode, setting::kProtocol, setting::kPhoneNumber, setting::kPassword,
     setting::kMaxLength, setting::kMaxMessages, setting::kUCPCommand, setting::kMessageType,
     setting::kTimeOut, setting::kBaudRate, setting::kModemSetting, setting::kModemName}};

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
