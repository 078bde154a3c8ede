// The line between a port and its far end: the far end's Wire, and the port's way to it. Both
// directions close for good when either side hangs up.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "backends/memory/machine.h"
#include "backends/memory/port.h"

namespace mvsms::memory {

class Link : public Wire {
 public:
  /// Belongs to `port`. `far_end` may be null. `on_drop` runs when the far end hangs up.
  Link(Machine& machine, MemoryPort& port, std::unique_ptr<FarEnd> far_end,
       std::function<void()> on_drop);

  /// Tells the far end that the call is up.
  void Connect();
  /// Bytes from the near side.
  void Transmit(std::string_view bytes);
  void HangUpFromNear();

  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override { return machine_.now(); }

 private:
  Machine& machine_;
  MemoryPort& port_;
  std::unique_ptr<FarEnd> far_end_;
  std::function<void()> on_drop_;
  bool up_ = true;
};

}  // namespace mvsms::memory
