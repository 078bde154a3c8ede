// The telephony service of the seam: the TAPI 3.0 objects that TapiObject calls, under their
// published names. Back ends: the COM objects of Windows, lines kept as configuration (AT-command
// modems and TCP connections), lines scripted in memory.
//
// Errors: an operation that fails throws RaisedError (number: the HRESULT or a system error code;
// description: a sentence that names what failed and where). Ownership: shared pointers; a call or
// an address is of no use once its ITTAPI has gone or been shut down, except that a call may still
// be disconnected and both may be released.
// Thread: everything on the thread of the Platform; events arrive inside EventLoop::DoEvents.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/comm.h"
#include "platform/window_handle.h"

namespace mvsms {

// Values of the published TAPI 3.0 enumerations (tapi3if.h).
inline constexpr std::int32_t kTapiMediaTypeDataModem = 16;     // TAPIMEDIATYPE_DATAMODEM
inline constexpr std::int32_t kLineAddressTypePhoneNumber = 1;  // LINEADDRESSTYPE_PHONENUMBER
inline constexpr std::int32_t kTeCallState = 8;                 // TE_CALLSTATE
inline constexpr std::int32_t kDcNormal = 0;                    // DC_NORMAL

/// CALL_STATE.
enum class CallState : std::int32_t {
  kIdle = 0,
  kInProgress = 1,
  kConnected = 2,
  kDisconnected = 3,
  kOffering = 4,
};

/// CALL_STATE_EVENT_CAUSE.
enum class CallCause : std::int32_t {
  kNone = 0,
  kDisconnectNormal = 1,
  kDisconnectBusy = 2,
  kDisconnectBadAddress = 3,
  kDisconnectNoAnswer = 4,
  kDisconnectCancelled = 5,
  kDisconnectRejected = 6,
  kDisconnectFailed = 7,
};

/// A change of a call's state.
class ITCallStateEvent {
 public:
  virtual ~ITCallStateEvent() = default;
  virtual CallState State() = 0;
  virtual CallCause Cause() = 0;
  /// The words with which the far end refused the call, where the line itself heard it (a login
  /// that it does before the call is up); Windows' lines never do.
  virtual std::string Words() { return {}; }
};

/// A call seen through its information interface.
class ITCallInfo {
 public:
  virtual ~ITCallInfo() = default;
  virtual CallState GetCallState() = 0;
};

/// A call seen through its control interface.
class ITBasicCallControl : public ITCallInfo {
 public:
  /// Starts the call. With `synchronous` false it returns at once, in the state kInProgress.
  virtual void Connect(bool synchronous) = 0;
  /// Ends the call or the attempt and hangs up (code kDcNormal). Safe in every state.
  virtual void Disconnect(std::int32_t code) = 0;
};

class ITAddressTranslationInfo {
 public:
  virtual ~ITAddressTranslationInfo() = default;
  /// The form of the number that is dialled.
  virtual std::string DialableString() = 0;
};

/// A line address, with its media-support and translation interfaces.
class ITAddress {
 public:
  virtual ~ITAddress() = default;
  /// Name shown to users and stored as a service's modem name.
  virtual std::string AddressName() = 0;
  /// ITMediaSupport: whether the address supports calls of this media type.
  virtual bool QueryMediaType(std::int32_t media_type) = 0;
  /// ITAddressTranslation, with the given calling card and LINETRANSLATEOPTION_* bits.
  virtual std::shared_ptr<ITAddressTranslationInfo> TranslateAddress(const std::string& number,
                                                                     std::int32_t card,
                                                                     std::int32_t options) = 0;
  /// ITAddressTranslation: lets the user edit the dialling location, in a dialog over `owner`.
  /// Returns when it is closed.
  virtual void TranslateDialog(WindowHandle owner, const std::string& number) = 0;
  /// A call to `destination`, not started yet.
  virtual std::shared_ptr<ITBasicCallControl> CreateCall(const std::string& destination,
                                                         std::int32_t address_type,
                                                         std::int32_t media_types) = 0;
};

/// The root object of one telephony session.
class ITTAPI {
 public:
  /// `event` is null when the event object is not a call-state event.
  using EventSink = std::function<void(std::int32_t tapi_event, ITCallStateEvent* event)>;

  virtual ~ITTAPI() = default;
  virtual void Initialize() = 0;
  virtual void Shutdown() = 0;
  /// Which events are delivered, a mask of kTe* values.
  virtual void PutEventFilter(std::int32_t mask) = 0;
  /// Receiver of the events; an empty function unbinds.
  virtual void SetEventSink(EventSink sink) = 0;
  /// All line addresses, in the service's order.
  virtual std::vector<std::shared_ptr<ITAddress>> GetAddresses() = 0;
  /// Registers for calls on an address and returns the registration handle, never -1. An event sink
  /// must be set before. Throws when the service refuses, as some do for a line that is in use;
  /// with others the call's Connect fails.
  virtual std::int32_t RegisterCallNotifications(const std::shared_ptr<ITAddress>& address,
                                                 bool monitor, bool owner, std::int32_t media_types,
                                                 std::int32_t callback_instance) = 0;
  virtual void UnregisterNotifications(std::int32_t registration) = 0;
};

/// Hands over the serial port that carries a connected data call.
class PortHandleProvider {
 public:
  virtual ~PortHandleProvider() = default;
  /// The port of `call` for a device class such as "comm/datamodem". Returns 0 and sets `handle`,
  /// which then belongs to the caller and works with the Comm of the same Platform; or an error
  /// code.
  virtual std::int32_t GetPortHandle(const std::string& device_class, ITBasicCallControl& call,
                                     CommHandle& handle) = 0;
};

class Telephony {
 public:
  virtual ~Telephony() = default;
  virtual std::unique_ptr<ITTAPI> CreateTapi() = 0;
  virtual std::unique_ptr<PortHandleProvider> CreatePortHandleProvider() = 0;
};

}  // namespace mvsms
