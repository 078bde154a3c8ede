// What watches over the paging: mvsms check, mvsms heartbeat, and the command that the worker tells
// of results.
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include "backends/posix/store/queue.h"
#include "cli/posix/result_hook.h"
#include "cli/posix/worker_file.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

using dispatch::PageResult;
using dispatch::PageState;

class Watching : public CommandTest {
 protected:
  void BeginWorker() { worker_.Take(); }
  /// A page that a line has just begun with.
  dispatch::QueuedPage Dial(const std::string& id) {
    Put(id);
    const std::string services[] = {"Pager"};
    const auto claimed = queue_.Claim("line", "Standard", services);
    queue_.Begin(id, claimed->epoch);
    return *claimed;
  }
  void Put(const std::string& id, dispatch::Moment not_before = {}) {
    dispatch::Page page;
    page.id = id;
    page.profile = "Standard";
    page.recipient = page.number = "0171";
    page.service = "Pager";
    page.text = "x";
    page.not_before = not_before;
    queue_.Put({&page, 1});
  }
  void End(const std::string& id, PageState state, const std::string& reason = "") {
    const auto page = Dial(id);
    PageResult result;
    result.outcome =
        state == PageState::kAccepted ? dispatch::Outcome::kAccepted : dispatch::Outcome::kRefused;
    result.reason = reason;
    queue_.Finish(id, page.epoch, result, state);
  }
  std::string Script(const std::string& body) {
    const std::string path = Path("hook");
    std::ofstream(path) << "#!/bin/sh\n" << body << '\n';
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  std::string Read(const std::string& name) {
    std::ifstream file(Path(name));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  WorkerFile worker_{home_.string(), "Standard"};
  posix::PageQueue queue_{home_.string()};
};

// --- check

class CheckCommand : public Watching {
 protected:
  /// The line, and into `exit_code` what a monitoring system goes by.
  std::string Check(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"check", "--no-modems", "--disk", "0,0"});
    const Outcome outcome = Run(options);
    exit_code_ = outcome.exit_code;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(std::ranges::count(outcome.out, '\n'), 1) << "one line";
    return outcome.out;
  }
  int exit_code_ = -1;
};

TEST_F(CheckCommand, AllIsWellWithAWorkerAndNothingToDo) {
  BeginWorker();
  EXPECT_THAT(Check(),
              MatchesRegex("MVSMS OK: the worker runs, nothing waits, 0 parked, no page was "
                           "accepted yet, [0-9]+ MB free \\| worker=1;;;0;1 waiting=0;;;0 "
                           "oldest=0s;900;3600;0 parked=0;1;5;0 free=[0-9]+MB;0:;0:;0\n"));
  EXPECT_EQ(exit_code_, 0);
}

TEST_F(CheckCommand, WithoutAWorkerItIsCritical) {
  EXPECT_THAT(Check(), StartsWith("MVSMS CRITICAL: no worker is running, nothing waits"));
  EXPECT_EQ(exit_code_, 2);
}

TEST_F(CheckCommand, AnOldPageIsOneByItsLimits) {
  BeginWorker();
  Put("A");
  std::this_thread::sleep_for(1100ms);
  EXPECT_THAT(Check({"--oldest", "1s,1h"}), StartsWith("MVSMS WARNING: 1 waiting, the oldest for"));
  EXPECT_EQ(exit_code_, 1);
  Check({"--oldest", "1s,1s"});
  EXPECT_EQ(exit_code_, 2);
  Check();
  EXPECT_EQ(exit_code_, 0);
}

TEST_F(CheckCommand, APageAtTheHubWaits) {
  BeginWorker();
  Put("A");
  for (const auto& [action, state] :
       {std::pair(dispatch::kOfferPage, "offering"), std::pair(dispatch::kHandPageOver, "at-hub"),
        std::pair(dispatch::kCancelPage, "withdrawing")}) {
    ASSERT_TRUE(queue_.Operate("A", action));
    EXPECT_THAT(Check({"--oldest", "0s,1h"}), StartsWith("MVSMS WARNING: 1 waiting")) << state;
  }
}

TEST_F(CheckCommand, APageForLaterDoesNotWait) {
  BeginWorker();
  Put("A", posix::SystemNow() + 1h);
  EXPECT_THAT(Check({"--oldest", "0s,0s", "--parked", "9,9"}), HasSubstr("nothing waits"));
}

TEST_F(CheckCommand, ParkedPagesAreBadNews) {
  BeginWorker();
  End("A", PageState::kParked, "refused");
  EXPECT_THAT(Check(), StartsWith("MVSMS WARNING: 1 parked, the worker runs"));
  Check({"--parked", "1,1"});
  EXPECT_EQ(exit_code_, 2);
}

TEST_F(CheckCommand, TheLastAcceptedPageHasAnAge) {
  BeginWorker();
  Check({"--accepted", "1h,2h"});
  EXPECT_EQ(exit_code_, 2) << "none at all";
  End("A", PageState::kAccepted);
  EXPECT_THAT(Check({"--accepted", "1h,2h"}), AllOf(HasSubstr("the last accepted 0 s ago"),
                                                    HasSubstr("accepted_age=0s;3600;7200;0")));
  EXPECT_EQ(exit_code_, 0);
}

TEST_F(CheckCommand, AFullDiskIsTold) {
  BeginWorker();
  EXPECT_THAT(Run({"check", "--no-modems", "--disk", "999999999,1"}).out,
              ContainsRegex("^MVSMS WARNING: [0-9]+ MB free"));
}

TEST_F(CheckCommand, ALineThatRestsIsAWarning) {
  BeginWorker();
  worker_.Write({{"lines", {{{"name", "M1"}, {"state", "resting"}, {"why", "no | dial tone"}}}}});
  EXPECT_THAT(Check(), StartsWith("MVSMS WARNING: M1 rests: no / dial tone,"));
}

TEST_F(CheckCommand, WhatIsWrongWithTheHubIsAWarning) {
  BeginWorker();
  const auto said = [&](const Json& away, const std::string& held, const Json& unserved) {
    worker_.Write({{"hub", {{"away_since", away}, {"held", held}, {"unserved", unserved}}}});
    return Check();
  };
  EXPECT_THAT(
      said(nullptr, "", Json::array()),
      AllOf(StartsWith("MVSMS OK: the worker runs, the hub answers,"), HasSubstr(" hub=1;;;0;1 ")));
  EXPECT_THAT(said("2026-11-23T01:02:03+00:00", "", Json::array()),
              AllOf(StartsWith("MVSMS WARNING: the hub is away since 2026-11-23T01:02:03+00:00,"),
                    HasSubstr(" hub=0;;;0;1 ")));
  EXPECT_THAT(said(nullptr, "north knows more", Json::array()),
              StartsWith("MVSMS WARNING: the hub gives nothing out: north knows more,"));
  EXPECT_THAT(said(nullptr, "", {"City", "Night"}),
              StartsWith("MVSMS WARNING: no machine has a modem for City, no machine has a modem "
                         "for Night,"));
}

TEST_F(CheckCommand, WithAHubAModemIsNotMissed) {
  BeginWorker();
  Do({"config", "set", "Hub", "host=db1.example"});
  EXPECT_THAT(Run({"check"}).out, Not(HasSubstr("there is no modem")));
}

TEST_F(CheckCommand, ModemsAreAsked) {
  BeginWorker();
  EXPECT_THAT(Run({"check"}).out, HasSubstr("there is no modem"));
  Do({"modem", "add", "Gone", "--kind", "hayes", "--device", "/dev/ttyNoSuch0", "--force"});
  Do({"modem", "add", "Net", "--kind", "tcp"});
  const Outcome outcome = Run({"check", "--dial-tone"});
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("Gone: "), HasSubstr("modems=1;;;0;2")));
}

TEST_F(CheckCommand, AWrongCommandLineIsUnknown) {
  EXPECT_EQ(Run({"check", "--oldset", "1,2"}).exit_code, 3);
  EXPECT_EQ(Run({"check", "--no-modems", "--dial-tone"}).exit_code, 3);
}

TEST_F(CheckCommand, WhatCannotBeReadIsUnknown) {
  EXPECT_THAT(Check({"--oldest", "soon"}),
              StartsWith("MVSMS UNKNOWN: --oldest must be two limits"));
  EXPECT_EQ(exit_code_, 3);
  std::ofstream(Path("queue.db")) << std::string(5000, 'x');
  EXPECT_THAT(Check(), StartsWith("MVSMS UNKNOWN: The queue "));
  EXPECT_EQ(exit_code_, 3);
}

// --- heartbeat

class HeartbeatCommand : public Watching {
 protected:
  HeartbeatCommand() {
    AddModem("Modem");
    AddService("Pager");
    BeginWorker();
  }
  /// Runs a heartbeat while `line` does with its page what a line does.
  Outcome Beat(const std::vector<std::string>& options,
               const std::function<void(posix::PageQueue&, const dispatch::QueuedPage&)>& line) {
    std::jthread worker([&] {
      posix::PageQueue queue(home_.string());
      const std::string services[] = {"Pager"};
      for (int tries = 0; tries < 3000; ++tries) {
        if (const auto page = queue.Claim("line", "Standard", services)) return line(queue, *page);
        std::this_thread::sleep_for(10ms);
      }
    });
    std::vector<std::string> arguments = {"heartbeat", "--to", "0171"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return Run(arguments);
  }
  static void Accept(posix::PageQueue& queue, const dispatch::QueuedPage& page) {
    queue.Begin(page.page.id, page.epoch);
    queue.Finish(page.page.id, page.epoch, {.outcome = dispatch::Outcome::kAccepted},
                 PageState::kAccepted);
  }
  static void Park(posix::PageQueue& queue, const dispatch::QueuedPage& page) {
    queue.Begin(page.page.id, page.epoch);
    queue.Finish(page.page.id, page.epoch,
                 {.outcome = dispatch::Outcome::kRefused, .reason = "wrong password"},
                 PageState::kParked);
  }
};

TEST_F(HeartbeatCommand, AnAcceptedPageIsWell) {
  const Outcome outcome = Beat(
      {"--on-failure", Script("touch " + Path("alarm")), "--metrics", Path("beat.prom")}, Accept);
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, MatchesRegex("MVSMS HEARTBEAT OK: accepted after [0-9]+ s \\| "
                                        "seconds=[0-9]+s;;;0\n"));
  EXPECT_THAT(Read("beat.prom"), HasSubstr("\nmvsms_heartbeat_accepted 1\n"));
  EXPECT_FALSE(std::filesystem::exists(Path("alarm")));
  EXPECT_THAT(Ask({"queue", "list", "--state", "accepted"})[0]["text"].get<std::string>(),
              StartsWith("mvSMS heartbeat 20"));
}

TEST_F(HeartbeatCommand, AParkedPageIsAnAlarmAtOnceAndByAnotherWay) {
  const Outcome outcome =
      Beat({"--on-failure", Script("cat >" + Path("alarm")), "--metrics", Path("beat.prom")}, Park);
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.out,
              StartsWith("MVSMS HEARTBEAT CRITICAL: the page is parked: wrong password |"));
  EXPECT_THAT(Read("beat.prom"), HasSubstr("\nmvsms_heartbeat_accepted 0\n"));
  const Json alarm = Json::parse(Read("alarm"));
  EXPECT_EQ(alarm["accepted"], false);
  EXPECT_EQ(alarm["why"], "the page is parked: wrong password");
}

TEST_F(HeartbeatCommand, APageThatIsNotSentInTimeIsCancelled) {
  const Outcome outcome = Run({"heartbeat", "--to", "0171", "--within", "1s"});
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.out, HasSubstr("not accepted in time; the page is ready"));
  EXPECT_THAT(Ask({"queue", "list", "--state", "cancelled"}), SizeIs(1));
}

TEST_F(HeartbeatCommand, WhatCannotEvenBeQueuedIsAnAlarm) {
  Do({"config", "unset", "DefaultService"});
  const Outcome outcome =
      Run({"heartbeat", "--to", "0171", "--on-failure", Script("touch " + Path("alarm"))});
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.out, HasSubstr("CRITICAL: the page could not be queued"));
  EXPECT_TRUE(std::filesystem::exists(Path("alarm")));
}

TEST_F(HeartbeatCommand, AHookThatFailsIsTold) {
  Do({"config", "unset", "DefaultService"});
  const auto told = [&](const std::string& hook) {
    return Run({"heartbeat", "--to", "0171", "--on-failure", hook}).err;
  };
  EXPECT_THAT(told(Script("exit 4")), HasSubstr("--on-failure ended with exit code 4"));
  EXPECT_THAT(told("/nowhere/hook"), HasSubstr("--on-failure: /nowhere/hook cannot be started"));
}

TEST_F(HeartbeatCommand, OptionsThatAreNoneAreRefused) {
  Refuse({"heartbeat", "--to", "@night"}, "--to must be one number");
  Refuse({"heartbeat", "--to", "0171", "--within", "2d"}, "--within must be at most a day");
  Refuse({"heartbeat"}, "--to");
}

// --- worker --on-result

class OnResult : public Watching {
 protected:
  /// What the hook was told by its end: the states, each with its page.
  std::vector<std::string> ToldOf(const std::function<void()>& events) {
    {
      const ResultHook hook(home_.string(), "Standard", Script("cat >>" + Path("told")),
                            [](const std::string& sentence) { ADD_FAILURE() << sentence; });
      std::this_thread::sleep_for(20ms);  // it is for what changes from now on
      events();
    }
    std::istringstream lines(Read("told"));
    std::vector<std::string> told;
    for (std::string line; std::getline(lines, line);) {
      const Json page = Json::parse(line);
      told.push_back(page["id"].get<std::string>() + " " + page["state"].get<std::string>());
    }
    return told;
  }
};

TEST_F(OnResult, EachPageThatEndsIsToldOnce) {
  EXPECT_THAT(ToldOf([&] {
                End("A", PageState::kAccepted);
                End("B", PageState::kParked);
              }),
              ElementsAre("A accepted", "B parked"));
}

TEST_F(OnResult, ATryThatIsFollowedByAnotherIsTold) {
  EXPECT_THAT(ToldOf([&] {
                const auto page = Dial("A");
                queue_.TryAgain("A", page.epoch, {.reason = "busy"}, posix::SystemNow() + 10s);
              }),
              ElementsAre("A ready"));
}

TEST_F(OnResult, WhatWasBeforeAndWhatOnlyWaitsIsNotTold) {
  End("A", PageState::kAccepted);
  std::this_thread::sleep_for(20ms);
  EXPECT_THAT(ToldOf([&] { Put("B"); }), IsEmpty());
}

/// A hook of this script while a page ends; what is told of it.
std::string Complaint(const std::string& home, const std::string& command,
                      const std::function<void()>& event) {
  std::string told;
  {
    const ResultHook hook(home, "Standard", command,
                          [&](const std::string& sentence) { told += sentence; });
    std::this_thread::sleep_for(20ms);
    event();
  }
  return told;
}

TEST_F(OnResult, ACommandThatFailsIsToldAndNothingElseHappens) {
  EXPECT_EQ(Complaint(home_.string(), Script("exit 3"), [&] { End("A", PageState::kAccepted); }),
            "--on-result ended with exit code 3 for page A");
  EXPECT_THAT(Complaint(home_.string(), "/nowhere/hook", [&] { End("B", PageState::kAccepted); }),
              HasSubstr("--on-result: /nowhere/hook cannot be started"));
}

TEST_F(OnResult, ACommandThatNeverEndsHoldsTheWorkerUpForSecondsAtMost) {
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(
      Complaint(home_.string(), Script("sleep 1000"), [&] { End("A", PageState::kAccepted); }),
      "--on-result took too long for page A, and was ended");
  EXPECT_LT(std::chrono::steady_clock::now() - begun, 25s);
}

TEST_F(OnResult, ACommandThatIsNoneIsRefusedBeforeTheWorkerBegins) {
  Refuse({"worker", "--on-result", "note"}, "--on-result: \"note\" names no program with its path");
}

}  // namespace
}  // namespace mvsms::cli
