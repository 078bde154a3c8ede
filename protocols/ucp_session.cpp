// The UCP dialogue. There is no login; whatever arrives first is taken as the whole answer.
#include "protocols/ucp_session.h"

#include "protocols/basucp.h"
#include "protocols/waits.h"

namespace mvsms {
namespace {

constexpr std::int32_t kErrBuildFrame = 61;

using namespace ucp_wait;

void SendFrame(SessionHost& host, const std::string& frame) {
  host.Pause(kAfterConnect);
  host.HandsOver(frame);
  host.Medium().Send(frame);
  host.AddStatus("UCP Message sent: " + frame);
}

// The first answer; empty when none came or the host asked to stop.
std::string AwaitAnswer(SessionHost& host, std::int32_t poll_interval) {
  for (int poll = 1; poll <= kAnswerPolls; ++poll) {
    host.DoEvents();
    if (AbortRequested(host)) return {};
    host.Pause(poll_interval);
    std::string answer = host.Medium().Receive();
    if (!answer.empty()) return answer;
  }
  host.AddStatus("No response received within timeout!");
  host.retry = true;
  return {};
}

bool IsAcknowledged(SessionHost& host, const std::string& answer, const ServiceRecord& service) {
  host.Heard(answer);
  host.AddStatus("Received response: " + answer);
  std::string reason;
  const bool acknowledged = basUCP::CheckUCPResponse(answer, host.retry, reason, service);
  host.AddStatus(acknowledged ? "Message sent!" : "Failed to send message: " + reason);
  return acknowledged;
}

// A frame that cannot be built is the service's fault, unless its text has no form for the centre.
SendStep BuildingStep(const std::string& message, const ServiceRecord& service) {
  const bool text_at_fault =
      HasMessageType(service) && basUCP::EncodeUCPText(message, service.MessageType).empty();
  return text_at_fault ? SendStep::kText : SendStep::kProtocol;
}

}  // namespace

bool SendUCPMessage(SessionHost& host, const std::string& Recipient, const std::string& Originator,
                    std::string& Message, ServiceRecord& Service, std::int32_t TRN) {
  host.logged_in = true;  // nothing to log in to; the pipeline must not wait for it
  host.Reached(SendStep::kText);
  host.AddStatus("Initiating UCP protocol...");
  std::string reason;
  const std::string frame =
      basUCP::BuildUCPMessage(Recipient, Originator, Message, TRN, Service, reason);
  if (frame.empty()) {
    host.Reached(BuildingStep(Message, Service));
    host.ReportError(kErrBuildFrame, "Error in building UCP message: " + reason,
                     "Sender.SendUCPMessage");
    return false;
  }
  SendFrame(host, frame);
  const std::string answer = AwaitAnswer(host, Service.TimeOut);
  return !answer.empty() && IsAcknowledged(host, answer, Service);
}

}  // namespace mvsms
