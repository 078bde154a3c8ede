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
#include "tests/com/fake_tapi/number_plan.h"
#include "tests/com/fake_tapi/unused.h"

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

class Call final
    : public ComObject<Call, Implements<BasicCallControlBase, kIID_ITBasicCallControl>,
                       Implements<CallInfoBase, kIID_ITCallInfo>,
                       Implements<LegacyCallMediaControlBase, kIID_ITLegacyCallMediaControl>> {
 public:
  Call(const std::string& dialable, std::shared_ptr<EventHub> events)
      : outcome_(fake_tapi::Dial(dialable)), events_(std::move(events)) {
    calls.insert(this);
  }
  /// The far sides of this thread's calls hang up.
  static void HangUpAll() {
    for (Call* call : std::set<Call*>(calls)) {
      if (call->state_ == CS_CONNECTED) call->Move(CS_DISCONNECTED, CEC_DISCONNECT_NORMAL);
    }
  }

  HRESULT WINAPI Connect(VARIANT_BOOL synchronous) override {
    if (synchronous != VARIANT_FALSE || state_ != CS_IDLE) return TAPI_E_CALLUNAVAIL;
    state_ = CS_INPROGRESS;
    // A change of what is known about the call, which programs that wait for states filter out.
    events_->Fire(TE_CALLINFOCHANGE, nullptr);
    if (outcome_.decided) After(outcome_.ring_time, [this] { Decide(); });
    return S_OK;
  }
  HRESULT WINAPI Disconnect(DISCONNECT_CODE) override {
    StopTimer();
    if (state_ == CS_INPROGRESS || state_ == CS_CONNECTED) {
      events_->FireLater(TE_CALLSTATE,
                         ComPtr<IDispatch>(new StateEvent(CS_DISCONNECTED, CEC_DISCONNECT_NORMAL)));
    }
    state_ = CS_DISCONNECTED;
    return S_OK;
  }
  HRESULT WINAPI get_CallState(CALL_STATE* state) override {
    *state = state_;
    return S_OK;
  }
  HRESULT WINAPI GetID(BSTR device_class, DWORD* size, BYTE** data) override {
    if (win32::AnsiFromBstr(device_class) != "comm/datamodem") return E_INVALIDARG;
    if (state_ != CS_CONNECTED || !outcome_.hands_over || !port_) return TAPI_E_CALLUNAVAIL;
    // The payload for this class: the handle, then the device's name.
    *size = static_cast<DWORD>(sizeof(HANDLE) + outcome_.port.size() + 1);
    *data = static_cast<BYTE*>(::CoTaskMemAlloc(*size));
    if (!*data) return E_OUTOFMEMORY;
    const HANDLE port = port_.release();  // closed by the program from now on
    std::memcpy(*data, &port, sizeof port);
    std::memcpy(*data + sizeof port, outcome_.port.c_str(), outcome_.port.size() + 1);
    const std::lock_guard lock(Given().mutex);
    Given().handles.insert(port);
    return S_OK;
  }

 private:
  friend class ComObject;
  ~Call() {
    StopTimer();
    calls.erase(this);
  }

  void Decide() {
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

  void Move(CALL_STATE state, CALL_STATE_EVENT_CAUSE cause) {
    state_ = state;
    const ComPtr<StateEvent> event(new StateEvent(state, cause));
    events_->Fire(TE_CALLSTATE, event.Get());
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
  TimerId timer_ = 0;
  CALL_STATE state_ = CS_IDLE;
  win32::UniqueHandle port_;
};

thread_local std::set<Call*> Call::calls;

}  // namespace

void HangUpAll() { Call::HangUpAll(); }

::ITBasicCallControl* MakeCall(const std::string& dialable, std::shared_ptr<EventHub> events) {
  return new Call(dialable, std::move(events));
}

long OpenPorts() {
  const std::lock_guard lock(Given().mutex);
  std::erase_if(Given().handles, [](HANDLE port) {
    DWORD flags = 0;
    return ::GetHandleInformation(port, &flags) == FALSE;
  });
  return static_cast<long>(Given().handles.size());
}

}  // namespace mvsms::fake_tapi
