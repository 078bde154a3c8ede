// A telephony session over lines that a test keeps, used as an application uses it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "backends/posix/line/backend.h"
#include "backends/posix/store/line_store.h"
#include "base/raised_error.h"
#include "tests/support/pseudo_terminal.h"

namespace mvsms::posix {

class TelephonySession : public testing::Test {
 protected:
  using Events = std::vector<std::pair<CallState, CallCause>>;

  TelephonySession() {
    tapi_->Initialize();
    tapi_->PutEventFilter(kTeCallState);
    tapi_->SetEventSink([this](std::int32_t type, ITCallStateEvent* event) {
      EXPECT_EQ(type, kTeCallState);
      events_.emplace_back(event->State(), event->Cause());
      words_ = event->Words();
    });
  }

  void AddLine(const LineConfig& line) { LineStore(home_.path()).Put(line); }
  std::shared_ptr<ITAddress> Address(const std::string& name) {
    for (auto& address : tapi_->GetAddresses()) {
      if (address->AddressName() == name) return address;
    }
    throw std::runtime_error("no line " + name);
  }
  std::int32_t Register(const std::string& name) {
    return tapi_->RegisterCallNotifications(Address(name), true, false, kTapiMediaTypeDataModem, 1);
  }
  std::shared_ptr<ITBasicCallControl> Call(const std::string& line, const std::string& number) {
    return Address(line)->CreateCall(number, kLineAddressTypePhoneNumber, kTapiMediaTypeDataModem);
  }
  /// Starts a call and waits for its outcome.
  CallState Dial(const std::string& line, const std::string& number) {
    call_ = Call(line, number);
    call_->Connect(false);
    EXPECT_EQ(call_->GetCallState(), CallState::kInProgress);
    return Await([this] { return call_->GetCallState() != CallState::kInProgress; });
  }
  /// Lets the loop run until the condition holds, for some seconds at most.
  template <class Condition>
  CallState Await(Condition condition) {
    for (int turn = 0; turn < 1000 && !condition(); ++turn) {
      loop_.Sleep(std::chrono::milliseconds(5));
      loop_.DoEvents();
    }
    return call_ ? call_->GetCallState() : CallState::kIdle;
  }
  CommHandle TakePort() {
    CommHandle port = kInvalidComm;
    EXPECT_EQ(provider_->GetPortHandle("comm/datamodem", *call_, port), 0);
    CommTimeouts timeouts;
    timeouts.ReadIntervalTimeout = 1;
    timeouts.ReadTotalTimeoutConstant = 10;
    EXPECT_TRUE(comm_->SetCommTimeouts(port, timeouts));
    return port;
  }
  void Write(CommHandle port, const std::string& text) {
    std::uint32_t written = 0;
    EXPECT_EQ(comm_->WriteFile(port, text.data(), static_cast<std::uint32_t>(text.size()), written,
                               *overlapped_),
              0U);
  }
  /// Reads until the text has come, for a second at most.
  std::string Read(CommHandle port, const std::string& expected) {
    std::string text;
    for (int turn = 0; turn < 100 && text.size() < expected.size(); ++turn) text += ReadOnce(port);
    return text;
  }
  std::string ReadOnce(CommHandle port) {
    char buffer[1024];
    std::uint32_t count = 0;
    const std::uint32_t error = comm_->ReadFile(port, buffer, sizeof buffer, count, *overlapped_);
    if (error == kErrorIoPending) {
      while (!overlapped_->Completed()) loop_.Sleep(std::chrono::milliseconds(2));
      count = overlapped_->Transferred();
    }
    return {buffer, count};
  }

  LockFolder locks_;
  TempFolder home_;
  PosixEventLoop loop_;
  std::unique_ptr<Comm> comm_ = MakeComm();
  std::unique_ptr<Telephony> telephony_ = MakeTelephony(*comm_, loop_, home_.path());
  std::unique_ptr<PortHandleProvider> provider_ = telephony_->CreatePortHandleProvider();
  std::unique_ptr<Overlapped> overlapped_ = comm_->CreateOverlapped();
  Events events_;
  std::string words_;  // with the last of them
  std::unique_ptr<ITTAPI> tapi_ = telephony_->CreateTapi();
  std::shared_ptr<ITBasicCallControl> call_;
};

}  // namespace mvsms::posix
