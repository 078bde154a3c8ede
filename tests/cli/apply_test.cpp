// mvsms apply: the whole state from one document, and back.
#include <algorithm>

#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kExitWouldChange = 3;

constexpr char kState[] = R"({
  "format": "mvsms state", "version": 1,
  "modems": {"Modem": {"kind": "hayes", "device": "/dev/ttyNotPluggedIn", "speed": 2400},
             "Net": {"kind": "tcp"}},
  "profiles": {
    "Standard": {
      "settings": {"DefaultModem": "Modem", "DefaultService": "Pager", "Retries": 5},
      "services": {"Pager": {"PhoneNumber": "0123", "Password": "Geheim7", "TimeOut": 3000},
                   "City": {"Protocol": "UCP", "UCPCommand": "51", "PhoneNumber": "centre:5000",
                            "ModemName": "Net"}},
      "routes": {"0171": "City"},
      "groups": {"night": ["0171", "@ward7", "!/usr/local/bin/on-call --net"], "ward7": ["0172"]}},
    "Büro": {"services": {"Pager": {"PhoneNumber": "0124"}}}}})";

class ApplyCommand : public CommandTest {
 protected:
  Outcome Apply(const std::string& document, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"apply", "-"});
    return Run(options, document);
  }
  void ExpectNoChange(const std::string& document, const std::vector<std::string>& options = {}) {
    const std::string before = State();
    const Outcome outcome = Apply(document, options);
    EXPECT_EQ(outcome.exit_code, kExitAccepted) << outcome.err;
    EXPECT_EQ(outcome.out, "nothing to change\n");
    EXPECT_EQ(State(), before);
  }
  void RefuseDocument(const std::string& document, const std::string& sentence) {
    SCOPED_TRACE(document);
    const std::string before = State();
    const Outcome outcome = Apply(document);
    EXPECT_EQ(outcome.exit_code, kExitUsage);
    EXPECT_THAT(outcome.err, HasSubstr(sentence));
    EXPECT_EQ(State(), before);
  }
  std::string Exported() { return Do({"apply", "--export", "--show-passwords"}); }
};

TEST_F(ApplyCommand, MakesTheWholeStateOfAnEmptyMachine) {
  EXPECT_EQ(Apply(kState).exit_code, kExitAccepted);
  EXPECT_EQ(Ask({"modem", "show", "Modem"})["speed"], 2400);
  EXPECT_EQ(Ask({"modem", "list"}).size(), 2U);
  EXPECT_EQ(Ask({"route", "test", "0171"})["service"], "City");
  EXPECT_EQ(Ask({"config", "list"})["Retries"], 5);
  EXPECT_EQ(Do({"group", "show", "night"}), "0171\n@ward7\n!/usr/local/bin/on-call --net\n");
  const Json pager = Ask({"service", "show", "Pager", "--show-passwords"});
  EXPECT_EQ(pager["Password"], "Geheim7");
  EXPECT_EQ(pager["TimeOut"], "3000");
  EXPECT_EQ(pager["MaxLength"], "160");
  EXPECT_EQ(Do({"service", "get", "Pager", "PhoneNumber", "--profile", "Büro"}), "0124\n");
}

TEST_F(ApplyCommand, TheSameDocumentAgainChangesNothing) {
  Apply(kState);
  ExpectNoChange(kState);
  ExpectNoChange(kState, {"--prune"});
}

TEST_F(ApplyCommand, AnExportAppliedChangesNothing) {
  Apply(kState);
  Do({"registry", "import", "-"}, R"({"format": "mvsms registry", "version": 1, "tree": {"keys":
      {"Standard": {"values": {"ShowStatus": "abc"}, "keys": {"Services": {"keys": {"Pager":
      {"values": {"TimeOut": "0", "BaudRate": "28800", "ModemName": "Gone"}}}}}}}}})");
  ExpectNoChange(Exported());
  ExpectNoChange(Do({"apply", "--export"}));
}

TEST_F(ApplyCommand, AnExportMakesTheSameStateOnAnotherMachine) {
  Apply(kState);
  const std::string state = Exported();
  home_ /= "other";
  Apply(state);
  EXPECT_EQ(Exported(), state);
}

TEST_F(ApplyCommand, PasswordsAreExportedOnlyWhenAskedForAndStayWhenLeftOut) {
  Apply(kState);
  EXPECT_THAT(Do({"apply", "--export"}), Not(HasSubstr("Geheim7")));
  Apply(Do({"apply", "--export"}), {"--prune"});
  EXPECT_EQ(Do({"service", "get", "Pager", "Password", "--show-passwords"}), "Geheim7\n");
}

TEST_F(ApplyCommand, ShowsTheDifferenceWithoutPasswords) {
  Apply(kState);
  Do({"route", "add", "0172", "Pager"});
  const Outcome outcome = Apply(
      R"({"profiles": {"Standard": {"settings": {"Retries": 7},
          "services": {"Pager": {"Password": "Neu"}},
          "routes": {"0171": "City", "0173": "Pager"}}}})",
      {"--dry-run"});
  EXPECT_EQ(outcome.exit_code, kExitWouldChange);
  EXPECT_EQ(outcome.out,
            "~ /profiles/Standard/settings/Retries 5 -> 7\n"
            "~ /profiles/Standard/services/Pager/Password \"(set)\" -> \"(set)\"\n"
            "+ /profiles/Standard/routes/0173 \"Pager\"\n");
}

TEST_F(ApplyCommand, ADryRunStoresNothing) {
  Apply(kState);
  const std::string before = State();
  const Outcome outcome =
      Apply(R"({"modems": {"Net2": {"kind": "tcp"}}})", {"--dry-run", "--prune", "--json"});
  EXPECT_EQ(outcome.exit_code, kExitWouldChange);
  const Json json = Json::parse(outcome.out);
  EXPECT_EQ(json["changed"], true);
  EXPECT_EQ(json["changes"].size(), 9U);  // two modems go, with eight values; one comes
  EXPECT_EQ(State(), before);
  EXPECT_EQ(Apply(kState, {"--dry-run"}).exit_code, kExitAccepted);
}

TEST_F(ApplyCommand, ARouteMayHaveAServiceForEveryOtherTry) {
  Apply(kState);
  const auto routes = [](const std::string& route) {
    return R"({"profiles": {"Standard": {"routes": {"0171": )" + route + "}}}}";
  };
  Apply(routes(R"({"service": "City", "then": "Pager"})"));
  EXPECT_EQ(Ask({"route", "show", "0171"})["then"], "Pager");
  const std::string exported = Do({"apply", "--export"});
  EXPECT_EQ(Apply(exported, {"--dry-run"}).exit_code, kExitAccepted);
  Apply(routes(R"("City")"));
  EXPECT_EQ(Ask({"route", "show", "0171"})["then"], "");
  Apply(exported);
  EXPECT_EQ(Ask({"route", "show", "0171"})["then"], "Pager");
}

TEST_F(ApplyCommand, WithoutPruneWhatIsNotNamedStays) {
  Apply(kState);
  Apply(R"({"profiles": {"Standard": {"services": {"Third": {"PhoneNumber": "1"}}}}})");
  EXPECT_EQ(Ask({"service", "list"}).size(), 3U);
  EXPECT_EQ(Ask({"modem", "list"}).size(), 2U);
}

TEST_F(ApplyCommand, PruneDeletesWhatIsNotNamedWhereThereIsAList) {
  Apply(kState);
  Apply(R"({"profiles": {"Standard": {"settings": {"Retries": 5},
            "services": {"PAGER": {"PhoneNumber": "0123"}}, "groups": {"NIGHT": ["0171"]}}}})",
        {"--prune"});
  EXPECT_EQ(Ask({"service", "list"}).size(), 1U);
  EXPECT_EQ(Do({"service", "get", "Pager", "TimeOut"}), "2000\n");
  EXPECT_EQ(Do({"service", "get", "Pager", "Password", "--show-passwords"}), "Geheim7\n");
  EXPECT_EQ(Do({"config", "get", "DefaultService"}), "\n");
  EXPECT_EQ(Ask({"profile", "list"}).size(), 1U);
  EXPECT_EQ(Ask({"modem", "list"}).size(), 2U);
  EXPECT_EQ(Ask({"route", "list"}).size(), 1U);
  EXPECT_EQ(Ask({"group", "list"}), Json::parse(R"([{"name": "night", "members": ["0171"]}])"));
}

TEST_F(ApplyCommand, MistakesAreToldWithTheirPlaceAndStoreNothing) {
  Apply(kState);
  RefuseDocument("[]", "the document: an object is wanted here");
  RefuseDocument("{", "- is not JSON: parse error at line 1");
  EXPECT_THAT(Run({"apply", "-"}, R"({"Password": "secret\x"})").err, Not(HasSubstr("secret")));
  RefuseDocument(R"({"modem": {}})", "/modem: there is no such name here");
  RefuseDocument(R"({"version": 2})", "/version: this program knows version 1 only");
  RefuseDocument(R"({"format": "other"})", "/format: \"mvsms state\" is wanted");
  RefuseDocument(R"({"modems": {"New": {}}})", "/modems/New: a new modem needs its kind");
  RefuseDocument(R"({"modems": {"New": {"kind": "tcp", "colour": 1}}})",
                 "/modems/New/colour: there is no such name here");
  RefuseDocument(R"({"modems": {"Modem": {"speed": "fast"}}})", "/modems/Modem: --speed must be");
  const auto profile = [this](const std::string& part, const std::string& sentence) {
    RefuseDocument(R"({"modems": {"Early": {"kind": "tcp"}}, "profiles": {"A/B": )" + part + "}}",
                   "/profiles/A~1B" + sentence);
  };
  profile("7", ": an object is wanted here");
  profile(R"({"setting": {}})", "/setting: there is no such name here; there are");
  profile(R"({"settings": {"Retries": true}})", "/settings/Retries: a text or a whole number");
  profile(R"({"settings": {"Retries": 1.5}})", "/settings/Retries: a text or a whole number");
  profile(R"({"settings": {"Colour": 1}})", "/settings/Colour: there is no setting \"Colour\"");
  profile(R"({"settings": {"DefaultService": "No"}})", "/settings/DefaultService: there is no");
  profile(R"({"services": {"X": {"TimeOut": 0}}})", "/services/X/TimeOut: TimeOut must be");
  profile(R"({"services": {"X": {"PhoneNumber": "日"}}})", "/services/X/PhoneNumber: ");
  profile(R"({"services": {"a\\b": {}}})", "/services/a\\b: ");
  profile(R"({"routes": {"+49": ""}})", "/routes/+49: the prefix \"+49\" must be digits");
  profile(R"({"groups": {"a": "01"}})", "/groups/a: a list of texts is wanted here");
  profile(R"({"groups": {"a": []}})", "/groups/a: a group needs a member");
  profile(R"({"groups": {"a": ["x"]}})", "/groups/a: \"x\" can be no member");
  RefuseDocument(R"({"modems": {}, "modems": {}})", "the name \"modems\" stands twice");
}

TEST_F(ApplyCommand, PoolsComeAfterTheirMembersAndGoBeforeThem) {
  constexpr char kPool[] = R"({"modems": {
      "Pool": {"kind": "pool", "members": ["B", "A"], "rest": 5},
      "A": {"kind": "hayes", "device": "/dev/ttyA"}, "B": {"kind": "hayes", "device": "/dev/ttyB"}}})";
  EXPECT_EQ(Apply(kPool).exit_code, kExitAccepted);
  EXPECT_EQ(Ask({"modem", "show", "Pool"})["members"], (Json{"B", "A"}));
  ExpectNoChange(Exported(), {"--prune"});
  RefuseDocument(R"({"modems": {"Pool": {"members": ["A", "C"]}}})", "there is no modem \"C\"");
  RefuseDocument(R"({"modems": {"Pool": {"members": "A"}}})", "/modems/Pool/members: a list of");
  RefuseDocument(R"({"modems": {"A": {"kind": "tcp"}}})", "is a member of the pool \"Pool\"");
  EXPECT_EQ(Apply(R"({"modems": {"A": {"kind": "hayes"}}})", {"--prune"}).exit_code, kExitAccepted);
  EXPECT_EQ(Ask({"modem", "list"}).size(), 1U);
}

TEST_F(ApplyCommand, NeedsAFileOrAQuestionForTheState) {
  Refuse({"apply"}, "name the FILE");
  Refuse({"apply", "--export", "--prune"}, "--export");
  Refuse({"apply", "--show-passwords", "x"}, "--export");
  Refuse({"apply", Path("none.json")}, "cannot read", kExitFailed);
}

}  // namespace
}  // namespace mvsms::cli
