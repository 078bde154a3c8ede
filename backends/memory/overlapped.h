// Overlapped operations in memory. Each started operation is a small record of its own, shared by
// the port that carries it out and the Overlapped that watches it, so that either may go first.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "platform/comm.h"

namespace mvsms::memory {

class MemoryPort;

struct Operation {
  bool pending = true;
  std::uint32_t transferred = 0;

  void Finish(std::uint32_t bytes) {
    pending = false;
    transferred = bytes;
  }
};

class MemoryOverlapped : public Overlapped {
 public:
  bool Completed() override;
  std::uint32_t Transferred() override { return operation_ ? operation_->transferred : 0; }

  /// Watches `operation`, which `port` carries out.
  void Watch(std::shared_ptr<Operation> operation, std::weak_ptr<MemoryPort> port) {
    operation_ = std::move(operation);
    port_ = std::move(port);
  }

 private:
  std::shared_ptr<Operation> operation_;  // none while unused
  std::weak_ptr<MemoryPort> port_;
};

}  // namespace mvsms::memory
