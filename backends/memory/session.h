// One telephony session: what an ITTAPI object and everything made from it share.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "backends/memory/event_loop.h"
#include "backends/memory/machine.h"
#include "base/raised_error.h"

namespace mvsms::memory {

class MemoryCall;

/// Numbers of the errors raised (HRESULTs of winerror.h and tapi3err.h).
inline constexpr std::int32_t kInvalidArgument = -2147024809;       // E_INVALIDARG
inline constexpr std::int32_t kInvalidMediaType = ObjectError(4);   // TAPI_E_INVALIDMEDIATYPE
inline constexpr std::int32_t kAllocated = ObjectError(6);          // TAPI_E_ALLOCATED
inline constexpr std::int32_t kCallUnavailable = ObjectError(7);    // TAPI_E_CALLUNAVAIL
inline constexpr std::int32_t kInvalidCallState = ObjectError(16);  // TAPI_E_INVALCALLSTATE
inline constexpr std::int32_t kNotInitialized = ObjectError(89);    // TAPI_E_NOT_INITIALIZED

/// A call-state event: the new state and its cause.
using StateChange = std::pair<CallState, CallCause>;

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(Machine& machine_shared, MemoryEventLoop& loop_shared)
      : machine(machine_shared), loop(loop_shared) {}

  /// Ends the session: calls are dropped, nothing is delivered any more.
  void ShutDown();
  /// Queues an event for the sink that is bound when it is delivered, if that asked for such
  /// events.
  void Post(std::int32_t tapi_event, StateChange change);
  /// Whether a call of this session occupies the line at the index.
  bool IsBusy(std::size_t line) const;

  Machine& machine;
  MemoryEventLoop& loop;
  bool initialized = false;
  std::int32_t filter = 0;
  ITTAPI::EventSink sink;
  std::set<std::int32_t> registrations;
  std::vector<std::shared_ptr<MemoryCall>> calls;  // in progress or connected

 private:
  void Deliver(std::int32_t tapi_event, StateChange change);
};

/// Begin for an operation that needs a session; also throws when that is not initialised.
std::shared_ptr<Session> Begin(const std::weak_ptr<Session>& session, Machine& machine,
                               const char* operation);
/// The line at an index of the machine; throws when it has been removed.
const Line& LineAt(const Machine& machine, std::size_t index);

}  // namespace mvsms::memory
