// One serial port and what is at the other end of it, see comm.h.
#include <algorithm>
#include <optional>
#include <utility>

#include "platform/memory/comm.h"

namespace mvsms::memory {

Connection::Connection(Machine& machine, MemoryPort& port, std::unique_ptr<FarEnd> far_end,
                       std::function<void()> on_far_hang_up)
    : machine_(machine),
      port_(port),
      far_end_(std::move(far_end)),
      on_far_hang_up_(std::move(on_far_hang_up)) {}

void Connection::Start() {
  up_ = true;
  if (far_end_) far_end_->Connected(*this);
}

void Connection::Sent(std::string_view bytes) {
  if (up_ && far_end_) far_end_->Received(bytes);
}

void Connection::NearHangUp() {
  if (!std::exchange(up_, false)) return;
  if (far_end_) far_end_->HungUp();
}

void Connection::Write(std::string_view bytes) {
  if (up_) port_.Receive(bytes);
}

void Connection::HangUp() {
  if (std::exchange(up_, false) && on_far_hang_up_) on_far_hang_up_();
}

void Connection::After(Millis delay, std::function<void()> action) {
  machine_.After(delay, [weak = weak_from_this(), action = std::move(action)] {
    const auto connection = weak.lock();
    if (connection && connection->up_) action();
  });
}

struct MemoryPort::Read : Operation {
  Read(MemoryPort& owner, char* target, std::uint32_t wanted)
      : port(owner), buffer(target), count(wanted), start(owner.machine_.now()) {}

  void Settle() override {
    const auto end = Ending();
    if (!end || end->first > port.machine_.now()) return;
    for (std::uint32_t index = 0; index < end->second; ++index) {
      buffer[index] = port.input_.front().second;
      port.input_.pop_front();
    }
    Complete(end->second);
  }

  /// When the read ends and with how many bytes, as far as the bytes that are there decide it.
  std::optional<std::pair<Millis, std::uint32_t>> Ending() const {
    const CommTimeouts& limits = port.hardware.timeouts;
    const Millis total{std::uint64_t{limits.ReadTotalTimeoutMultiplier} * count +
                       limits.ReadTotalTimeoutConstant};
    const Millis gap{limits.ReadIntervalTimeout};
    const Millis never = Millis::max();
    Millis end = total.count() > 0 ? start + total : never;
    std::uint32_t taken = 0;
    for (const auto& [arrival, byte] : port.input_) {
      const Millis time = std::max(arrival, start);
      if (time > end) break;
      if (++taken == count) return std::pair(time, taken);
      if (gap.count() > 0) end = std::min(total.count() > 0 ? start + total : never, time + gap);
    }
    if (end == never) return std::nullopt;
    return std::pair(end, taken);
  }

  MemoryPort& port;
  char* buffer;
  std::uint32_t count;
  Millis start;
};

struct MemoryPort::Wait : Operation {
  explicit Wait(std::uint32_t& target) : events(target) {}
  std::uint32_t& events;
};

MemoryPort::MemoryPort(Machine& machine, PortHardware hardware_state) : machine_(machine) {
  hardware = std::move(hardware_state);
}

void MemoryPort::Receive(std::string_view bytes) {
  for (const char byte : bytes) input_.emplace_back(machine_.now(), byte);
}

void MemoryPort::RaiseLineErrors(std::uint32_t bits) {
  line_errors_ |= bits;
  latched_events_ |= kEvErr & mask_;
  if (wait_ && latched_events_ != 0) EndWait(std::exchange(latched_events_, 0));
}

std::shared_ptr<Operation> MemoryPort::StartRead(char* buffer, std::uint32_t count) {
  auto read = std::make_shared<Read>(*this, buffer, count);
  read->Settle();
  if (!read->done) Pend(read);
  return read;
}

std::shared_ptr<Operation> MemoryPort::StartWrite(std::string bytes) {
  auto write = std::make_shared<Operation>();
  const auto count = static_cast<std::uint32_t>(bytes.size());
  if (hardware.write_time.count() == 0) {
    Deliver(bytes);
    write->Complete(count);
    return write;
  }
  Pend(write);
  machine_.After(hardware.write_time,
                 [self = shared_from_this(), write, count, bytes = std::move(bytes)] {
                   if (write->done) return;  // the port was closed first
                   self->Deliver(bytes);
                   write->Complete(count);
                 });
  return write;
}

std::shared_ptr<Operation> MemoryPort::StartEventWait(std::uint32_t& events) {
  EndWait(0);  // a second wait ends the first
  auto wait = std::make_shared<Wait>(events);
  wait_ = wait;
  if (latched_events_ != 0) EndWait(std::exchange(latched_events_, 0));
  return wait;
}

void MemoryPort::SetMask(std::uint32_t mask) {
  mask_ = mask;
  latched_events_ &= mask;
  EndWait(0);
}

void MemoryPort::EndWait(std::uint32_t events) {
  const auto wait = std::exchange(wait_, nullptr);
  if (!wait) return;
  wait->events = events;
  wait->Complete(0);
}

void MemoryPort::Close() {
  EndWait(0);
  for (const auto& operation : pending_) {
    operation->Settle();  // it may have ended before
    if (!operation->done) operation->Complete(0);
  }
  pending_.clear();
}

void MemoryPort::Pend(std::shared_ptr<Operation> operation) {
  std::erase_if(pending_, [](const auto& other) { return other->done; });
  pending_.push_back(std::move(operation));
}

void MemoryPort::Deliver(const std::string& bytes) {
  machine_.platform().sent.push_back({machine_.now(), bytes});
  requests.sent += bytes;
  if (connection) connection->Sent(bytes);
}

}  // namespace mvsms::memory
