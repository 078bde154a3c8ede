// mvsms send --queue and mvsms queue: what is taken, what is refused at once, and what an operator
// sees and does.
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>

#include "backends/posix/store/queue.h"
#include "backends/posix/store/sqlite.h"
#include "cli/posix/since.h"
#include "cli/posix/worker_file.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class QueueCommand : public CommandTest {
 protected:
  QueueCommand() {
    AddModem("Modem");
    AddService("Pager");
  }
  /// The ids that a command line printed.
  std::vector<std::string> Queue(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"send", "--queue"});
    std::istringstream lines(Do(arguments));
    std::vector<std::string> ids;
    for (std::string line; std::getline(lines, line);) ids.push_back(line);
    return ids;
  }
  Json Show(const std::string& id) { return Ask({"queue", "show", id}); }
  std::string StateOf(const std::string& id) { return Show(id)["state"]; }
  /// A worker, as far as others can see.
  WorkerFile worker_{home_.string(), "Standard"};
  bool held_ = worker_.Take();
};

TEST_F(QueueCommand, APageIsTakenAndItsIdPrinted) {
  const auto ids = Queue({"--to", "0171-1", "Pump 3"});
  ASSERT_THAT(ids, SizeIs(1));
  EXPECT_THAT(ids[0], ContainsRegex("^[0-9a-f]{32}$"));
  const Json page = Show(ids[0]);
  EXPECT_EQ(page["state"], "ready");
  EXPECT_EQ(page["recipient"], "0171-1");
  EXPECT_EQ(page["text"], "Pump 3");
  EXPECT_EQ(page["service"], "Pager");
  EXPECT_EQ(page["priority"], 5);
  EXPECT_EQ(page["attempts"], 0);
  EXPECT_EQ(page["expires"], nullptr);
  EXPECT_EQ(page["last_result"], nullptr);
  EXPECT_THAT(page["tries"], IsEmpty());
}

TEST_F(QueueCommand, WithoutAWorkerItSaysThatThePageWaits) {
  WorkerFile(home_.string(), "Other").Take();
  worker_ = WorkerFile(home_.string(), "Standard");
  DoWithWarning({"send", "--queue", "--to", "0171", "x"}, "no worker is running");
}

TEST_F(QueueCommand, WhatIsAskedOfThePageIsKept) {
  const auto ids = Queue({"--to", "0171", "--id", "alarm-7", "--priority", "0", "--expires", "60",
                          "--not-before", "15m", "--from", "Ward 7", "x"});
  EXPECT_THAT(ids, ElementsAre("alarm-7"));
  const Json page = Show("alarm-7");
  EXPECT_EQ(page["priority"], 0);
  EXPECT_EQ(page["from"], "Ward 7");
  const std::int64_t now = std::time(nullptr);
  const auto seconds = [&](const char* name) {
    return ParseSince("", page[name].get<std::string>().substr(0, 19), now) - now;
  };
  EXPECT_NEAR(static_cast<double>(seconds("not_before")), 900, 5);
  EXPECT_NEAR(static_cast<double>(seconds("expires")), 3600, 5);
}

TEST_F(QueueCommand, TheSameIdIsTheSamePage) {
  Queue({"--to", "0171", "--id", "A", "first"});
  EXPECT_THAT(Queue({"--to", "0171", "--id", "A", "second"}), ElementsAre("A"));
  EXPECT_EQ(Show("A")["text"], "first");
  EXPECT_THAT(Ask({"queue", "list"}), SizeIs(1));
}

TEST_F(QueueCommand, EachRecipientGetsAPageOfHisOwn) {
  EXPECT_THAT(Queue({"--to", "0171", "--to", "0172", "--id", "A", "x"}), ElementsAre("A-1", "A-2"));
  EXPECT_EQ(Show("A-2")["recipient"], "0172");
}

TEST_F(QueueCommand, WhatCannotBeSentIsToldAtOnceAndTheOthersAreTaken) {
  const Outcome outcome = Run({"send", "--queue", "--to", "01x", "--to", "0172", "--id", "A", "x"});
  EXPECT_EQ(outcome.exit_code, kExitMessage);
  EXPECT_THAT(outcome.err, HasSubstr("mvsms: to 01x: "));
  EXPECT_EQ(outcome.out, "A-2\n");
}

TEST_F(QueueCommand, ATextThatIsTooLongIsToldAtOnceUnlessItIsFitted) {
  const std::string text(400, 'x');
  EXPECT_EQ(Run({"send", "--queue", "--to", "0171", text}).exit_code, kExitMessage);
  EXPECT_THAT(Ask({"queue", "list"}), IsEmpty());
  const Outcome fitted = Run({"send", "--queue", "--to", "0171", "--fit", "--id", "A", text});
  EXPECT_EQ(fitted.exit_code, kExitAccepted);
  EXPECT_LT(Show("A")["text"].get<std::string>().size(), text.size());
}

TEST_F(QueueCommand, OptionsThatAreNoneAreRefused) {
  const std::vector<std::string> send = {"send", "--queue", "--to", "0171"};
  const auto refuse = [&](std::vector<std::string> more, const std::string& sentence) {
    more.insert(more.begin(), send.begin(), send.end());
    more.emplace_back("x");
    Refuse(more, sentence);
  };
  refuse({"--priority", "10"}, "--priority must be");
  refuse({"--expires", "0"}, "--expires must be");
  refuse({"--not-before", "soon"}, "--not-before must be a time such as 90s");
  refuse({"--id", "two words"}, "--id must be at most 100 letters");
  refuse({"--id", std::string(101, 'x')}, "--id must be at most 100 letters");
  refuse({"--expires", "5", "--not-before", "10m"}, "--expires is before --not-before");
  refuse({"--wait", "5"}, "--wait");
  refuse({"--timeout", "5"}, "--timeout");
  refuse({"--dry-run"}, "--dry-run");
  Refuse({"send", "--to", "0171", "--priority", "1", "x"}, "--queue");
}

TEST_F(QueueCommand, AQueueThatTakesNothingIsARetryAndNothingIsWritten) {
  std::ofstream(Path("queue.db")) << std::string(5000, 'x');
  const Outcome outcome = Run({"send", "--queue", "--to", "0171", "x"});
  EXPECT_EQ(outcome.exit_code, kExitRetry);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("The queue " + Path("queue.db") + " cannot be used"));
  EXPECT_EQ(std::filesystem::file_size(Path("queue.db")), 5000U);
}

TEST_F(QueueCommand, JsonTellsEachPageThatWasTaken) {
  const Outcome outcome =
      Run({"send", "--queue", "--json", "--to", "0171", "--to", "0172", "--id", "A", "x"});
  std::istringstream lines(outcome.out);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(Json::parse(line), Json::parse(R"({"id": "A-1", "recipient": "0171",
                                               "service": "Pager", "priority": 5})"));
}

TEST_F(QueueCommand, ListsWhatIsNotDoneWith) {
  Queue({"--to", "0171", "--id", "A", "x"});
  Queue({"--to", "0171", "--id", "B", "x"});
  Do({"queue", "cancel", "A"});
  EXPECT_THAT(Do({"queue", "list"}), AllOf(HasSubstr("B   ready"), testing::Not(HasSubstr("A "))));
  EXPECT_EQ(Ask({"queue", "list", "--state", "cancelled"})[0]["id"], "A");
  EXPECT_THAT(Ask({"queue", "list", "--state", "cancelled", "--state", "ready"}), SizeIs(2));
  Refuse({"queue", "list", "--state", "lost"}, "--state");
}

TEST_F(QueueCommand, AnOperatorHoldsReleasesCancelsAndRetries) {
  Queue({"--to", "0171", "--id", "A", "x"});
  const std::pair<const char*, const char*> steps[] = {
      {"hold", "held"}, {"release", "ready"}, {"cancel", "cancelled"}, {"retry", "ready"}};
  for (const auto& [action, state] : steps) {
    EXPECT_EQ(Do({"queue", action, "A"}), "");
    EXPECT_EQ(StateOf("A"), state);
  }
}

TEST_F(QueueCommand, APageInAnotherStateKeepsItAndSaysSo) {
  Queue({"--to", "0171", "--id", "A", "x"});
  Queue({"--to", "0171", "--id", "B", "x"});
  Do({"queue", "hold", "A"});
  const Outcome outcome = Run({"queue", "hold", "A", "B"});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_EQ(outcome.err, "mvsms: the page A is held, and stays so\n");
  EXPECT_EQ(StateOf("B"), "held");
}

TEST_F(QueueCommand, WhatOtherMachinesMayHaveIsWithdrawnFirst) {
  Queue({"--to", "0171", "--id", "A", "x"});
  posix::PageQueue(home_.string()).Operate("A", dispatch::kOfferPage);
  const Outcome outcome = Run({"queue", "cancel", "A"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_EQ(outcome.err,
            "mvsms: the page A may be with other machines; it is cancelled unless one of them was "
            "sooner\n");
  EXPECT_EQ(StateOf("A"), "withdrawing");
}

TEST_F(QueueCommand, AnUnknownIdChangesNothing) {
  Queue({"--to", "0171", "--id", "A", "x"});
  Refuse({"queue", "cancel", "A", "B"}, "there is no page \"B\" in the queue");
  EXPECT_EQ(StateOf("A"), "ready");
  Refuse({"queue", "show", "B"}, "there is no page \"B\" in the queue");
}

TEST_F(QueueCommand, CountsThePagesByState) {
  Queue({"--to", "0171", "--id", "A", "x"});
  Queue({"--to", "0171", "--id", "B", "x"});
  Do({"queue", "hold", "A"});
  const Json stats = Ask({"queue", "stats"});
  EXPECT_EQ(stats["ready"]["pages"], 1);
  EXPECT_EQ(stats["held"]["pages"], 1);
  EXPECT_EQ(stats["parked"]["pages"], 0);
  EXPECT_EQ(stats["parked"]["oldest"], nullptr);
  EXPECT_THAT(stats["ready"]["oldest"], StartsWith("20"));
  EXPECT_THAT(Do({"queue", "stats"}), HasSubstr("ready        1      20"));
}

TEST_F(QueueCommand, DrainingAnEmptyQueueIsOver) {
  EXPECT_EQ(Do({"queue", "drain"}), "");
  Queue({"--to", "0171", "--id", "A", "x"});
  const Outcome outcome = Run({"queue", "drain", "--timeout", "1"});
  EXPECT_EQ(outcome.exit_code, kExitRetry);
  EXPECT_THAT(outcome.err, HasSubstr("pages are still waiting"));
  Do({"queue", "hold", "A"});
  Queue({"--to", "0171", "--not-before", "8h", "x"});
  EXPECT_EQ(Do({"queue", "drain"}), "");
}

TEST_F(QueueCommand, ControlCharactersDoNotReachTheTerminal) {
  const posix::PageQueue queue(home_.string());
  dispatch::Page page;
  page.id = "A";
  page.text = "\x1b[2J";
  posix::PageQueue(home_.string()).Put({&page, 1});
  EXPECT_THAT(Do({"queue", "list"}), HasSubstr("<ESC>[2J"));
  EXPECT_THAT(Do({"queue", "show", "A"}), HasSubstr("<ESC>[2J"));
}

// --- the worker, as far as it does not dial

TEST_F(QueueCommand, OnlyOneWorkerIsOnAProfile) {
  Refuse({"worker"}, "a worker is on the profile Standard already", kExitFailed);
}

class WorkerCommand : public CommandTest {};

TEST_F(WorkerCommand, NeedsAModem) {
  const Outcome outcome = Run({"worker", "--once"});
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_THAT(outcome.err, HasSubstr("there is no modem to work with"));
}

TEST_F(WorkerCommand, NamesTheModemThatThereIsNot) {
  AddModem("Modem");
  const Outcome outcome = Run({"worker", "--once", "--lines", "Modem, Other"});
  EXPECT_EQ(outcome.exit_code, kExitUsage);
  EXPECT_THAT(outcome.err, HasSubstr("there is no modem \"Other\""));
}

TEST_F(WorkerCommand, StatusSaysThatNoneIsRunning) {
  AddModem("Modem");
  EXPECT_EQ(Run({"worker", "--status"}).exit_code, kExitFailed);
  EXPECT_EQ(Json::parse(Run({"worker", "--status", "--json"}).out)["running"], false);
  EXPECT_EQ(Ask({"lines"})[0],
            Json::parse(R"({"name": "Modem", "state": "not worked", "why": "no worker is running",
                            "since": null, "last_success": null})"));
}

TEST_F(WorkerCommand, EndsAtOnceWhenNothingWaitsAndOnceIsMeant) {
  AddModem("Modem");
  EXPECT_EQ(Do({"worker", "--once"}), "");
}

TEST(WorkerFile, NamesAProfileByLettersAndCodes) {
  const TempFolder folder;
  EXPECT_TRUE(WorkerFile(folder.path(), "Nacht/Süd").Take());
  EXPECT_TRUE(std::filesystem::exists(folder / "worker-Nacht%2FS%C3%BCd.lock"));
  EXPECT_TRUE(WorkerFile(folder.path(), "Nacht/Süd").Take()) << "given back with its object";
}

}  // namespace
}  // namespace mvsms::cli
