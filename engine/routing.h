// From a recipient as the host wrote it to the message centre that serves it: the number in its
// one canonical form, the service of its longest routed prefix, and that service's record.
//
// All three read the profile afresh, so that a change takes effect with the next send. An empty
// `HostAppName` becomes "Standard" in the caller's variable.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "engine/settings.h"
#include "platform/registry.h"
#include "protocols/service_record.h"

namespace mvsms {

inline constexpr std::int32_t kErrInvalidAddress = 45;

/// Receives a failure: number, text, object and procedure.
using ErrorReport = std::function<void(std::int32_t ErrNumber, const std::string& ErrDescription,
                                       const std::string& ModuleName)>;

/// The number in digits only, or "" after reporting error 45 when it holds anything but digits and
/// the separators "-", "/", blank, "(" and ")". The caller's variable is trimmed. An address
/// without digits gives "" and no report.
std::string FixAddress(Registry& registry, std::string& HostAppName, std::string& Address,
                       const ErrorReport& report_error);

/// The service of the longest route whose prefix `Address` begins with; "" when there is none or
/// it names no service. For digits, which is what FixAddress gives, the cost depends on the length
/// of the address, not on the number of routes.
std::string FindService(Registry& registry, std::string& HostAppName, const std::string& Address);

/// Fills the record from the service's key. An empty `ServiceName` becomes the default service in
/// the caller's variable. False when a number in the record cannot be read as one. A service that
/// does not exist is not noticed here: everything in it reads as empty.
bool GetServiceInfo(Registry& registry, std::string& HostAppName, const Settings& settings,
                    ServiceRecord& record, std::string& ServiceName);

}  // namespace mvsms
