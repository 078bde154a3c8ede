// The telephony service over the lines of the machine.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "backends/memory/comm.h"
#include "backends/memory/event_loop.h"
#include "backends/memory/session.h"

namespace mvsms::memory {

class MemoryTelephony : public Telephony {
 public:
  MemoryTelephony(Machine& machine, MemoryEventLoop& loop, MemoryComm& comm)
      : machine_(machine), loop_(loop), comm_(comm) {}

  std::unique_ptr<ITTAPI> CreateTapi() override;
  std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() override;

  std::size_t sessions() const;
  std::size_t registrations() const;
  std::size_t active_calls() const;

 private:
  std::size_t Sum(const std::function<std::size_t(const Session&)>& count) const;

  Machine& machine_;
  MemoryEventLoop& loop_;
  MemoryComm& comm_;
  std::vector<std::weak_ptr<Session>> sessions_;
};

}  // namespace mvsms::memory
