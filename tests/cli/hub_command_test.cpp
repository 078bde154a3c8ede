// mvsms hub and the settings of it: what is refused, and a hub from its beginning on.
#include "backends/posix/hub/hub.h"
#include "tests/backends/posix/tls_server.h"
#include "tests/cli/command_test.h"
#include "tests/support/hub_server.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class HubCommand : public CommandTest {};

TEST_F(HubCommand, WithoutOneItSaysHowToSetIt) {
  Refuse({"hub", "status"}, "no hub is set; see 'mvsms config set Hub \"host=... dbname=...\"'");
}

TEST_F(HubCommand, APasswordIsNotTakenIntoTheSettingsNorRepeated) {
  const Outcome refused = Run({"config", "set", "Hub", "host=a dbname=b PassWord=geheim"});
  EXPECT_EQ(refused.exit_code, kExitUsage);
  EXPECT_THAT(refused.err, AllOf(HasSubstr("holds no password"), HasSubstr("HubPasswordFile"),
                                 Not(HasSubstr("geheim"))));
}

TEST_F(HubCommand, APasswordIsNotTakenFromTheCommandLineEither) {
  for (const char* words : {"host=a PassWord=geheim", "postgresql://site:geheim@a/mvsms"}) {
    const Outcome refused = Run({"hub", "status", "--at", words});
    EXPECT_EQ(refused.exit_code, kExitUsage);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("~/.pgpass"), Not(HasSubstr("geheim"))));
  }
}

TEST_F(HubCommand, TheSettingIsWordsWithValues) {
  Refuse({"config", "set", "Hub", "db.example"}, "Hub must be words such as host=a,b");
  Refuse({"config", "set", "Hub", "postgresql://a/b?x=y"}, "Hub must be words such as host=a,b");
  Do({"config", "set", "Hub", "host=a,b dbname=mvsms"});
  Do({"config", "set", "Hub", ""});
}

class HubCommandOnServer : public CommandTest {
 protected:
  void SetUp() override {
    if (HubServer::Get() == nullptr) GTEST_SKIP() << "no PostgreSQL server is installed here";
    HubServer::Get()->Wire()->Ask("DROP SCHEMA IF EXISTS mvsms CASCADE", {});
    Do({"config", "set", "Hub", HubServer::Get()->Where()});
  }
};

TEST_F(HubCommandOnServer, BeginsOnce) {
  Refuse({"hub", "status"}, "the database has no tables of it; see 'mvsms hub init'", kExitFailed);
  EXPECT_THAT(Do({"hub", "init"}), HasSubstr("mvsms_worker"));
  Refuse({"hub", "init"}, "the hub is there already", kExitFailed);
  EXPECT_THAT(Do({"hub", "upgrade"}), HasSubstr("The hub has version 1."));
}

TEST_F(HubCommandOnServer, ShowsItsMachinesAndItsPages) {
  Do({"hub", "init"});
  const auto wire = HubServer::Get()->Wire();
  posix::ServerHub hub(*wire);
  hub.Beat({.name = "pump house", .version = "1.0", .services = {"City"}, .modems = 2, .free = 1});
  dispatch::QueuedPage page;
  page.page.id = "pump house/1";
  hub.Submit(page);
  const Json status = Ask({"hub", "status"});
  EXPECT_EQ(status["version"], 1);
  EXPECT_EQ(status["held"], "");
  EXPECT_EQ(status["pages"]["ready"]["pages"], 1);
  ASSERT_EQ(status["machines"].size(), 1U);
  EXPECT_EQ(status["machines"][0]["name"], "pump house");
  EXPECT_EQ(status["machines"][0]["free"], 1);
  EXPECT_THAT(Do({"hub", "status"}), AllOf(HasSubstr("ready  1"), HasSubstr("pump house")));
}

TEST_F(HubCommandOnServer, AHeldHubIsToldAndReleased) {
  Do({"hub", "init"});
  const auto wire = HubServer::Get()->Wire();
  posix::ServerHub(*wire).Hold("it is older than its machines");
  DoWithWarning({"hub", "status"}, "the hub gives nothing out: it is older than its machines");
  Do({"hub", "release"});
  EXPECT_EQ(Ask({"hub", "status"})["held"], "");
}

TEST_F(HubCommandOnServer, IsReleasedWhenEveryMachineHasTold) {
  Do({"hub", "init"});
  const auto wire = HubServer::Get()->Wire();
  posix::ServerHub hub(*wire);
  hub.Beat({.name = "north"});
  hub.Beat({.name = "south"});
  hub.Hold("a backup was put back");
  hub.HasTold("north");
  EXPECT_THAT(Run({"hub", "status"}).out, HasSubstr("HAS TOLD"));
  EXPECT_EQ(Ask({"hub", "status"})["machines"][1]["told"], false);
  Refuse({"hub", "release"}, "have not told the hub yet what they know: south;", kExitFailed);
  EXPECT_NE(hub.HeldBecause(), "");
  hub.HasTold("south");
  Do({"hub", "release"});
  hub.Hold("again");
  Do({"hub", "release", "--anyway"});
  EXPECT_EQ(hub.HeldBecause(), "");
}

TEST_F(HubCommandOnServer, SaysWhatNobodyLooksAfter) {
  Do({"hub", "init"});
  const auto wire = HubServer::Get()->Wire();
  posix::ServerHub hub(*wire);
  dispatch::QueuedPage page;
  page.page.id = "pump house/1";
  page.page.origin = "pump house";
  page.page.service = "City";
  hub.Submit(page);
  page.page.id = "pump house/2";
  page.page.expires = hub.Now();
  hub.Submit(page);
  hub.Sweep([](const std::string&) { return false; });
  const Json rests = Ask({"hub", "status"})["rests"];
  EXPECT_EQ(rests["unserved"][0], "City");
  EXPECT_EQ(rests["unfetched"], 1);
  const std::string warnings = Run({"hub", "status"}).err;
  EXPECT_THAT(warnings, AllOf(HasSubstr("wait for the service \"City\", which no machine has now"),
                              HasSubstr("have not fetched: 1, the first of them since 20")));
}

TEST_F(HubCommandOnServer, AHeldHubWithoutMachinesIsReleased) {
  Do({"hub", "init"});
  posix::ServerHub(*HubServer::Get()->Wire()).Hold("for a while");
  Do({"hub", "release"});
  EXPECT_EQ(Ask({"hub", "status"})["held"], "");
}

TEST_F(HubCommandOnServer, AnotherWayToItHasTheUsersOwnFileOfPasswords) {
  const posix::Certificate own = posix::MakeCertificate({.name = "localhost"});
  const auto server = HubServer::WithTls(own.certificate, own.key);
  server->Wire()->Ask("CREATE ROLE site LOGIN PASSWORD 'geheim'", {});
  const std::string where =
      "host=127.0.0.1 port=" + server->port() + " dbname=postgres user=site sslmode=require";
  Do({"config", "set", "Hub", where});
  Do({"config", "set", "HubPasswordFile", Path("of the machine")});
  setenv("PGPASSFILE", Path("of the user").c_str(), 1);
  const std::string set = Run({"hub", "status"}).err,
                    other = Run({"hub", "status", "--at", where}).err;
  unsetenv("PGPASSFILE");
  EXPECT_THAT(set, HasSubstr("of the machine is not there"));
  EXPECT_THAT(other, HasSubstr("of the user is not there"));
}

TEST_F(HubCommandOnServer, AMachineMayNotRelease) {
  Do({"hub", "init"});
  HubServer::Get()->Wire()->Ask("CREATE ROLE site LOGIN IN ROLE mvsms_worker", {});
  Refuse({"hub", "release", "--at", HubServer::Get()->Where("site")},
         "permission denied for function release", kExitFailed);
}

}  // namespace
}  // namespace mvsms::cli
