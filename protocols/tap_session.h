// The TAP dialogue with a message centre: login, one block per message, the centre's answer.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/service_record.h"
#include "protocols/session.h"

namespace mvsms {

/// The login dialogue; success is `host.logged_in`. An empty password becomes "PG1" in the
/// caller's record.
void DoTAPLogin(SessionHost& host, ServiceRecord& Service);

/// Sends one message, logging in first when that has not happened on this connection. True when the
/// centre acknowledged it. `Sender` and `TRN` are there because both protocols share one parameter
/// list; TAP has no use for them.
bool SendTapMessage(SessionHost& host, const std::string& Recipient, const std::string& Sender,
                    std::string& Message, ServiceRecord& Service, std::int32_t TRN);

}  // namespace mvsms
