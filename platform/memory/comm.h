// Serial ports in memory: bytes with their time of arrival, and overlapped operations that complete
// at the virtual time at which a driver would complete them.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/memory/machine.h"

namespace mvsms::memory {

class MemoryPort;

/// A line that is up between a port and its far end.
class Connection : public Wire, public std::enable_shared_from_this<Connection> {
 public:
  Connection(Machine& machine, MemoryPort& port, std::unique_ptr<FarEnd> far_end,
             std::function<void()> on_far_hang_up);
  void Start();
  /// Bytes from the near side; lost when the line is down.
  void Sent(std::string_view bytes);
  void NearHangUp();

  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override { return machine_.now(); }

 private:
  Machine& machine_;
  MemoryPort& port_;
  std::unique_ptr<FarEnd> far_end_;
  std::function<void()> on_far_hang_up_;
  bool up_ = false;
};

/// One read, write or event wait.
struct Operation {
  virtual ~Operation() = default;
  /// Completes the operation if that is due by now.
  virtual void Settle() {}
  void Complete(std::uint32_t count) {
    done = true;
    transferred = count;
  }
  bool done = false;
  std::uint32_t transferred = 0;
};

class MemoryPort : public Port, public std::enable_shared_from_this<MemoryPort> {
 public:
  MemoryPort(Machine& machine, PortHardware hardware_state);

  void Receive(std::string_view bytes) override;
  void RaiseLineErrors(std::uint32_t bits) override;

  std::shared_ptr<Operation> StartRead(char* buffer, std::uint32_t count);
  std::shared_ptr<Operation> StartWrite(std::string bytes);
  std::shared_ptr<Operation> StartEventWait(std::uint32_t& events);
  void SetMask(std::uint32_t mask);
  std::uint32_t TakeLineErrors() { return std::exchange(line_errors_, 0); }
  /// Completes whatever is pending, with no bytes.
  void Close();

  std::shared_ptr<Connection> connection;  // none: bytes sent go nowhere

 private:
  struct Read;
  struct Wait;
  void Pend(std::shared_ptr<Operation> operation);
  void Deliver(const std::string& bytes);
  void EndWait(std::uint32_t events);

  Machine& machine_;
  std::deque<std::pair<Millis, char>> input_;
  std::vector<std::shared_ptr<Operation>> pending_;
  std::shared_ptr<Wait> wait_;
  std::uint32_t mask_ = 0;
  std::uint32_t latched_events_ = 0;
  std::uint32_t line_errors_ = 0;
};

class MemoryComm : public Comm {
 public:
  explicit MemoryComm(Machine& machine) : machine_(machine) {}

  std::unique_ptr<Overlapped> CreateOverlapped() override;
  CommHandle CreateFile(const std::string& device_name) override;
  bool CloseHandle(CommHandle handle) override;
  bool SetupComm(CommHandle handle, std::uint32_t in_queue, std::uint32_t out_queue) override;
  bool GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) override;
  bool SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) override;
  bool GetCommState(CommHandle handle, Dcb& dcb) override;
  bool SetCommState(CommHandle handle, const Dcb& dcb) override;
  bool SetCommMask(CommHandle handle, std::uint32_t events) override;
  bool GetCommModemStatus(CommHandle handle, std::uint32_t& status) override;
  std::uint32_t ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                         std::uint32_t& transferred, Overlapped& overlapped) override;
  std::uint32_t WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                          std::uint32_t& transferred, Overlapped& overlapped) override;
  std::uint32_t WaitCommEvent(CommHandle handle, std::uint32_t& events,
                              Overlapped& overlapped) override;
  bool ClearCommError(CommHandle handle, std::uint32_t& errors) override;

  /// A handle to a port that something else opened.
  CommHandle Open(std::shared_ptr<MemoryPort> port);
  std::size_t open_ports() const { return open_.size(); }

 private:
  /// The open port, or null when the operation fails.
  MemoryPort* Admit(std::string_view operation, CommHandle handle);

  Machine& machine_;
  std::map<CommHandle, std::shared_ptr<MemoryPort>> open_;
  std::map<std::string, CommHandle> open_devices_;
  CommHandle last_ = 0;
};

}  // namespace mvsms::memory
