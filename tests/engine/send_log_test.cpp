// The send log of whole sends, to the byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/host.h"

namespace mvsms {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char kDefaultLog[] = "C:\\Programs\\mvSMS\\SMSLog.txt";

class SendLog : public testing::Test {
 protected:
  std::string Stamp() { return host_.Now() + "\t"; }
  std::string Log(const std::string& path) { return host_.platform.files[path]; }

  test::Host host_;
};

TEST_F(SendLog, IsNotWrittenUnlessAskedFor) {
  host_.AddTapService();
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(host_.platform.files, IsEmpty());
  EXPECT_THAT(host_.statuses, testing::SizeIs(17));
}

TEST_F(SendLog, PathForcesLoggingOfEveryLine) {
  host_.sender.LogFilePath = "D:\\log\\pages.txt";
  const std::string stamp = Stamp();
  const std::string now = host_.Now();
  host_.Send("");
  EXPECT_EQ(Log("D:\\log\\pages.txt"),
            stamp + "****************** " + now + " - Begin send message to 0049 171-5\r\n\r\n" +
                stamp + "6: Message is empty! Please specify a message!\r\n" +  //
                stamp + "****************** " + now +
                " - End sending message. Result:  Failed\r\n");
  EXPECT_EQ(host_.platform.files.size(), 1U);
}

TEST_F(SendLog, SwitchOfTheProfileTakesEffectOnceItIsLoaded) {
  host_.profile.Set("WriteLogfile", 1);
  const std::string stamp = Stamp();
  host_.Send("");
  EXPECT_THAT(Log(kDefaultLog), StartsWith(stamp + "6: Message is empty!"));
  host_.platform.files.clear();
  host_.Send("");
  EXPECT_THAT(Log(kDefaultLog), StartsWith(stamp + "****************** "));
}

TEST_F(SendLog, FollowsTheWholeSession) {
  host_.AddTapService();
  host_.sender.LogFilePath = "pages.txt";
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(Log("pages.txt"), HasSubstr("\tTransmitter Response: ID=\r\n"));
  EXPECT_THAT(Log("pages.txt"), EndsWith(Stamp() + "****************** " + host_.Now() +
                                         " - End sending message. Result:  Success\r\n"));
}

TEST_F(SendLog, FolderThatDoesNotExistCostsOnlyTheLog) {
  host_.AddTapService();
  host_.platform.folders = {"C:\\Programs\\mvSMS"};
  host_.sender.LogFilePath = "Z:\\none\\pages.txt";
  EXPECT_TRUE(host_.Send("Hello"));
  EXPECT_THAT(host_.platform.files, IsEmpty());
  EXPECT_THAT(host_.errors, IsEmpty());
}

TEST_F(SendLog, LineIsInTheLogBeforeTheEventTellsOfIt) {
  host_.sender.LogFilePath = "pages.txt";
  host_.on_status = [this](std::string& status) {
    const std::string line = status.substr(status.rfind("\r\n", status.size() - 3) + 2);
    EXPECT_THAT(Log("pages.txt"), testing::HasSubstr(line));
  };
  host_.Send("");
  EXPECT_THAT(host_.statuses, testing::SizeIs(4));
}

TEST_F(SendLog, HandlerMayMoveIt) {
  host_.sender.LogFilePath = "first.txt";
  host_.on_error = [&](std::int32_t&, std::string&, std::string&) {
    host_.sender.LogFilePath = "second.txt";
  };
  host_.Send("");
  EXPECT_THAT(Log("first.txt"), Not(HasSubstr("End sending")));
  EXPECT_THAT(Log("second.txt"), HasSubstr("End sending"));
}

}  // namespace
}  // namespace mvsms
