// Overlapped operations without threads: an operation advances whenever somebody asks whether it
// has completed, which is all that a caller can see of it.
#include "backends/posix/line/comm.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "backends/posix/line/backend.h"
#include "backends/posix/line/serial_channel.h"
#include "base/raised_error.h"
#include "platform/win32_codes.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Codes of winerror.h.

class Operation {
 public:
  virtual ~Operation() = default;
  /// Advances as far as possible now; true when the operation is complete.
  virtual bool Advance(Port& port) = 0;
  std::uint32_t transferred() const { return transferred_; }

 protected:
  std::uint32_t transferred_ = 0;
};

class ReadOperation : public Operation {
 public:
  ReadOperation(char* buffer, std::uint32_t count, const CommTimeouts& timeouts)
      : buffer_(buffer),
        count_(count),
        gap_limit_(timeouts.ReadIntervalTimeout),
        total_limit_(static_cast<std::int64_t>(timeouts.ReadTotalTimeoutMultiplier) * count +
                     timeouts.ReadTotalTimeoutConstant) {}

  // What arrives stays in the channel until the read is complete: bytes held by a pending read
  // would be missing there when somebody asks whether everything that came has been read.
  bool Advance(Port& port) override {
    const auto now = steady_clock::now();
    const std::size_t here = std::min<std::size_t>(port.channel->Available(count_), count_);
    if (here > seen_) last_came_ = now;
    seen_ = here;
    const bool complete = seen_ == count_ || IsOver(now - start_, total_limit_) ||
                          (seen_ > 0 && IsOver(now - last_came_, gap_limit_));
    if (complete) transferred_ = static_cast<std::uint32_t>(port.channel->Read(buffer_, seen_));
    return complete;
  }

 private:
  static bool IsOver(steady_clock::duration elapsed, milliseconds limit) {
    return limit.count() > 0 && elapsed >= limit;
  }

  char* buffer_;
  std::uint32_t count_;
  milliseconds gap_limit_;
  milliseconds total_limit_;
  steady_clock::time_point start_ = steady_clock::now();
  std::size_t seen_ = 0;
  steady_clock::time_point last_came_;
};

// Write time-outs are not observed: the system's queue takes what a port is given here, and giving
// up on the rest would lose it.
class WriteOperation : public Operation {
 public:
  WriteOperation(const char* buffer, std::uint32_t count) : buffer_(buffer), count_(count) {}

  bool Advance(Port& port) override {
    const std::string_view rest(buffer_ + transferred_, count_ - transferred_);
    transferred_ += static_cast<std::uint32_t>(port.channel->Write(rest));
    return transferred_ == count_;
  }

 private:
  const char* buffer_;
  std::uint32_t count_;
};

class WaitOperation : public Operation {
 public:
  WaitOperation(std::uint32_t& events, const Port& port)
      : events_(events), mask_changes_(port.mask_changes) {
    events_ = 0;
  }

  bool Advance(Port& port) override {
    if (port.mask_changes != mask_changes_) return true;
    port.NoteErrors();
    events_ = std::exchange(port.events, 0);
    return events_ != 0;
  }

 private:
  std::uint32_t& events_;
  unsigned mask_changes_;
};

class PosixOverlapped : public Overlapped {
 public:
  /// Starts an operation; true when it is complete at once.
  bool Start(const std::shared_ptr<Port>& port, std::unique_ptr<Operation> operation) {
    port_ = port;
    operation_ = std::move(operation);
    completed_ = false;
    transferred_ = 0;
    return Completed();
  }

  bool Completed() override {
    if (!operation_) return completed_;
    const auto port = port_.lock();
    if (port && !operation_->Advance(*port)) return false;
    if (port) transferred_ = operation_->transferred();
    completed_ = true;
    operation_.reset();
    return true;
  }

  std::uint32_t Transferred() override { return transferred_; }

 private:
  std::weak_ptr<Port> port_;  // expires when the handle is closed
  std::unique_ptr<Operation> operation_;
  bool completed_ = false;
  std::uint32_t transferred_ = 0;
};

// Returns 0 with the count of a finished operation, or kErrorIoPending.
std::uint32_t Start(const std::shared_ptr<Port>& port, Overlapped& overlapped,
                    std::unique_ptr<Operation> operation, std::uint32_t& transferred) {
  auto& record = static_cast<PosixOverlapped&>(overlapped);
  if (!record.Start(port, std::move(operation))) return kErrorIoPending;
  transferred = record.Transferred();
  return 0;
}

}  // namespace

void Port::NoteErrors() {
  const LineErrorCounts now = channel->Errors();
  std::uint32_t found = 0;
  if (now.overflow != counts.overflow) found |= kCeRxOver;
  if (now.overrun != counts.overrun) found |= kCeOverrun;
  if (now.parity != counts.parity) found |= kCeRxParity;
  if (now.frame != counts.frame) found |= kCeFrame;
  if (now.breaks != counts.breaks) found |= kCeBreak;
  counts = now;
  errors |= found;
  if (found != 0) events |= mask & kEvErr;
}

CommHandle PosixComm::Adopt(std::shared_ptr<Channel> channel) {
  const auto port = std::make_shared<Port>();
  port->counts = channel->Errors();
  port->channel = std::move(channel);
  ports_[++last_handle_] = port;
  return last_handle_;
}

std::unique_ptr<Overlapped> PosixComm::CreateOverlapped() {
  return std::make_unique<PosixOverlapped>();
}

CommHandle PosixComm::CreateFile(const std::string& device_name) {
  try {
    return Adopt(OpenDevice(device_name));
  } catch (const RaisedError&) {
    return kInvalidComm;
  }
}

bool PosixComm::CloseHandle(CommHandle handle) { return ports_.erase(handle) != 0; }

bool PosixComm::SetupComm(CommHandle handle, std::uint32_t, std::uint32_t) {
  return Find(handle) != nullptr;
}

bool PosixComm::GetCommTimeouts(CommHandle handle, CommTimeouts& timeouts) {
  const auto port = Find(handle);
  if (port) timeouts = port->timeouts;
  return port != nullptr;
}

bool PosixComm::SetCommTimeouts(CommHandle handle, const CommTimeouts& timeouts) {
  const auto port = Find(handle);
  if (port) port->timeouts = timeouts;
  return port != nullptr;
}

bool PosixComm::GetCommState(CommHandle handle, Dcb& dcb) {
  const auto port = Find(handle);
  if (port) dcb = port->channel->state();
  return port != nullptr;
}

bool PosixComm::SetCommState(CommHandle handle, const Dcb& dcb) {
  const auto port = Find(handle);
  return port && port->channel->SetState(dcb);
}

bool PosixComm::SetCommMask(CommHandle handle, std::uint32_t events) {
  const auto port = Find(handle);
  if (!port) return false;
  port->mask = events;
  port->events &= events;
  ++port->mask_changes;
  return true;
}

bool PosixComm::GetCommModemStatus(CommHandle handle, std::uint32_t& status) {
  const auto port = Find(handle);
  const auto lines = port ? port->channel->ModemLines() : std::nullopt;
  if (lines) status = *lines;
  return lines.has_value();
}

std::uint32_t PosixComm::ReadFile(CommHandle handle, char* buffer, std::uint32_t count,
                                  std::uint32_t& transferred, Overlapped& overlapped) {
  const auto port = Find(handle);
  if (!port) return kErrorInvalidHandle;
  return Start(port, overlapped, std::make_unique<ReadOperation>(buffer, count, port->timeouts),
               transferred);
}

std::uint32_t PosixComm::WriteFile(CommHandle handle, const char* buffer, std::uint32_t count,
                                   std::uint32_t& transferred, Overlapped& overlapped) {
  const auto port = Find(handle);
  if (!port) return kErrorInvalidHandle;
  return Start(port, overlapped, std::make_unique<WriteOperation>(buffer, count), transferred);
}

std::uint32_t PosixComm::WaitCommEvent(CommHandle handle, std::uint32_t& events,
                                       Overlapped& overlapped) {
  const auto port = Find(handle);
  if (!port) return kErrorInvalidHandle;
  if (port->mask == 0) return kErrorInvalidParameter;
  std::uint32_t none = 0;
  return Start(port, overlapped, std::make_unique<WaitOperation>(events, *port), none);
}

bool PosixComm::ClearCommError(CommHandle handle, std::uint32_t& errors) {
  const auto port = Find(handle);
  if (!port) return false;
  port->NoteErrors();
  errors = std::exchange(port->errors, 0);
  return true;
}

std::shared_ptr<Port> PosixComm::Find(CommHandle handle) const {
  const auto found = ports_.find(handle);
  return found == ports_.end() ? nullptr : found->second;
}

std::unique_ptr<Comm> MakeComm() { return std::make_unique<PosixComm>(); }

}  // namespace mvsms::posix
