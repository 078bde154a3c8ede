// The worker at its work: many pages in one call, several modems, and what a kill, a signal and a
// dead modem leave.
#include <signal.h>
#include <unistd.h>

#include <sstream>

#include "tests/e2e/trip.h"

namespace mvsms::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

class WorkerTrip : public Trip {
 protected:
  WorkerTrip() { takes_many_calls_ = true; }
  void Queue(const std::string& id, const std::string& to = "0172") const {
    const Ending ending = Run({"send", "--queue", "--to", to, "--id", id, "page " + id});
    EXPECT_EQ(ending.exit_code, kExitAccepted) << ending.err;
  }
  Json Page(const std::string& id) const { return Run({"queue", "show", "--json", id}).json(); }
  std::string StateOf(const std::string& id) const { return Page(id)["state"]; }
  std::unique_ptr<ChildProcess> StartWorker(const Words& more = {}) const {
    Words command{"worker"};
    command.insert(command.end(), more.begin(), more.end());
    return Start(command);
  }
  /// Waits until the page is in this state.
  bool Comes(const std::string& id, const std::string& state) const {
    for (int i = 0; i < 100; ++i) {
      if (StateOf(id) == state) return true;
      usleep(100'000);
    }
    return false;
  }
  std::vector<Json> Journal() const {
    std::istringstream lines(Run({"journal", "--json"}).out);
    std::vector<Json> rows;
    for (std::string line; std::getline(lines, line);) rows.push_back(Json::parse(line));
    return rows;
  }
};

TEST_F(WorkerTrip, AStormGoesOutInOneCall) {
  CentreOnModem("tap");
  for (int i = 0; i < 10; ++i) Queue(std::to_string(i), "017" + std::to_string(i));
  const auto worker = StartWorker({"--once"});
  EXPECT_EQ(Finish(*worker).exit_code, 0) << worker->err();
  EXPECT_THAT(Received(10), SizeIs(10));
  for (const Json& row : Journal()) EXPECT_EQ(row["outcome"], "accepted");
  EXPECT_THAT(Journal(), SizeIs(10));
  // One login in all: the send of the first page alone takes longer than one of the others.
  EXPECT_GT(Journal()[0]["seconds"], 5.0);
  EXPECT_LT(Journal()[9]["seconds"], Journal()[0]["seconds"]);
}

TEST_F(WorkerTrip, APageThatComesIsSentByTheRunningWorker) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  const auto worker = StartWorker();
  Queue("A");
  EXPECT_TRUE(Comes("A", "accepted"));
  EXPECT_EQ(Run({"worker", "--status"}).exit_code, 0);
  const Json line = Run({"lines", "--json"}).json()[0];
  EXPECT_EQ(line["name"], "Modem");
  EXPECT_EQ(Run({"worker"}).exit_code, kExitFailed) << "there is one already";
  worker->Signal(SIGTERM);
  EXPECT_EQ(Finish(*worker).exit_code, 0);
  EXPECT_THAT(worker->out(), HasSubstr("Modem: id=A.1 outcome=accepted exit=0 to=\"0172\""));
  EXPECT_EQ(Run({"worker", "--status"}).exit_code, kExitFailed);
}

TEST_F(WorkerTrip, TheModemsOfAPoolWorkSideBySide) {
  CentreOnModem("ucp", {}, {"TimeOut=2000"});
  AnotherModem("Second", "ucp");
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem,Second"});
  Do({"config", "set", "DefaultModem", "Pool"});
  Do({"config", "set", "PagesPerCall", "1"});
  Queue("A", "0171");
  Queue("B", "0172");
  const auto worker = StartWorker({"--once"});
  EXPECT_EQ(Finish(*worker).exit_code, 0) << worker->err();
  EXPECT_THAT((std::vector<std::string>{Page("A")["last_result"]["modem"],
                                        Page("B")["last_result"]["modem"]}),
              UnorderedElementsAre("Modem", "Second"));
}

TEST_F(WorkerTrip, ADeadModemHoldsUpNoPage) {
  CentreOnModem("ucp", {"call=no-dialtone"}, {"TimeOut=50"});
  AnotherModem("Second", "ucp");
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem,Second"});
  Do({"config", "set", "DefaultModem", "Pool"});
  for (const char* id : {"1", "2", "3", "4"}) Queue(id, std::string("017") + id);
  const auto worker = StartWorker();
  for (const char* id : {"1", "2", "3", "4"}) {
    EXPECT_TRUE(Comes(id, "accepted"));
    EXPECT_EQ(Page(id)["last_result"]["modem"], "Second");
    EXPECT_EQ(Page(id)["attempts"], 1) << "the dead modem's failures are not the page's";
  }
}

TEST_F(WorkerTrip, AKilledWorkerLeavesAPageInDoubtThatIsSentAgainAndMarked) {
  CentreOnTcp("tap", {"silent-at=message"});
  Queue("A");
  {
    const auto worker = StartWorker();
    ASSERT_TRUE(Comes("A", "dialling"));
    worker->Signal(SIGKILL);
    Finish(*worker);
  }
  EXPECT_EQ(StateOf("A"), "dialling");
  Do({"config", "set", "OnUnknown", "park"});
  EXPECT_EQ(Finish(*StartWorker({"--once"})).exit_code, 0);
  EXPECT_EQ(StateOf("A"), "parked");
  EXPECT_THAT(Page("A")["last_result"]["reason"],
              "the program was ended before it could say what became of the message; it may have "
              "gone out; it is not to go out twice");
  Do({"queue", "retry", "A"});
  EXPECT_EQ(Page("A")["perhaps_twice"], true);
}

TEST_F(WorkerTrip, SigtermLetsThePageOnTheLineComeToItsEnd) {
  CentreOnTcp("ucp", {}, {"TimeOut=12000"});
  Queue("A", "0171");
  Queue("B", "0172");
  centre_->Signal(SIGSTOP);  // no answer to A before the worker was told to end
  const auto worker = StartWorker();
  ASSERT_TRUE(Comes("A", "dialling"));
  worker->Signal(SIGTERM);
  centre_->Signal(SIGCONT);
  EXPECT_EQ(Finish(*worker).exit_code, 0);
  EXPECT_EQ(StateOf("A"), "accepted");
  EXPECT_EQ(StateOf("B"), "ready");
}

TEST_F(WorkerTrip, ASecondSignalAbortsTheCall) {
  CentreOnTcp("tap", {"silent-at=prompt"});
  Queue("A");
  const auto worker = StartWorker();
  ASSERT_TRUE(Comes("A", "dialling"));
  worker->Signal(SIGTERM);
  usleep(500'000);
  worker->Signal(SIGINT);
  EXPECT_EQ(Finish(*worker).exit_code, 0);
  EXPECT_EQ(StateOf("A"), "ready");
  EXPECT_EQ(Page("A")["attempts"], 0);
}

TEST_F(WorkerTrip, SighupTakesUpANewModem) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  const auto worker = StartWorker({});
  ASSERT_TRUE(WaitForLine(*worker, "Working for the profile"));
  Do({"modem", "add", "Second", "--kind", "tcp"});
  Do({"service", "set", "Pager", "ModemName=Second"});
  Queue("A");
  usleep(1'000'000);
  EXPECT_EQ(StateOf("A"), "ready");
  worker->Signal(SIGHUP);
  EXPECT_TRUE(Comes("A", "accepted"));
  EXPECT_EQ(Page("A")["last_result"]["modem"], "Second");
}

TEST_F(WorkerTrip, WhenTheHubIsAwayAPersonIsToldOverAModemHere) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  Do({"config", "set", "Hub", "host=" + home_.path() + " dbname=mvsms"});
  Do({"config", "set", "HubName", "pump house"});
  Do({"config", "set", "HubAlarmTo", "0171"});
  Do({"config", "set", "HubAlarmAfter", "1"});
  const auto worker = StartWorker();
  EXPECT_THAT(Received(1), ElementsAre(HasSubstr("mvSMS pump house: the hub is away since 20")));
  worker->Signal(SIGTERM);
  EXPECT_EQ(Finish(*worker).exit_code, 0);
  EXPECT_THAT(Journal(), SizeIs(1)) << "once";
}

TEST_F(WorkerTrip, AHubThatCannotBeSpokenToAtAllIsAwayToo) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  Do({"config", "set", "Hub", "hots=db1"});
  Do({"config", "set", "HubAlarmTo", "0171"});
  Do({"config", "set", "HubAlarmAfter", "1"});
  const auto worker = StartWorker();
  EXPECT_THAT(Received(1), ElementsAre(HasSubstr(": the hub is away since 20")));
  const Json status = Json::parse(Run({"worker", "--status", "--json"}).out);
  EXPECT_NE(status["worker"]["hub"]["away_since"], nullptr);
}

TEST_F(WorkerTrip, PagesThatNoLineCanCarryAreTold) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  Do({"modem", "add", "Second", "--kind", "tcp"});
  Do({"service", "set", "Pager", "ModemName=Second"});
  Queue("A");
  const auto worker = StartWorker({"--lines", "Modem"});
  EXPECT_TRUE(WaitForLine(*worker, "pages wait for the service \"Pager\""));
  usleep(500'000);
  EXPECT_THAT(Run({"queue", "list"}).err, HasSubstr("whose modem the worker does not have"));
  EXPECT_THAT(Run({"lines"}).err, HasSubstr("whose modem the worker does not have"));
  EXPECT_EQ(StateOf("A"), "ready");
}

TEST_F(WorkerTrip, ASigtermThatComesWhileItBeginsAnewEndsIt) {
  CentreOnTcp("tap", {"silent-at=prompt"});
  Queue("A");
  const auto worker = StartWorker();
  ASSERT_TRUE(Comes("A", "dialling"));
  worker->Signal(SIGHUP);
  usleep(500'000);
  worker->Signal(SIGTERM);
  EXPECT_EQ(Finish(*worker).exit_code, 0);
  EXPECT_EQ(StateOf("A"), "ready");
}

TEST_F(WorkerTrip, TheServiceManagerIsToldHowItIs) {
  CentreOnTcp("ucp");
  const Ending ending = RunInShell(
      "python3 -c 'import socket, sys\n"
      "s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)\n"
      "s.bind(sys.argv[1])\n"
      "s.settimeout(20)\n"
      "seen = []\n"
      "while \"STOPPING=1\" not in seen: seen.append(s.recv(99).decode())\n"
      "print(seen[0], \"WATCHDOG=1\" in seen)' " +
      (home_ / "notify") + " & until [ -S " + (home_ / "notify") +
      " ]; do sleep 0.1; done; NOTIFY_SOCKET=" + (home_ / "notify") +
      " timeout --signal=TERM 3 \"$0\" worker; wait");
  EXPECT_THAT(ending.out, HasSubstr("READY=1 True")) << ending.err;
}

}  // namespace
}  // namespace mvsms::cli
