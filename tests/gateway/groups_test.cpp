// Groups: whom a name stands for, and what becomes of those who cannot be found out.
#include "gateway/groups.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "engine/profile.h"

namespace mvsms::gateway {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class OfGroups : public testing::Test {
 protected:
  void Put(const std::string& name, const std::vector<std::string>& members) {
    std::string profile = "Standard";
    SettingsKey(platform_.registry(), GroupKey(BaseKey(profile), name))
        .Set(setting::kMembers, JoinedMembers(members));
  }
  Recipients Find(const std::string& to) { return groups_.Find(to); }

  memory::MemoryPlatform platform_;
  std::map<std::string, std::string> printed_;  // by the first word
  Groups groups_{platform_.registry(), "Standard", [this](const std::vector<std::string>& words) {
                   const auto found = printed_.find(words.at(0));
                   if (found == printed_.end()) throw RaisedError(51, "", "it broke");
                   return found->second;
                 }};
};

TEST_F(OfGroups, ANumberStandsForItself) {
  EXPECT_THAT(Find("0171-1").numbers, ElementsAre("0171-1"));
  EXPECT_THAT(Find("0171-1").faults, IsEmpty());
}

TEST_F(OfGroups, AGroupStandsForItsMembersInTheirOrder) {
  Put("night", {"0172", "0171"});
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0172", "0171"));
  EXPECT_THAT(Find("@NIGHT").numbers, SizeIs(2)) << "in any case";
}

TEST_F(OfGroups, ANumberIsMeantOnceHoweverItIsWritten) {
  Put("night", {"0171 12", "@ward", "+49171"});
  Put("ward", {"0171-1-2", "0173", "49171"});
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0171 12", "0173", "49171", "+49171"));
}

TEST_F(OfGroups, GroupsThatNameEachOtherAreAskedOnce) {
  Put("a", {"0171", "@B"});
  Put("b", {"@A", "0172"});
  EXPECT_THAT(Find("@a").numbers, ElementsAre("0171", "0172"));
  EXPECT_THAT(Find("@a").faults, IsEmpty());
}

TEST_F(OfGroups, AGroupThatIsMissingIsToldAndTheOthersAreMeant) {
  Put("night", {"@ward", "0171"});
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0171"));
  EXPECT_THAT(Find("@night").faults, ElementsAre("there is no group \"ward\", or nobody is in it"));
}

TEST_F(OfGroups, ANameLeadsToNoOtherKey) {
  Put("night", {"0171"});
  EXPECT_THAT(Find("@x\\..\\night").numbers, IsEmpty());
  EXPECT_THAT(Find("@..\\Groups\\night").faults, SizeIs(1));
  EXPECT_THAT(Find("@").faults, SizeIs(1));
}

TEST_F(OfGroups, ACommandPrintsWhoIsMeant) {
  Put("night", {"!/bin/on-call  a b"});
  Put("ward", {"0173"});
  printed_["/bin/on-call"] = "# tonight\r\n 0171 \r\n\r\n@ward\n";
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0171", "0173"));
}

TEST_F(OfGroups, ACommandThatFailsOrPrintsNothingIsToldAndTheOthersAreMeant) {
  Put("night", {"!/bin/none", "!/bin/silent", "0171"});
  printed_["/bin/silent"] = "\n";
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0171"));
  EXPECT_THAT(Find("@night").faults, ElementsAre("the command /bin/none: it broke",
                                                 "the command /bin/silent: it printed nothing"));
}

TEST_F(OfGroups, ACommandStartsNoOther) {
  Put("night", {"!/bin/on-call"});
  printed_["/bin/on-call"] = "0171\n!/bin/sh\n";
  printed_["/bin/sh"] = "0172";
  EXPECT_THAT(Find("@night").numbers, ElementsAre("0171"));
  EXPECT_THAT(Find("@night").faults, ElementsAre(HasSubstr("\"!/bin/sh\", which is no recipient")));
}

TEST_F(OfGroups, MoreThanAThousandNumbersAreAMistake) {
  std::string lines;
  for (int i = 0; i < 1002; ++i) lines += std::to_string(i + 1) + "\n";
  Put("night", {"!/bin/all"});
  printed_["/bin/all"] = lines;
  EXPECT_THAT(Find("@night").numbers, SizeIs(1000));
  EXPECT_THAT(Find("@night").faults, ElementsAre("only the first 1000 numbers are meant"));
}

TEST(WordsOfACommand, AreDividedByBlanksAndByNothingElse) {
  EXPECT_THAT(CommandWords("/bin/x  'a b' $(id);"), ElementsAre("/bin/x", "'a", "b'", "$(id);"));
}

// --- with real programs

TEST(ACommandOfAGroup, IsRunWithoutAShell) {
  EXPECT_EQ(Groups::RunCommand({"/bin/echo", "$HOME", "a;b"}), "$HOME a;b\n");
}

std::string FaultOf(const std::vector<std::string>& words) try {
  Groups::RunCommand(words);
  return "";
} catch (const RaisedError& error) {
  return error.description();
}

TEST(ACommandOfAGroup, MustEndWell) {
  EXPECT_EQ(FaultOf({"/bin/false"}), "it ended with exit code 1");
  EXPECT_THAT(FaultOf({"/nowhere/on-call"}), HasSubstr("/nowhere/on-call cannot be started"));
  EXPECT_EQ(FaultOf({}), "it has no name");
}

}  // namespace
}  // namespace mvsms::gateway
