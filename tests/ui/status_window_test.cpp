// The status window of whole sends.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "tests/support/host.h"
#include "ui/frmstatus.h"

namespace mvsms {
namespace {

class StatusWindowOfASender : public testing::Test {
 protected:
  StatusWindowOfASender() {
    host_.AddTapService();
    host_.profile.Set("ShowStatus", 1);
    host_.Listen(sender_);
  }

  bool Send(const std::string& text = "Hello") {
    std::string message = text;
    return sender_.SendMessage(host_.recipient, host_.originator, message, host_.service);
  }
  void Wait(int milliseconds) {
    host_.platform.loop().Sleep(memory::Millis(milliseconds));
    host_.platform.loop().DoEvents();
  }

  test::Host host_;
  int made_ = 0;
  frmStatus* form_ = nullptr;
  Sender sender_{host_.apartment, [this] {
                   ++made_;
                   auto form = std::make_unique<frmStatus>(host_.platform);
                   form_ = form.get();
                   return form;
                 }};
};

TEST_F(StatusWindowOfASender, AppearsWithTheFirstLineAfterTheSettings) {
  std::vector<bool> visible;
  host_.on_status = [&](std::string& status) {
    visible.push_back(form_ != nullptr && form_->IsVisible());
    if (form_ != nullptr) {
      EXPECT_EQ(form_->txtStatus.Text(), status);
    }
  };
  EXPECT_TRUE(Send());
  EXPECT_FALSE(visible.front());
  EXPECT_EQ(std::count(visible.begin(), visible.end(), false), 1);
}

TEST_F(StatusWindowOfASender, ClosesFiveSecondsAfterTheSend) {
  Send();
  EXPECT_EQ(form_->txtStatus.Text(), sender_.Status);
  Wait(4999);
  EXPECT_TRUE(form_->IsVisible());
  Wait(1);
  EXPECT_FALSE(form_->IsLoaded());
}

TEST_F(StatusWindowOfASender, IsNotShownByALaterSend) {
  Send();
  Wait(5000);
  Send();
  EXPECT_EQ(made_, 1);
  EXPECT_TRUE(form_->IsLoaded());
  EXPECT_FALSE(form_->IsVisible());
  EXPECT_EQ(form_->txtStatus.Text(), sender_.Status);
  Wait(5000);
  EXPECT_FALSE(form_->IsLoaded());
}

TEST_F(StatusWindowOfASender, StaysOpenForASendWithinTheFiveSeconds) {
  Send("");
  Wait(3000);
  Send("");
  EXPECT_TRUE(form_->IsVisible());
  Wait(4999);
  EXPECT_TRUE(form_->IsVisible());
}

TEST_F(StatusWindowOfASender, ClosesDuringASecondSendThatTakesLonger) {
  Send("");
  std::vector<bool> visible;
  host_.on_status = [&](std::string&) { visible.push_back(form_->IsVisible()); };
  EXPECT_TRUE(Send());
  EXPECT_TRUE(visible.front());
  EXPECT_FALSE(visible.back());
  EXPECT_TRUE(form_->IsLoaded()) << "a later line loads it again, out of sight";
  EXPECT_EQ(form_->txtStatus.Text(), sender_.Status);
}

TEST_F(StatusWindowOfASender, StaysOpenAfterAnUnforeseenError) {
  host_.AddTapService({{"Protocol", "UCP LA"}});
  Send();
  Wait(60'000);
  EXPECT_TRUE(form_->IsVisible());
}

TEST_F(StatusWindowOfASender, IsNotMadeUnlessAskedFor) {
  host_.profile.Set("ShowStatus", 0);
  Send();
  EXPECT_EQ(made_, 0);
}

TEST_F(StatusWindowOfASender, EndsWithItsSender) {
  {
    Sender brief(host_.apartment, [this] { return std::make_unique<frmStatus>(host_.platform); });
    std::string empty;
    brief.SendMessage(host_.recipient, host_.originator, empty, host_.service);
    EXPECT_EQ(host_.platform.running_timers(), 1U);
  }
  EXPECT_EQ(host_.platform.running_timers(), 0U);
}

TEST_F(StatusWindowOfASender, ThatCannotBeMadeIsDoneWithout) {
  Sender blind(host_.apartment,
               []() -> std::unique_ptr<StatusWindow> { throw std::runtime_error("no display"); });
  std::string message = "Hello";
  EXPECT_TRUE(blind.SendMessage(host_.recipient, host_.originator, message, host_.service));
}

TEST_F(StatusWindowOfASender, IsOptional) {
  EXPECT_TRUE(host_.Send("Hello"));  // a Sender without a factory, ShowStatus set
}

}  // namespace
}  // namespace mvsms
