// The test tool, sending through a machine in memory.
#include "ui/frmtest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/host.h"

namespace mvsms {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

class TestTool : public testing::Test {
 protected:
  TestTool() {
    host_.AddTapService();
    form_->HostAppName = "Standard";
  }
  void Fill() {
    form_->Show();
    form_->txtRecipient.SetText("0171 5");
    form_->txtSender.SetText("Ward 7");
    form_->txtMessage.SetText("Hello");
  }
  std::string Remembered(const std::string& key) {
    return host_.platform.user_settings().GetSetting("mvSMS", "Test", key, "(none)");
  }

  test::Host host_;
  std::shared_ptr<frmTest> form_ = std::make_shared<frmTest>(host_.apartment);
};

TEST_F(TestTool, TakesItsTextsFromTheStringTable) {
  host_.platform.language = kLanguageGerman;
  form_->Show();
  EXPECT_EQ(form_->Caption(), "SMS-Nachricht");
  EXPECT_EQ(form_->lblSender.Caption(), "Absender:");
  EXPECT_EQ(form_->lblRecipient.Caption(), "Empf\xE4nger:");
  EXPECT_EQ(form_->lblMessage.Caption(), "Nachricht:");
  EXPECT_EQ(form_->cmdSend.Caption(), "Senden");
  EXPECT_EQ(form_->cmdAbort.Caption(), "Abbrechen");
  EXPECT_EQ(form_->cmdClose.Caption(),
            "Schlie\xDF"
            "en");
}

TEST_F(TestTool, IsEmptyTheFirstTime) {
  form_->Show();
  EXPECT_EQ(form_->txtSender.Text() + form_->txtRecipient.Text() + form_->txtMessage.Text(), "");
  EXPECT_TRUE(form_->txtStatus.style().locked);
}

TEST_F(TestTool, CloseRemembersTheThreeFields) {
  Fill();
  form_->cmdClose.Click();
  EXPECT_FALSE(form_->IsLoaded());
  EXPECT_EQ(Remembered("Sender"), "Ward 7");
  EXPECT_EQ(Remembered("Recipient"), "0171 5");
  EXPECT_EQ(Remembered("Message"), "Hello");
  form_ = std::make_shared<frmTest>(host_.apartment);
  form_->Show();
  EXPECT_EQ(form_->txtSender.Text(), "Ward 7");
  EXPECT_EQ(form_->txtRecipient.Text(), "0171 5");
  EXPECT_EQ(form_->txtMessage.Text(), "Hello");
}

TEST_F(TestTool, AFieldThatCannotBeRememberedCostsNothingButItself) {
  Fill();
  int calls = 0;
  host_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "UserSettings.SaveSetting" && ++calls == 1) {
      throw RaisedError(7, "", "Out of memory");
    }
    return false;
  };
  form_->cmdClose.Click();
  EXPECT_FALSE(form_->IsLoaded());
  EXPECT_EQ(Remembered("Sender"), "(none)");
  EXPECT_EQ(Remembered("Recipient"), "0171 5");
  EXPECT_EQ(Remembered("Message"), "Hello");
}

TEST_F(TestTool, AFieldThatCannotBeReadLeavesTheOthersAndTheButtons) {
  host_.platform.user_settings().SaveSetting("mvSMS", "Test", "Message", "Hello");
  int calls = 0;
  host_.platform.fail = [&](const std::string& operation) -> bool {
    if (operation == "UserSettings.GetSetting" && ++calls == 1) {
      throw RaisedError(7, "", "Out of memory");
    }
    return false;
  };
  form_->Show();
  EXPECT_EQ(form_->txtMessage.Text(), "Hello");
  EXPECT_TRUE(form_->cmdSend.Enabled());
  EXPECT_FALSE(form_->cmdAbort.Enabled());
}

TEST_F(TestTool, SendsAndShowsTheDialogueLineByLine) {
  Fill();
  form_->cmdSend.Click();
  const std::string shown = form_->txtStatus.Text();
  EXPECT_THAT(shown, StartsWith("\r\n****************** 2026-01-02"));
  EXPECT_THAT(shown, HasSubstr("\r\nSending <CR>\r\n"));
  EXPECT_THAT(shown, HasSubstr("\r\nResponse received: <CR><ACK><CR>\r\n"));
  EXPECT_THAT(shown, HasSubstr("Result:  Success"));
  EXPECT_EQ(shown.find("Begin send message"), shown.rfind("Begin send message"));
  EXPECT_TRUE(form_->txtStatus.IsScrolledToEnd());
}

TEST_F(TestTool, ASecondSendAddsItsLines) {
  Fill();
  form_->cmdSend.Click();
  const std::string first = form_->txtStatus.Text();
  form_->cmdSend.Click();
  EXPECT_THAT(form_->txtStatus.Text(), StartsWith(first));
  EXPECT_GT(form_->txtStatus.Text().size(), first.size());
}

TEST_F(TestTool, ReportsAnErrorInAMessageBox) {
  Fill();
  form_->txtMessage.SetText(" ");
  form_->cmdSend.Click();
  EXPECT_THAT(host_.platform.shown,
              Contains("MsgBox 16 Error: Message is empty! Please specify a message!"));
  EXPECT_THAT(form_->txtStatus.Text(), HasSubstr("Result:  Failed"));
}

TEST_F(TestTool, WhileItSendsOnlyAbortIsEnabled) {
  Fill();
  EXPECT_TRUE(form_->cmdSend.Enabled());
  EXPECT_FALSE(form_->cmdAbort.Enabled());
  EXPECT_TRUE(form_->cmdClose.Enabled());
  bool looked = false;
  form_->txtStatus.OnChange = [&] {
    looked = true;
    EXPECT_FALSE(form_->cmdSend.Enabled());
    EXPECT_TRUE(form_->cmdAbort.Enabled());
    EXPECT_FALSE(form_->cmdClose.Enabled());
  };
  form_->cmdSend.Click();
  EXPECT_TRUE(looked);
  EXPECT_TRUE(form_->cmdSend.Enabled());
  EXPECT_FALSE(form_->cmdAbort.Enabled());
  EXPECT_TRUE(form_->cmdClose.Enabled());
}

TEST_F(TestTool, AbortStopsTheSend) {
  Fill();
  host_.platform.After(memory::Millis(3000), [&] { form_->cmdAbort.Click(); });
  form_->cmdSend.Click();
  EXPECT_THAT(form_->txtStatus.Text(), HasSubstr("Result:  Failed"));
  EXPECT_EQ(host_.platform.active_calls(), 0U);
}

TEST_F(TestTool, AnAbortOfTheLastSendDoesNotTouchTheNext) {
  Fill();
  host_.platform.After(memory::Millis(3000), [&] { form_->cmdAbort.Click(); });
  form_->cmdSend.Click();
  form_->cmdSend.Click();
  EXPECT_THAT(form_->txtStatus.Text(), HasSubstr("Result:  Success"));
}

TEST_F(TestTool, AbortWithoutASendDoesNothing) {
  Fill();
  form_->cmdAbort.Click();
  form_->cmdSend.Click();
  EXPECT_THAT(form_->txtStatus.Text(), HasSubstr("Result:  Success"));
}

TEST_F(TestTool, GivenUpWhileItSendsItEndsTheSendAndThenItself) {
  Fill();
  std::weak_ptr<frmTest> watch = form_;
  host_.platform.After(memory::Millis(3000), [&] {
    form_->Unload();
    form_.reset();
  });
  frmTest& form = *form_;
  form.cmdSend.Click();
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(host_.platform.active_calls(), 0U);
  EXPECT_EQ(host_.platform.open_windows(), 0U);
}

TEST_F(TestTool, UsesTheProfileItIsGiven) {
  Fill();
  form_->HostAppName = "Unknown";
  form_->cmdSend.Click();
  EXPECT_THAT(form_->txtStatus.Text(),
              HasSubstr("5: Unable to load settings. SMS must be configured first!"));
}

TEST_F(TestTool, ShowsTheStatusWindowWhenTheProfileWantsIt) {
  host_.profile.Set("ShowStatus", 1);
  Fill();
  form_->cmdSend.Click();
  EXPECT_THAT(host_.platform.shown, Contains("Show frmStatus"));
}

}  // namespace
}  // namespace mvsms
