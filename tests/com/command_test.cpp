// The command mvsms.exe over the registry and the substitute telephony service.
#include <fstream>
#include <future>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class WindowsCommand : public testing::Test {
 protected:
  WindowsCommand() { WriteProfile(); }
  ~WindowsCommand() override { DeleteProfile(); }

  static Ended Mvsms(const std::string& arguments) {
    return RunToItsEnd("mvsms.exe " + arguments + " --profile " + kProfile);
  }
};

TEST_F(WindowsCommand, HelpNamesItsCommandsAndWhereTheSettingsLie) {
  const Ended help = RunToItsEnd("mvsms.exe --help");
  EXPECT_EQ(help.exit_code, 0U);
  EXPECT_THAT(help.output, AllOf(HasSubstr("modem list"), HasSubstr("HKEY_LOCAL_MACHINE")));
}

TEST_F(WindowsCommand, ListsTheModemsOfWindows) {
  EXPECT_THAT(Mvsms("modem list").output, HasSubstr("Second test modem"));
}

TEST_F(WindowsCommand, KeepsSettingsInTheRegistry) {
  EXPECT_EQ(Mvsms("config set Country 0049").exit_code, 0U);
  EXPECT_EQ(Mvsms("config get Country").output, "0049\r\n");
  EXPECT_EQ(Mvsms("service add Second Protocol=UCP UCPCommand=51 PhoneNumber=222").exit_code, 0U);
  EXPECT_THAT(Mvsms("service list").output, HasSubstr("Second"));
}

TEST_F(WindowsCommand, OpensTheConfigurationDialogAndEndsWithIt) {
  DeleteProfile();
  auto closed = std::async(std::launch::async, CloseDialog);
  const Ended ended = Mvsms("dialog");
  EXPECT_TRUE(closed.get()) << ended.output;
  EXPECT_EQ(ended.exit_code, 0U) << ended.output;
  EXPECT_EQ(Mvsms("config get Retries").output, "3\r\n");
}

TEST_F(WindowsCommand, SaysThatTheSettingsAreNotItsToChange) {
  const std::wstring profile = L"MIRVALEN\\PAGOREX\\ComTest";
  SetAccess(profile, KEY_READ);
  const Ended refused = Mvsms("config set Country 0049");
  SetAccess(profile, KEY_ALL_ACCESS);
  EXPECT_EQ(refused.exit_code, 1U);
  EXPECT_THAT(refused.output, AllOf(HasSubstr("access is denied"), HasSubstr("PAGOREX\\ComTest")));
}

TEST_F(WindowsCommand, TellsOfTheProfileThatItTookOver) {
  const std::wstring old = L"Software\\WOW6432Node\\MIRVALEN\\PAGOREX\\ComTestOld";
  HKEY key = nullptr;
  ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, old.c_str(), 0, nullptr, 0,
                    KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key, nullptr);
  ::RegCloseKey(key);
  const std::string notice = "mvsms: this profile was taken over";
  EXPECT_THAT(Mvsms("profile list").output, AllOf(HasSubstr(notice), HasSubstr("\nComTestOld")));
  EXPECT_THAT(Mvsms("profile list").output, Not(HasSubstr(notice)));
  EXPECT_EQ(RunToItsEnd("mvsms.exe profile delete ComTestOld").exit_code, 0U);
  ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, old.c_str(), KEY_WOW64_64KEY, 0);
}

TEST_F(WindowsCommand, RefusesAModemThatWindowsDoesNotKnow) {
  const Ended refused = Mvsms("config set DefaultModem Nowhere");
  EXPECT_EQ(refused.exit_code, 2U);
  EXPECT_THAT(refused.output, HasSubstr("there is no modem \"Nowhere\""));
}

TEST_F(WindowsCommand, SendsAMessage) {
  const Ended sent = Mvsms("send --to \"0172 5\" \"From the command line\"");
  EXPECT_EQ(sent.exit_code, 0U) << sent.output;
  EXPECT_THAT(sent.output, HasSubstr("Result:  Success"));
  EXPECT_THAT(Records("com22"), HasSubstr("From the command line"));
}

class HandedToAGateway : public WindowsCommand {
 protected:
  static Ended Queue(const std::string& gateway, const std::string& options = "") {
    EXPECT_EQ(Mvsms("config set Gateway " + gateway).exit_code, 0U);
    return Mvsms("send --queue --to 0171 " + options + " \"Größe 5\"");
  }
  /// What it heard last.
  static std::string Heard() {
    const std::string all = Records("gateway");
    const std::size_t end = all.rfind('\n', all.size() - 2);
    return all.substr(end == all.npos ? 0 : end + 1);
  }
  const std::string http_ = Records("gateway_http");
  const std::string https_ = Records("gateway_https");
};

TEST_F(HandedToAGateway, APageIsTakenAndItsIdPrinted) {
  const Ended taken = Queue(http_, "--service Elsewhere --id A");
  EXPECT_EQ(taken.exit_code, 0U) << taken.output;
  EXPECT_EQ(taken.output, "A-1\r\n");
  EXPECT_THAT(Heard(), AllOf(HasSubstr("\"Größe 5\""), HasSubstr("\"service\": \"Elsewhere\""),
                             HasSubstr("\"token\": null")));
}

TEST_F(HandedToAGateway, TheTokenOfItsFileComesWithIt) {
  std::ofstream("token.txt") << "secret-7\r\n";
  EXPECT_EQ(Mvsms("config set GatewayTokenFile token.txt").exit_code, 0U);
  EXPECT_EQ(Queue(http_).exit_code, 0U);
  EXPECT_THAT(Heard(), HasSubstr("Bearer secret-7"));
  std::ofstream("token.txt") << "secret-8";
  const Ended refused = Queue(http_);
  EXPECT_EQ(refused.exit_code, 78U);
  EXPECT_THAT(refused.output, AllOf(HasSubstr("token is not known"), Not(HasSubstr("secret"))));
  EXPECT_TRUE(::DeleteFileW(L"token.txt"));
}

TEST_F(HandedToAGateway, WhatItSaysDecidesTheExitCode) {
  EXPECT_EQ(Mvsms("send --queue --to 0171 x").exit_code, 78U);
  const Ended refused = Queue(http_ + "/strict");
  EXPECT_EQ(refused.exit_code, 65U);
  EXPECT_THAT(refused.output, HasSubstr("to: 0171 is no number"));
  EXPECT_EQ(Queue(http_ + "/busy").exit_code, 75U);
  EXPECT_EQ(Queue("http://localhost:1").exit_code, 75U);
}

TEST_F(HandedToAGateway, ALostAnswerIsAskedForAgain) {
  const Ended taken = Queue(http_ + "/lost");
  EXPECT_EQ(taken.exit_code, 0U) << taken.output;
}

TEST_F(HandedToAGateway, NoPageFollowsARedirect) {
  EXPECT_EQ(Queue(http_ + "/moved").exit_code, 78U);
  EXPECT_THAT(Heard(), HasSubstr("/moved"));
}

TEST_F(HandedToAGateway, ACertificateThatNobodyTrustsEndsIt) {
  const std::string before = Records("gateway");
  const Ended refused = Queue(https_);
  EXPECT_EQ(refused.exit_code, 78U);
  EXPECT_THAT(refused.output, HasSubstr("certificate"));
  EXPECT_EQ(Records("gateway"), before);
}

TEST_F(HandedToAGateway, ATrustedCertificateIsGoodForItsOwnNameAlone) {
  const std::string key =
      "Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\" + Records("certificate.name");
  const std::string blob = Records("certificate.blob");
  ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), "Blob", REG_BINARY, blob.data(),
                    static_cast<DWORD>(blob.size()));
  const Ended taken = Queue(https_);
  const Ended refused = Queue("https://127.0.0.1" + https_.substr(https_.rfind(':')));
  ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
  EXPECT_EQ(taken.exit_code, 0U) << taken.output;
  EXPECT_EQ(refused.exit_code, 78U) << refused.output;
}

TEST_F(WindowsCommand, ExportsToAFileWhoseNameHasUmlauts) {
  const wchar_t name[] = L"Gr\u00F6\u00DFe.json";
  EXPECT_EQ(Mvsms("registry export Größe.json").exit_code, 0U);
  EXPECT_NE(::GetFileAttributesW(name), INVALID_FILE_ATTRIBUTES);
  const Ended imported = Mvsms("registry import Größe.json");
  EXPECT_EQ(imported.exit_code, 0U) << imported.output;
  EXPECT_TRUE(::DeleteFileW(name));
}

TEST_F(WindowsCommand, AWrongCommandIsWrongUsage) { EXPECT_EQ(Mvsms("frob").exit_code, 2U); }

}  // namespace
}  // namespace mvsms::com
