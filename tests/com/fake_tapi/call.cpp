// Calls, see call.h.
#include "tests/com/fake_tapi/call.h"

#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <utility>

#include "backends/win32/backend.h"
#include "com/com_object.h"
#include "tests/com/fake_tapi/ids.h"
#include "tests/com/fake_tapi/service_thread.h"
#include "tests/com/fake_tapi/unused.h"
//
#include <tapi.h>
#include <tapi3err.h>

namespace mvsms::fake_tapi {
namespace {

using com::ComObject;
using com::Implements;
using win32::ComPtr;

/// The ports that programs were given, to be found closed in the end.
struct GivenPorts {
  std::mutex mutex;
  std::set<HANDLE> handles;
};
GivenPorts& Given() {
  static GivenPorts& given = *new GivenPorts;
  return given;
}

/// A handle of the program's own to the port.
HANDLE Give(HANDLE port) {
  HANDLE given = nullptr;
  ::DuplicateHandle(::GetCurrentProcess(), port, ::GetCurrentProcess(), &given, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
  const std::lock_guard lock(Given().mutex);
  Given().handles.insert(given);
  return given;
}

/// The record for the device class of data modems: the port's handle and its name.
std::string PortRecord(HANDLE port, const std::string& name) {
  return std::string(reinterpret_cast<const char*>(&port), sizeof port) + name + '\0';
}

/// The same in the form in which the service's older interface has it.
std::string WithHeader(const std::string& record) {
  const auto size = static_cast<DWORD>(record.size());
  const DWORD total = sizeof(VARSTRING) + size;
  const VARSTRING header = {total, total, total, STRINGFORMAT_BINARY, size, sizeof(VARSTRING)};
  return std::string(reinterpret_cast<const char*>(&header), sizeof header) + record;
}

class StateEvent final
    : public ComObject<StateEvent, Implements<CallStateEventBase, kIID_ITCallStateEvent>> {
 public:
  StateEvent(CALL_STATE state, CALL_STATE_EVENT_CAUSE cause) : state_(state), cause_(cause) {}
  HRESULT WINAPI get_State(CALL_STATE* state) override {
    *state = state_;
    return S_OK;
  }
  HRESULT WINAPI get_Cause(CALL_STATE_EVENT_CAUSE* cause) override {
    *cause = cause_;
    return S_OK;
  }

 private:
  friend class ComObject;
  ~StateEvent() = default;
  CALL_STATE state_;
  CALL_STATE_EVENT_CAUSE cause_;
};

/// What is known about the call has changed.
class InfoEvent final
    : public ComObject<InfoEvent, Implements<CallInfoChangeEventBase, kIID_ITCallInfoChangeEvent>> {
 private:
  friend class ComObject;
  ~InfoEvent() = default;
};

class Call final
    : public ComObject<Call, Implements<BasicCallControlBase, kIID_ITBasicCallControl>,
                       Implements<CallInfoBase, kIID_ITCallInfo>,
                       Implements<LegacyCallMediaControlBase, kIID_ITLegacyCallMediaControl>> {
 public:
  Call(Outcome outcome, std::shared_ptr<EventHub> events)
      : outcome_(std::move(outcome)), events_(std::move(events)) {
    calls.insert(this);
  }
  /// The far sides of this thread's calls hang up.
  static void HangUpAll() {
    for (Call* call : std::set<Call*>(calls)) {
      if (call->state_ == CS_CONNECTED) call->Move(CS_DISCONNECTED, CEC_DISCONNECT_NORMAL);
    }
  }

  HRESULT WINAPI Connect(VARIANT_BOOL synchronous) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    if (!events_->HasListener()) return TAPI_E_NOTREGISTERED;
    if (state_ != CS_IDLE) return TAPI_E_INVALCALLSTATE;
    if (synchronous != VARIANT_FALSE) return E_NOTIMPL;
    if (FAILED(outcome_.start_result)) return outcome_.start_result;
    Move(CS_INPROGRESS, CEC_NONE);
    Fire(TE_CALLINFOCHANGE, ComPtr<IDispatch>(new InfoEvent));
    if (outcome_.talks) Talk(events_, over_);
    if (outcome_.decided) After(outcome_.ring_time, [this] { Decide(); });
    return S_OK;
  }
  HRESULT WINAPI Disconnect(DISCONNECT_CODE) override {
    StopTimer();
    if (!events_->open || state_ == CS_IDLE) return S_FALSE;
    const bool was_up = state_ != CS_DISCONNECTED;
    End();
    if (was_up) FireLater(Event(CS_DISCONNECTED, CEC_DISCONNECT_NORMAL));
    return S_OK;
  }
  HRESULT WINAPI get_CallState(CALL_STATE* state) override {
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    *state = state_;
    return S_OK;
  }
  /// Before the port is open, and for a program that does not get it, its handle is null.
  HRESULT WINAPI GetID(BSTR device_class, DWORD* size, BYTE** data) override {
    if (!size || !data) return E_POINTER;
    if (!events_->open) return TAPI_E_NOT_INITIALIZED;
    if (events_->registrations.empty()) return TAPI_E_NOTREGISTERED;
    if (win32::AnsiFromBstr(device_class) != "comm/datamodem") return TAPI_E_INVALDEVICECLASS;
    const bool given = port_ && outcome_.hands_over;
    std::string record = PortRecord(given ? Give(port_.get()) : nullptr, outcome_.port);
    if (outcome_.with_header) record = WithHeader(record);
    *size = static_cast<DWORD>(record.size());
    *data = static_cast<BYTE*>(::CoTaskMemAlloc(*size));
    if (!*data) return E_OUTOFMEMORY;
    std::memcpy(*data, record.data(), record.size());
    return S_OK;
  }

 private:
  friend class ComObject;
  ~Call() {
    StopTimer();
    *over_ = true;
    calls.erase(this);
  }

  void Decide() {
    if (!events_->open) return;
    if (outcome_.port.empty()) {
      Move(CS_DISCONNECTED, static_cast<CALL_STATE_EVENT_CAUSE>(outcome_.cause));
    } else if (!OpenPort()) {
      Move(CS_DISCONNECTED, CEC_DISCONNECT_FAILED);
    } else {
      if (outcome_.far_end_hangs_up) {
        After(kCallTime, [this] { Move(CS_DISCONNECTED, CEC_DISCONNECT_NORMAL); });
      }
      Move(CS_CONNECTED, CEC_NONE);
    }
  }

  bool OpenPort() {
    const HANDLE port =
        ::CreateFileA(("\\\\.\\" + outcome_.port).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                      OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (port == INVALID_HANDLE_VALUE) return false;
    port_.reset(port);
    return true;
  }

  void End() {
    state_ = CS_DISCONNECTED;
    *over_ = true;
    port_.reset();
  }

  void Move(CALL_STATE state, CALL_STATE_EVENT_CAUSE cause) {
    if (state == CS_DISCONNECTED) End();
    state_ = state;
    Fire(TE_CALLSTATE, Event(state, cause));
  }

  static ComPtr<IDispatch> Event(CALL_STATE state, CALL_STATE_EVENT_CAUSE cause) {
    return ComPtr<IDispatch>(new StateEvent(state, cause));
  }
  void Fire(::TAPI_EVENT event, const ComPtr<IDispatch>& object) {
    if (outcome_.on_service_thread) {
      events_->FireElsewhere(event, object);
    } else {
      events_->Fire(event, object);
    }
  }
  void FireLater(const ComPtr<IDispatch>& object) {
    if (outcome_.on_service_thread) {
      events_->FireElsewhere(TE_CALLSTATE, object);
    } else {
      events_->FireLater(TE_CALLSTATE, object);
    }
  }
  /// Tells of the call in progress, again and again, until it is over.
  static void Talk(const std::shared_ptr<EventHub>& events,
                   const std::shared_ptr<std::atomic<bool>>& over) {
    OnServiceThread([events, over] {
      if (*over) return;
      events->Fire(TE_CALLSTATE, Event(CS_INPROGRESS, CEC_NONE));
      ::Sleep(0);
      Talk(events, over);
    });
  }

  /// Runs `action` once. The program may release the call from inside.
  void After(std::uint32_t delay, std::function<void()> action) {
    StopTimer();
    timer_ = timers_->SetTimer(delay, [this, action](TimerId) {
      AddRef();
      StopTimer();
      action();
      Release();
    });
  }
  void StopTimer() {
    if (timer_ != 0) timers_->KillTimer(std::exchange(timer_, 0));
  }

  static thread_local std::set<Call*> calls;

  const Outcome outcome_;
  const std::shared_ptr<EventHub> events_;
  const std::unique_ptr<Timers> timers_ = win32::MakeTimers();
  const std::shared_ptr<std::atomic<bool>> over_ = std::make_shared<std::atomic<bool>>(false);
  TimerId timer_ = 0;
  CALL_STATE state_ = CS_IDLE;
  win32::UniqueHandle port_;
};

thread_local std::set<Call*> Call::calls;

}  // namespace

void HangUpAll() { Call::HangUpAll(); }

::ITBasicCallControl* MakeCall(const Outcome& outcome, std::shared_ptr<EventHub> events) {
  return new Call(outcome, std::move(events));
}

long OpenPorts() {
  const std::lock_guard lock(Given().mutex);
  std::erase_if(Given().handles, [](HANDLE port) {
    return ::GetFileType(port) != FILE_TYPE_CHAR;  // closed, or the number of something else now
  });
  return static_cast<long>(Given().handles.size());
}

}  // namespace mvsms::fake_tapi
