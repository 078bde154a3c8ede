// The error report dialog: texts in both languages, details, answers, the mailed report.
#include "diagnostics/frmerror.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backends/memory/memory_platform.h"
#include "engine/settings.h"

namespace mvsms {
namespace {

using testing::ElementsAre;

class ErrorDialog : public testing::Test {
 protected:
  ErrorDialog() {
    platform_.os_version.service_pack = "Service Pack 2";
    platform_.host_title = "Pager";
    dialog_ = std::make_shared<frmError>(
        platform_, ErrorDetails{"frmConfig", "FillRoutes", 13, "Type mismatch", 40});
  }
  frmError& Shown() {
    dialog_->Show();
    return *dialog_;
  }
  std::vector<std::string> Captions() {
    auto& form = Shown();
    return {form.Caption(),           form.cmdSend.Caption(),    form.cmdIgnore.Caption(),
            form.cmdRetry.Caption(),  form.cmdCancel.Caption(),  form.lblMessage.Caption(),
            form.lblModule.Caption(), form.lblVersion.Caption(), form.lblOsVersion.Caption()};
  }
  memory::MemoryPlatform platform_;
  std::shared_ptr<frmError> dialog_;
};

TEST_F(ErrorDialog, SpeaksEnglish) {
  EXPECT_THAT(Captions(),
              ElementsAre(" An Error Has Occured", "Send", "Ignore", "Retry", "Cancel",
                          "Error-Message:", "Module, Function:", "Version:", "OS-Version:"));
  EXPECT_EQ(dialog_->lblExplanation.Caption(),
            "An error has occured during execution of a function. Usually the application can "
            "continue to run. You can stop execution of the current action by pressing 'Cancel' or "
            "you can retry. To prevent this error-message in the future please press 'Send' first "
            "to send us the error-description and some version-information via e-mail.");
}

TEST_F(ErrorDialog, SpeaksEnglishToEverybodyElse) {
  const std::vector<std::string> english = Captions();
  platform_.language = 0x040C;  // French
  EXPECT_EQ(Captions(), english);
}

TEST_F(ErrorDialog, SpeaksGerman) {
  platform_.language = kLanguageGerman;
  EXPECT_THAT(Captions(), ElementsAre(" Ein Fehler ist aufgetreten", "Senden", "Ignorieren",
                                      "Wiederholen", "Abbrechen", "Fehler-Meldung:",
                                      "Modul, Funktion:", "Version:", "Win-Version:"));
  EXPECT_EQ(dialog_->lblExplanation.Caption(),
            "Beim Ausf\xFChren eines Befehls ist ein Fehler aufgetreten. In der Regel kann jedoch "
            "mit der Ausf\xFChrung des Programms fortgefahren werden. Sie k\xF6nnen die aktuelle "
            "Aktion abbrechen, oder versuchen, die Ausf\xFChrung zu wiederholen. Um den Fehler in "
            "Zukunft zu vermeiden, sind wir auf Ihre Mithilfe angewiesen: Bitte w\xE4hlen Sie die "
            "Schaltfl\xE4"
            "che 'Senden', um uns die Fehlermeldung und einige Informationen \xFC"
            "ber Ihre Programmversion per E-Mail zuzusenden bevor Sie fortfahren.");
}

TEST_F(ErrorDialog, ShowsTheDetails) {
  auto& form = Shown();
  EXPECT_EQ(form.txtMessage.Text(), "Type mismatch\r\nErrNumber: 13\r\nErrLine: 40");
  EXPECT_EQ(form.txtModule.Text(), "frmConfig - FillRoutes");
  EXPECT_EQ(form.txtVersion.Text(), platform_.locale().ComponentVersion());
  EXPECT_EQ(form.txtOsVersion.Text(), "WinXP Build:2600 Service Pack 2");
  for (TextBox* box : {&form.txtMessage, &form.txtModule, &form.txtVersion, &form.txtOsVersion}) {
    EXPECT_TRUE(box->style().locked);
  }
}

TEST_F(ErrorDialog, IsCompactUntilTheDetailsAreWanted) {
  auto& form = Shown();
  const int compact = form.Height();
  EXPECT_EQ(form.cmdDetails.Caption(), "Details >>");
  EXPECT_FALSE(form.txtMessage.Visible());
  form.cmdDetails.Click();
  EXPECT_EQ(form.cmdDetails.Caption(), "Details <<");
  EXPECT_TRUE(form.txtMessage.Visible());
  EXPECT_GT(form.Height(), compact);
  form.cmdDetails.Click();
  EXPECT_EQ(form.cmdDetails.Caption(), "Details >>");
  EXPECT_EQ(form.Height(), compact);
}

TEST_F(ErrorDialog, AnAnswerClosesIt) {
  const std::pair<CommandButton*, const char*> answers[] = {
      {&dialog_->cmdRetry, "R"}, {&dialog_->cmdIgnore, "I"}, {&dialog_->cmdCancel, "A"}};
  for (const auto& [button, answer] : answers) {
    Shown();
    button->Click();
    EXPECT_EQ(dialog_->Answer(), answer);
    EXPECT_FALSE(dialog_->IsLoaded());
  }
}

class ErrorReport : public ErrorDialog {
 protected:
  void Send(MsgBoxAnswer review) {
    platform_.msgbox_answers = {review};
    Shown().cmdSend.Click();
  }
  static constexpr char kQuestion[] =
      "MsgBox 35 Pager: Do you want to review or comment the Error-Report?";
};

TEST_F(ErrorReport, HasAllFieldsUnderTheirLabels) {
  Send(MsgBoxAnswer::kYes);
  ASSERT_EQ(platform_.mails.size(), 1U);
  EXPECT_EQ(platform_.mails[0].body,
            "Error occured at: 2026-01-02 03:04:05\r\n"
            "Component: \tmvSMS\r\n"
            "Version:   \t" +
                platform_.locale().ComponentVersion() +
                "\r\n"
                "Modul:     \tfrmConfig - FillRoutes\r\n"
                "OS-VErsion:\tWinXP Build:2600 Service Pack 2\r\n"
                "\r\n"
                "Error:     \tType mismatch\r\nErrNumber: 13\r\nErrLine: 40\r\n"
                "\r\n"
                "Comments:  \r\n");
  EXPECT_EQ(platform_.mails[0].subject,
            "Pager Error-Report: Type mismatch\r\nErrNumber: 13\r\nErrLine: 40");
}

TEST_F(ErrorReport, GoesToTheMailboxSetAtDeployment) {
  basRegistry::SetValue(platform_.registry(), kSettingsHive, kRootKey, "SupportMailbox",
                        std::string("support@example.com"), RegType::kSz);
  Send(MsgBoxAnswer::kYes);
  EXPECT_EQ(platform_.mails.at(0).recipient, "support@example.com");
}

TEST_F(ErrorReport, HasNoRecipientWithoutAMailbox) {
  Send(MsgBoxAnswer::kYes);
  EXPECT_EQ(platform_.mails.at(0).recipient, "");
}

TEST_F(ErrorReport, IsOpenedForReviewOnYes) {
  Send(MsgBoxAnswer::kYes);
  EXPECT_FALSE(platform_.mails.at(0).sent);
  EXPECT_EQ(platform_.shown.back(), kQuestion);
  EXPECT_TRUE(dialog_->IsVisible());
}

TEST_F(ErrorReport, IsSentAtOnceOnNo) {
  Send(MsgBoxAnswer::kNo);
  EXPECT_TRUE(platform_.mails.at(0).sent);
  EXPECT_EQ(platform_.shown.back(), "MsgBox 0 Pager: Message was sent successfully!");
  EXPECT_TRUE(dialog_->IsVisible());
}

TEST_F(ErrorReport, IsDiscardedOnCancel) {
  Send(MsgBoxAnswer::kCancel);
  EXPECT_TRUE(platform_.mails.empty());
  EXPECT_EQ(platform_.shown.back(), kQuestion);
}

TEST_F(ErrorReport, TellsWhenThereIsNoMailClient) {
  platform_.fail = [](const std::string& operation) { return operation == "Mail.Start"; };
  Shown().cmdSend.Click();
  EXPECT_EQ(platform_.shown.back(),
            "MsgBox 48 Pager: Failed to send Error-Report. Could not start Outlook.");
  EXPECT_TRUE(dialog_->IsVisible());
  dialog_->cmdIgnore.Click();
  EXPECT_EQ(dialog_->Answer(), "I");
}

TEST_F(ErrorReport, SpeaksGermanToo) {
  platform_.language = kLanguageGerman;
  Send(MsgBoxAnswer::kNo);
  EXPECT_THAT(platform_.shown,
              testing::IsSupersetOf({"MsgBox 35 Pager: M\xF6"
                                     "chten Sie dem Fehlerbericht noch einen Kommentar "
                                     "hinzuf\xFCgen?",
                                     "MsgBox 0 Pager: Die Nachricht wurde erfolgreich gesendet!"}));
  platform_.fail = [](const std::string& operation) { return operation == "Mail.Start"; };
  dialog_->cmdSend.Click();
  EXPECT_EQ(
      platform_.shown.back(),
      "MsgBox 48 Pager: Fehler beim Senden des Fehler-Berichts. Konnt Outlook nicht starten.");
}

TEST_F(ErrorReport, AnErrorWhileComposingIsNotReportedFurther) {
  for (const char* failing : {"MailClient.CreateItem", "MailItem.SetBody", "MailItem.Display"}) {
    platform_.fail = [failing](const std::string& operation) { return operation == failing; };
    Send(MsgBoxAnswer::kYes);
    EXPECT_TRUE(dialog_->IsVisible()) << failing;
  }
  EXPECT_TRUE(platform_.mails.empty());
  EXPECT_TRUE(platform_.files.empty());
}

TEST_F(ErrorReport, ThatCannotBeSentIsNotCalledSent) {
  for (const char* failing : {"MailItem.SetRecipient", "MailItem.SetSubject", "MailItem.Send"}) {
    platform_.fail = [failing](const std::string& operation) { return operation == failing; };
    Send(MsgBoxAnswer::kNo);
    EXPECT_THAT(platform_.shown, testing::Not(testing::Contains(testing::HasSubstr("success"))))
        << failing;
  }
}

}  // namespace
}  // namespace mvsms
