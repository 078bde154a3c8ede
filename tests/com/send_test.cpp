// Whole sends through the component: the substitute telephony service dials, message centres
// answer behind serial ports. Every trip is a host of its own on a thread of its own, and they all
// run at once, for a line that nobody answers is given up after forty seconds only.
#include <chrono>
#include <map>
#include <thread>

#include "tests/com/fake_tapi/counts.h"
#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Trip {
  const char* protocol;
  const char* number;  // see fake_tapi/number_plan.h
  const char* modem = "Test modem";
  const char* message = "Pump 3 has stopped";
  const char* abort_at = nullptr;  // the host aborts a second after this text
};

struct Outcome {
  Sent sent;
  std::string status;
  bool retry_suggested = false;
  std::vector<std::string> errors;  // "number description (module)"
  std::size_t status_changes = 0;
  milliseconds took{};
};

const std::map<std::string, Trip> kTrips = {
    {"tap", {"TAP", "221"}},
    {"ucp", {"UCP", "222", "Second test modem", "5 \xA3 reward"}},
    {"tap refused", {"TAP", "223"}},
    {"ucp refused", {"UCP", "224"}},
    {"busy", {"TAP", "12"}},
    {"invalid number", {"TAP", "13"}},
    {"no answer", {"TAP", "14"}},
    {"cancelled", {"TAP", "15"}},
    {"rejected", {"TAP", "16"}},
    {"failed", {"TAP", "17"}},
    {"rings for ever", {"TAP", "3"}},
    {"port not handed over", {"TAP", "525"}},
    {"events of another thread", {"TAP", "7227"}},
    {"busy on another thread", {"TAP", "712"}},
    {"port with a header", {"TAP", "828"}},
    {"no call to be had", {"TAP", "91"}},
    {"call not started", {"TAP", "92"}},
    {"taken", {"TAP", "221", "Taken modem"}},
    {"unknown", {"TAP", "221", "No such modem"}},
    {"telephone", {"TAP", "221", "Telephone"}},
    {"aborted while dialling", {"TAP", "3", "Test modem", "text", "Dialling"}},
    {"aborted in the login", {"TAP", "226", "Test modem", "text", "Initiating TAP Login"}},
    {"hung up", {"TAP", "425"}},
};

/// Aborts a second later, as a user does with a button of the host.
void AbortSoon(_Sender& sender) {
  thread_local _Sender* running = nullptr;
  if (running) return;
  running = &sender;
  ::SetTimer(nullptr, 0, 1000, [](HWND, UINT, UINT_PTR timer, DWORD) CALLBACK {
    ::KillTimer(nullptr, timer);
    running->AbortAction();
  });
}

Outcome Travel(const std::string& name, const Trip& trip) {
  Outcome outcome;
  Sink sink;
  Host host(kProfile);
  sink.handler = [&](DISPID id, DISPPARAMS& arguments) {
    if (id == 2) {
      ++outcome.status_changes;
      const std::string status = win32::AnsiFromBstr(*arguments.rgvarg[0].pbstrVal);
      if (trip.abort_at && status.find(trip.abort_at) != status.npos) AbortSoon(host.sender());
    } else {
      outcome.errors.push_back(std::to_string(*arguments.rgvarg[2].plVal) + " " +
                               win32::AnsiFromBstr(*arguments.rgvarg[1].pbstrVal) + " (" +
                               win32::AnsiFromBstr(*arguments.rgvarg[0].pbstrVal) + ")");
    }
    return S_OK;
  };
  host.Advise(sink);
  const auto start = steady_clock::now();
  outcome.sent = host.Send("0171 234", trip.message, name);
  outcome.took = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
  outcome.status = host.Status();
  outcome.retry_suggested = host.RetrySuggested();
  host.Release();
  return outcome;
}

class SendTrip : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    WriteProfile();
    std::vector<std::thread> hosts;
    for (const auto& [name, trip] : kTrips) {
      WriteService(name, trip.protocol, trip.number, trip.modem);
      Outcome& outcome = outcomes[name];
      hosts.emplace_back([&outcome, &name = name, &trip = trip] { outcome = Travel(name, trip); });
    }
    for (std::thread& host : hosts) host.join();
    DeleteProfile();
  }
  static void TearDownTestSuite() { outcomes.clear(); }

  static const Outcome& Of(const std::string& name) { return outcomes.at(name); }
  /// A connect that the medium refused: its own report, then the pipeline's.
  static void ExpectUnableToConnect(const std::string& name, const std::string& reason) {
    const Outcome& outcome = Of(name);
    EXPECT_FALSE(outcome.sent.accepted);
    EXPECT_THAT(outcome.errors,
                testing::ElementsAre("4462 Unable to connect, reason: " + reason + " (Connect)",
                                     "4570 Unable to connect to the specified phone number "
                                     "(Sender.SendMessage)"));
  }
  /// A call that the telephony service refused: the service's own words, then the pipeline's.
  static void ExpectRefused(const std::string& name, const std::string& beginning) {
    const Outcome& outcome = Of(name);
    EXPECT_FALSE(outcome.sent.accepted);
    EXPECT_THAT(outcome.errors, testing::ElementsAre(
                                    AllOf(StartsWith(beginning), EndsWith(" (TAPIObject.Connect)")),
                                    "4570 Unable to connect to the specified phone number "
                                    "(Sender.SendMessage)"));
  }
  static std::map<std::string, Outcome> outcomes;
};
std::map<std::string, Outcome> SendTrip::outcomes;

TEST_F(SendTrip, TapMessageIsAccepted) {
  const Outcome& outcome = Of("tap");
  EXPECT_EQ(outcome.sent.result, S_OK);
  EXPECT_TRUE(outcome.sent.accepted) << outcome.status;
  EXPECT_EQ(outcome.sent.recipient, "0171234");
  EXPECT_FALSE(outcome.retry_suggested);
  EXPECT_THAT(outcome.errors, testing::IsEmpty());
  EXPECT_THAT(outcome.status, HasSubstr("Dialed number: T221\r\nConnected."));
  EXPECT_THAT(outcome.status, HasSubstr("End sending message. Result:  Success"));
  EXPECT_THAT(Records("com21"), HasSubstr("Pump 3 has stopped"));
}

TEST_F(SendTrip, UcpMessageIsAccepted) {
  const Outcome& outcome = Of("ucp");
  EXPECT_TRUE(outcome.sent.accepted) << outcome.status;
  EXPECT_THAT(Records("com22"), HasSubstr("5 \\u00a3 reward"));
}

TEST_F(SendTrip, EveryStatusLineIsAnEvent) {
  const Outcome& outcome = Of("tap");
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = outcome.status.find("\r\n", at)) != std::string::npos; ++at) {
    ++lines;
  }
  // The first line ends with an empty one of its own, and the centre's answer is given as it came.
  EXPECT_GE(lines, outcome.status_changes);
  EXPECT_GE(outcome.status_changes, 14U);
}

TEST_F(SendTrip, RefusedTapMessageSuggestsARetry) {
  const Outcome& outcome = Of("tap refused");
  EXPECT_FALSE(outcome.sent.accepted);
  EXPECT_TRUE(outcome.retry_suggested);
  EXPECT_THAT(outcome.status, HasSubstr("Connection closed."));
  EXPECT_THAT(outcome.status, HasSubstr("End sending message. Result:  Failed"));
}

TEST_F(SendTrip, RefusedUcpMessageIsReported) {
  const Outcome& outcome = Of("ucp refused");
  EXPECT_FALSE(outcome.sent.accepted);
  EXPECT_THAT(outcome.status, HasSubstr("End sending message. Result:  Failed"));
}

TEST_F(SendTrip, CausesOfFailedCallsAreNamed) {
  ExpectUnableToConnect("busy", "Busy");
  ExpectUnableToConnect("invalid number", "Invalid Number");
  ExpectUnableToConnect("no answer", "No answer");
  ExpectUnableToConnect("cancelled", "Cancelled");
  ExpectUnableToConnect("rejected", "Rejected");
  ExpectUnableToConnect("failed", "Failed");
}

TEST_F(SendTrip, UnansweredCallIsGivenUpAfterFortySeconds) {
  ExpectUnableToConnect("rings for ever", "None");
  EXPECT_GE(Of("rings for ever").took, milliseconds(40000));
  EXPECT_LT(Of("rings for ever").took, milliseconds(45000));
}

TEST_F(SendTrip, PortThatIsNotHandedOverIsReported) {
  EXPECT_THAT(Of("port not handed over").errors,
              testing::Contains("4463 Failed to get Comm-Handle! (TAPIObject.Connect)"));
}

TEST_F(SendTrip, ServiceMayCallBackOnAThreadOfItsOwn) {
  EXPECT_TRUE(Of("events of another thread").sent.accepted)
      << Of("events of another thread").status;
  ExpectUnableToConnect("busy on another thread", "Busy");
}

TEST_F(SendTrip, PortMayComeInARecordWithAHeader) {
  EXPECT_TRUE(Of("port with a header").sent.accepted) << Of("port with a header").status;
}

TEST_F(SendTrip, CallThatTheServiceRefusesIsReported) {
  ExpectRefused("no call to be had", "-2147024882 ITAddress::CreateCall failed: ");
  ExpectRefused("call not started",
                "-2147221436 ITBasicCallControl::Connect failed: error 0x80040044 (");
}

TEST_F(SendTrip, ModemOfAnotherProgramIsReported) {
  ExpectRefused("taken", "-2147221498 ITBasicCallControl::Connect failed: error 0x80040006 (");
}

TEST_F(SendTrip, UnknownModemIsReported) {
  EXPECT_THAT(Of("unknown").errors,
              testing::Contains("4455 This device does not exist! (SetDevice)"));
}

TEST_F(SendTrip, LineWithoutDataCallsIsReported) {
  EXPECT_THAT(
      Of("telephone").errors,
      testing::Contains("4456 The selected device does not support data modem mode! (SetDevice)"));
}

TEST_F(SendTrip, AbortWhileDiallingEndsTheCallSilently) {
  const Outcome& outcome = Of("aborted while dialling");
  EXPECT_FALSE(outcome.sent.accepted);
  EXPECT_LT(outcome.took, milliseconds(4000));
  EXPECT_THAT(outcome.status, Not(HasSubstr("4462")));
}

TEST_F(SendTrip, AbortInTheLoginHangsUp) {
  const Outcome& outcome = Of("aborted in the login");
  EXPECT_FALSE(outcome.sent.accepted);
  EXPECT_THAT(outcome.status, HasSubstr("Connection closed."));
  EXPECT_THAT(outcome.status, Not(HasSubstr("Sending TAP Message")));
}

TEST_F(SendTrip, HangUpOfTheFarSideFailsTheSend) {
  const Outcome& outcome = Of("hung up");
  EXPECT_FALSE(outcome.sent.accepted);
  EXPECT_THAT(outcome.status, HasSubstr("End sending message. Result:  Failed"));
}

TEST_F(SendTrip, TelephonyServiceGetsEverythingBack) {
  using fake_tapi::Counts;
  Counts counts{};
  Exported<fake_tapi::CountsFunction>("fake_tapi.dll", "FakeTapiCounts")(&counts);
  EXPECT_EQ(counts.objects, 0);
  EXPECT_EQ(counts.sessions, 0);
  EXPECT_EQ(counts.registrations, 0);
  EXPECT_EQ(counts.open_ports, 0);
  EXPECT_GT(counts.delivered, 0);
  EXPECT_GT(counts.filtered, 0);
}

TEST(SendersOfOneApartment, WorkSideBySide) {
  WriteProfile();
  WriteService("City", "UCP", "222", "Second test modem");
  Host host(kProfile);
  Host other(kProfile);
  Sink sink;
  host.Advise(sink);
  Sent nested;
  // The second sender sends from inside an event of the first, on the same thread.
  sink.handler = [&](DISPID, DISPPARAMS& arguments) {
    const bool dialling = arguments.cArgs == 1 &&
                          sink.events.back().arguments[0].ends_with("using modem: Test modem");
    if (dialling) nested = other.Send("0172", "inner", "City");
    return S_OK;
  };
  EXPECT_TRUE(host.Send("0171", "outer", "Pager").accepted) << host.Status();
  EXPECT_TRUE(nested.accepted) << other.Status();
  host.Release();
  other.Release();
  DeleteProfile();
}

}  // namespace
}  // namespace mvsms::com
