// The medium over the in-memory platform: dialling, polling, hanging up, in virtual time.
#include "media/tapiline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "media/bascommon.h"
#include "tests/media/fake_comm.h"

namespace mvsms {
namespace {

using memory::MemoryPlatform;
using memory::Millis;
using testing::ElementsAre;
using testing::IsEmpty;
using Report = std::tuple<std::int32_t, std::string, std::string>;

constexpr std::int32_t kRefused = memory::kRefusedByTelephony;

memory::Line Modem(const std::string& name) {
  memory::Line modem;
  modem.name = name;
  return modem;
}

/// What answers the calls; the test holds its wire.
struct Answer : memory::FarEnd {
  explicit Answer(memory::Wire*& w) : wire(w) {}
  void Connected(memory::Wire& connected) override { wire = &connected; }
  void Received(std::string_view) override {}
  void HungUp() override {}
  memory::Wire*& wire;
};

class LineTest : public testing::Test {
 protected:
  LineTest() {
    machine.lines.push_back(Modem("Modem"));
    machine.lines[0].far_end = [this](const std::string& number) {
      dialled = number;
      return std::make_unique<Answer>(wire);
    };
    machine.lines.push_back(Modem("Voice"));
    machine.lines[1].data_modem = false;
  }
  void TearDown() override {
    machine.fail = nullptr;  // it may refer to locals of the test
    line.reset();
    EXPECT_EQ(machine.open_ports(), 0U);
    EXPECT_EQ(machine.tapi_sessions(), 0U);
    EXPECT_EQ(machine.active_calls(), 0U);
  }
  TAPILine::ErrorHandler Recorder() {
    return [this](std::int32_t number, const std::string& function, const std::string& text) {
      reports.emplace_back(number, function, text);
      if (on_report) on_report();
    };
  }
  void Make() {
    line.emplace(apartment, Recorder(), [this](const std::string& text) { log.push_back(text); });
  }
  /// A line with its modem and the settings of an ordinary service.
  void Prepare() {
    Make();
    ASSERT_TRUE(line->SetDevice("Modem"));
    line->SetParams("9600", "N", 8, 0, false);
    line->PhoneNumber = "(01) 23-45";
  }
  bool Connect() { return line->Connect(error, message); }
  bool Disconnect() { return line->Disconnect(error, message); }
  void Online() {
    Prepare();
    ASSERT_TRUE(Connect());
  }
  /// Lets the thread wait while its events are processed.
  void Wait(int ms) {
    for (int passed = 0; passed < ms; passed += 10) basCommon::Pause(machine.loop(), 100 / 10);
  }
  void Refuse(const std::string& operation) {
    machine.fail = [operation](const std::string& asked) { return asked == operation; };
  }
  std::ptrdiff_t Asked(std::string_view operation) {
    return std::count(machine.calls.begin(), machine.calls.end(), operation);
  }
  const Dcb& Applied() { return machine.ports.back()->requests.dcbs.back(); }

  MemoryPlatform machine;
  Apartment apartment{machine};
  std::vector<Report> reports;
  std::vector<std::string> log;
  std::function<void()> on_report;
  std::string dialled;
  memory::Wire* wire = nullptr;
  std::int32_t error = 0;
  std::string message;
  std::optional<TAPILine> line;
};

// --- creation and end -------------------------------------------------------------------------

TEST_F(LineTest, ItsCreationStartsATelephonySession) {
  Make();
  EXPECT_EQ(machine.tapi_sessions(), 1U);
  EXPECT_EQ(line->TranslatedNumber(), "");
  EXPECT_EQ(line->Receive(), "");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, AFailureOfItsCreationReachesTheHandler) {
  Refuse("ITTAPI.Initialize");
  Make();
  EXPECT_THAT(reports, ElementsAre(Report(kRefused, "TAPIObject.Init",
                                          "Operation failed: ITTAPI.Initialize")));
}

/// A platform whose port service has no overlapped records to give.
class PortlessPlatform : public MemoryPlatform {
 public:
  struct Portless : FakeComm {
    std::unique_ptr<Overlapped> CreateOverlapped() override {
      throw RaisedError(8, "Comm", "Not enough memory");
    }
  };
  Comm& comm() override { return portless; }
  Portless portless;
};

TEST(LineWithoutAPort, ReportsItAndDoesNotDial) {
  PortlessPlatform machine;
  machine.lines.push_back(Modem("Modem"));
  Apartment apartment(machine);
  std::vector<Report> reports;
  TAPILine line(apartment,
                [&](std::int32_t number, const std::string& function, const std::string& text) {
                  reports.emplace_back(number, function, text);
                },
                {});
  EXPECT_THAT(reports, ElementsAre(Report(8, "TAPILine.Class_Initialize", "Not enough memory")));
  std::int32_t error = 0;
  std::string message;
  line.SetDevice("Modem");
  EXPECT_FALSE(line.Connect(error, message));
  EXPECT_EQ(reports.back(), Report(91, "TAPILine.ISMSMedium_Connect", "There is no port object"));
  EXPECT_TRUE(line.Send("x"));
  EXPECT_EQ(machine.slept(), Millis(0));  // not even dialled
  EXPECT_TRUE(line.Disconnect(error, message));
}

TEST_F(LineTest, ItsEndFreesEverythingButTheTimer) {
  Online();
  line.reset();
  EXPECT_EQ(machine.tapi_sessions(), 0U);
  EXPECT_EQ(machine.registrations(), 0U);
  EXPECT_EQ(machine.active_calls(), 0U);
  EXPECT_EQ(machine.open_ports(), 0U);
  EXPECT_EQ(machine.running_timers(), 1U);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, AnEndThatFailsIsReported) {
  Prepare();
  Refuse("ITTAPI.UnregisterNotifications");
  line.reset();
  EXPECT_THAT(reports, ElementsAre(Report(kRefused, "TAPIObject.UnInit",
                                          "Operation failed: ITTAPI.UnregisterNotifications")));
}

TEST_F(LineTest, WithoutAHandlerFailuresGoNowhere) {
  TAPILine quiet(apartment, {}, {});
  EXPECT_FALSE(quiet.SetDevice("Nowhere"));
  EXPECT_FALSE(quiet.Connect(error, message));
  Refuse("Telephony.CreateTapi");
  TAPILine broken(apartment, {}, {});
}

// --- the device's members ---------------------------------------------------------------------

TEST_F(LineTest, DevicesAreListedAndSelectedByTheDeviceObject) {
  machine.lines.push_back(Modem("Other"));
  Make();
  EXPECT_EQ(line->GetDeviceList(), "Modem\tOther");
  EXPECT_TRUE(line->SetDevice("Other"));
  EXPECT_FALSE(line->SetDevice("Voice"));
  EXPECT_THAT(reports,
              ElementsAre(Report(4456, "SetDevice",
                                 "The selected device does not support data modem mode!")));
}

TEST_F(LineTest, ADeviceInUseIsReportedUnchanged) {
  machine.lines[0].in_use = true;
  Make();
  EXPECT_FALSE(line->SetDevice("Modem"));
  EXPECT_THAT(reports,
              ElementsAre(Report(
                  4457, "TAPIObject.SetDevice",
                  "The selected device is in use by another application and cannot be selected!")));
}

// --- line settings ----------------------------------------------------------------------------

TEST_F(LineTest, SetParamsIsFalseInEveryCase) {
  Make();
  EXPECT_FALSE(line->SetParams("9600", "N", 8, 0, false));
  EXPECT_FALSE(line->SetParams("fast", "?", -1, 99, true));
}

TEST_F(LineTest, EveryParityLetterButNSelectsOdd) {
  for (const std::string letter : {"E", "O", "M", "S", "e", "n", "", "NN", " N"}) {
    Prepare();
    line->SetParams("9600", letter, 8, 0, false);
    ASSERT_TRUE(Connect());
    EXPECT_EQ(Applied().Parity, 1) << letter;
    line.reset();
  }
  Online();
  EXPECT_EQ(Applied().Parity, 0);
}

TEST_F(LineTest, ConnectProgramsThePort) {
  machine.lines[0].port.dcb.flags = dcb_flag::kBinary | 0x1010;
  Prepare();
  line->SetParams("4800", "E", 7, 2, true);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(Applied().BaudRate, 4800U);
  EXPECT_EQ(Applied().ByteSize, 7);
  EXPECT_EQ(Applied().Parity, 1);
  EXPECT_EQ(Applied().StopBits, 2);
  EXPECT_EQ(Applied().ErrorChar, '~');
  EXPECT_EQ(Applied().flags, dcb_flag::kBinary | 0x1010 | dcb_flag::kNull | dcb_flag::kErrorChar |
                                 dcb_flag::kOutX | dcb_flag::kInX);
}

TEST_F(LineTest, ConnectClearsSoftwareFlowControlThatIsNotWanted) {
  machine.lines[0].port.dcb.flags |= dcb_flag::kOutX | dcb_flag::kInX;
  Online();
  EXPECT_EQ(Applied().flags & (dcb_flag::kOutX | dcb_flag::kInX), 0U);
}

TEST_F(LineTest, WhatConnectDoesNotSetStaysAsThePortHadIt) {
  machine.lines[0].port.dcb.XonLim = 321;
  machine.lines[0].port.dcb.EvtChar = 9;
  Online();
  EXPECT_EQ(Applied().XonLim, 321);
  EXPECT_EQ(Applied().EvtChar, 9);
}

TEST_F(LineTest, ABaudRateThatIsNoNumberIsIgnoredAndTheRestCounts) {
  for (const std::string rate : {"", "fast", "9600x", "99999999999", "  "}) {
    Prepare();
    line->SetParams(rate, "E", 7, 0, true);
    ASSERT_TRUE(Connect()) << rate;
    EXPECT_EQ(Applied().BaudRate, 9600U) << rate;  // set by Prepare
    EXPECT_EQ(Applied().ByteSize, 7) << rate;
    line.reset();
  }
}

TEST_F(LineTest, WithoutABaudRateThePortKeepsItsOwn) {
  machine.lines[0].port.dcb.BaudRate = 57600;
  Make();
  line->SetDevice("Modem");
  line->SetParams("", "N", 8, 0, false);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(Applied().BaudRate, 57600U);
}

TEST_F(LineTest, BlanksAroundABaudRateDoNotMatter) {
  Prepare();
  line->SetParams(" 2400 ", "N", 8, 0, false);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(Applied().BaudRate, 2400U);
}

TEST_F(LineTest, SettingsAreCheckedInOrderAndTheFirstErrorCounts) {
  struct Case {
    const char* baud;
    int data_bits;
    int stop_bits;
    const char* text;
  };
  for (const Case& test :
       {Case{"9601", 9, 5, "Invalid baud rate"}, Case{"9600", 9, 5, "Invalid Byte size setting"},
        Case{"9600", 264, 0, "Invalid Byte size setting"}, Case{"9600", 8, 5, "Invalid Stop bits"},
        Case{"9600", 8, -1, "Invalid Stop bits"}}) {
    Prepare();
    reports.clear();
    line->SetParams(test.baud, "N", test.data_bits, test.stop_bits, false);
    EXPECT_FALSE(Connect());
    EXPECT_THAT(reports,
                ElementsAre(Report(-2147190504, "TAPILine.ISMSMedium_Connect", test.text)));
    EXPECT_EQ(machine.active_calls(), 1U);  // it stays up until Disconnect
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(Disconnect());
    EXPECT_EQ(machine.active_calls(), 0U);
  }
}

TEST_F(LineTest, ADeviceThatRefusesTheSettingsIsUsedAsItIs) {
  Prepare();
  line->SetParams("4800", "N", 8, 1, false);  // one and a half stop bits with 8 data bits
  EXPECT_TRUE(Connect());
  EXPECT_EQ(machine.ports.back()->hardware.dcb.BaudRate, 9600U);
  EXPECT_THAT(reports, IsEmpty());
}

// --- connecting -------------------------------------------------------------------------------

TEST_F(LineTest, ConnectDialsTheTranslatedNumberAndTakesThePort) {
  Online();
  EXPECT_EQ(dialled, "012345");
  EXPECT_EQ(line->TranslatedNumber(), "012345");
  EXPECT_EQ(machine.open_ports(), 1U);
  EXPECT_EQ(machine.running_timers(), 1U);
  EXPECT_EQ(machine.slept(), Millis(2000));
  EXPECT_THAT(machine.ports.back()->requests.queues, ElementsAre(std::pair(8192U, 1024U)));
  EXPECT_THAT(machine.ports.back()->requests.masks, ElementsAre(128U));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, ConnectWorksOnThePortInOrder) {
  Prepare();
  machine.calls.clear();
  ASSERT_TRUE(Connect());
  const auto first = std::find(machine.calls.begin(), machine.calls.end(), "Comm.SetupComm");
  const std::vector<std::string_view> port_calls(first, machine.calls.end());
  EXPECT_THAT(port_calls,
              ElementsAre("Comm.SetupComm", "Comm.GetCommTimeouts", "Comm.SetCommTimeouts",
                          "Comm.GetCommState", "Comm.SetCommMask", "Comm.ReadFile",
                          "Comm.SetCommState", "Locale.ComponentName", "Timers.SetTimer"));
}

TEST_F(LineTest, WithoutADeviceConnectGives4570AfterTheReason) {
  Make();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(error, 4570);
  EXPECT_EQ(message, "Unable to connect to the specified phone number");
  EXPECT_THAT(reports, ElementsAre(Report(4461, "Connect", "No Device is selected!")));
}

TEST_F(LineTest, WithoutASessionConnectGives4570) {
  Refuse("ITTAPI.Initialize");
  Make();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(error, 4570);
  EXPECT_EQ(reports.back(), Report(4454, "Connect", "Tapi-Object is not initialized!"));
}

TEST_F(LineTest, ABusyLineGives4570AfterTheReason) {
  machine.lines[0].outcome = CallState::kDisconnected;
  machine.lines[0].cause = CallCause::kDisconnectBusy;
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(error, 4570);
  EXPECT_THAT(reports, ElementsAre(Report(4462, "Connect", "Unable to connect, reason: Busy")));
  EXPECT_EQ(machine.running_timers(), 0U);
}

TEST_F(LineTest, ALineThatNeverAnswersIsGivenUpAfter40Seconds) {
  machine.lines[0].outcome = CallState::kInProgress;
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(machine.slept(), Millis(40000));
  EXPECT_THAT(reports, ElementsAre(Report(4462, "Connect", "Unable to connect, reason: None")));
}

TEST_F(LineTest, APortThatCannotBeHadGives4570AfterTheReason) {
  machine.lines[0].port_error = 1;
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(error, 4570);
  EXPECT_THAT(reports,
              ElementsAre(Report(4463, "TAPIObject.Connect", "Failed to get Comm-Handle!")));
}

TEST_F(LineTest, APortThatCannotBeOpenedLeavesTheCallUpUntilDisconnect) {
  machine.lines[0].dead_port = true;
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_THAT(reports, ElementsAre(Report(-2147190494, "TAPILine.ISMSMedium_Connect",
                                          "Unable to open communications device")));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(message, "");
  EXPECT_EQ(machine.active_calls(), 1U);
  EXPECT_TRUE(Disconnect());
  EXPECT_EQ(machine.active_calls(), 0U);
}

TEST_F(LineTest, AnAbortDuringTheWaitEndsItWithin500MsWithoutAReport) {
  machine.lines[0].outcome = CallState::kInProgress;
  Prepare();
  machine.After(Millis(7777), [this] { line->AbortAction(); });
  EXPECT_FALSE(Connect());
  EXPECT_EQ(machine.slept(), Millis(8000));
  EXPECT_EQ(error, 4570);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, AnAbortBeforeConnectEndsItAtItsFirstCheck) {
  Prepare();
  line->AbortAction();
  EXPECT_FALSE(Connect());
  EXPECT_EQ(machine.slept(), Millis(500));
  EXPECT_EQ(error, 4570);
}

TEST_F(LineTest, AnAbortLeavesTheConnectionAlone) {
  Online();
  line->AbortAction();
  wire->Write("still here");
  Wait(300);
  EXPECT_EQ(line->Receive(), "still here");
  EXPECT_TRUE(Disconnect());
}

TEST_F(LineTest, AHandlerMayAbortFromInsideAReport) {
  machine.lines[0].outcome = CallState::kDisconnected;
  Prepare();
  on_report = [this] { line->AbortAction(); };
  EXPECT_FALSE(Connect());
  EXPECT_EQ(reports.size(), 1U);
}

TEST_F(LineTest, WithoutASystemTimerConnectReports13652) {
  machine.max_system_timers = 0;
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_THAT(reports, ElementsAre(Report(-2147207852, "TAPILine.ISMSMedium_Connect",
                                          "Can't create system timer")));
}

TEST_F(LineTest, The101stConnectionOfAThreadReports13651) {
  machine.lines[0].ring_time = Millis(0);
  for (int i = 0; i < 100; ++i) {
    Online();
    ASSERT_TRUE(Disconnect());
    line.reset();
  }
  EXPECT_EQ(machine.running_timers(), 100U);
  Prepare();
  EXPECT_FALSE(Connect());
  EXPECT_THAT(reports, ElementsAre(Report(-2147207853, "TAPILine.ISMSMedium_Connect",
                                          "No more than 10 timers allowed per class")));
  EXPECT_EQ(machine.running_timers(), 100U);
}

TEST_F(LineTest, AnotherThreadHasItsOwnHundred) {
  for (int i = 0; i < 100; ++i) {
    Online();
    line.reset();
  }
  Apartment other(machine);
  TAPILine fresh(other, Recorder(), {});
  fresh.SetDevice("Modem");
  fresh.SetParams("", "N", 8, 0, false);
  EXPECT_TRUE(fresh.Connect(error, message));
}

// --- receiving --------------------------------------------------------------------------------

TEST_F(LineTest, NothingIsReceivedBeforeATick) {
  Online();
  wire->Write("hello");
  EXPECT_EQ(line->Receive(), "");
  machine.loop().Sleep(Millis(1000));
  EXPECT_EQ(line->Receive(), "");
}

TEST_F(LineTest, AThreadThatDoesNotProcessEventsReceivesNothing) {
  Online();
  wire->Write("hello");
  machine.loop().Sleep(Millis(5000));
  EXPECT_EQ(line->Receive(), "");
  machine.loop().DoEvents();
  EXPECT_EQ(line->Receive(), "hello");
}

TEST_F(LineTest, ThePortIsPolledEvery100Ms) {
  Online();
  machine.calls.clear();
  Wait(1000);
  EXPECT_EQ(Asked("ITCallInfo.GetCallState"), 10);
}

TEST_F(LineTest, WhatArrivedIsReceivedOnceInOrder) {
  Online();
  wire->Write("one ");
  Wait(200);
  wire->Write("two");
  Wait(300);
  EXPECT_EQ(line->Receive(), "one two");
  EXPECT_EQ(line->Receive(), "");
  EXPECT_EQ(line->InputString(), "");
}

TEST_F(LineTest, InputStringIsTheSameAsReceive) {
  Online();
  wire->Write("text");
  Wait(300);
  EXPECT_EQ(line->InputString(), "text");
  EXPECT_EQ(line->Receive(), "");
}

TEST_F(LineTest, ALongAnswerArrivesWhole) {
  Online();
  const std::string answer(5000, 'a');
  wire->Write(answer);
  Wait(2000);
  EXPECT_EQ(line->Receive(), answer);
}

TEST_F(LineTest, CommInputAppendsToTheBuffer) {
  Online();
  dwCOMM port(machine.comm(), {});
  line->CommInput(port, "one");
  line->CommInput(port, "");
  line->CommInput(port, std::string("\0two", 4));
  EXPECT_EQ(line->Receive(), std::string("one\0two", 7));
}

TEST_F(LineTest, LineErrorsAreIgnored) {
  Online();
  Wait(200);
  machine.ports.back()->RaiseLineErrors(kCeFrame | kCeRxParity);
  Wait(300);
  EXPECT_EQ(line->Receive(), "");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, TheBufferOutlivesTheConnection) {
  Online();
  wire->Write("kept");
  Wait(300);
  EXPECT_TRUE(Disconnect());
  ASSERT_TRUE(Connect());
  EXPECT_EQ(line->Receive(), "kept");
}

// --- sending ----------------------------------------------------------------------------------

TEST_F(LineTest, SendWritesTheBytesAsTheyStand) {
  Online();
  EXPECT_TRUE(line->Send("\x02M\xC4\x03"));
  EXPECT_EQ(machine.ports.back()->requests.sent, "\x02M\xC4\x03");
}

TEST_F(LineTest, ALongTextIsSentPieceByPieceAsTheTimerTicks) {
  machine.lines[0].port.write_time = Millis(30);
  Online();
  const Millis start = machine.slept();
  EXPECT_TRUE(line->Send(std::string(3000, 'x')));
  Wait(1000);
  ASSERT_EQ(machine.sent.size(), 3U);
  const std::vector<std::size_t> sizes = {1024, 1024, 952};
  const std::vector<int> times = {30, 130, 230};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(machine.sent[i].bytes.size(), sizes[i]);
    EXPECT_EQ(machine.sent[i].time - start, Millis(times[i]));
  }
}

TEST_F(LineTest, SendIsTrueEvenWhenThePortIsClosed) {
  Make();
  EXPECT_TRUE(line->Send("x"));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, AWriteThatFailsShowsInTheSendLogOnly) {
  Online();
  Refuse("Comm.WriteFile");
  EXPECT_TRUE(line->Send("x"));
  EXPECT_THAT(reports, IsEmpty());
  ASSERT_EQ(log.size(), 2U);
  EXPECT_TRUE(log[0].starts_with("WriteFile: "));
  EXPECT_EQ(log[1], "Failure on Comm device output operation - 31 - 31");
}

// --- the end of a connection ------------------------------------------------------------------

TEST_F(LineTest, AfterARemoteHangUpTheNextTickEndsThePolling) {
  Online();
  wire->Write("last words");
  Wait(200);
  wire->HangUp();
  Wait(200);
  machine.calls.clear();
  Wait(1000);
  EXPECT_EQ(Asked("ITCallInfo.GetCallState"), 0);
  EXPECT_EQ(machine.running_timers(), 1U);  // it ticks on, to nobody
  EXPECT_TRUE(line->Send("anyone?"));
  EXPECT_EQ(line->Receive(), "last words");
  EXPECT_EQ(line->Receive(), "");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, DisconnectClosesThePortThenDropsTheCall) {
  Online();
  machine.calls.clear();
  EXPECT_TRUE(Disconnect());
  EXPECT_THAT(machine.calls, ElementsAre("Comm.CloseHandle", "ITBasicCallControl.Disconnect"));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(message, "");
}

TEST_F(LineTest, DisconnectingTwiceSucceeds) {
  Online();
  EXPECT_TRUE(Disconnect());
  EXPECT_TRUE(Disconnect());
}

TEST_F(LineTest, AfterDisconnectThePollingEndsWithoutAReport) {
  Online();
  Disconnect();
  Wait(500);
  EXPECT_THAT(reports, IsEmpty());
  EXPECT_EQ(machine.running_timers(), 1U);
}

TEST_F(LineTest, ACallThatDoesNotHangUpGives4571) {
  machine.lines[0].hang_up_fails = true;
  Online();
  error = 7;
  message = "before";
  EXPECT_FALSE(Disconnect());
  EXPECT_THAT(reports,
              ElementsAre(Report(kRefused, "TAPIObject.Disconnect", "The line does not hang up"),
                          Report(4571, "TAPILine.ISMSMedium_Disconnect", "Unable to disconnect")));
  EXPECT_EQ(error, 7);  // not written
  EXPECT_EQ(message, "before");
  EXPECT_EQ(machine.open_ports(), 0U);
}

TEST(Medium, OfItselfDoesNothing) {
  ISMSMedium medium;
  std::int32_t number = 7;
  std::string text = "before";
  EXPECT_FALSE(medium.Connect(number, text));
  EXPECT_FALSE(medium.Disconnect(number, text));
  EXPECT_FALSE(medium.Send(text));
  EXPECT_EQ(medium.Receive(), "");
  medium.AbortAction();
  EXPECT_EQ(number, 7);
  EXPECT_EQ(text, "before");
}

TEST_F(LineTest, ASecondConnectionGetsATimerOfItsOwn) {
  Online();
  Disconnect();
  ASSERT_TRUE(Connect());
  EXPECT_EQ(machine.running_timers(), 2U);
  wire->Write("again");
  machine.calls.clear();
  Wait(1000);
  EXPECT_EQ(Asked("ITCallInfo.GetCallState"), 10);
  EXPECT_EQ(line->Receive(), "again");
}

TEST_F(LineTest, TheTimerOfALineThatIsGoneTicksToNobody) {
  Online();
  line.reset();
  machine.calls.clear();
  Wait(1000);
  EXPECT_EQ(Asked("ITCallInfo.GetCallState"), 0);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LineTest, AStateThatCannotBeReadEndsThePolling) {
  Online();
  Refuse("ITCallInfo.GetCallState");
  Wait(500);
  EXPECT_THAT(reports, ElementsAre(Report(kRefused, "TAPIObject.IsConnected",
                                          "Operation failed: ITCallInfo.GetCallState")));
}

TEST_F(LineTest, AnErrorWhilePollingIsReported) {
  Online();
  on_report = [this] { machine.fail = nullptr; };
  machine.fail = [](const std::string& operation) -> bool {
    if (operation == "Comm.WaitCommEvent") throw RaisedError(1117, "Comm", "device error");
    return false;
  };
  Wait(500);
  EXPECT_THAT(reports, ElementsAre(Report(1117, "TAPILine.mTimer_ThatTime", "device error")));
  wire->Write("goes on");
  Wait(500);
  EXPECT_EQ(line->Receive(), "goes on");
}

TEST_F(LineTest, ATickThatFindsThePortClosedIsReported) {
  Prepare();
  ASSERT_TRUE(Connect());
  on_report = [this] { line->AbortAction(); };
  machine.lines[0].hang_up_fails = true;
  Refuse("ITBasicCallControl.Disconnect");
  EXPECT_FALSE(Disconnect());
  reports.clear();
  Wait(100);
  EXPECT_THAT(reports, ElementsAre(Report(-2147190493, "TAPILine.mTimer_ThatTime",
                                          "Communication Device is not open")));
  machine.fail = nullptr;
  EXPECT_TRUE(Disconnect());
}

// --- every operation of the platform but closing, refused once at its n-th call ---------------

TEST_F(LineTest, NoRefusedOperationEscapesOrLeaksAnything) {
  for (int n = 1;; ++n) {
    int countdown = n;
    machine.fail = [&countdown](const std::string& operation) {
      const bool spared = operation.starts_with("EventLoop.") || operation.starts_with("Clock.") ||
                          operation == "Comm.CloseHandle";
      return !spared && --countdown == 0;
    };
    Make();
    line->SetDevice("Modem");
    line->SetParams("9600", "N", 8, 0, false);
    line->PhoneNumber = "1";
    if (Connect()) {
      line->Send("question");
      wire->Write("answer");
      Wait(300);
      line->Receive();
    }
    Disconnect();
    Wait(200);
    line.reset();
    ASSERT_EQ(machine.open_ports(), 0U) << n;
    ASSERT_EQ(machine.tapi_sessions(), 0U) << n;
    ASSERT_EQ(machine.active_calls(), 0U) << n;
    machine.fail = nullptr;
    if (countdown > 0) break;  // passed untouched
  }
}

}  // namespace
}  // namespace mvsms
