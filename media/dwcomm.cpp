// The serial port: opening, writing, reading, line events.
#include "media/dwcomm.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/raised_error.h"

namespace mvsms {
namespace {

constexpr std::uint32_t kEventMask = kEvErr;
constexpr std::uint32_t kDefaultInQueue = 8192;
constexpr std::uint32_t kDefaultOutQueue = 1024;

/// A read ends with the first gap of 1 ms after some data, or after 10 ms in all.
constexpr CommTimeouts kPollingTimeouts = {.ReadIntervalTimeout = 1,
                                           .ReadTotalTimeoutMultiplier = 0,
                                           .ReadTotalTimeoutConstant = 10,
                                           .WriteTotalTimeoutMultiplier = 1,
                                           .WriteTotalTimeoutConstant = 1};

struct LineError {
  std::uint32_t bit;
  const char* text;
};

constexpr LineError kLineErrors[] = {
    {kCeRxOver, "Receive Queue Full Error"},
    {kCeOverrun, "Receive Overrun Error"},
    {kCeRxParity, "Receive Parity Error"},
    {kCeFrame, "Frame Error"},
    {kCeBreak, "Break Detected"},
    {kCeTxFull, "Transmit Queue Full"},
};

[[noreturn]] void Raise(std::int32_t code, const char* description) {
  throw RaisedError(ObjectError(code), "dwComm", description);
}

}  // namespace

dwCOMM::dwCOMM(Comm& comm, LogSink send_log)
    : comm_(comm),
      send_log_(std::move(send_log)),
      read_(comm.CreateOverlapped()),
      write_(comm.CreateOverlapped()),
      event_wait_(comm.CreateOverlapped()) {}

dwCOMM::~dwCOMM() {
  CloseComm();  // completes what is pending, before its buffers go
}

void dwCOMM::GetCommTimeouts() {
  if (handle_ != kNoComm) comm_.GetCommTimeouts(handle_, timeouts_);
}

bool dwCOMM::SetCommTimeouts() {
  return handle_ != kNoComm && comm_.SetCommTimeouts(handle_, timeouts_);
}

CommHandle dwCOMM::OpenComm(const std::string& CommDeviceName, CommNotify& Notify,
                            std::optional<std::uint32_t> cbInQueue,
                            std::optional<std::uint32_t> cbOutQueue) {
  CloseComm();
  device_name_ = CommDeviceName;
  return Adopt(comm_.CreateFile(device_name_), Notify, cbInQueue, cbOutQueue);
}

CommHandle dwCOMM::OpenCommByHandle(CommHandle comm_handle, CommNotify& Notify,
                                    std::optional<std::uint32_t> cbInQueue,
                                    std::optional<std::uint32_t> cbOutQueue) {
  CloseComm();
  return Adopt(comm_handle, Notify, cbInQueue, cbOutQueue);
}

CommHandle dwCOMM::Adopt(CommHandle opened, CommNotify& notify,
                         std::optional<std::uint32_t> in_queue,
                         std::optional<std::uint32_t> out_queue) {
  if (opened == kInvalidComm) Raise(kErrOpenFailed, "Unable to open communications device");
  handle_ = opened;
  notify_ = &notify;
  const bool sizes_given = in_queue.has_value() && out_queue.has_value();
  comm_.SetupComm(handle_, sizes_given ? *in_queue : kDefaultInQueue,
                  sizes_given ? *out_queue : kDefaultOutQueue);
  GetCommTimeouts();
  timeouts_ = kPollingTimeouts;
  SetCommTimeouts();
  dcb.GetCommState(*this);
  comm_.SetCommMask(handle_, kEventMask);
  StartRead();
  return handle_;
}

std::int32_t dwCOMM::CloseComm() {
  if (handle_ != kNoComm) {
    notify_ = nullptr;
    comm_.CloseHandle(std::exchange(handle_, kNoComm));
  }
  return 0;
}

bool dwCOMM::GetCommState() {
  RequireOpen();
  return dcb.GetCommState(*this);
}

bool dwCOMM::SetCommState() {
  RequireOpen();
  return dcb.SetCommState(*this);
}

void dwCOMM::RequireOpen() const {
  if (handle_ == kNoComm) Raise(kErrNotOpen, "Communication Device is not open");
}

bool dwCOMM::ModemStatus(std::uint32_t line) {
  RequireOpen();
  std::uint32_t status = 0;
  if (!comm_.GetCommModemStatus(handle_, status)) {
    Raise(kErrModemStatus, "GetCommModemStatus Failed");
  }
  return (status & line) != 0;
}

bool dwCOMM::CommOutput(const std::string& outputdata) {
  RequireOpen();
  pending_output_ += outputdata;
  if (write_pending_ || pending_output_.empty()) return true;
  return StartWrite(TakeChunk());
}

/// Moves the next chunk into the transmit buffer. A zero character ends a chunk and goes out as
/// its last byte.
std::uint32_t dwCOMM::TakeChunk() {
  const std::size_t longest = std::min(pending_output_.size(), kChunk);
  const std::size_t zero = pending_output_.find('\0');
  const std::size_t count = zero < longest ? zero + 1 : longest;
  *std::copy_n(pending_output_.begin(), count, transmit_buffer_.begin()) = '\0';
  pending_output_.erase(0, count);
  return static_cast<std::uint32_t>(count);
}

bool dwCOMM::StartWrite(std::uint32_t count) {
  const std::uint32_t error =
      comm_.WriteFile(handle_, transmit_buffer_.data(), count, bytes_written_, *write_);
  Log("WriteFile: " + std::to_string(reinterpret_cast<std::uintptr_t>(transmit_buffer_.data())));
  if (error == 0) {
    ProcessWriteComplete();
    return true;
  }
  write_pending_ = error == kErrorIoPending;
  if (!write_pending_) LogFailure("output", error);
  return write_pending_;
}

void dwCOMM::ProcessWriteComplete() {
  write_pending_ = false;
  CommOutput({});
}

void dwCOMM::PollWrite() {
  if (write_pending_ && write_->Completed()) ProcessWriteComplete();
}

void dwCOMM::StartRead() {
  if (read_pending_) return;
  RequireOpen();
  const std::uint32_t error =
      comm_.ReadFile(handle_, receive_buffer_.data(), kChunk, bytes_read_, *read_);
  if (error == 0) return ProcessReadComplete();
  read_pending_ = error == kErrorIoPending;
  if (!read_pending_) LogFailure("read", error);
}

void dwCOMM::PollRead() {
  if (!read_pending_) return StartRead();
  if (read_->Completed()) ProcessReadComplete();
}

void dwCOMM::ProcessReadComplete() {
  if (read_pending_) bytes_read_ = read_->Transferred();
  read_pending_ = false;
  if (bytes_read_ == 0) return;
  const std::string_view received(receive_buffer_.data(), bytes_read_);
  std::string commdata(received.substr(0, received.find('\0')));
  commdata.resize(bytes_read_,
                  '\0');  // a zero byte hides what follows it, but not how much arrived
  if (notify_ != nullptr) notify_->CommInput(*this, commdata);
}

void dwCOMM::StartEventWait() {
  if (event_wait_pending_) return;
  RequireOpen();
  event_result_ = 0;
  const std::uint32_t error = comm_.WaitCommEvent(handle_, event_result_, *event_wait_);
  if (error == 0) return ProcessEvent();
  event_wait_pending_ = error == kErrorIoPending;
  if (!event_wait_pending_) Log("Failure on Comm device event test operation");
}

void dwCOMM::PollEvent() {
  StartEventWait();
  if (event_wait_->Completed()) ProcessEvent();
}

void dwCOMM::ProcessEvent() {
  event_wait_pending_ = false;
  if (event_result_ == 0 || notify_ == nullptr) return;
  std::uint32_t errors = 0;
  comm_.ClearCommError(handle_, errors);
  for (const LineError& error : kLineErrors) {
    if ((errors & error.bit) != 0 && notify_ != nullptr) notify_->CommEvent(*this, error.text);
  }
}

void dwCOMM::Poll() {
  PollWrite();
  PollRead();
  PollEvent();
}

void dwCOMM::Log(const std::string& text) {
  if (send_log_) send_log_(text);
}

/// The log line has one place for the system's code and one for the code recorded when the call was
/// made; here they are the same.
void dwCOMM::LogFailure(const std::string& operation, std::uint32_t error) {
  const std::string code = std::to_string(error);
  Log("Failure on Comm device " + operation + " operation - " + code + " - " + code);
}

}  // namespace mvsms
