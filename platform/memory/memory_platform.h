// The in-memory back end: a whole platform with a virtual clock, for tests, fuzzers and
// benchmarks. Time stands still except in EventLoop::Sleep, which advances it at once and lets
// everything that falls due happen in order; so a time-out of 42 seconds takes microseconds, and
// every run is the same. Each service records what was asked of it and can be made to fail.
//
// One MemoryPlatform is one machine seen from one thread; several are independent of each other.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace mvsms::memory {

using Millis = std::chrono::milliseconds;

/// The near side of a call as the far end sees it.
class Wire {
 public:
  virtual ~Wire() = default;
  /// Delivers bytes to the near side at the current virtual time.
  virtual void Write(std::string_view bytes) = 0;
  /// Drops the call from the far side.
  virtual void HangUp() = 0;
  /// Runs `action` after `delay` of virtual time, unless the call has ended by then.
  virtual void After(Millis delay, std::function<void()> action) = 0;
  virtual Millis Now() = 0;
};

/// What answers a call: a scripted dialogue, or the message centre.
class FarEnd {
 public:
  virtual ~FarEnd() = default;
  /// The call is up. `wire` is valid until HungUp.
  virtual void Connected(Wire& wire) = 0;
  /// Bytes that the near side sent.
  virtual void Received(std::string_view bytes) = 0;
  /// The near side hung up.
  virtual void HungUp() = 0;
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
  bool hang_up_fails = false;                 // ITBasicCallControl::Disconnect throws
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
  Clock& clock() override;
  TextFile& text_file() override;
  Locale& locale() override;
  UserSettings& user_settings() override;

  // --- the machine, as a test arranges it ---------------------------------------------------
  /// The modem lines, in the telephony service's order. Change them at any time.
  std::vector<Line> lines;
  /// Runs `action` at `delay` from now, when a Sleep reaches that time (like hardware would: not
  /// through the message loop).
  void After(Millis delay, std::function<void()> action);
  /// Files by path, as TextFile wrote them.
  std::map<std::string, std::string> files;
  /// Folders in which TextFile can write; empty: everywhere.
  std::vector<std::string> folders;
  std::string component_folder = "C:\\Programs\\mvSMS";
  std::uint16_t language = 1033;
  /// Number of system timers that may run at once; SetTimer then returns 0.
  std::size_t max_system_timers = 1000;

  // --- faults ------------------------------------------------------------------------------
  /// Called with the name of each seam operation before it is carried out ("Registry.SetValue",
  /// "Comm.WriteFile", "ITTAPI.Initialize" …). True makes the operation fail in its own way: an
  /// error code, false, or a RaisedError with number -2147467259 and description
  /// "Operation failed: " and the name.
  std::function<bool(const std::string& operation)> fail;

  // --- records -----------------------------------------------------------------------------
  /// Every seam operation that was called, in order.
  std::vector<std::string> calls;
  /// Everything written to the ports, in order, with the virtual time of each write.
  struct Sent {
    Millis time;
    std::string bytes;
  };
  std::vector<Sent> sent;
  /// Everything slept so far (the virtual time since the start).
  Millis slept();
  /// Open handles and running timers, for leak checks.
  std::size_t open_ports();
  std::size_t open_keys();
  std::size_t running_timers();
  std::size_t active_calls();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace mvsms::memory
