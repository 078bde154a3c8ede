// The commands of mvsms-gateway.
#pragma once

#include "cli/commands.h"
#include "cli/gateway/mail.h"
#include "cli/gateway/serve.h"

namespace mvsms::cli {

inline void AddGatewayCommands(Command& root, Context& context) {
  AddServeCommand(root, context, Serve);
  AddMailCommand(root, context, PageMail);
}

}  // namespace mvsms::cli
