// mvsms group, and send to a group.
#include <filesystem>
#include <fstream>

#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::SizeIs;

class GroupCommand : public CommandTest {
 protected:
  GroupCommand() {
    AddModem("Modem");
    AddService("Pager");
  }
  /// A script that does this; its path.
  std::string Script(const std::string& body) {
    const std::string path = Path("on-call");
    std::ofstream(path) << "#!/bin/sh\n" << body << '\n';
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  std::vector<std::string> Queued() {
    std::vector<std::string> recipients;
    for (const Json& page : Ask({"queue", "list"})) recipients.push_back(page["recipient"]);
    return recipients;
  }
  Outcome Send(const std::string& to) { return Run({"send", "--queue", "--to", to, "x"}); }
};

TEST_F(GroupCommand, AGroupIsAddedShownListedAndDeleted) {
  Do({"group", "add", "ward7", "01711", "+49172"});
  EXPECT_EQ(Do({"group", "show", "ward7"}), "01711\n+49172\n");
  EXPECT_EQ(Do({"group", "show", "@ward7"}), "01711\n+49172\n");
  EXPECT_EQ(Do({"group", "list"}), "NAME   MEMBERS\nward7  01711, +49172\n");
  EXPECT_EQ(Ask({"group", "list"}),
            Json::parse(R"([{"name": "ward7", "members": ["01711", "+49172"]}])"));
  Do({"group", "delete", "ward7"});
  EXPECT_THAT(Ask({"group", "list"}), SizeIs(0));
}

TEST_F(GroupCommand, WhatCanBeNoMemberIsRefused) {
  Refuse({"group", "add", "a", "01x"}, "\"01x\" can be no member: it is no number");
  Refuse({"group", "add", "a", "!on-call"}, "a command needs its whole path");
  Refuse({"group", "add", "a", "@"}, "\"\" cannot be the name of a group");
  Refuse({"group", "add", "a", "01\n02"}, "it has more than one line");
  Refuse({"group", "add", "a"}, "MEMBER");
  Refuse({"group", "add", "@a", "01"}, "without the @");
  Refuse({"group", "add", "a\\b", "01"}, "cannot be the name of a group");
}

TEST_F(GroupCommand, AGroupIsReplacedOnlyWhenThatIsMeant) {
  Do({"group", "add", "a", "01"});
  Refuse({"group", "add", "a", "02"}, "there is a group \"a\" already");
  Do({"group", "add", "a", "02", "--or-replace"});
  EXPECT_EQ(Do({"group", "show", "a"}), "02\n");
}

TEST_F(GroupCommand, AMissingGroupIsNamed) {
  Do({"group", "add", "night", "01"});
  Refuse({"group", "show", "nigth"}, "there is no group \"nigth\" (did you mean \"night\"?)");
  DoWithWarning({"group", "add", "a", "@later"}, "there is no group \"later\" yet");
}

TEST_F(GroupCommand, AGroupThatIsAMemberIsNotDeleted) {
  Do({"group", "add", "ward", "01"});
  Do({"group", "add", "night", "@Ward"});
  Refuse({"group", "delete", "ward"}, "the group \"night\" has \"@Ward\" as a member");
}

TEST_F(GroupCommand, APageGoesToEachMember) {
  Do({"group", "add", "night", "0171", "!" + Script("echo 0172")});
  EXPECT_EQ(Do({"group", "show", "night", "--numbers"}), "0171\n0172\n");
  EXPECT_EQ(Send("@night").exit_code, kExitAccepted);
  EXPECT_EQ(Queued(), (std::vector<std::string>{"0171", "0172"}));
}

TEST_F(GroupCommand, ABrokenPartIsToldAndTheOthersArePaged) {
  Do({"group", "add", "night", "0171", "!" + Script("exit 1")});
  const Outcome outcome = Send("@night");
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  EXPECT_THAT(outcome.err, HasSubstr("to @night: the command " + Path("on-call") +
                                     ": it ended with exit code 1"));
  EXPECT_EQ(Queued(), std::vector<std::string>{"0171"});
}

TEST_F(GroupCommand, AGroupOfNobodyPagesNobodyAndSaysSo) {
  const Outcome outcome = Run({"send", "--to", "@night", "x"});
  EXPECT_EQ(outcome.exit_code, kExitSettings);
  EXPECT_THAT(outcome.err, HasSubstr("to @night: there is no group \"night\""));
}

}  // namespace
}  // namespace mvsms::cli
