// A serial-port service under a test's full control: it records each operation with its arguments
// and finishes an overlapped one at once, later, or never, as the test says.
#pragma once

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/comm.h"

namespace mvsms {

class FakeComm : public Comm {
 public:
  struct Record : Overlapped {
    bool Completed() override { return completed; }
    std::uint32_t Transferred() override { return transferred; }
    bool completed = false;
    std::uint32_t transferred = 0;
  };
  /// How the next operation of a kind starts; without one it stays pending.
  struct Start {
    std::uint32_t error = kErrorIoPending;
    std::string data = {};     // for a read that finishes at once
    std::uint32_t events = 0;  // for a wait that finishes at once
  };

  std::vector<std::string> calls;
  std::vector<std::string> written;
  CommHandle next_handle = 7;
  bool fails = false;  // every plain operation answers false
  CommTimeouts timeouts{11, 12, 13, 14, 15};
  Dcb dcb;
  std::uint32_t modem_status = 0;
  std::uint32_t line_errors = 0;
  std::deque<Start> reads, writes, waits;

  /// Completes the pending read with these bytes.
  void Arrive(std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), read_buffer_);
    Complete(read_, static_cast<std::uint32_t>(bytes.size()));
  }
  void CompleteWrite() { Complete(write_, 0); }
  void RaiseEvent(std::uint32_t events) {
    *events_ = events;
    EndWait();
  }
  /// Ends the wait without telling what happened.
  void EndWait() { Complete(wait_, 0); }
  bool HasPendingRead() const { return read_ != nullptr; }
  bool HasPendingWrite() const { return write_ != nullptr; }
  bool HasPendingWait() const { return wait_ != nullptr; }

  std::unique_ptr<Overlapped> CreateOverlapped() override { return std::make_unique<Record>(); }
  CommHandle CreateFile(const std::string& device_name) override {
    calls.push_back("CreateFile " + device_name);
    return next_handle;
  }
  bool CloseHandle(CommHandle handle) override {
    calls.push_back("CloseHandle " + std::to_string(handle));
    for (Record** pending : {&read_, &write_, &wait_}) {
      if (*pending != nullptr) Complete(*pending, 0);
    }
    return true;
  }
  bool SetupComm(CommHandle, std::uint32_t in_queue, std::uint32_t out_queue) override {
    calls.push_back("SetupComm " + std::to_string(in_queue) + " " + std::to_string(out_queue));
    return !fails;
  }
  bool GetCommTimeouts(CommHandle, CommTimeouts& value) override {
    calls.push_back("GetCommTimeouts");
    if (!fails) value = timeouts;
    return !fails;
  }
  bool SetCommTimeouts(CommHandle, const CommTimeouts& value) override {
    calls.push_back("SetCommTimeouts");
    if (!fails) timeouts = value;
    return !fails;
  }
  bool GetCommState(CommHandle, Dcb& value) override {
    calls.push_back("GetCommState");
    if (!fails) value = dcb;
    return !fails;
  }
  bool SetCommState(CommHandle, const Dcb& value) override {
    calls.push_back("SetCommState");
    if (!fails) dcb = value;
    return !fails;
  }
  bool SetCommMask(CommHandle, std::uint32_t events) override {
    calls.push_back("SetCommMask " + std::to_string(events));
    return !fails;
  }
  bool GetCommModemStatus(CommHandle, std::uint32_t& status) override {
    status = modem_status;
    return !fails;
  }
  std::uint32_t ReadFile(CommHandle, char* buffer, std::uint32_t count, std::uint32_t& transferred,
                         Overlapped& overlapped) override {
    calls.push_back("ReadFile " + std::to_string(count));
    const Start start = Next(reads);
    if (start.error == 0) {
      std::copy(start.data.begin(), start.data.end(), buffer);
      transferred = static_cast<std::uint32_t>(start.data.size());
    }
    read_buffer_ = buffer;
    return Begin(start, overlapped, read_);
  }
  std::uint32_t WriteFile(CommHandle, const char* buffer, std::uint32_t count,
                          std::uint32_t& transferred, Overlapped& overlapped) override {
    calls.push_back("WriteFile " + std::to_string(count));
    written.emplace_back(buffer, count);
    write_buffer = buffer;
    const Start start = Next(writes);
    if (start.error == 0) transferred = count;
    return Begin(start, overlapped, write_);
  }
  std::uint32_t WaitCommEvent(CommHandle, std::uint32_t& events, Overlapped& overlapped) override {
    calls.push_back("WaitCommEvent");
    const Start start = Next(waits);
    if (start.error == 0) events = start.events;
    events_ = &events;
    return Begin(start, overlapped, wait_);
  }
  bool ClearCommError(CommHandle, std::uint32_t& errors) override {
    calls.push_back("ClearCommError");
    errors = std::exchange(line_errors, 0);
    return true;
  }

  const char* write_buffer = nullptr;  // of the last write

 private:
  static Start Next(std::deque<Start>& starts) {
    if (starts.empty()) return {};
    const Start start = starts.front();
    starts.pop_front();
    return start;
  }
  static std::uint32_t Begin(const Start& start, Overlapped& overlapped, Record*& pending) {
    auto& record = static_cast<Record&>(overlapped);
    record.completed = start.error == 0;
    record.transferred = 0;
    pending = start.error == kErrorIoPending ? &record : nullptr;
    return start.error;
  }
  static void Complete(Record*& pending, std::uint32_t transferred) {
    Record& record = *std::exchange(pending, nullptr);
    record.completed = true;
    record.transferred = transferred;
  }

  Record* read_ = nullptr;
  Record* write_ = nullptr;
  Record* wait_ = nullptr;
  char* read_buffer_ = nullptr;
  std::uint32_t* events_ = nullptr;
};

}  // namespace mvsms
