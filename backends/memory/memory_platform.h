// The in-memory back end: a whole platform with a virtual clock, for tests, fuzzers and
// benchmarks. Time stands still except in EventLoop::Sleep, which advances it at once and lets
// everything that falls due happen in order; so a time-out of 42 seconds takes microseconds, and
// every run is the same. Each service records what was asked of it and can be made to fail.
//
// There are two kinds of events, as on a real machine. Hardware (bytes that arrive, the outcome of
// a call, an After) happens during a Sleep, at its time. Messages (timer ticks, telephony events)
// wait for the next DoEvents.
//
// One MemoryPlatform is one machine seen from one thread; several are independent of each other.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "base/guard.h"
#include "platform/platform.h"
#include "platform/win32_codes.h"

namespace mvsms::memory {

using Millis = std::chrono::milliseconds;

/// What a seam operation returns, or throws as the number of its RaisedError, when `fail` refuses
/// it.
inline constexpr RegStatus kRefusedByRegistry = kErrorAccessDenied;
inline constexpr std::uint32_t kRefusedByComm = kErrorGenFailure;
inline constexpr std::int32_t kRefusedByTelephony = kErrUnnumbered;  // forms and mail too
inline constexpr std::int32_t kRefusedByShell = 0;

/// The near side of a call as the far end sees it.
class Wire {
 public:
  virtual ~Wire() = default;
  /// Delivers bytes to the near side at the current virtual time; lost once the call has ended.
  virtual void Write(std::string_view bytes) = 0;
  /// Drops the call from the far side. FarEnd::HungUp is not called then.
  virtual void HangUp() = 0;
  /// Runs `action` after `delay` of virtual time, unless the call has ended by then.
  virtual void After(Millis delay, std::function<void()> action) = 0;
  virtual Millis Now() = 0;
};

/// What answers a call: a scripted dialogue, or the message centre.
class FarEnd {
 public:
  virtual ~FarEnd() = default;
  /// The call is up. `wire` is valid as long as this object.
  virtual void Connected(Wire& wire) = 0;
  /// Bytes that the near side sent.
  virtual void Received(std::string_view bytes) = 0;
  /// The near side hung up.
  virtual void HungUp() = 0;
};

/// The state of a serial port that its hardware decides.
struct PortHardware {
  Dcb dcb = {.BaudRate = 9600, .flags = dcb_flag::kBinary, .ByteSize = 8};
  CommTimeouts timeouts;
  /// kMs* bits; none: the device has no modem lines.
  std::optional<std::uint32_t> modem_status = kMsCtsOn | kMsDsrOn | kMsRlsdOn;
  /// How long a write stays pending before it completes and the far end gets its bytes; with zero
  /// it finishes at once.
  Millis write_time{0};
};

/// What the near side asked of a serial port, oldest first.
struct PortRequests {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> queues;  // receive, transmit
  std::vector<CommTimeouts> timeouts;
  std::vector<Dcb> dcbs;  // refused ones too
  std::vector<std::uint32_t> masks;
  std::string sent;  // all bytes of the completed writes
};

/// A serial port as the owner of the machine sees it.
class Port {
 public:
  virtual ~Port() = default;
  /// Bytes come in from the line at the current virtual time.
  virtual void Receive(std::string_view bytes) = 0;
  /// Reports line errors (kCe* bits); the next ClearCommError clears them.
  virtual void RaiseLineErrors(std::uint32_t bits) = 0;

  PortHardware hardware;  // including what the near side set; may be changed at any time
  PortRequests requests;
};

/// A serial device that Comm::CreateFile opens by name; one open handle at a time.
struct Device {
  PortHardware port;  // each opening starts with it
  /// Makes the far end of an opening; none: bytes sent go nowhere.
  std::function<std::unique_ptr<FarEnd>()> far_end;
};

/// How one modem line of the machine behaves.
struct Line {
  std::string name;
  bool data_modem = true;                     // supports the data-modem media type
  bool in_use = false;                        // taken by another program: registration fails
  Millis ring_time{2000};                     // from Connect to the outcome
  CallState outcome = CallState::kConnected;  // kInProgress: it never ends by itself
  CallCause cause = CallCause::kNone;         // cause of the event that reports the outcome
  std::int32_t port_error = 0;                // error code of the port-handle provider
  bool dead_port = false;                     // the provider hands over an invalid handle
  bool hang_up_fails = false;                 // ITBasicCallControl::Disconnect throws
  PortHardware port;                          // the serial port of a connected call
  /// Makes the dialable form of a number; none: blanks and the signs ( ) - / are left out.
  std::function<std::string(const std::string& number)> translate;
  /// Makes the far end of a call to this number; none: bytes sent go nowhere.
  std::function<std::unique_ptr<FarEnd>(const std::string& number)> far_end;
};

class MemoryPlatform : public Platform {
 public:
  MemoryPlatform();
  ~MemoryPlatform() override;

  Registry& registry() override;
  Comm& comm() override;
  Telephony& telephony() override;
  EventLoop& loop() override;
  Timers& timers() override;
  /// Starts at 2026-01-02 03:04:05 and at a Now of zero; "2026-01-02" and "03:04:05".
  Clock& clock() override;
  TextFile& text_file() override;
  Locale& locale() override;
  UserSettings& user_settings() override;
  Shell& shell() override;
  Mail& mail() override;
  Forms& forms() override;

  // --- the machine, as a test arranges it ---------------------------------------------------
  /// The modem lines, in the telephony service's order. Change them at any time; a call takes
  /// the line as it is when it is started.
  std::vector<Line> lines;
  /// The serial devices, by name.
  std::map<std::string, Device> devices;
  /// Runs `action` at `delay` from now, when a Sleep reaches that time (as hardware would, not
  /// through the message loop). Equal times run in the order in which they were asked for.
  void After(Millis delay, std::function<void()> action);
  /// Files by path, as TextFile wrote them.
  std::map<std::string, std::string> files;
  /// Folders in which TextFile can write; empty: everywhere.
  std::vector<std::string> folders;
  std::string component_folder = "C:\\Programs\\mvSMS";
  std::uint16_t language = kLanguageEnglish;
  std::string host_title = "Host";
  OsVersion os_version = {.platform = 2, .major = 5, .minor = 1, .build = 2600};
  /// What the shell answers when it is asked to open something.
  std::int32_t shell_result = kShellSuccess;
  /// The user of the forms: called when a form is shown modally, to act on its controls. A form
  /// that is still visible afterwards is closed as by its window's close button.
  std::function<void(Form& form)> on_modal;
  /// The user's answers to message boxes and input boxes, in order; without one, OK and "".
  std::deque<MsgBoxAnswer> msgbox_answers;
  std::deque<std::string> inputbox_answers;
  /// Number of system timers that may run at once; SetTimer then returns 0.
  std::size_t max_system_timers = 1000;

  // --- faults ------------------------------------------------------------------------------
  /// Called with the name of each seam operation before it is carried out ("Registry.SetValue",
  /// "Comm.WriteFile", "ITTAPI.Initialize" …). True makes the operation do nothing and fail in its
  /// own way: a kRefusedBy* code, false, an invalid handle, the fallback of GetSetting; telephony
  /// throws a RaisedError with the description "Operation failed: " and the name, except for the
  /// port-handle provider, which returns its code. Operations that cannot fail (EventLoop, Clock,
  /// Locale) ignore the answer.
  std::function<bool(const std::string& operation)> fail;

  // --- records -----------------------------------------------------------------------------
  /// Every seam operation that was called, in order.
  std::vector<std::string_view> calls;
  /// Everything written to the ports, in order, with the virtual time at which each write
  /// completed. What a closed port had not sent yet is not there.
  struct Sent {
    Millis time;
    std::string bytes;
  };
  std::vector<Sent> sent;
  /// Every port there has been, of devices and of connected calls, oldest first. They stay, with
  /// their far ends, as long as the platform.
  std::vector<std::shared_ptr<Port>> ports;
  /// What was written to the registry, in order: the key's own name and the value, as
  /// "Key\\Name=text" or "Key\\Name#number".
  std::vector<std::string> stored;
  /// Everything the user was shown or asked, as "MsgBox 48 title: text", "InputBox title: text",
  /// "Show NAME", "Hide NAME", "Close NAME" and the like, in order.
  std::vector<std::string> shown;
  /// What the shell was asked for: "Open|file|parameters|folder|show".
  std::vector<std::string> opened;
  /// Every mail that was displayed or sent.
  struct MailRecord {
    std::string recipient, subject, body;
    bool sent = false;  // else displayed
  };
  std::vector<MailRecord> mails;
  /// Dialling-location dialogs: the line's name, the number and the owner.
  std::vector<std::tuple<std::string, std::string, WindowHandle>> translate_dialogs;
  /// Windows of forms, shown or not.
  std::size_t open_windows();
  /// Everything slept so far (the virtual time since the start).
  Millis slept();
  /// Open handles, running timers and what else can be left behind, for leak checks.
  std::size_t open_ports();
  std::size_t open_keys();
  /// In how many goes the registry was read: what costs a store in a file its locks.
  int registry_readings();
  std::size_t running_timers();
  std::size_t active_calls();   // in progress or connected
  std::size_t tapi_sessions();  // initialised and not shut down
  std::size_t registrations();  // for call notifications

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace mvsms::memory
