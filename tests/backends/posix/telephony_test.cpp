// Calls over a modem behind a pseudo-terminal, from the list of lines to the hang-up.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;

class ModemCall : public TelephonySession {
 protected:
  ModemCall() { AddLine(Line()); }

  LineConfig Line() const {
    LineConfig line;
    line.name = "Modem1";
    line.device = modem_.device();
    line.flow = "none";
    return line;
  }
  CallState DialAnswered(const std::string& answer) {
    modem_.On("ATD123", answer);
    return Dial("Modem1", "123");
  }
  bool IsLocked() const { return std::filesystem::exists(locks_.FileOf(modem_.device())); }
  std::pair<int, std::string> ConnectError() {
    try {
      Call("Modem1", "123")->Connect(false);
      return {0, ""};
    } catch (const RaisedError& error) {
      return {error.number(), error.description()};
    }
  }

  PtyModem modem_;
};

// --- lines -------------------------------------------------------------------------------------

TEST_F(ModemCall, LinesAreListedInTheirOrderAndCarryDataCalls) {
  LineConfig tcp;
  tcp.name = "A socket";
  tcp.kind = LineKind::kTcp;
  AddLine(tcp);
  const auto addresses = tapi_->GetAddresses();
  ASSERT_EQ(addresses.size(), 2U);
  EXPECT_EQ(addresses[0]->AddressName(), "Modem1");
  EXPECT_EQ(addresses[1]->AddressName(), "A socket");
  for (const auto& address : addresses) {
    EXPECT_TRUE(address->QueryMediaType(kTapiMediaTypeDataModem));
    EXPECT_FALSE(address->QueryMediaType(8));
  }
}

TEST_F(ModemCall, SessionMustBeInitialised) {
  const auto address = Address("Modem1");
  tapi_->Shutdown();
  EXPECT_THROW(tapi_->GetAddresses(), RaisedError);
  EXPECT_THROW(tapi_->RegisterCallNotifications(address, true, false, kTapiMediaTypeDataModem, 1),
               RaisedError);
}

TEST_F(ModemCall, NumberIsReducedToWhatAModemDials) {
  const auto dialable = [this](const std::string& number) {
    return Address("Modem1")->TranslateAddress(number, 0, 0)->DialableString();
  };
  EXPECT_EQ(dialable("0,0049 (172) 22-78.020"), "0,00491722278020");
  EXPECT_EQ(dialable("+49*21#w@!TPABCD"), "+49*21#w@!TPABCD");
  EXPECT_EQ(dialable("123;\rATH0\r"), "123AT0");
  EXPECT_EQ(dialable(""), "");
}

TEST_F(ModemCall, RegistrationsAreNumbered) {
  const std::int32_t first = Register("Modem1");
  EXPECT_NE(first, -1);
  EXPECT_NE(Register("Modem1"), first);
  tapi_->UnregisterNotifications(first);
}

TEST_F(ModemCall, RegistrationFailsForADeviceThatAnotherProgramHas) {
  std::ofstream(locks_.FileOf(modem_.device())) << getppid();
  try {
    Register("Modem1");
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), EBUSY);
    EXPECT_THAT(error.description(), HasSubstr(modem_.device() + " is in use by "));
  }
  EXPECT_EQ(ConnectError().first, EBUSY);
}

TEST_F(ModemCall, AbsentDeviceIsReportedWhenConnecting) {
  LineConfig line = Line();
  line.device = "/dev/ttyNoSuch0";
  AddLine(line);
  EXPECT_NO_THROW(Register("Modem1"));
  const auto [number, text] = ConnectError();
  EXPECT_EQ(number, ENOENT);
  EXPECT_THAT(text, HasSubstr("/dev/ttyNoSuch0"));
}

TEST_F(ModemCall, FramingThatTheDeviceDoesNotDoIsReportedWhenConnecting) {
  LineConfig line = Line();
  line.framing = "7E1";
  AddLine(line);
  EXPECT_THAT(ConnectError().second, EndsWith("use 7E1-soft"));
  EXPECT_FALSE(IsLocked());
}

// --- outcomes ----------------------------------------------------------------------------------

TEST_F(ModemCall, OutcomeComesWithItsEvent) {
  EXPECT_EQ(DialAnswered("\r\nBUSY\r\n"), CallState::kDisconnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectBusy)));
  EXPECT_EQ(modem_.received(), "ATZ\rATD123\r");
  EXPECT_FALSE(IsLocked());
}

TEST_F(ModemCall, StateChangesOnlyWhenTheEventIsDelivered) {
  modem_.On("ATD123", "\r\nBUSY\r\n");
  call_ = Call("Modem1", "123");
  EXPECT_EQ(call_->GetCallState(), CallState::kIdle);
  call_->Connect(false);
  while (!modem_.received().ends_with("ATD123\r")) std::this_thread::sleep_for(milliseconds(1));
  std::this_thread::sleep_for(milliseconds(30));
  EXPECT_EQ(call_->GetCallState(), CallState::kInProgress);
  EXPECT_EQ(Await([this] { return !events_.empty(); }), CallState::kDisconnected);
  EXPECT_EQ(events_.size(), 1U);
}

TEST_F(ModemCall, EventsCanBeFilteredAndUnbound) {
  tapi_->PutEventFilter(0);
  DialAnswered("\r\nBUSY\r\n");
  EXPECT_TRUE(events_.empty());
}

TEST_F(ModemCall, SynchronousConnectReturnsWithTheOutcome) {
  modem_.On("ATD123", "\r\nBUSY\r\n");
  call_ = Call("Modem1", "123");
  call_->Connect(true);
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
}

TEST_F(ModemCall, CallCannotBeStartedTwice) {
  DialAnswered("\r\nBUSY\r\n");
  EXPECT_THROW(call_->Connect(false), RaisedError);
}

TEST_F(ModemCall, NoPortWithoutAConnection) {
  CommHandle port = kNoComm;
  call_ = Call("Modem1", "123");
  EXPECT_NE(provider_->GetPortHandle("comm/datamodem", *call_, port), 0);
  EXPECT_EQ(port, kNoComm);
}

// --- a connection ------------------------------------------------------------------------------

TEST_F(ModemCall, ConnectionCarriesDataBothWaysAndIsHungUpByEscape) {
  ASSERT_EQ(DialAnswered("\r\nCONNECT 2400\r\n\rID="), CallState::kConnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kConnected, CallCause::kNone)));
  CommHandle port = kNoComm;
  EXPECT_NE(provider_->GetPortHandle("tapi/line", *call_, port), 0);
  port = TakePort();
  EXPECT_EQ(Read(port, "\rID="), "\rID=");
  Write(port, "\x1BPG1\r");
  Await([this] { return modem_.received().ends_with("PG1\r"); });
  EXPECT_TRUE(IsLocked());
  EXPECT_THROW(Register("Modem1"), RaisedError);
  EXPECT_EQ(ConnectError().first, EBUSY);

  modem_.On("+++", "\r\nOK\r\n");
  modem_.On("ATH", "\r\nOK\r\n");
  comm_->CloseHandle(port);
  const auto start = steady_clock::now();
  call_->Disconnect(kDcNormal);
  EXPECT_GE(steady_clock::now() - start, milliseconds(2000));
  EXPECT_EQ(modem_.received(), "ATZ\rATD123\r\x1BPG1\r+++ATH\r");
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  EXPECT_FALSE(IsLocked());
  EXPECT_NO_THROW(Register("Modem1"));
}

TEST_F(ModemCall, RemoteHangUpIsSeenWhenAllWasReadAndNeedsNoHangUp) {
  ASSERT_EQ(DialAnswered("\r\nCONNECT\r\n"), CallState::kConnected);
  const CommHandle port = TakePort();
  events_.clear();
  modem_.Say("bye\r\nNO CARRIER\r\n");
  loop_.Sleep(milliseconds(20));
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
  EXPECT_EQ(Read(port, "bye\r\nNO CARRIER\r\n"), "bye\r\nNO CARRIER\r\n");
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  loop_.DoEvents();
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNormal)));
  const auto start = steady_clock::now();
  call_->Disconnect(kDcNormal);
  EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
  EXPECT_FALSE(IsLocked());
}

TEST_F(ModemCall, BytesThatAPendingReadWillDeliverKeepTheCallUp) {
  ASSERT_EQ(DialAnswered("\r\nCONNECT\r\n"), CallState::kConnected);
  const CommHandle port = TakePort();
  char buffer[100];
  std::uint32_t count = 0;
  ASSERT_EQ(comm_->ReadFile(port, buffer, sizeof buffer, count, *overlapped_), kErrorIoPending);
  modem_.Say("bye\r\nNO CARRIER\r\n");
  loop_.Sleep(milliseconds(20));
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
  EXPECT_TRUE(overlapped_->Completed() || (loop_.Sleep(milliseconds(5)), overlapped_->Completed()));
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
}

TEST_F(ModemCall, VanishedDeviceEndsTheCall) {
  ASSERT_EQ(DialAnswered("\r\nCONNECT\r\n"), CallState::kConnected);
  const CommHandle port = TakePort();
  modem_.Vanish();
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  Write(port, "nobody hears this");
  call_->Disconnect(kDcNormal);
  EXPECT_FALSE(IsLocked());
}

TEST_F(ModemCall, PortOfAnEndedCallIsDeadButClosable) {
  ASSERT_EQ(DialAnswered("\r\nCONNECT\r\n"), CallState::kConnected);
  const CommHandle port = TakePort();
  modem_.Vanish();
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(ReadOnce(port), "");
  Write(port, "x");
  EXPECT_TRUE(comm_->CloseHandle(port));
}

TEST_F(ModemCall, LineSpeaksItsOwnFraming) {
  LineConfig line = Line();
  line.framing = "7S1-soft";
  AddLine(line);
  ASSERT_EQ(DialAnswered("\r\nCONNECT\r\n"), CallState::kConnected);
  const CommHandle port = TakePort();
  Dcb dcb;
  ASSERT_TRUE(comm_->GetCommState(port, dcb));
  EXPECT_EQ(dcb.ByteSize, 7);
  EXPECT_EQ(dcb.Parity, 4);
  dcb.StopBits = 1;  // one and a half: refused, so the line's own framing stays
  EXPECT_FALSE(comm_->SetCommState(port, dcb));
  modem_.Say("\xC1");
  EXPECT_EQ(Read(port, "A"), "A");
  modem_.Vanish();
}

// --- giving up ---------------------------------------------------------------------------------

TEST_F(ModemCall, DisconnectWhileDiallingStopsTheModemSoon) {
  modem_.On("", "\r\nNO CARRIER\r\n");
  call_ = Call("Modem1", "123");
  call_->Connect(false);
  Await([this] { return modem_.received().ends_with("ATD123\r"); });
  const auto start = steady_clock::now();
  call_->Disconnect(kDcNormal);
  EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
  EXPECT_EQ(modem_.received(), "ATZ\rATD123\r\r");
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  EXPECT_FALSE(IsLocked());
  loop_.DoEvents();
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNormal)));
}

TEST_F(ModemCall, CallReleasedWhileDiallingIsStopped) {
  modem_.On("", "\r\nNO CARRIER\r\n");
  call_ = Call("Modem1", "123");
  call_->Connect(false);
  call_.reset();
  EXPECT_FALSE(IsLocked());
  tapi_.reset();
  loop_.DoEvents();
  EXPECT_TRUE(events_.empty());
}

TEST_F(ModemCall, DisconnectIsSafeInEveryState) {
  call_ = Call("Modem1", "123");
  call_->Disconnect(kDcNormal);
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  DialAnswered("\r\nBUSY\r\n");
  call_->Disconnect(kDcNormal);
  call_->Disconnect(kDcNormal);
}

TEST_F(ModemCall, DeviceThatVanishesWhileDiallingFailsTheCall) {
  call_ = Call("Modem1", "123");
  call_->Connect(false);
  Await([this] { return modem_.received().ends_with("ATD123\r"); });
  modem_.Vanish();
  EXPECT_EQ(Await([this] { return !events_.empty(); }), CallState::kDisconnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectFailed)));
}

TEST_F(ModemCall, TwoLinesAreDialledAtOnce) {
  PtyModem other;
  LineConfig line = Line();
  line.name = "Modem2";
  line.device = other.device();
  AddLine(line);
  modem_.On("ATD1", "\r\nBUSY\r\n");
  other.On("ATD2", "\r\nNO ANSWER\r\n");
  const auto first = Call("Modem1", "1");
  const auto second = Call("Modem2", "2");
  first->Connect(false);
  second->Connect(false);
  Await([this] { return events_.size() == 2; });
  EXPECT_THAT(events_, testing::UnorderedElementsAre(
                           Pair(CallState::kDisconnected, CallCause::kDisconnectBusy),
                           Pair(CallState::kDisconnected, CallCause::kDisconnectNoAnswer)));
}

}  // namespace
}  // namespace mvsms::posix
