// See link.h.
#include "backends/memory/link.h"

#include <utility>

namespace mvsms::memory {

Link::Link(Machine& machine, MemoryPort& port, std::unique_ptr<FarEnd> far_end,
           std::function<void()> on_drop)
    : machine_(machine), port_(port), far_end_(std::move(far_end)), on_drop_(std::move(on_drop)) {}

void Link::Connect() {
  if (far_end_) far_end_->Connected(*this);
}

void Link::Transmit(std::string_view bytes) {
  if (up_ && far_end_) far_end_->Received(bytes);
}

void Link::HangUpFromNear() {
  if (std::exchange(up_, false) && far_end_) far_end_->HungUp();
}

void Link::Write(std::string_view bytes) {
  if (up_) port_.Receive(bytes);
}

void Link::HangUp() {
  if (!std::exchange(up_, false)) return;
  port_.LoseCarrier();
  if (on_drop_) on_drop_();
}

void Link::After(Millis delay, std::function<void()> action) {
  machine_.After(delay, [port = port_.weak_from_this(), this, action = std::move(action)] {
    if (port.lock() && up_) action();
  });
}

}  // namespace mvsms::memory
