// The service record: everything known about one message centre, as the settings store gives it.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms {

struct ServiceRecord {
  std::string Name;
  std::string Protocol;          // "TAP" or "UCP"
  std::string PhoneNumber;       // the message centre's modem
  std::int32_t MaxLength = 0;    // characters per piece
  std::string Password;          // TAP login identifier; empty means "PG1"
  std::int32_t MaxMessages = 0;  // pieces per session
  std::string UCPCommand;        // UCP operation, "01" or "51"
  std::string CountryCode;
  std::string BaudRate;  // decimal bit/s; empty: the modem keeps its own speed
  std::int32_t DataBits = 0;
  std::string Parity;         // one letter
  std::int32_t StopBits = 0;  // as written in the setting: "1" is 1
  std::int32_t TimeOut = 0;   // milliseconds
  std::string ModemName;
  std::int32_t MessageType = 0;  // 2 numeric, 3 alphanumeric

  friend bool operator==(const ServiceRecord&, const ServiceRecord&) = default;
};

inline constexpr std::int32_t kMessageTypeNumeric = 2;
inline constexpr std::int32_t kMessageTypeAlphanumeric = 3;

/// Whether the service's kind of message is one of the two.
constexpr bool HasMessageType(const ServiceRecord& service) {
  return service.MessageType == kMessageTypeNumeric ||
         service.MessageType == kMessageTypeAlphanumeric;
}

}  // namespace mvsms
