// mvsms modem, for pools: what they store, what they print, what they refuse.
#include <ctime>

#include "backends/posix/store/line_store.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;

class PoolCommand : public CommandTest {};

TEST_F(PoolCommand, APoolIsShownWithItsMembersInTheirOrder) {
  for (const char* name : {"Alpha", "Zulu"}) AddModem(name);
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Zulu, Alpha"});
  EXPECT_EQ(Ask({"modem", "show", "Pool"}),
            Json::parse(R"({"name": "Pool", "kind": "pool", "members": ["Zulu", "Alpha"],
                            "rest": 600, "resting": []})"));
  EXPECT_THAT(Do({"modem", "show", "Pool"}), HasSubstr("members = Zulu, Alpha\n"));
  EXPECT_THAT(Do({"modem", "list"}), HasSubstr("Zulu, Alpha"));
}

TEST_F(PoolCommand, APoolIsChangedByWhatIsNamed) {
  for (const char* name : {"Alpha", "Zulu"}) AddModem(name);
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Zulu", "--rest", "60"});
  Do({"modem", "set", "Pool", "--members", "Alpha"});
  const Json pool = Ask({"modem", "show", "Pool"});
  EXPECT_EQ(pool["members"], Json::parse(R"(["Alpha"])"));
  EXPECT_EQ(pool["rest"], 60);
}

TEST_F(PoolCommand, AModemThatRestsIsShownWithItsPool) {
  AddModem("Modem1");
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem1"});
  posix::LineStore(home_.string()).SetRest("Modem1", std::time(nullptr) + 300);
  EXPECT_EQ(Ask({"modem", "show", "Pool"})["resting"], Json::parse(R"(["Modem1"])"));
}

TEST_F(PoolCommand, WrongPoolsAreRefusedByName) {
  AddModem("Modem1");
  Do({"modem", "add", "Internet", "--kind", "tcp"});
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem1"});
  const auto add = [](std::vector<std::string> more) {
    std::vector<std::string> line{"modem", "add", "New", "--kind", "pool"};
    line.insert(line.end(), more.begin(), more.end());
    return line;
  };
  Refuse(add({}), "a pool needs --members");
  Refuse(add({"--members", ""}), "a pool needs --members");
  Refuse(add({"--members", "Modem1,Nowhere"}), "there is no modem \"Nowhere\"");
  Refuse(add({"--members", "Internet"}), "\"Internet\" is no hayes modem");
  Refuse(add({"--members", "Pool"}), "\"Pool\" is no hayes modem");
  Refuse(add({"--members", "Modem1,Modem1"}), "\"Modem1\" is named twice");
  Refuse(add({"--members", "Modem1", "--rest", "86401"}), "--rest");
  Refuse(add({"--members", "Modem1", "--speed", "9600"}), "its members have the other options");
  Refuse({"modem", "set", "Modem1", "--rest", "5"}, "--members and --rest are for the kind pool");
  Refuse({"modem", "set", "Internet", "--members", "Modem1"}, "for the kind pool");
}

TEST_F(PoolCommand, AMemberOfAPoolStaysAModem) {
  AddModem("Other");  // the first one becomes the default, whose deletion is warned of
  AddModem("Modem1");
  Do({"modem", "add", "Pool", "--kind", "pool", "--members", "Modem1"});
  Refuse({"modem", "delete", "Modem1"}, "\"Modem1\" is a member of the pool \"Pool\"");
  Refuse({"modem", "set", "Modem1", "--kind", "tcp"}, "is a member of the pool \"Pool\"");
  Do({"modem", "delete", "Pool"});
  Do({"modem", "delete", "Modem1"});
}

}  // namespace
}  // namespace mvsms::cli
