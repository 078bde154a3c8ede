// The functions of mvsms.h, and the class over them: what they refuse, what they report, and who
// may stop a send. Whole sends are in installed_test.py.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "include/mvsms/mvsms.h"
#include "tests/support/temp_folder.h"

namespace mvsms {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A sender of a profile that nobody has configured.
class Face : public ::testing::Test {
 protected:
  Face() {
    mvsms_on_status(sender(), [](void* self, const char* line) { Of(self).Line(line); }, this);
    mvsms_on_error(
        sender(),
        [](void* self, std::int32_t number, const char* description, const char* source) {
          Of(self).errors_.push_back(std::to_string(number) + ": " + description + " (" + source +
                                     ")");
        },
        this);
  }

  mvsms_sender* sender() { return sender_.get(); }
  mvsms_result Send(const char* text) { return mvsms_send(sender(), "0172", "", text, ""); }
  std::string Error() { return mvsms_error(sender()); }

  TempFolder home_;
  std::unique_ptr<mvsms_sender, void (*)(mvsms_sender*)> sender_{
      mvsms_new(home_.path().c_str(), "Profil Ä"), mvsms_free};
  std::vector<std::string> lines_;
  std::vector<std::string> errors_;
  bool nested_ = false;  // sends once more from within
  mvsms_result nested_result_ = MVSMS_ACCEPTED;

 private:
  static Face& Of(void* self) { return *static_cast<Face*>(self); }
  void Line(const char* line) {
    lines_.push_back(line);
    if (nested_) nested_result_ = Send("nested");
  }
};

TEST_F(Face, AProfileWithoutSettingsIsAnErrorThatIsReportedOnce) {
  EXPECT_EQ(Send("text"), MVSMS_SETTINGS);
  EXPECT_THAT(errors_, ElementsAre("5: Unable to load settings. SMS must be configured first! "
                                   "(Sender.SendMessage)"));
  EXPECT_EQ(Error(), "Unable to load settings. SMS must be configured first!");
  EXPECT_STRNE(mvsms_reason(sender()), "");
  EXPECT_STRNE(mvsms_advice(sender()), "");
}

TEST_F(Face, EachLineComesOnceAndWithoutItsLineEnd) {
  Send("text");
  ASSERT_GE(lines_.size(), 2u);
  EXPECT_THAT(lines_[0], HasSubstr(" - Begin send message to 0172"));
  EXPECT_EQ(lines_[1], "5: Unable to load settings. SMS must be configured first!");
  for (const std::string& line : lines_) {
    EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos) << line;
  }
}

TEST_F(Face, NamesThatWouldLoseACharacterAreRefused) {
  EXPECT_EQ(mvsms_send(sender(), "0172", "", "text", "Пейджер"), MVSMS_MISUSE);
  EXPECT_EQ(Error(), "the service's name has characters outside Windows-1252");
  mvsms_log_to(sender(), "/tmp/журнал");
  EXPECT_EQ(Send("text"), MVSMS_MISUSE);
  EXPECT_EQ(Error(), "the log's path has characters outside Windows-1252");
  EXPECT_TRUE(lines_.empty());
}

TEST_F(Face, AnOriginatorThatWouldDivideTheMessageIsRefused) {
  EXPECT_EQ(mvsms_send(sender(), "0172", "a/b", "text", ""), MVSMS_MISUSE);
  EXPECT_THAT(Error(), HasSubstr("the originator must not contain \"/\""));
}

TEST_F(Face, ASendFromWithinIsMisuse) {
  nested_ = true;
  EXPECT_EQ(Send("text"), MVSMS_SETTINGS);
  EXPECT_EQ(nested_result_, MVSMS_MISUSE);
  EXPECT_EQ(Error(), "Unable to load settings. SMS must be configured first!");
}

TEST_F(Face, AnAbortedSenderSendsNoMore) {
  std::thread([this] { mvsms_abort(sender()); }).join();
  EXPECT_EQ(Send("text"), MVSMS_RETRY);
  EXPECT_EQ(Error(), "the sender was aborted");
  EXPECT_STREQ(mvsms_reason(sender()), "the sender was aborted");
  EXPECT_TRUE(lines_.empty());
}

TEST_F(Face, AnyThreadMaySend) {
  mvsms_result result = MVSMS_ACCEPTED;
  std::thread([&] { result = Send("text"); }).join();
  EXPECT_EQ(result, MVSMS_SETTINGS);
  EXPECT_EQ(errors_.size(), 1u);
}

TEST_F(Face, HandlersMayBeAbsentAndNullIsAnEmptyText) {
  mvsms_on_status(sender(), nullptr, nullptr);
  mvsms_on_error(sender(), nullptr, nullptr);
  EXPECT_EQ(mvsms_send(sender(), nullptr, nullptr, nullptr, nullptr), MVSMS_SETTINGS);
  EXPECT_TRUE(lines_.empty());
}

TEST_F(Face, TheLogTakesTheProgress) {
  const std::string log = home_.path() + "/send.log";
  mvsms_log_to(sender(), log.c_str());
  Send("text");
  std::ifstream file(log);
  EXPECT_THAT((std::string{std::istreambuf_iterator<char>(file), {}}),
              HasSubstr("Unable to load settings"));
}

TEST(FaceWithoutASender, IsRefusedOrIgnored) {
  mvsms_free(nullptr);
  EXPECT_EQ(mvsms_send(nullptr, "0172", "", "text", ""), MVSMS_MISUSE);
}

}  // namespace
}  // namespace mvsms
