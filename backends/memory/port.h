// A serial port over virtual time. Nothing is scheduled for a read: whether it is complete follows
// from what has arrived and from the time, so it is worked out when somebody looks, and just before
// further bytes arrive (which belong to the next read once this one's limits have passed).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "backends/memory/machine.h"
#include "backends/memory/overlapped.h"

namespace mvsms::memory {

class Link;

class MemoryPort : public Port, public std::enable_shared_from_this<MemoryPort> {
 public:
  MemoryPort(Machine& machine, const PortHardware& hardware);
  ~MemoryPort() override;

  /// Puts a far end (or none) on the line and tells it. `on_drop` runs when it hangs up.
  void Connect(std::unique_ptr<FarEnd> far_end, std::function<void()> on_drop);
  /// The near side hangs up: no carrier any more.
  void HangUp();

  void Receive(std::string_view bytes) override;
  void RaiseLineErrors(std::uint32_t bits) override;

  /// The operations start as their namesakes of Comm do, and with the same results.
  std::uint32_t Read(char* buffer, std::uint32_t count,
                     const std::shared_ptr<Operation>& operation);
  std::uint32_t Write(std::string bytes, const std::shared_ptr<Operation>& operation);
  std::uint32_t Wait(std::uint32_t& events, const std::shared_ptr<Operation>& operation);
  void SetMask(std::uint32_t events);
  std::uint32_t TakeLineErrors();
  /// Completes what has become complete.
  void Settle();
  /// Completes everything that is pending, with no bytes and no events.
  void Close();
  /// The carrier is lost; bytes that have arrived stay.
  void LoseCarrier();

 private:
  /// Reads and waits are owned by their watchers, which also keep the pointers valid: when a
  /// watcher has gone, its operation is forgotten.
  struct PendingRead {
    std::weak_ptr<Operation> operation;
    char* buffer;
    std::uint32_t count;
    CommTimeouts timeouts;
    Millis start;
  };
  struct PendingWait {
    std::weak_ptr<Operation> operation;
    std::uint32_t* events;
  };

  bool IsOver(const PendingRead& read) const;
  void FinishRead(std::uint32_t count);
  void FinishWrite(const std::shared_ptr<Operation>& operation, const std::string& bytes);
  void FinishWait(std::uint32_t events);

  Machine& machine_;
  std::unique_ptr<Link> link_;
  std::string input_;  // arrived and not yet read
  Millis last_arrival_{0};
  std::optional<PendingRead> read_;
  std::shared_ptr<Operation> write_;
  std::optional<PendingWait> wait_;
  std::uint32_t mask_ = 0;
  std::uint32_t unreported_events_ = 0;  // of the mask, since the last wait
  std::uint32_t line_errors_ = 0;
};

}  // namespace mvsms::memory
