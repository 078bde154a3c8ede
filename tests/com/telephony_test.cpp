// The telephony of Windows over the substitute service: what the back end makes of the service's
// threads, records and refusals. Whole sends are in send_test.cpp.
#include <set>
#include <tuple>

#include "backends/win32/win32_platform.h"
#include "base/raised_error.h"
#include "media/tapiobject.h"
#include "tests/com/fake_tapi/counts.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::int32_t kCallInfoChange = 0x40;  // TE_CALLINFOCHANGE
constexpr char kPort[] = "comm/datamodem";

fake_tapi::Counts Counted() {
  fake_tapi::Counts counts{};
  Exported<fake_tapi::CountsFunction>("fake_tapi.dll", "FakeTapiCounts")(&counts);
  return counts;
}

class TelephonyOnWindows : public testing::Test {
 protected:
  struct Event {
    std::int32_t type;
    CallState state;
    CallCause cause;
    bool operator==(const Event&) const = default;
  };

  TelephonyOnWindows() { tapi_->Initialize(); }
  ~TelephonyOnWindows() override {
    call_.reset();
    tapi_.reset();
    EXPECT_EQ(Counted().objects, 0);
    EXPECT_EQ(Counted().sessions, 0);
    EXPECT_EQ(Counted().open_ports, 0);
  }

  void Listen(std::int32_t filter = kTeCallState) {
    tapi_->PutEventFilter(filter);
    tapi_->SetEventSink([this](std::int32_t type, ITCallStateEvent* event) {
      threads_.insert(::GetCurrentThreadId());
      events_.push_back(event ? Event{type, event->State(), event->Cause()}
                              : Event{type, CallState::kIdle, CallCause::kNone});
      if (on_event_) on_event_();
    });
  }
  std::shared_ptr<ITAddress> Modem() { return tapi_->GetAddresses().at(1); }
  std::int32_t Register() {
    return tapi_->RegisterCallNotifications(Modem(), true, false, kTapiMediaTypeDataModem, 1);
  }
  /// Starts a call, see fake_tapi/number_plan.h.
  void Dial(const std::string& number) {
    call_ = Modem()->CreateCall("T" + number, kLineAddressTypePhoneNumber, kTapiMediaTypeDataModem);
    call_->Connect(false);
  }
  void AwaitOutcome() {
    while (call_->GetCallState() == CallState::kInProgress) Pump();
  }
  void AwaitEvents(std::size_t count) {
    for (int turn = 0; events_.size() < count && turn < 1000; ++turn) Pump();
  }
  void Pump() {
    platform_->loop().Sleep(std::chrono::milliseconds(10));
    platform_->loop().DoEvents();
  }
  std::int32_t TakePort(CommHandle& port) {
    return platform_->telephony().CreatePortHandleProvider()->GetPortHandle(kPort, *call_, port);
  }

  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
  std::unique_ptr<ITTAPI> tapi_ = platform_->telephony().CreateTapi();
  std::shared_ptr<ITBasicCallControl> call_;
  std::vector<Event> events_;
  std::set<DWORD> threads_;
  std::function<void()> on_event_;
};

TEST_F(TelephonyOnWindows, ListenerIsWantedBeforeACallIsRegisteredForOrStarted) {
  EXPECT_THROW(Register(), RaisedError);
  EXPECT_THROW(Dial("12"), RaisedError);
}

TEST_F(TelephonyOnWindows, PortIsNotHandedOverToWhoDidNotRegister) {
  Listen();
  Dial("231");
  AwaitOutcome();
  CommHandle port = kNoComm;
  EXPECT_NE(TakePort(port), 0);
  EXPECT_EQ(port, kNoComm);
}

TEST_F(TelephonyOnWindows, EveryAskingForThePortGivesAHandleOfItsOwn) {
  Listen();
  const std::int32_t registration = Register();
  for (const char* number : {"231", "831"}) {  // the record bare, and with its header
    SCOPED_TRACE(number);
    Dial(number);
    AwaitOutcome();
    CommHandle port = kNoComm;
    CommHandle another = kNoComm;
    EXPECT_EQ(TakePort(port), 0);
    EXPECT_EQ(TakePort(another), 0);
    EXPECT_NE(port, another);
    for (const CommHandle handle : {port, another}) {
      EXPECT_TRUE(platform_->comm().CloseHandle(handle)) << handle;
    }
    call_->Disconnect(kDcNormal);
  }
  tapi_->UnregisterNotifications(registration);
}

TEST_F(TelephonyOnWindows, OtherEventsComeWithoutAStateEvent) {
  Listen(kCallInfoChange);
  Dial("3");
  EXPECT_THAT(events_, ElementsAre(Event{kCallInfoChange, CallState::kIdle, CallCause::kNone}));
}

TEST_F(TelephonyOnWindows, EventsOfAnotherThreadComeOnTheApartmentsOwn) {
  Listen();
  Dial("712");
  AwaitEvents(2);
  EXPECT_THAT(events_, ElementsAre(Event{kTeCallState, CallState::kInProgress, CallCause::kNone},
                                   Event{kTeCallState, CallState::kDisconnected,
                                         CallCause::kDisconnectBusy}));
  EXPECT_THAT(threads_, ElementsAre(::GetCurrentThreadId()));
}

TEST_F(TelephonyOnWindows, EventsThatWaitGoWithTheirListener) {
  Listen();
  Dial("0");
  ::Sleep(20);
  tapi_->SetEventSink({});
  Pump();
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(TelephonyOnWindows, ListenersComeAndGoWhileEventsAreUnderWay) {
  Listen();
  Dial("0");
  for (int round = 0; round < 500; ++round) {
    tapi_->SetEventSink({});
    Listen();
    if (round % 10 == 0) Pump();
  }
  EXPECT_THAT(threads_, ElementsAre(::GetCurrentThreadId()));
}

TEST_F(TelephonyOnWindows, SessionMayEndInsideAnEventOfIt) {
  for (const char* number : {"12", "712"}) {
    SCOPED_TRACE(number);
    Listen();
    on_event_ = [this] { tapi_.reset(); };
    Dial(number);
    for (int turn = 0; tapi_ && turn < 1000; ++turn) Pump();
    EXPECT_EQ(events_.size(), 1U);
    events_.clear();
    tapi_ = platform_->telephony().CreateTapi();
    tapi_->Initialize();
  }
}

TEST_F(TelephonyOnWindows, NoEventComesAfterShutdown) {
  Listen();
  Dial("0");
  tapi_->Shutdown();
  events_.clear();
  Pump();
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_NO_THROW(call_->Disconnect(kDcNormal));
}

TEST_F(TelephonyOnWindows, ASessionThatNobodyShutDownEndsWithItsObject) {
  EXPECT_EQ(Counted().sessions, 1);
  tapi_.reset();
  EXPECT_EQ(Counted().sessions, 0);
}

// What TapiObject makes of a service that refuses.
class RefusedCall : public testing::Test {
 protected:
  RefusedCall() {
    device_.OnError = [this](std::int32_t number, const std::string& function,
                             const std::string& text) {
      reports_.emplace_back(number, function, text);
    };
    device_.Init();
  }
  bool Connect(const std::string& modem, const std::string& number) {
    EXPECT_TRUE(device_.SetDevice(modem));
    CommHandle port = kNoComm;
    return device_.Connect(number, port);
  }
  void ExpectReport(HRESULT number, const std::string& beginning) {
    ASSERT_EQ(reports_.size(), 1U);
    EXPECT_EQ(std::get<0>(reports_[0]), number);
    EXPECT_EQ(std::get<1>(reports_[0]), "TAPIObject.Connect");
    EXPECT_THAT(std::get<2>(reports_[0]), StartsWith(beginning));
  }

  std::unique_ptr<Platform> platform_ = win32::MakeWin32Platform();
  TapiObject device_{platform_->telephony(), platform_->loop(), platform_->clock()};
  std::vector<std::tuple<std::int32_t, std::string, std::string>> reports_;
};

TEST_F(RefusedCall, CallThatCannotBeCreatedIsReported) {
  EXPECT_FALSE(Connect("Test modem", "91"));
  ExpectReport(E_OUTOFMEMORY, "ITAddress::CreateCall failed: ");
  EXPECT_FALSE(device_.HasCall());
}

TEST_F(RefusedCall, CallThatCannotBeStartedIsReportedAndKept) {
  EXPECT_FALSE(Connect("Test modem", "92"));
  ExpectReport(static_cast<HRESULT>(0x80040044),
               "ITBasicCallControl::Connect failed: error 0x80040044");
  EXPECT_TRUE(device_.HasCall());
  EXPECT_TRUE(device_.Disconnect());
  EXPECT_FALSE(device_.HasCall());
}

TEST_F(RefusedCall, ModemOfAnotherProgramRefusesTheCall) {
  EXPECT_FALSE(Connect("Taken modem", "221"));
  ExpectReport(static_cast<HRESULT>(0x80040006),
               "ITBasicCallControl::Connect failed: error 0x80040006");
}

}  // namespace
}  // namespace mvsms::com
