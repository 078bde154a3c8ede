// See port.h.
#include "backends/memory/port.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "backends/memory/link.h"
#include "platform/win32_codes.h"

namespace mvsms::memory {
namespace {

std::uint32_t Outcome(const Operation& operation) {
  return operation.pending ? kErrorIoPending : 0;
}

}  // namespace

bool MemoryOverlapped::Completed() {
  const auto port = port_.lock();
  if (port) port->Settle();
  return operation_ && (!port || !operation_->pending);
}

MemoryPort::MemoryPort(Machine& machine, const PortHardware& initial) : machine_(machine) {
  hardware = initial;
}

MemoryPort::~MemoryPort() = default;

void MemoryPort::Connect(std::unique_ptr<FarEnd> far_end, std::function<void()> on_drop) {
  link_ = std::make_unique<Link>(machine_, *this, std::move(far_end), std::move(on_drop));
  link_->Connect();
}

void MemoryPort::HangUp() {
  LoseCarrier();
  if (link_) link_->HangUpFromNear();
}

void MemoryPort::LoseCarrier() {
  if (hardware.modem_status) *hardware.modem_status &= ~kMsRlsdOn;
}

void MemoryPort::Receive(std::string_view bytes) {
  Settle();
  const bool discard_nul = hardware.dcb.flags & dcb_flag::kNull;
  std::copy_if(bytes.begin(), bytes.end(), std::back_inserter(input_),
               [discard_nul](char byte) { return byte != '\0' || !discard_nul; });
  last_arrival_ = machine_.now();
  Settle();
}

std::uint32_t MemoryPort::Read(char* buffer, std::uint32_t count,
                               const std::shared_ptr<Operation>& operation) {
  Settle();
  if (read_) return kErrorBusy;
  read_ = PendingRead{operation, buffer, count, hardware.timeouts, machine_.now()};
  Settle();
  return Outcome(*operation);
}

void MemoryPort::Settle() {
  if (!read_) return;
  if (read_->operation.expired()) {
    read_.reset();
  } else if (IsOver(*read_)) {
    FinishRead(std::min<std::uint32_t>(read_->count, static_cast<std::uint32_t>(input_.size())));
  }
}

bool MemoryPort::IsOver(const PendingRead& read) const {
  if (input_.size() >= read.count) return true;
  const CommTimeouts& limits = read.timeouts;
  const Millis gap(limits.ReadIntervalTimeout);
  const Millis total(std::int64_t{limits.ReadTotalTimeoutMultiplier} * read.count +
                     limits.ReadTotalTimeoutConstant);
  const Millis now = machine_.now();
  const bool gap_over =
      gap > Millis::zero() && !input_.empty() && now >= std::max(last_arrival_, read.start) + gap;
  return gap_over || (total > Millis::zero() && now >= read.start + total);
}

void MemoryPort::FinishRead(std::uint32_t count) {
  if (!read_) return;
  const PendingRead read = *read_;
  read_.reset();
  const auto operation = read.operation.lock();
  if (!operation) return;
  std::copy_n(input_.begin(), count, read.buffer);
  input_.erase(0, count);
  operation->Finish(count);
}

std::uint32_t MemoryPort::Write(std::string bytes, const std::shared_ptr<Operation>& operation) {
  if (write_) return kErrorBusy;
  write_ = operation;
  if (hardware.write_time <= Millis::zero()) {
    FinishWrite(operation, bytes);
  } else {
    machine_.After(hardware.write_time,
                   [self = weak_from_this(), operation, bytes = std::move(bytes)] {
                     if (const auto port = self.lock()) port->FinishWrite(operation, bytes);
                   });
  }
  return Outcome(*operation);
}

void MemoryPort::FinishWrite(const std::shared_ptr<Operation>& operation,
                             const std::string& bytes) {
  if (write_ != operation) return;  // closed in between
  write_.reset();
  operation->Finish(static_cast<std::uint32_t>(bytes.size()));
  requests.sent += bytes;
  machine_.platform.sent.push_back({machine_.now(), bytes});
  if (link_) link_->Transmit(bytes);
}

std::uint32_t MemoryPort::Wait(std::uint32_t& events, const std::shared_ptr<Operation>& operation) {
  if (wait_ && wait_->operation.expired()) wait_.reset();
  if (wait_ || mask_ == 0) return kErrorInvalidParameter;
  wait_ = PendingWait{operation, &events};
  if (unreported_events_ != 0) FinishWait(std::exchange(unreported_events_, 0));
  return Outcome(*operation);
}

void MemoryPort::FinishWait(std::uint32_t events) {
  if (!wait_) return;
  const PendingWait wait = *wait_;
  wait_.reset();
  const auto operation = wait.operation.lock();
  if (!operation) return;
  *wait.events = events;
  operation->Finish(0);
}

void MemoryPort::SetMask(std::uint32_t events) {
  mask_ = events;
  unreported_events_ &= events;
  FinishWait(0);
}

void MemoryPort::RaiseLineErrors(std::uint32_t bits) {
  line_errors_ |= bits;
  if ((mask_ & kEvErr) == 0) return;
  if (wait_ && !wait_->operation.expired()) {
    FinishWait(kEvErr);
  } else {
    unreported_events_ |= kEvErr;
  }
}

std::uint32_t MemoryPort::TakeLineErrors() { return std::exchange(line_errors_, 0); }

void MemoryPort::Close() {
  Settle();
  if (read_) FinishRead(0);
  if (write_) std::exchange(write_, nullptr)->Finish(0);
  FinishWait(0);
}

}  // namespace mvsms::memory
