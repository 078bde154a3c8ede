// TapiObject: one modem behind the telephony service. It lists the addresses that can carry a
// data-modem call, selects one, places a call and waits for it, hands over the call's serial port,
// tells whether the call still stands, and drops it.
//
// Nothing is thrown: every failure is reported through OnError and by the function's plain result.
// What a function detects itself is reported under its bare name ("Connect"); what fails beneath
// it, or is raised inside it, under its qualified name ("TAPIObject.Connect").
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/telephony.h"

namespace mvsms {

inline constexpr std::int32_t kErrTapiNotInitialized = 4454;
inline constexpr std::int32_t kErrDeviceUnknown = 4455;
inline constexpr std::int32_t kErrDeviceNoDataModem = 4456;
inline constexpr std::int32_t kErrDeviceInUse = 4457;
inline constexpr std::int32_t kErrNoDevice = 4461;
inline constexpr std::int32_t kErrUnableToConnect = 4462;
inline constexpr std::int32_t kErrNoCommHandle = 4463;

/// Why a call ended, as a text (CALL_STATE_EVENT_CAUSE); empty for a code without one.
std::string_view DisconnectCauseText(std::int32_t cause);

class TapiObject {
 public:
  using ErrorHandler = std::function<void(std::int32_t ErrNumber, const std::string& FunctionName,
                                          const std::string& ErrMsg)>;

  TapiObject(Telephony& telephony, EventLoop& loop, Clock& clock);
  /// Ends the session and drops the call, silently.
  ~TapiObject();
  TapiObject(const TapiObject&) = delete;
  TapiObject& operator=(const TapiObject&) = delete;

  /// The Error event. Must not throw and must not destroy this object.
  ErrorHandler OnError;
  /// Dialable form of the number last given to Connect.
  std::string TranslatedNumber;
  /// Makes a waiting Connect give up at its next check, and every later one at once: it is never
  /// reset here.
  bool Abort = false;

  /// Ends the telephony session and forgets the selected address. Init starts a new one.
  void UnInit();
  /// Starts the telephony session; nothing else works before. Once, or again after UnInit.
  void Init();
  /// Selects the line with exactly this name. A name that is unknown or unsuitable leaves the
  /// previous selection; a line that another program is using leaves none.
  bool SetDevice(const std::string& DeviceName);
  /// Names of the lines that can carry data-modem calls, joined by TABs.
  std::string GetLines();
  /// Dials, and waits up to 40 seconds while events are processed. True when the call is up; then
  /// `comm_handle` is its serial port, which belongs to the caller.
  bool Connect(const std::string& PhoneNumber, CommHandle& comm_handle);
  /// Whether a call was started and not dropped yet. Asks nobody, unlike IsConnected.
  bool HasCall() const { return call_ != nullptr; }
  /// Why the latest call ended, as the telephony service said it last.
  CallCause LastCause() const { return static_cast<CallCause>(last_cause_); }
  /// The words that came with it (see ITCallStateEvent); mostly none.
  const std::string& LastWords() const { return last_words_; }
  /// True while the call is connected. Drops a call that has ended.
  bool IsConnected();
  /// Drops the call. True also when there is none.
  bool Disconnect();

 private:
  static constexpr std::int32_t kNoRegistration = -1;

  void gobjTapiWithEvents_Event(std::int32_t TapiEvent, ITCallStateEvent* pEvent);
  bool RequireInit(const char* function);
  std::shared_ptr<ITAddress> FindAddress(const std::string& name);
  bool Select(std::shared_ptr<ITAddress> address);
  void Unregister();
  std::shared_ptr<ITBasicCallControl> StartCall(const std::string& number);
  void AwaitOutcome(ITBasicCallControl& call, std::chrono::milliseconds deadline);
  CommHandle TakePort(ITBasicCallControl& call);
  void DropCall();
  void Report(std::int32_t number, const std::string& function, const std::string& text);
  template <class Result, class Body>
  Result Reporting(const char* function, Result fallback, Body&& body);

  Telephony& telephony_;
  EventLoop& loop_;
  Clock& clock_;
  std::unique_ptr<ITTAPI> gobjTapiWithEvents_;
  std::int32_t registration_ = kNoRegistration;
  std::shared_ptr<ITAddress> address_;
  std::shared_ptr<ITBasicCallControl> call_;
  std::unique_ptr<PortHandleProvider> port_handles_;  // made on first use
  std::int32_t last_cause_ = 0;
  std::string last_words_;
};

}  // namespace mvsms
