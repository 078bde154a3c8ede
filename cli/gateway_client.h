// mvsms send --queue where another machine has the queue: what that machine's gateway is asked, and
// what its answers mean. How it is reached is the system's affair.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/queue_send.h"
#include "cli/send_run.h"

namespace mvsms::cli {

struct GatewayRequest {
  std::string url;    // http or https
  std::string token;  // empty: none
  std::string body;   // JSON
};

struct GatewayAnswer {
  int status = 0;  // of HTTP
  std::string body;
};

/// Posts a request and gives the answer, whatever it is. Throws Busy when there was none and a
/// later one may come; Failure when somebody has to mend something first. Either is a sentence that
/// goes on after the gateway's address.
using PostToGateway = std::function<GatewayAnswer(const GatewayRequest&)>;

/// QueuePages by the gateway that the profile's settings name. The pages get their ids here, so
/// that an answer lost on its way is asked for again without a second page.
void HandOver(Context& context, const std::vector<std::string>& recipients,
              const SendOptions& options, const QueueOptions& queue, const PostToGateway& post);

}  // namespace mvsms::cli
