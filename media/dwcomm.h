// dwCOMM: one serial port with overlapped I/O and no thread of its own. Its owner calls Poll
// regularly; each poll finishes what has completed, starts what is due, and hands received data
// and line errors to a notification target.
//
// At most one read, one write and one wait for a line event are outstanding at a time, each of up
// to 1024 bytes. Failed I/O is noted in the send log and otherwise ignored: it shows as silence
// from the far side. Everything else that goes wrong is thrown as RaisedError with the source
// "dwComm".
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/dwdcb.h"
#include "media/log_sink.h"
#include "platform/comm.h"

namespace mvsms {

class dwCOMM;

inline constexpr std::int32_t kErrOpenFailed = 31010;
inline constexpr std::int32_t kErrNotOpen = 31011;
inline constexpr std::int32_t kErrModemStatus = 31012;

/// Receives what a port delivers, from inside Poll or an open operation.
class CommNotify {
 public:
  /// Bytes in order of arrival; at least one.
  virtual void CommInput(dwCOMM& thiscomm, const std::string& commdata) = 0;
  /// One line error, as a text.
  virtual void CommEvent(dwCOMM& thiscomm, const std::string& ev) = 0;

 protected:
  ~CommNotify() = default;
};

class dwCOMM {
 public:
  /// A closed port over `comm`, which must outlive it. `send_log`, when not empty, receives the
  /// diagnostic lines.
  dwCOMM(Comm& comm, LogSink send_log);
  /// Closes the port.
  ~dwCOMM();
  dwCOMM(const dwCOMM&) = delete;
  dwCOMM& operator=(const dwCOMM&) = delete;

  /// Line settings; loaded from the device at each opening, applied by SetCommState.
  dwDCB dcb;

  /// Time-outs in milliseconds, as in CommTimeouts. The last three setters ignore their argument
  /// and keep the value that the port works with.
  std::uint32_t ReadIntervalTimeout() const { return timeouts_.ReadIntervalTimeout; }
  void SetReadIntervalTimeout(std::uint32_t value) { timeouts_.ReadIntervalTimeout = value; }
  std::uint32_t ReadTotalTimeoutMultiplier() const { return timeouts_.ReadTotalTimeoutMultiplier; }
  void SetReadTotalTimeoutMultiplier(std::uint32_t value) {
    timeouts_.ReadTotalTimeoutMultiplier = value;
  }
  std::uint32_t ReadTotalTimeoutConstant() const { return timeouts_.ReadTotalTimeoutConstant; }
  void SetReadTotalTimeoutConstant(std::uint32_t) {}
  std::uint32_t WriteTotalTimeoutMultiplier() const {
    return timeouts_.WriteTotalTimeoutMultiplier;
  }
  void SetWriteTotalTimeoutMultiplier(std::uint32_t) {}
  std::uint32_t WriteTotalTimeoutConstant() const { return timeouts_.WriteTotalTimeoutConstant; }
  void SetWriteTotalTimeoutConstant(std::uint32_t) {}

  /// The open port, kNoComm when closed.
  CommHandle hCommDev() const { return handle_; }
  /// The name given to the last OpenComm.
  const std::string& DeviceName() const { return device_name_; }

  /// Reads the device's time-outs into the properties; does nothing when the port is closed.
  void GetCommTimeouts();
  /// Applies the properties. False when the device refuses them and when the port is closed.
  bool SetCommTimeouts();

  /// Opens a device by name, closing an open port first, and starts reading. The queue sizes, in
  /// bytes, count only when both are given. `Notify` must stay valid until CloseComm. Returns the
  /// handle.
  CommHandle OpenComm(const std::string& CommDeviceName, CommNotify& Notify,
                      std::optional<std::uint32_t> cbInQueue = {},
                      std::optional<std::uint32_t> cbOutQueue = {});
  /// The same for a port that is already open, of which this object takes ownership.
  CommHandle OpenCommByHandle(CommHandle comm_handle, CommNotify& Notify,
                              std::optional<std::uint32_t> cbInQueue = {},
                              std::optional<std::uint32_t> cbOutQueue = {});
  /// Closes the port and forgets the notification target. Output that has not been sent yet, and
  /// whatever was pending, is kept for the next opening. Returns 0.
  std::int32_t CloseComm();

  /// Load and apply `dcb`. Throw when the port is closed; false when the device fails.
  bool GetCommState();
  bool SetCommState();

  /// The modem's lines. Throw when the port is closed or the device does not report them.
  bool CTS_ON() { return ModemStatus(kMsCtsOn); }
  bool DSR_ON() { return ModemStatus(kMsDsrOn); }
  bool RING_ON() { return ModemStatus(kMsRingOn); }
  bool RLSD_ON() { return ModemStatus(kMsRlsdOn); }

  /// Queues text for writing and starts a write unless one is in progress. False when the device
  /// refused it; the chunk is then lost. Throws when the port is closed.
  bool CommOutput(const std::string& outputdata);

  void ProcessWriteComplete();
  void PollWrite();
  void PollRead();
  void ProcessReadComplete();
  /// Attends to the write, the read and the line events, in this order.
  void Poll();

  /// The service that the port works on.
  Comm& driver() { return comm_; }

 private:
  static constexpr std::size_t kChunk = 1024;
  using Buffer = std::array<char, kChunk + 1>;

  CommHandle Adopt(CommHandle opened, CommNotify& notify, std::optional<std::uint32_t> in_queue,
                   std::optional<std::uint32_t> out_queue);
  void RequireOpen() const;
  bool ModemStatus(std::uint32_t line);
  std::uint32_t TakeChunk();
  bool StartWrite(std::uint32_t count);
  void StartRead();
  void StartEventWait();
  void PollEvent();
  void ProcessEvent();
  void Log(const std::string& text);
  void LogFailure(const std::string& operation, std::uint32_t error);

  Comm& comm_;
  LogSink send_log_;
  CommHandle handle_ = kNoComm;
  std::string device_name_;
  CommNotify* notify_ = nullptr;
  CommTimeouts timeouts_;
  std::string pending_output_;

  // The device may use these until an operation completes, at the latest when the port closes.
  Buffer receive_buffer_{};
  Buffer transmit_buffer_{};
  std::uint32_t event_result_ = 0;
  std::unique_ptr<Overlapped> read_;
  std::unique_ptr<Overlapped> write_;
  std::unique_ptr<Overlapped> event_wait_;
  bool read_pending_ = false;
  bool write_pending_ = false;
  bool event_wait_pending_ = false;
  std::uint32_t bytes_read_ = 0;
  std::uint32_t bytes_written_ = 0;
};

}  // namespace mvsms
