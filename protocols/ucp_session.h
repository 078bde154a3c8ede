// The UCP dialogue with a message centre: one frame per message, one answer.
#pragma once

#include <cstdint>
#include <string>

#include "protocols/service_record.h"
#include "protocols/session.h"

namespace mvsms {

/// Sends one message and waits for its answer. True when the centre acknowledged it positively.
bool SendUCPMessage(SessionHost& host, const std::string& Recipient, const std::string& Originator,
                    std::string& Message, ServiceRecord& Service, std::int32_t TRN);

}  // namespace mvsms
