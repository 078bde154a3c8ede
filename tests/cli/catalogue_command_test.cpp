// mvsms catalogue: what is wrong with a catalogue, and where; and a catalogue made of the services
// of a profile.
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kGood = "1,City,Germany,TAP,,,0301234567,160,1,49,Auto,7,E,1,2000,3,0171;0049171";

class CatalogueCommand : public CommandTest {
 protected:
  /// "LINE:COLUMN: fault" for each one.
  std::vector<std::string> Faults(const std::string& file) {
    const Outcome outcome = Run({"catalogue", "check", "-", "--json"}, file);
    std::vector<std::string> faults;
    for (const Json& fault : Json::parse(outcome.out)) {
      faults.push_back(fault["line"].dump() + ":" + fault["column"].dump() + ": " +
                       fault["fault"].get<std::string>());
    }
    EXPECT_EQ(outcome.exit_code, faults.empty() ? kExitAccepted : kExitFailed);
    return faults;
  }
};

TEST_F(CatalogueCommand, AGoodOneHasNoFaults) {
  EXPECT_THAT(Faults(kGood + "\r\n\r\n2" + kGood.substr(1) + ",2026-11\n"), IsEmpty());
  EXPECT_EQ(Run({"catalogue", "check", "-"}, kGood).out, "1 service(s), nothing wrong with them\n");
}

TEST_F(CatalogueCommand, AFaultIsToldWithLineAndColumn) {
  EXPECT_THAT(Faults("\n1,City,,XMP,,,030,x,1,49,Auto,7,E,1,2000,3,01x1"),
              ElementsAre("2:9: Protocol must be TAP or UCP, not \"XMP\"",
                          HasSubstr("2:19: MaxLength must be"), HasSubstr("2:44: the prefix")));
  EXPECT_EQ(Run({"catalogue", "check", "-"}, "1,,,TAP,,,030,160,1,49,Auto,7,E,1,2000,3,\n").out,
            "-:1:3: the name is missing\n");
}

TEST_F(CatalogueCommand, AWrongNumberOfFieldsIsTold) {
  EXPECT_THAT(Faults("1,City,,TAP,,,030,160,1,49,Auto,7,E,1,2000,3"),
              ElementsAre("1:44: the line has 16 fields, 17 or 18 are wanted"));
  EXPECT_THAT(Faults(kGood + ",2026,and more"),
              ElementsAre(HasSubstr("there is a comma too many")));
}

TEST_F(CatalogueCommand, TheFramingIsCheckedAsOne) {
  EXPECT_THAT(Faults("1,City,,TAP,,,030,160,1,49,Auto,9,E,1,2000,3,"),
              ElementsAre(HasSubstr("1:33: ModemSetting must be three characters")));
}

TEST_F(CatalogueCommand, AnIdentifierStandsOnce) {
  EXPECT_THAT(
      Faults(kGood + "\n" + kGood),
      ElementsAre("2:1: the identifier stands in line 1 already; only the last one is found "
                  "by it"));
}

TEST_F(CatalogueCommand, APasswordIsNotShown) {
  const auto faults = Faults("1,City,,TAP,Geheim\x01,,030,160,1,49,Auto,7,E,1,2000,3,");
  EXPECT_THAT(faults, ElementsAre(Not(HasSubstr("Geheim"))));
}

TEST_F(CatalogueCommand, TheServicesOfAProfileMakeOneWithoutFaults) {
  AddModem("Modem");
  Do({"service", "add", "Müller", "PhoneNumber=030", "Protocol=UCP", "UCPCommand=51",
      "ModemSetting=8N1", "Password=Geheim7"});
  Do({"service", "add", "A, B", "PhoneNumber=030"});
  Do({"route", "add", "0171", "Müller"});
  const Outcome outcome = Run({"catalogue", "new", "--group", "Germany"});
  EXPECT_THAT(outcome.out, HasSubstr("Müller,Germany,UCP,,51,030,"));
  EXPECT_THAT(outcome.out, HasSubstr(",8,N,1,2000,3,0171\r\n"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("A, B")));
  EXPECT_THAT(outcome.err, HasSubstr("the service \"A, B\" is left out"));
  EXPECT_THAT(outcome.err, HasSubstr("1 password(s) left out"));
  EXPECT_THAT(Faults(outcome.out), IsEmpty());
  EXPECT_THAT(Run({"catalogue", "new", "--show-passwords"}).out, HasSubstr(",UCP,Geheim7,51,"));
}

TEST_F(CatalogueCommand, WithoutServicesThereIsALineToBeginWith) {
  EXPECT_THAT(Do({"catalogue", "new"}), HasSubstr("1,Name,,TAP,"));
}

}  // namespace
}  // namespace mvsms::cli
