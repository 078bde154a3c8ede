// The steps of a send, named for whoever tells afterwards how far it came.
#pragma once

#include <array>
#include <string_view>

namespace mvsms {

/// What a send is busy with; where it failed, the step that failed. In the order in which a send
/// takes them, but that every piece goes from kText to kAnswer anew.
enum class SendStep {
  kNone,       // nothing was sent yet
  kSettings,   // loading the settings of the profile
  kMessage,    // looking whether there is a message
  kRecipient,  // making a number of the recipient
  kService,    // reading the service; a service that takes no message at all ends here, too
  kLength,     // comparing the message with what the service takes in one call
  kProtocol,   // looking whether the service's protocol, operation and kind of message are known
  kModem,      // taking the modem
  kCall,       // dialling
  kPrompt,     // asking the centre for its prompt
  kLogin,      // logging in
  kText,       // putting a piece into the form of the protocol
  kAnswer,     // the piece is handed to the line, its answer awaited
};

inline constexpr std::array<std::string_view, 13> kSendStepNames = {
    "none",  "settings", "message", "recipient", "service", "length", "protocol",
    "modem", "call",     "prompt",  "login",     "text",    "answer",
};
static_assert(kSendStepNames.size() == static_cast<std::size_t>(SendStep::kAnswer) + 1);

constexpr std::string_view NameOf(SendStep step) {
  return kSendStepNames[static_cast<std::size_t>(step)];
}

}  // namespace mvsms
