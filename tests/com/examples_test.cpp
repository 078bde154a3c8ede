// The example hosts as users run them: script engines that nobody here wrote, and a C++ program.
// All trips run at once, each host a process of its own.
#include <future>
#include <map>

#include "tests/support/com_host.h"

namespace mvsms::com {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

std::string Command(const std::string& host) {
  if (host == "cpp") return "example_send.exe";
  return "cscript //nologo " + std::string(MVSMS_EXAMPLES) + "\\send." + host;
}

/// Under load an engine of Wine ends now and then before it has read its script, without a word.
Ended RunHost(const std::string& command) {
  const Ended ended = RunToItsEnd(command);
  return ended.output.empty() ? RunToItsEnd(command) : ended;
}

std::string Arguments(const std::string& number, const std::string& text) {
  return std::string(" ") + kProfile + " \"" + number + "\" \"" + text + "\"";
}

/// The trips, each "host number"; those of a line run at once, for each centre takes one call.
const std::vector<std::vector<std::string>> kTrips = {
    {"vbs 0171", "vbs 0172", "vbs 0173", "vbs 0174", "js 0175", "cpp 0176"},
    {"js 0172", "cpp 0173", "js 0174"},
};

class Examples : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    WriteProfile();
    const std::pair<const char*, const char*> tap[] = {
        {"0173", "223"}, {"0175", "225"}, {"0176", "226"}};
    for (const auto& [prefix, number] : tap) {
      WriteService(prefix, "TAP", number);
      Route(prefix, prefix);
    }
    WriteService("0174", "UCP", "224");
    Route("0174", "0174");
    for (const auto& trips : kTrips) {
      std::map<std::string, std::future<Ended>> running;
      for (const std::string& trip : trips) {
        running[trip] = std::async(std::launch::async, [trip] {
          const std::size_t blank = trip.find(' ');
          const std::string command = Command(trip.substr(0, blank)) +
                                      Arguments(trip.substr(blank + 1) + " 5", "Sent by " + trip);
          return RunHost(command);
        });
      }
      for (auto& [trip, outcome] : running) outcomes_[trip] = outcome.get();
    }
    DeleteProfile();
  }
  static void Route(const std::string& prefix, const std::string& service) {
    const std::string key = std::string("MIRVALEN\\PAGOREX\\") + kProfile + "\\Routing\\" + prefix;
    HKEY opened = nullptr;
    ::RegCreateKeyA(NativeSoftware(), key.c_str(), &opened);
    ::RegSetValueExA(opened, "UseService", 0, REG_SZ,
                     reinterpret_cast<const BYTE*>(service.c_str()),
                     static_cast<DWORD>(service.size() + 1));
    ::RegCloseKey(opened);
  }
  static std::map<std::string, Ended> outcomes_;
};
std::map<std::string, Ended> Examples::outcomes_;

TEST_F(Examples, SendThroughATapCentre) {
  const std::pair<const char*, const char*> trips[] = {
      {"vbs 0171", "com21"}, {"js 0175", "com25"}, {"cpp 0176", "com26"}};
  for (const auto& [trip, port] : trips) {
    const Ended& ended = outcomes_.at(trip);
    EXPECT_EQ(ended.exit_code, 0U) << trip;
    EXPECT_THAT(ended.output, AllOf(HasSubstr("Result:  Success"), EndsWith("accepted\r\n")));
    EXPECT_THAT(Records(port), HasSubstr(std::string("Sent by ") + trip));
  }
}

TEST_F(Examples, SendThroughAUcpCentre) {
  for (const char* trip : {"vbs 0172", "js 0172"}) {
    EXPECT_EQ(outcomes_.at(trip).exit_code, 0U) << trip;
    EXPECT_THAT(outcomes_.at(trip).output, EndsWith("accepted\r\n"));
    EXPECT_THAT(Records("com22"), HasSubstr(std::string("Sent by ") + trip));
  }
}

TEST_F(Examples, SayThatARetryMakesSenseWhenATapCentreRefuses) {
  for (const char* trip : {"vbs 0173", "cpp 0173"}) {
    EXPECT_EQ(outcomes_.at(trip).exit_code, 75U) << trip;
    EXPECT_THAT(outcomes_.at(trip).output, EndsWith("failed\r\n"));
  }
}

TEST_F(Examples, FailWhenAUcpCentreRefuses) {
  for (const char* trip : {"vbs 0174", "js 0174"}) {
    EXPECT_NE(outcomes_.at(trip).exit_code, 0U) << trip;
    EXPECT_THAT(outcomes_.at(trip).output,
                AllOf(HasSubstr("Failed to send message: "), EndsWith("failed\r\n")));
  }
}

TEST_F(Examples, ReadBackTheChangedArguments) {
  EXPECT_THAT(outcomes_.at("vbs 0171").output,
              AllOf(HasSubstr("recipient=01715\r\n"), HasSubstr("retry=False\r\n")));
  EXPECT_THAT(outcomes_.at("vbs 0172").output, HasSubstr("service=City\r\n"));
  EXPECT_THAT(outcomes_.at("vbs 0173").output, HasSubstr("retry=True\r\n"));
}

/// What opens the dialog in a process of its own.
Ended Configure(const std::string& command) {
  auto closed = std::async(std::launch::async, CloseDialog);
  const Ended ended = RunHost(command);
  EXPECT_TRUE(closed.get()) << ended.output;
  return ended;
}

TEST_F(Examples, OpenTheConfigurationDialog) {
  const std::string script = "cscript //nologo " + std::string(MVSMS_EXAMPLES) + "\\config.vbs ";
  EXPECT_THAT(Configure(script + kProfile).output, EndsWith("closed\r\n"));
  const std::string key = std::string("MIRVALEN\\PAGOREX\\") + kProfile;
  DWORD retries = 0, size = sizeof retries;
  ::RegGetValueA(NativeSoftware(), key.c_str(), "Retries", RRF_RT_REG_DWORD, nullptr, &retries,
                 &size);
  EXPECT_EQ(retries, 3U);
  DeleteProfile();
}

TEST_F(Examples, WantTheirArguments) {
  for (const char* host : {"vbs", "js", "cpp"}) {
    const Ended ended = RunHost(Command(host));
    EXPECT_EQ(ended.exit_code, 2U) << host;
    EXPECT_THAT(ended.output, HasSubstr("usage: send")) << host;
  }
}

}  // namespace
}  // namespace mvsms::com
