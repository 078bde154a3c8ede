// The hub on a real server beyond its contract: who may do what there, several who claim at once,
// connections that break, and what is told when it cannot be used.
#include "backends/posix/hub/hub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "tests/support/hub_server.h"
#include "tests/support/raised.h"

namespace mvsms::posix {
namespace {

using dispatch::QueuedPage;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OnServer : public testing::Test {
 protected:
  void SetUp() override {
    if (HubServer::Get() == nullptr) GTEST_SKIP() << "no PostgreSQL server is installed here";
    wire_ = HubServer::Get()->Wire();
    wire_->Ask("DROP SCHEMA IF EXISTS mvsms CASCADE", {});
    hub_ = std::make_unique<ServerHub>(*wire_);
    hub_->Init();
    wire_->Ask("CREATE ROLE site LOGIN IN ROLE mvsms_worker", {});
  }

  static QueuedPage PageOf(const std::string& id) {
    QueuedPage queued;
    queued.page.id = dispatch::HubId("a", id);
    queued.page.profile = "Standard";
    queued.page.number = "0171" + id;
    queued.page.service = "City";
    queued.page.origin = "a";
    return queued;
  }
  void Submit(const std::string& id, const std::string& text = "Pump 3") {
    QueuedPage queued = PageOf(id);
    queued.page.text = text;
    ASSERT_TRUE(hub_->Submit(queued));
  }

  const std::vector<std::string> city_ = {"City"};
  std::unique_ptr<HubWire> wire_;
  std::unique_ptr<ServerHub> hub_;
};

TEST_F(OnServer, AMachineMayCallFunctionsAndSeesNoTable) {
  Submit("1");
  const auto wire = HubServer::Get()->Wire("site");
  ServerHub site(*wire);
  EXPECT_EQ(site.Version(), kHubVersion);
  EXPECT_TRUE(site.Claim("b", "Standard", city_));
  for (const char* statement :
       {"SELECT * FROM mvsms.pages", "UPDATE mvsms.hub SET held = ''", "DELETE FROM mvsms.tries",
        "SELECT mvsms.release()", "SELECT mvsms.ended('a', 1, '', '', '')",
        "CREATE TABLE mvsms.mine(a int)", "TRUNCATE mvsms.machines"}) {
    EXPECT_EQ(wire->Ask(statement, {}).code, "42501") << statement;
  }
}

TEST_F(OnServer, AMachineHasNoRightOnAnyTableOrSequence) {
  const HubAnswer all = wire_->Ask(
      "SELECT count(*) FROM pg_class WHERE relnamespace = 'mvsms'::regnamespace"
      " AND relkind IN ('r', 'S')",
      {});
  EXPECT_GT(std::stoi(all.rows.at(0).at(0)), 4) << "the tables, and the sequence of the pages";
  const HubAnswer open = wire_->Ask(
      "SELECT relname FROM pg_class WHERE relnamespace = 'mvsms'::regnamespace AND CASE relkind"
      " WHEN 'r' THEN has_table_privilege('site', oid,"
      "   'SELECT, INSERT, UPDATE, DELETE, TRUNCATE, REFERENCES, TRIGGER')"
      "   OR has_any_column_privilege('site', oid, 'SELECT, INSERT, UPDATE, REFERENCES')"
      " WHEN 'S' THEN has_sequence_privilege('site', oid, 'USAGE, SELECT, UPDATE')"
      " ELSE false END",
      {});
  ASSERT_TRUE(open.done) << open.trouble;
  EXPECT_THAT(open.rows, IsEmpty());
}

TEST_F(OnServer, WhatAMachineMakesForItselfStandsInNobodysPlace) {
  Submit("1");
  const auto wire = HubServer::Get()->Wire("site");
  for (const char* statement :
       {"CREATE TEMP TABLE hub(version int, held text)", "CREATE TEMP TABLE pages(id text)",
        "CREATE TEMP TABLE machines(name text)",
        "CREATE FUNCTION pg_temp.clock() RETURNS bigint LANGUAGE sql AS 'SELECT 0::bigint'",
        "SET search_path = pg_temp, mvsms, pg_catalog"}) {
    const HubAnswer made = wire->Ask(statement, {});
    ASSERT_TRUE(made.done) << made.trouble;
  }
  ServerHub site(*wire);
  EXPECT_EQ(site.Version(), kHubVersion);
  site.Beat({.name = "b"});
  EXPECT_EQ(hub_->Machines().size(), 1U);
  EXPECT_GT(hub_->Machines().front().seen, dispatch::Moment(std::chrono::hours(24)));
  EXPECT_EQ(site.Claim("b", "Standard", city_)->page.id, "a/1");
}

TEST_F(OnServer, WhoHasNoRoleMayCallNothing) {
  wire_->Ask("CREATE ROLE stranger LOGIN", {});
  const auto wire = HubServer::Get()->Wire("stranger");
  EXPECT_EQ(wire->Ask("SELECT * FROM mvsms.machines()", {}).code, "42501");
}

TEST_F(OnServer, NoFunctionLooksForNamesWhereItsCallerSays) {
  const HubAnswer answer = wire_->Ask(
      "SELECT count(*) FROM pg_proc WHERE pronamespace = 'mvsms'::regnamespace AND prosecdef"
      " AND NOT 'search_path=mvsms, pg_temp' = ANY(coalesce(proconfig, '{}'))",
      {});
  ASSERT_TRUE(answer.done) << answer.trouble;
  EXPECT_THAT(answer.rows, ElementsAre(ElementsAre("0")));
}

TEST_F(OnServer, BeginningTwiceIsAnErrorThatChangesNothing) {
  Submit("1");
  EXPECT_THAT(std::get<2>(RaisedBy([this] { hub_->Init(); })),
              HasSubstr("The hub cannot be used: schema \"mvsms\" already exists"));
  wire_ = HubServer::Get()->Wire();
  hub_ = std::make_unique<ServerHub>(*wire_);
  EXPECT_TRUE(hub_->Find("a/1"));
}

TEST_F(OnServer, AHubOfAnotherVersionIsTold) {
  hub_->CheckVersion();
  wire_->Ask("UPDATE mvsms.hub SET version = 0", {});
  EXPECT_THAT(std::get<2>(RaisedBy([this] { hub_->CheckVersion(); })),
              HasSubstr("it has version 0, this program needs 1; see 'mvsms hub upgrade'"));
  wire_->Ask("UPDATE mvsms.hub SET version = 2, serves_from = 2", {});
  EXPECT_THAT(std::get<2>(RaisedBy([this] { hub_->CheckVersion(); })),
              HasSubstr("it has version 2, this program knows versions up to 1"));
  wire_->Ask("DROP SCHEMA mvsms CASCADE", {});
  EXPECT_THAT(std::get<2>(RaisedBy([this] { hub_->CheckVersion(); })),
              HasSubstr("see 'mvsms hub init'"));
}

TEST_F(OnServer, ANewerHubThatServesThisProgramIsGoneOnWith) {
  wire_->Ask("UPDATE mvsms.hub SET version = 2", {});
  const auto wire = HubServer::Get()->Wire("site");
  ServerHub(*wire).CheckVersion();
}

TEST_F(OnServer, ADatabaseThatDoesNotHaveAllCharactersIsRefused) {
  wire_->Ask("CREATE DATABASE latin ENCODING 'LATIN1' TEMPLATE template0", {});
  const auto wire =
      MakeHubWire("host=" + HubServer::Get()->folder() + " dbname=latin user=mvsms", "");
  EXPECT_THAT(std::get<2>(RaisedBy([&] { ServerHub(*wire).Init(); })),
              HasSubstr("its database has the encoding LATIN1"));
}

TEST_F(OnServer, SeveralWhoClaimAtOnceShareNoPage) {
  constexpr int kPages = 60, kHolders = 6;
  for (int i = 0; i < kPages; ++i) Submit(std::to_string(i));
  std::vector<std::vector<std::string>> claimed(kHolders);
  {
    std::vector<std::jthread> holders;
    for (auto& mine : claimed) {
      holders.emplace_back([&mine, this] {
        const auto wire = HubServer::Get()->Wire("site");
        ServerHub hub(*wire);
        while (const auto page = hub.Claim("x", "Standard", city_)) mine.push_back(page->page.id);
      });
    }
  }
  std::multiset<std::string> all;
  for (const auto& mine : claimed) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), std::size_t{kPages});
  EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), std::size_t{kPages});
}

TEST_F(OnServer, ABrokenConnectionFailsOneCallAndIsMadeAnew) {
  Submit("1");
  const auto wire = HubServer::Get()->Wire("site");
  ServerHub site(*wire);
  site.Now();
  wire_->Ask("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE usename = 'site'", {});
  EXPECT_THAT(std::get<2>(RaisedBy([&] { site.Now(); })), HasSubstr("The hub cannot be used: "));
  EXPECT_TRUE(site.Find("a/1"));
}

TEST_F(OnServer, WhoListensHearsOfPagesToSendAndOfResults) {
  const auto ear = HubServer::Get()->Wire("site");
  ASSERT_TRUE(ear->Ask("LISTEN mvsms_ready; LISTEN mvsms_result", {}).done);
  std::vector<std::string> heard;
  const auto hear = [&] {
    const auto notices = ear->Hear(std::chrono::minutes(10)).value();
    for (const HubNotice& one : notices) {
      heard.push_back(one.channel + ":" + one.words);
    }
  };
  Submit("1");
  hear();
  const QueuedPage page = hub_->Claim("b", "Standard", city_).value();
  hub_->GiveBack(page.page.id, page.epoch);
  hear();
  const QueuedPage again = hub_->Claim("b", "Standard", city_).value();
  hub_->Begin(again.page.id, again.epoch);
  hub_->Finish(again.page.id, again.epoch, {.outcome = dispatch::Outcome::kAccepted},
               dispatch::PageState::kAccepted);
  hear();
  EXPECT_THAT(heard, ElementsAre("mvsms_ready:City", "mvsms_ready:City", "mvsms_result:a"));
}

TEST_F(OnServer, ForgetsHoweverManyPagesInCallsOfSomeThousand) {
  constexpr int kMany = 12'345;
  wire_->Ask(
      "INSERT INTO mvsms.pages(id, profile, recipient, number, originator, text, service, fallback,"
      " priority, not_before, expires, origin, quick, retries, delay, repeats_unknown, state, "
      "arrived,"
      " changed, seen) SELECT i::text, '', '', '', '', '', '', '', 5, 0, 0, 'a', '', 0, 0, false,"
      " 'accepted', 1, 1, true FROM generate_series(1, $1::int) AS i",
      {std::to_string(kMany)});
  Submit("1");
  EXPECT_EQ(hub_->Prune(hub_->Now()), kMany);
  EXPECT_TRUE(hub_->Find("a/1"));
}

TEST_F(OnServer, TextsArriveAsTheyAre) {
  const std::string odd = "\"{,}\\ NULL 'x' $1; \x80\xFC\n";
  Submit("1", odd);
  Submit("2", std::string("a\0b", 3));
  EXPECT_EQ(hub_->Find("a/1")->page.text, odd);
  EXPECT_EQ(hub_->Find("a/2")->page.text, "a?b") << "the server takes no such character";
}

TEST_F(OnServer, ANumberOfAnyLengthHoldsUpNobody) {
  QueuedPage queued = PageOf("1");
  std::string& number = queued.page.number;
  for (unsigned i = 1; number.size() < 20'000; ++i) number += std::to_string(i * 2'654'435'761U);
  ASSERT_TRUE(hub_->Submit(queued));
  const QueuedPage page = hub_->Claim("b", "Standard", city_).value();
  EXPECT_TRUE(hub_->Begin(page.page.id, page.epoch));
  EXPECT_TRUE(hub_->TryAgain(page.page.id, page.epoch, {}, hub_->Now()));
}

TEST_F(OnServer, APageThatTheServerCannotKeepIsRefused) {
  QueuedPage page = PageOf("1");
  page.page.service = std::string(10'000, 'x');
  EXPECT_THROW(hub_->Submit(page), dispatch::HubRefusal);
  EXPECT_FALSE(hub_->Find("a/1"));
}

TEST_F(OnServer, AServerThatIsNotThereIsToldWithoutAPassword) {
  const auto wire = MakeHubWire("host=/nowhere dbname=x password=geheim", "");
  ServerHub hub(*wire);
  const std::string sentence = std::get<2>(RaisedBy([&] { hub.Now(); }));
  EXPECT_THAT(sentence, HasSubstr("/nowhere"));
  EXPECT_THAT(sentence, testing::Not(HasSubstr("geheim")));
}

TEST_F(OnServer, WordsThatCannotBeReadAreToldBeforeAnybodyIsCalled) {
  EXPECT_THAT(std::get<2>(RaisedBy([] { MakeHubWire("hots=a", ""); })),
              HasSubstr("The setting Hub cannot be read: "));
}

/// Answers whatever it is asked, with nothing.
class EmptyWire : public HubWire {
 public:
  HubAnswer Ask(const std::string&, const std::vector<std::string>&) override {
    HubAnswer answer;
    answer.done = true;
    return answer;
  }
  std::optional<std::vector<HubNotice>> Hear(std::chrono::milliseconds) override { return {}; }
};

TEST(ServerHub, AnAnswerWithoutARowIsATroubleOfTheHubLikeAnyOther) {
  EmptyWire wire;
  ServerHub hub(wire);
  const QueuedPage page;
  const std::function<void()> calls[] = {
      [&] { hub.Beat({.name = "a"}); },
      [&] { hub.Begin("a/1", 1); },
      [&] { hub.Submit(page); },
      [&] { hub.Rests(""); },
      [&] { hub.HeldBecause(); },
      [&] { hub.Prune({}); },
      [&] { hub.Now(); },
      [&] { hub.Version(); },
      [&] { hub.Divert("", {}); },
      [&] { hub.Put({&page.page, 1}); },
  };
  for (const auto& call : calls) EXPECT_THROW(call(), RaisedError);
}

}  // namespace
}  // namespace mvsms::posix
