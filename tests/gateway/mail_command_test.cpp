// mvsms mail: which pages come of a mail, and what the mail system is told.
#include <fstream>

#include "cli/gateway/gateway_commands.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr char kMail[] = "Subject: Disk full\nMessage-ID: <7@db>\n\n93 % used\non /var\n";

class MailCommand : public CommandTest {
 protected:
  MailCommand() {
    AddModem("Modem");
    AddService("Pager");
    Do({"group", "add", "night", "0172", "0173"});
  }
  int Deliver(std::vector<std::string> arguments, const std::string& mail = kMail) {
    arguments.insert(arguments.begin(), "mail");
    last_ = Run(arguments, mail, AddGatewayCommands);
    return last_.exit_code;
  }
  Json Pages() { return Ask({"queue", "list"}); }

  Outcome last_;
};

TEST_F(MailCommand, AMailToANumberIsAPage) {
  EXPECT_EQ(Deliver({"01711@pager.example"}), 0);
  ASSERT_THAT(Pages(), SizeIs(1));
  EXPECT_EQ(Pages()[0]["recipient"], "01711");
  EXPECT_EQ(Pages()[0]["text"], "Disk full: 93 % used on /var");
}

TEST_F(MailCommand, AMailToAGroupIsAPageToEachMember) {
  EXPECT_EQ(Deliver({"Night@pager.example"}), 0);
  EXPECT_THAT(Pages(), SizeIs(2));
}

TEST_F(MailCommand, TheSameMailAgainIsTheSamePage) {
  Deliver({"01711@a"});
  EXPECT_EQ(Deliver({"01711@a"}, std::string("Received: again\n") + kMail), 0);
  EXPECT_THAT(Pages(), SizeIs(1));
  Deliver({"01712@a"});
  EXPECT_THAT(Pages(), SizeIs(2));
}

TEST_F(MailCommand, ATextOfAnyLengthAndLettersIsFitted) {
  EXPECT_EQ(Deliver({"01711@a"}, "Subject: =?utf-8?Q?=E2=9A=A0?= x\n\n" + std::string(5000, 'x')),
            0);
  EXPECT_THAT(Pages(), SizeIs(1));
  EXPECT_EQ(Deliver({"01711@a"}, "\n"), 0) << "somebody is to look, even without a word";
}

TEST_F(MailCommand, WhoIsNobodyIsAnUnknownUser) {
  for (const char* address : {"root@a", "", "@a", "01x@a", "a\\b@a", "日@a"}) {
    EXPECT_EQ(Deliver({address}), 67) << address;
    EXPECT_THAT(last_.err, HasSubstr("is neither a number nor a group"));
  }
  EXPECT_THAT(Pages(), IsEmpty());
}

TEST_F(MailCommand, SettingsThatCannotBeUsedAreToBeRepairedWhileTheMailWaits) {
  Do({"config", "unset", "DefaultService"});
  EXPECT_EQ(Deliver({"01711@a"}), kExitRetry);
  EXPECT_EQ(Deliver({"--template", "{{#A}}", "01711@a"}), kExitRetry);
  EXPECT_EQ(Deliver({"--priority", "x", "01711@a"}), kExitRetry);
}

TEST_F(MailCommand, AQueueThatCannotBeWrittenIsTryAgain) {
  std::ofstream(Path("queue.db")) << std::string(5000, 'x');
  EXPECT_EQ(Deliver({"01711@a"}), kExitRetry);
}

}  // namespace
}  // namespace mvsms::cli
