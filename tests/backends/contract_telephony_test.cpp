// Calls, over every back end.
#include <gmock/gmock.h>

#include <utility>

#include "base/raised_error.h"
#include "tests/backends/contract_line.h"

namespace mvsms {
namespace {

using testing::ElementsAre;
using testing::Pair;

class TelephonyContract : public LineContract {
 protected:
  void SetUp() override {
    tapi_->Initialize();
    tapi_->PutEventFilter(kTeCallState);
    tapi_->SetEventSink([this](std::int32_t type, ITCallStateEvent* event) {
      ASSERT_EQ(type, kTeCallState);
      if (event->State() == CallState::kInProgress) return;  // some services tell of it, too
      events_.emplace_back(event->State(), event->Cause());
    });
    tapi_->RegisterCallNotifications(tapi_->GetAddresses().at(0), true, false,
                                     kTapiMediaTypeDataModem, 1);
  }
  /// A call to a number, as it is dialled.
  std::shared_ptr<ITBasicCallControl> Call(const std::string& number) {
    const auto address = tapi_->GetAddresses().at(0);
    return address->CreateCall(address->TranslateAddress(number, 0, 0)->DialableString(),
                               kLineAddressTypePhoneNumber, kTapiMediaTypeDataModem);
  }
  CallState Dial(const std::string& number) {
    call_ = Call(number);
    call_->Connect(false);
    EXPECT_EQ(call_->GetCallState(), CallState::kInProgress);
    // The event follows the state, or comes with it.
    Await([this] { return call_->GetCallState() != CallState::kInProgress && !events_.empty(); });
    return call_->GetCallState();
  }
  std::int32_t TakePort(const std::string& device_class = "comm/datamodem") {
    return platform_.telephony().CreatePortHandleProvider()->GetPortHandle(device_class, *call_,
                                                                           port_);
  }

  std::unique_ptr<ITTAPI> tapi_ = platform_.telephony().CreateTapi();
  std::shared_ptr<ITBasicCallControl> call_;
  CommHandle port_ = kNoComm;
  std::vector<std::pair<CallState, CallCause>> events_;
};

TEST_P(TelephonyContract, LineCarriesDataCallsAndCanBeRegistered) {
  const auto addresses = tapi_->GetAddresses();
  ASSERT_EQ(addresses.size(), 1U);
  EXPECT_EQ(addresses[0]->AddressName(), "Line");
  EXPECT_TRUE(addresses[0]->QueryMediaType(kTapiMediaTypeDataModem));
  EXPECT_FALSE(addresses[0]->QueryMediaType(8));
  const std::int32_t registration =
      tapi_->RegisterCallNotifications(addresses[0], true, false, kTapiMediaTypeDataModem, 1);
  EXPECT_NE(registration, -1);
  tapi_->UnregisterNotifications(registration);
}

TEST_P(TelephonyContract, NothingWorksBeforeInitialising) {
  EXPECT_THROW(platform_.telephony().CreateTapi()->GetAddresses(), RaisedError);
}

TEST_P(TelephonyContract, CallThatIsAnsweredIsConnected) {
  EXPECT_EQ(Dial(back_end_->number()), CallState::kConnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kConnected, CallCause::kNone)));
}

TEST_P(TelephonyContract, CallThatIsNotAnsweredSaysWhy) {
  EXPECT_EQ(Dial(back_end_->silent_number()), CallState::kDisconnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNoAnswer)));
}

TEST_P(TelephonyContract, EventsNotAskedForDoNotCome) {
  tapi_->PutEventFilter(0);
  call_ = Call(back_end_->number());
  call_->Connect(false);
  Await([this] { return call_->GetCallState() != CallState::kInProgress; });
  platform_.loop().DoEvents();
  EXPECT_TRUE(events_.empty());
}

TEST_P(TelephonyContract, CallStartsIdleAndOnce) {
  call_ = Call(back_end_->number());
  EXPECT_EQ(call_->GetCallState(), CallState::kIdle);
  EXPECT_NE(TakePort(), 0);
  call_->Connect(false);
  EXPECT_THROW(call_->Connect(false), RaisedError);
}

TEST_P(TelephonyContract, PortIsHandedOverForItsDeviceClass) {
  Dial(back_end_->number());
  EXPECT_NE(TakePort("tapi/line"), 0);
  EXPECT_EQ(port_, kNoComm);
  EXPECT_EQ(TakePort(), 0);
  EXPECT_NE(port_, kNoComm);
}

TEST_P(TelephonyContract, PortCarriesTheData) {
  Dial(back_end_->number());
  ASSERT_EQ(TakePort(), 0);
  const auto overlapped = comm_.CreateOverlapped();
  std::uint32_t count = 0;
  EXPECT_EQ(comm_.WriteFile(port_, "hello", 5, count, *overlapped), 0U);
  EXPECT_EQ(back_end_->Heard(5), "hello");
  back_end_->Say("ID=");
  char buffer[3];
  comm_.ReadFile(port_, buffer, 3, count, *overlapped);
  EXPECT_TRUE(Await([&] { return overlapped->Completed(); }));
  EXPECT_EQ(std::string(buffer, overlapped->Transferred()), "ID=");
}

TEST_P(TelephonyContract, HangUpOfTheFarSideEndsTheCall) {
  Dial(back_end_->number());
  events_.clear();
  back_end_->HangUp();
  EXPECT_TRUE(Await([this] { return call_->GetCallState() == CallState::kDisconnected; }));
  EXPECT_TRUE(Await([this] { return !events_.empty(); }));
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNormal)));
}

TEST_P(TelephonyContract, WhatCameBeforeTheHangUpCanStillBeRead) {
  Dial(back_end_->number());
  ASSERT_EQ(TakePort(), 0);
  back_end_->Say("bye");
  back_end_->HangUp();
  const auto overlapped = comm_.CreateOverlapped();
  std::uint32_t count = 0;
  char buffer[3];
  comm_.ReadFile(port_, buffer, 3, count, *overlapped);
  EXPECT_TRUE(Await([&] { return overlapped->Completed(); }));
  EXPECT_EQ(std::string(buffer, overlapped->Transferred()), "bye");
  EXPECT_TRUE(Await([this] { return call_->GetCallState() == CallState::kDisconnected; }));
}

TEST_P(TelephonyContract, DisconnectEndsTheCallInEveryState) {
  Call(back_end_->number())->Disconnect(kDcNormal);
  call_ = Call(back_end_->number());
  call_->Connect(false);
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  call_->Disconnect(kDcNormal);
  EXPECT_TRUE(Await([this] { return !events_.empty(); }));
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNormal)));
}

TEST_P(TelephonyContract, AfterShutdownACallCanBeEndedAndNothingElseIsLeft) {
  Dial(back_end_->number());
  events_.clear();
  tapi_->Shutdown();
  EXPECT_THROW(tapi_->GetAddresses(), RaisedError);
  call_->Disconnect(kDcNormal);
  platform_.loop().DoEvents();
  EXPECT_TRUE(events_.empty());
}

MVSMS_FOR_EACH_LINE_BACK_END(TelephonyContract);

}  // namespace
}  // namespace mvsms
