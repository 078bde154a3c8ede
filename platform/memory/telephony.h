// The telephony service over the lines of the in-memory machine.
#pragma once

#include <memory>
#include <vector>

#include "platform/memory/comm.h"

namespace mvsms::memory {

class MemoryCall;
class MemoryTapi;

/// What all sessions of the machine share: the calls, and who gets their events.
class Exchange {
 public:
  Exchange(Machine& of_machine, MemoryComm& ports) : machine(of_machine), comm(ports) {}

  /// Queues an event for the sessions whose filter lets it through; `filtered` false: for all.
  void Post(std::int32_t tapi_event, std::optional<std::pair<CallState, CallCause>> state,
            bool filtered);
  /// Fails like a telephony operation does, when the test wants `operation` to.
  void Check(std::string_view operation);
  std::size_t active_calls() const;
  std::size_t sessions() const;
  std::size_t registrations() const;

  Machine& machine;
  MemoryComm& comm;
  std::vector<std::weak_ptr<MemoryCall>> calls;
  std::vector<MemoryTapi*> open_sessions;
};

class MemoryTelephony : public Telephony {
 public:
  explicit MemoryTelephony(Exchange& exchange) : exchange_(exchange) {}
  std::unique_ptr<ITTAPI> CreateTapi() override;
  std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() override;

 private:
  Exchange& exchange_;
};

}  // namespace mvsms::memory
