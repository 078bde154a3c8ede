// Sending without sending: the fitted text, the dry run, and the explanation of frames.
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class DryRunCommand : public CommandTest {
 protected:
  DryRunCommand() {
    Do({"modem", "add", "Net", "--kind", "tcp"});
    Do({"service", "add", "Pager", "PhoneNumber=localhost:1", "Password=secret12", "MaxLength=20",
        "MaxMessages=2"});
    Do({"service", "add", "Phone", "Protocol=UCP", "UCPCommand=51", "PhoneNumber=localhost:1"});
    Do({"route", "add", "0172", "Phone"});
    Do({"config", "set", "DefaultModem", "Net"});
    Do({"config", "set", "DefaultService", "Pager"});
  }
  Outcome DryRun(std::vector<std::string> arguments, const std::string& to = "0171") {
    arguments.insert(arguments.begin(), {"send", "--dry-run", "--to", to});
    return Run(arguments);
  }
  Json DryRunAsJson(std::vector<std::string> arguments, const std::string& to = "0171") {
    arguments.insert(arguments.begin(), "--json");
    return Json::parse(DryRun(arguments, to).out);
  }
};

TEST_F(DryRunCommand, ShowsTheWayAndEveryFrame) {
  const Outcome outcome = DryRun({"Hello"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("service    Pager (DefaultService, for no route begins like"),
                    HasSubstr("modem      Net, dials localhost:1"), HasSubstr("is read    Hello"),
                    HasSubstr("TAP login"), HasSubstr("TAP block, the last block of its page"),
                    HasSubstr("nothing: this was a dry run")));
}

TEST_F(DryRunCommand, NeverShowsThePassword) {
  EXPECT_THAT(DryRun({"Hello"}).out, AllOf(HasSubstr("(set)"), Not(HasSubstr("sec"))));
  EXPECT_THAT(DryRun({"--json", "Hello"}).out, Not(HasSubstr("secret")));
}

TEST_F(DryRunCommand, NamesTheRouteThatWasTaken) {
  const Json json = DryRunAsJson({"Hello"}, "0172-12");
  EXPECT_EQ(json["service"], "Phone");
  EXPECT_EQ(json["why"], "route 0172 is the longest that the number begins with");
  EXPECT_EQ(json["recipient"], "017212");
  EXPECT_EQ(json["frames"][0]["what"], "UCP request 51 (submit a short message)");
  EXPECT_TRUE(json["frames"][0]["faults"].empty());
}

TEST_F(DryRunCommand, TellsWhatTheReaderSeesAndWhatIsLost) {
  const Json json = DryRunAsJson({"ops@a ü"}, "0172");
  EXPECT_EQ(json["pieces"][0]["is_read"], "ops¡a ñ");
  EXPECT_EQ(json["lost"], Json::parse(R"(["\"@\" is read as \"¡\"", "\"ü\" is read as \"ñ\""])"));
}

TEST_F(DryRunCommand, ShowsTheFittedTextAndWhatWasChanged) {
  const Json json = DryRunAsJson({"--fit", "è and some more words"});
  EXPECT_EQ(json["fitted"], "\"è\" as \"e\"; numbered 1/2 to 2/2");
  EXPECT_EQ(json["pieces"].size(), 2u);
  EXPECT_EQ(json["pieces"][1]["text"], "2/2 words");
  EXPECT_TRUE(json["lost"].empty());
  EXPECT_EQ(json["frames"].size(), 3u) << "a login and two blocks";
}

TEST_F(DryRunCommand, SaysWhatStandsInTheWay) {
  const auto refusal = [this](std::vector<std::string> arguments, const std::string& to = "0171") {
    const Json json = DryRunAsJson(std::move(arguments), to);
    return std::to_string(json["exit_code"].get<int>()) + " " + json["reason"].get<std::string>();
  };
  EXPECT_THAT(refusal({"è"}), HasSubstr("65 the protocol cannot carry the text"));
  EXPECT_THAT(refusal({std::string(41, 'x')}), HasSubstr("65 the text has 41 characters, the "));
  EXPECT_THAT(refusal({" "}), HasSubstr("65 the text is empty"));
  EXPECT_THAT(refusal({"x"}, "Karl"), HasSubstr("65 the recipient is no number: Karl"));
  Do({"service", "set", "Phone", "UCPCommand="});
  EXPECT_THAT(refusal({"x"}, "0172"),
              HasSubstr("78 service \"Phone\" has no UCPCommand, 01 or 51"));
  Run({"modem", "delete", "Net"});
  EXPECT_THAT(refusal({"x"}), HasSubstr("78 there is no modem \"Net\""));
  EXPECT_EQ(DryRun({"x"}).exit_code, 78);
}

TEST_F(DryRunCommand, GivesATimeForEachProtocol) {
  const Json pager = DryRunAsJson({"x"});
  EXPECT_GT(pager["seconds_about"], 5);
  EXPECT_GT(pager["seconds_at_most"], pager["seconds_about"]);
}

TEST_F(DryRunCommand, AFittedSendSaysWhatWasChanged) {
  const Outcome outcome = Run({"send", "--fit", "--to", "0171", "è"});
  EXPECT_THAT(outcome.err, HasSubstr("mvsms: the text was fitted: \"è\" as \"e\""));
  EXPECT_THAT(Run({"send", "--no-fit", "--to", "0171", "è"}).err, Not(HasSubstr("fitted")));
  EXPECT_THAT(Run({"send", "--fit", "--quiet", "--to", "0171", "è"}).err, Not(HasSubstr("fitted")));
}

// --- explain

class ExplainCommand : public CommandTest {};

TEST_F(ExplainCommand, ExplainsAnAnswerFieldByField) {
  EXPECT_EQ(Do({"explain", "511 Unknown<CR><RS><CR>"}),
            "TAP answer: page refused\n"
            "     0  code         511 Unknown     pager not known\n"
            "    11  CR           <CR>            end of the line\n"
            "    12  RS           <RS>            page refused: give it up, go on with the next\n"
            "    13  CR           <CR>            end of the line\n");
}

TEST_F(ExplainCommand, ExplainsAFrameOfALogAsJson) {
  const Json json = Ask({"explain", "Received response: <STX>00/00019/R/01/N/06//"});
  EXPECT_EQ(json["parts"][0]["what"],
            "UCP result 01 (call input): refused, 06 recipient (AdC) not valid");
  EXPECT_EQ(json["parts"][0]["fields"][1]["bytes"], "00/");
  EXPECT_EQ(json["parts"][0]["faults"].size(), 1u);
}

TEST_F(ExplainCommand, ReadsLinesFromStandardInput) {
  EXPECT_THAT(Do({"explain", "-"}, "Response received: <ACK>\nResponse received: <NAK>\n"),
              AllOf(HasSubstr("TAP answer: accepted"), HasSubstr("send it again")));
}

TEST_F(ExplainCommand, HidesPasswords) {
  EXPECT_THAT(Do({"explain", "<ESC>PG1secret<CR>"}),
              AllOf(HasSubstr("(set)"), Not(HasSubstr("secret"))));
}

TEST_F(ExplainCommand, HidesThePasswordInALineOfTheLog) {
  const std::string line = "Sending Terminal ID: secret1";
  EXPECT_THAT(Do({"explain", line}), AllOf(HasSubstr("(set)"), Not(HasSubstr("secret"))));
  EXPECT_EQ(Ask({"explain", line})["parts"][0]["fields"][1]["bytes"], "(set)");
}

TEST_F(ExplainCommand, WithoutAFrameIsWrongUsage) {
  Refuse({"explain", ""}, "there is no frame to explain");
}

}  // namespace
}  // namespace mvsms::cli
