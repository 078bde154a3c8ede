// A worker and its hub on a real server: what the courier makes of the machine as it is, with its
// modems, settings and calls. What several machines make of each other is hub_trial.py's.
#include "backends/posix/hub/hub.h"

#include <unistd.h>

#include "tests/e2e/trip.h"
#include "tests/support/hub_server.h"

namespace mvsms::cli {
namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

class HubTrip : public Trip {
 protected:
  void SetUp() override {
    if (HubServer::Get() == nullptr) GTEST_SKIP() << "no PostgreSQL server is installed here";
    takes_many_calls_ = true;
    wire_ = HubServer::Get()->Wire();
    wire_->Ask("DROP SCHEMA IF EXISTS mvsms CASCADE", {});
    hub_ = std::make_unique<posix::ServerHub>(*wire_);
    hub_->Init();
    Do({"config", "set", "Hub", HubServer::Get()->Where()});
    Do({"config", "set", "HubName", "here"});
  }
  void Queue(const std::string& id) const {
    Do({"send", "--queue", "--to", "0172", "--id", id, "page " + id});
  }
  /// Until it is so; a test that waits for ever is ended by CTest.
  template <class Question>
  static void Await(Question is_so) {
    while (!is_so()) usleep(50'000);
  }
  dispatch::Machine Here() const {
    const auto machines = hub_->Machines();
    return machines.empty() ? dispatch::Machine{} : machines.front();
  }

  std::unique_ptr<posix::HubWire> wire_;
  std::unique_ptr<posix::ServerHub> hub_;
};

TEST_F(HubTrip, AMachineTellsHowItIsAndHandsOverWhatWaitsTooLongWithItsRules) {
  CentreOnTcp("tap", {"silent-at=prompt"});
  Do({"config", "set", "SpillAfter", "1"});
  Do({"config", "set", "QuickRetries", "3"});
  Do({"config", "set", "Retries", "7"});
  Do({"config", "set", "RetryDelay", "11"});
  Do({"config", "set", "OnUnknown", "park"});
  const auto worker = Start({"worker"});
  Await([&] { return Here().free == 1; });
  EXPECT_EQ(Here().name, "here");
  EXPECT_EQ(Here().modems, 1);
  EXPECT_THAT(Here().services, ElementsAre("Pager"));

  Queue("A");
  Await([&] { return Here().free == 0; });
  Queue("B");
  Await([&] { return hub_->Find("here/B").has_value(); });
  const dispatch::Page page = hub_->Find("here/B")->page;
  EXPECT_EQ(page.text, "page B");
  EXPECT_EQ(page.origin, "here");
  ASSERT_TRUE(page.rules);
  EXPECT_THAT(page.rules->quick, ElementsAre(3s));
  EXPECT_EQ(page.rules->retries, 7);
  EXPECT_EQ(page.rules->delay, 11min);
  EXPECT_FALSE(page.rules->repeat_unknown);
  EXPECT_FALSE(hub_->Find("here/A")) << "it is on the line";
}

TEST_F(HubTrip, APageOfAnotherMachineIsSentAndItsResultTold) {
  CentreOnTcp("ucp", {}, {"TimeOut=50"});
  dispatch::QueuedPage theirs;
  theirs.page.id = "there/A";
  theirs.page.profile = "Standard";
  theirs.page.recipient = theirs.page.number = "0171";
  theirs.page.text = "Pump 3";
  theirs.page.service = "Pager";
  theirs.page.origin = "there";
  hub_->Submit(theirs);
  const auto worker = Start({"worker"});
  Await([&] { return hub_->Find("there/A")->state == dispatch::PageState::kAccepted; });
  EXPECT_EQ(hub_->Find("there/A")->result->modem, "Modem");
  EXPECT_EQ(hub_->Find("there/A")->attempts, 1);
  EXPECT_EQ(hub_->Tries("there/A").size(), 1U);
}

}  // namespace
}  // namespace mvsms::cli
