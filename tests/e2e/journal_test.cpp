// What the journal says of sends that were killed, and of those that ended.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/e2e/trip.h"

namespace mvsms::cli {
namespace {

using ::testing::AnyOf;

class JournalTrip : public Trip {
 protected:
  std::vector<Json> Entries() const {
    const auto process = Start({"journal", "--json"});
    EXPECT_EQ(Finish(*process).exit_code, kExitAccepted) << process->err();
    return Lines(*process);
  }
  static std::vector<Json> Lines(ChildProcess& process) {
    std::vector<Json> lines;
    while (const auto line = process.NextLine()) lines.push_back(Json::parse(*line));
    return lines;
  }

  // More than a send prints, so that the last ones end by themselves; some of them at once.
  static constexpr int kSends = 20;
  static constexpr int kLanes = 4;
  /// Kills a send some time after it has printed so many lines.
  void KillAfterLines(int lines, const std::string& text) const {
    const auto send = Start({"send", "--to", "0172", text});
    for (bool ended = false; lines > 0 && !ended;) {
      ended = send->Wait(std::chrono::milliseconds(1)).has_value();
      while (lines > 0 && send->NextLine()) --lines;
    }
    std::mt19937 random(static_cast<unsigned>(std::hash<std::string>()(text)));
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 50000));
    send->Signal(SIGKILL);
    send->Wait(std::chrono::seconds(5));
  }
  /// Like CentreOnTcp, but for any number of calls.
  std::unique_ptr<ChildProcess> CentreOfManyCalls() {
    auto centre = Start({"centre", "--json", "--tcp", "0", "--protocol", "ucp"});
    std::optional<std::string> first;
    while (!(first = centre->NextLine())) centre->Read(std::chrono::milliseconds(20));
    const int port = Json::parse(*first)["port"];
    Do({"modem", "add", "Modem", "--kind", "tcp"});
    Do({"service", "add", "Pager", "Protocol=UCP", "UCPCommand=51", "TimeOut=200",
        "PhoneNumber=127.0.0.1:" + std::to_string(port)});
    Do({"config", "set", "DefaultModem", "Modem"});
    Do({"config", "set", "DefaultService", "Pager"});
    return centre;
  }
  /// The texts that the centre took so far.
  static std::vector<std::string> TextsIn(ChildProcess& centre) {
    centre.Signal(SIGTERM);
    centre.Wait(std::chrono::seconds(10));
    std::vector<std::string> texts;
    for (const Json& line : Lines(centre)) {
      if (line.value("accepted", false) && line.contains("text")) texts.push_back(line["text"]);
    }
    return texts;
  }
};

TEST_F(JournalTrip, TellsWhatTheExitCodeTells) {
  CentreOnTcp("ucp", {"refuse=all", "ucp-refusal=2"});
  const Ending ending = Send({"text"});
  const Json entry = Entries().at(0);
  for (const char* name : {"id", "outcome", "reason", "exit_code", "service", "modem", "dialled"}) {
    EXPECT_EQ(entry[name], ending.json()[name]) << name;
  }
  EXPECT_EQ(entry["exit_code"], ending.exit_code);
}

TEST_F(JournalTrip, FollowingPrintsASendWhenItHasEnded) {
  CentreOnTcp("ucp");
  const auto follow = Start({"journal", "--follow"});
  EXPECT_EQ(Send({"Pump 3 has stopped"}).exit_code, kExitAccepted);
  EXPECT_TRUE(WaitForLine(*follow, "\"Pump 3 has stopped\""));
  follow->Signal(SIGINT);
  EXPECT_EQ(follow->Wait(std::chrono::seconds(5)), kExitAccepted);
}

// Whatever moment a send is killed at: when the centre has its message, the journal has its row.
TEST_F(JournalTrip, KilledAtAnyMomentNoMessageThatTheCentreHasIsMissing) {
  const auto centre = CentreOfManyCalls();
  std::vector<std::thread> lanes;
  for (int lane = 0; lane < kLanes; ++lane) {
    lanes.emplace_back([this, lane] {
      for (int i = lane; i < kSends; i += kLanes) KillAfterLines(i, "number " + std::to_string(i));
    });
  }
  for (std::thread& lane : lanes) lane.join();
  const auto entries = Entries();
  const auto taken = TextsIn(*centre);
  EXPECT_FALSE(taken.empty());
  EXPECT_LT(taken.size(), kSends);
  for (const std::string& text : taken) {
    const auto entry = std::find_if(entries.begin(), entries.end(),
                                    [&](const Json& json) { return json["text"] == text; });
    ASSERT_NE(entry, entries.end()) << text;
    EXPECT_THAT((*entry)["outcome"], AnyOf("accepted", "unknown")) << text;
  }
  for (const Json& entry : entries) {
    EXPECT_NE(entry["outcome"], "open");
    const bool there = std::ranges::count(taken, entry["text"].get<std::string>()) == 1;
    EXPECT_TRUE(there || entry["outcome"] != "accepted") << entry;
  }
}

}  // namespace
}  // namespace mvsms::cli
