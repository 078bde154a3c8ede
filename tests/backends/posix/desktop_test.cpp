// Documents and mails, handed to programs that stand in for those of the system.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "backends/posix/system/backend.h"
#include "base/raised_error.h"
#include "tests/backends/posix/environment.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using testing::HasSubstr;

class PosixDesktop : public testing::Test {
 protected:
  /// A program that writes its arguments and its input into a file, and ends with `status`.
  void Install(const std::string& name, int status = 0) {
    const std::string path = folder_ / name;
    std::ofstream(path) << "#!/bin/sh\n{ printf '%s|' \"$@\"; cat; } >'" << (folder_ / "called")
                        << "'\nexit " << status << "\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  std::string Called() {
    std::ifstream file(folder_ / "called", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::int32_t Open(const std::string& file) {
    return MakeShell()->Execute("Open", file, "", "C:\\", kShowNormal);
  }
  std::unique_ptr<MailItem> Mail() {
    auto item = MakeMail()->Start()->CreateItem();
    item->SetRecipient("support@example.com");
    item->SetSubject("Error-Report: one\r\nBcc: nobody@example.com");
    item->SetBody(
        "B\xFC"
        "cher\r\nend");
    return item;
  }

  TempFolder folder_;
  ScopedVariable path_{"PATH", (folder_ / ".") + ":/usr/bin:/bin"};
};

TEST_F(PosixDesktop, OpensADocumentWithItsProgram) {
  Install("xdg-open");
  const std::string document = folder_ / "SMSLog.txt";
  std::ofstream(document) << "x";
  EXPECT_EQ(Open(document), 33);
  EXPECT_EQ(Called(), document + "|");
}

TEST_F(PosixDesktop, AMailProgramThatEndsWithoutReadingIsAnError) {
  const std::string path = folder_ / "sendmail";
  std::ofstream(path) << "#!/bin/sh\nexec 0<&-\nexit 1\n";
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  const auto item = Mail();
  item->SetBody(std::string(1'000'000, 'x'));
  EXPECT_THROW(item->Send(), RaisedError);
}

TEST_F(PosixDesktop, OpensAnAddressThatIsNoFile) {
  Install("xdg-open");
  EXPECT_EQ(Open("https://www.example.com/x?Language=EN"), 33);
}

TEST_F(PosixDesktop, AMissingDocumentIsNotFound) {
  Install("xdg-open");
  EXPECT_EQ(Open(folder_ / "nothing"), 2);
}

TEST_F(PosixDesktop, ADocumentWithoutAProgramHasNoAssociation) {
  Install("xdg-open", 3);
  EXPECT_EQ(Open("https://www.example.com"), 31);
}

TEST_F(PosixDesktop, SendsAMailWithOneLineForEachHeader) {
  Install("sendmail");
  Mail()->Send();
  EXPECT_EQ(Called(),
            "-i|-t|To: support@example.com\nSubject: Error-Report: one  Bcc: nobody@example.com\n"
            "Content-Type: text/plain; charset=utf-8\n\nB\xC3\xBC"
            "cher\nend");
}

TEST_F(PosixDesktop, AMailThatIsNotTakenIsAnError) {
  Install("sendmail", 75);
  EXPECT_THROW(Mail()->Send(), RaisedError);
}

TEST_F(PosixDesktop, ShowsAMailInTheUsersMailProgram) {
  Install("sendmail");
  Install("xdg-email");
  Mail()->Display();
  EXPECT_THAT(Called(),
              HasSubstr("--subject|Error-Report: one  Bcc: nobody@example.com|--body|B\xC3\xBC"));
  EXPECT_THAT(Called(), HasSubstr("|support@example.com|"));
}

TEST_F(PosixDesktop, ThereAreNoWindows) {
  const auto forms = MakeForms();
  EXPECT_THROW(forms->MsgBox("text", msgbox::kOkOnly, ""), RaisedError);
  EXPECT_THROW(forms->InputBox("prompt", "title"), RaisedError);
}

}  // namespace
}  // namespace mvsms::posix
