// Reading the catalogue file, and what a record becomes in the settings store.
#include "engine/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "engine/settings.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

constexpr char kPath[] = "C:\\Programs\\mvSMS\\smstransports.inf";
constexpr char kExample[] = "7,Example,Germany,UCP,,51,0123456,160,1,49,9600,8,N,1,3000,3,";

class CatalogueFile : public testing::Test {
 protected:
  bool Load(const std::string& text) {
    platform_.files[kPath] = text;
    return catalogue_.Load(platform_);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const CatalogueRecord& record : catalogue_.Records()) {
      names.push_back(FieldOf(record, catalogue::kName));
    }
    return names;
  }
  memory::MemoryPlatform platform_;
  Catalogue catalogue_;
};

TEST_F(CatalogueFile, IsMissing) {
  EXPECT_FALSE(catalogue_.Load(platform_));
  EXPECT_TRUE(catalogue_.Records().empty());
}

TEST_F(CatalogueFile, LiesInAFolderThatEndsInABackslashToo) {
  platform_.component_folder = "D:\\";
  platform_.files["D:\\smstransports.inf"] = kExample;
  EXPECT_TRUE(catalogue_.Load(platform_));
}

TEST_F(CatalogueFile, HasSeventeenFieldsInALine) {
  Load(kExample);
  EXPECT_EQ(catalogue_.Records().at(0).size(), 17U);
  EXPECT_EQ(FieldOf(catalogue_.Records()[0], catalogue::kPrefixes), "");
}

TEST_F(CatalogueFile, EndsItsLinesWithOrWithoutACarriageReturn) {
  Load("1,a,x\r\n2,b,y\n3,c,x");
  EXPECT_THAT(Names(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(FieldOf(catalogue_.Records()[0], catalogue::kGroup), "x");
}

TEST_F(CatalogueFile, ListsEachGroupOnceInTheOrderOfItsFirstAppearance) {
  Load("1,a,x\n2,b,y\n3,c,x\n4,d\n");
  EXPECT_THAT(catalogue_.Groups(), ElementsAre("x", "y", ""));
}

TEST_F(CatalogueFile, LeavesOutBlankLines) {
  Load("\r\n\n1,a\n\r\n");
  EXPECT_THAT(Names(), ElementsAre("a"));
}

TEST_F(CatalogueFile, KeepsAShortLineAsItIs) {
  Load("12\n,,\n1,a\n");
  EXPECT_THAT(catalogue_.Records(),
              ElementsAre(ElementsAre("12"), ElementsAre("", "", ""), ElementsAre("1", "a")));
}

TEST_F(CatalogueFile, ThatCannotBeReadIsNotMissing) {
  platform_.files[kPath] = kExample;
  platform_.fail = [](const std::string& operation) { return operation == "TextFile.Read"; };
  try {
    catalogue_.Load(platform_);
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), 75);
    EXPECT_EQ(error.description(), std::string("Path/File access error: ") + kPath);
  }
  EXPECT_TRUE(catalogue_.Records().empty());
}

TEST_F(CatalogueFile, ReadAgainReplacesWhatWasThere) {
  Load("1,a\n");
  Load("2,b\n");
  EXPECT_THAT(Names(), ElementsAre("b"));
  platform_.files.clear();
  EXPECT_FALSE(catalogue_.Load(platform_));
  EXPECT_TRUE(Names().empty());
  EXPECT_TRUE(catalogue_.Groups().empty());
}

TEST_F(CatalogueFile, TheLastOfEqualIdentifiersWins) {
  Load("1,a\n2,b\n1,c\n");
  EXPECT_EQ(FieldOf(*catalogue_.Find("1"), catalogue::kName), "c");
  EXPECT_EQ(catalogue_.Find("3"), nullptr);
}

TEST_F(CatalogueFile, AFieldBeyondTheEndIsEmpty) {
  Load("1,a\n");
  EXPECT_EQ(FieldOf(catalogue_.Records()[0], catalogue::kPrefixes), "");
}

TEST(CatalogueRecords, ABlankServiceHasDefaults) {
  EXPECT_THAT(BlankService("X"), ElementsAre("1", "X", "", "TAP", "", "", "", "160", "1", "",
                                             "Auto", "7", "E", "1", "2000", "3", "", ""));
}

std::vector<std::string> Values(const CatalogueRecord& record) {
  std::vector<std::string> values;
  for (const ServiceValue& value : ServiceValues(record)) {
    values.push_back(std::string(value.info.name) + "=" + value.text);
  }
  return values;
}

TEST(CatalogueRecords, ABlankServiceHasTheInitialValuesOfTheSettings) {
  const std::vector<ServiceValue> values = ServiceValues(BlankService("X"));
  ASSERT_EQ(values.size(), kServiceValues.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_STREQ(values[i].info.name, kServiceValues[i].name);
    EXPECT_EQ(values[i].text, kServiceValues[i].initial) << values[i].info.name;
  }
}

TEST(CatalogueRecords, BecomeTheValuesOfAService) {
  EXPECT_THAT(Values(Split(kExample, ',')),
              ElementsAre("CountryCode=49", "Protocol=UCP", "PhoneNumber=0123456", "Password=",
                          "MaxLength=160", "MaxMessages=1", "UCPCommand=51", "MessageType=3",
                          "TimeOut=3000", "BaudRate=9600", "ModemSetting=8N1", "ModemName="));
}

TEST(CatalogueRecords, AShortRecordLeavesItsValuesEmpty) {
  EXPECT_THAT(Values(Split("1,a,,TAP", ',')),
              ElementsAre("CountryCode=", "Protocol=TAP",
                          "PhoneNumber=", "Password=", "MaxLength=", "MaxMessages=", "UCPCommand=",
                          "MessageType=", "TimeOut=", "BaudRate=", "ModemSetting=", "ModemName="));
}

}  // namespace
}  // namespace mvsms
