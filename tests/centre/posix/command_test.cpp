// `mvsms centre`: its options, what it prints and what it records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "backends/posix/line/net_stream.h"
#include "centre/posix/server.h"
#include "cli/errors.h"
#include "cli/options.h"
#include "cli/posix/centre_command.h"
#include "tests/backends/posix/tls_server.h"
#include "tests/centre/callers.h"
#include "tests/centre/frames.h"
#include "tests/support/centre_call.h"
#include "tests/support/temp_folder.h"

namespace mvsms::cli {
namespace {

using centre::test::Caller;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// The centre on a socket for one call, run in a thread.
class CommandTest : public testing::Test {
 protected:
  void SetUp() override {
    options_.tcp_port = 0;
    options_.calls = 1;
  }
  void TearDown() override { std::filesystem::remove(record_); }

  /// Lets `call` speak to the centre and waits for its end.
  void Run(const std::function<void(Caller&)>& call) {
    int port = port_ = 0;
    std::thread caller([&] {
      while ((port = port_) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      auto line = Caller::Tcp(port);
      call(line);
    });
    result_ = RunCentre(options_, out_, err_, [this](centre::Server* server) {
      if (server != nullptr) port_ = static_cast<centre::TcpServer*>(server)->port();
    });
    caller.join();
  }
  void SendPage(Caller& line) {
    line.Sends("<CR>");
    line.HearsUpTo("=");
    line.Sends(centre::test::kLogin);
    line.HearsUpTo("[p<CR>");
    line.Sends(centre::test::kPage);
    line.HearsUpTo("<CR>");
  }
  std::vector<std::string> Lines(std::istream& in) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  CentreOptions options_;
  std::ostringstream out_, err_;
  std::atomic<int> port_{0};
  int result_ = -1;
  const std::string record_ =
      (std::filesystem::temp_directory_path() / ("mvsms-record-" + std::to_string(::getpid())))
          .string();
};

TEST_F(CommandTest, PrintsWhereItListensAndWhatItReceives) {
  Run([this](Caller& line) { SendPage(line); });
  EXPECT_EQ(out_.str(),
            "Listening on 127.0.0.1:" + std::to_string(port_) +
                "\nTAP  login  from PG1  accepted\nTAP  page  123  \"ABC\"  accepted\n");
  EXPECT_EQ(err_.str(), "");
  EXPECT_EQ(result_, 0);
}

TEST_F(CommandTest, ListensOnAnotherAddressWhenAsked) {
  options_.address = "0.0.0.0";
  Run([this](Caller& line) { SendPage(line); });
  EXPECT_THAT(out_.str(),
              StartsWith("Listening on 0.0.0.0:" + std::to_string(port_) + "\nTAP  login"));
}

TEST_F(CommandTest, AnAddressThatIsNoneIsNamed) {
  options_.address = "localhost";
  EXPECT_EQ(RunCentre(options_, out_, err_, [](centre::Server*) {}), 1);
  EXPECT_EQ(err_.str(), "mvsms centre: \"localhost\" is no IPv4 address\n");
}

TEST_F(CommandTest, RefusalsShowTheAnswer) {
  options_.settings = {"refuse=all", "codes=off"};
  Run([this](Caller& line) { SendPage(line); });
  EXPECT_THAT(out_.str(), HasSubstr("TAP  page  123  \"ABC\"  refused: <CR><RS><CR>\n"));
}

TEST_F(CommandTest, SpeaksUcp) {
  options_.protocol = "ucp";
  Run([](Caller& line) {
    line.Sends(centre::test::kSubmit51);
    line.HearsUpTo("<ETX>");
  });
  EXPECT_THAT(out_.str(), HasSubstr("UCP  51  012345  from 09876  \"Message 51\"  accepted\n"));
}

TEST_F(CommandTest, JsonLinesCarryEverything) {
  options_.json = true;
  options_.protocol = "ucp";
  options_.settings = {"system-message=Fine"};
  Run([](Caller& line) {
    line.Sends(centre::test::kSubmit51);
    line.HearsUpTo("<ETX>");
  });
  std::istringstream in(out_.str());
  const auto lines = Lines(in);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(
      nlohmann::json::parse(lines[0]),
      (nlohmann::json{{"listening", "tcp"}, {"address", "127.0.0.1"}, {"port", port_.load()}}));
  const auto request = nlohmann::json::parse(lines[1]);
  EXPECT_EQ(request["protocol"], "UCP");
  EXPECT_EQ(request["operation"], "51");
  EXPECT_EQ(request["recipient"], "012345");
  EXPECT_EQ(request["originator"], "09876");
  EXPECT_EQ(request["text"], "Message 51");
  EXPECT_EQ(request["type"], "alphanumeric");
  EXPECT_EQ(request["trn"], "00");
  EXPECT_EQ(request["accepted"], true);
  EXPECT_THAT(request["raw"].get<std::string>(), StartsWith("00/00083/O/51/"));
  EXPECT_THAT(request["answer"].get<std::string>(), StartsWith("<STX>00/"));
}

// Some terminals obey U+009B as they obey ESC [.
TEST_F(CommandTest, NoCallerSteersTheTerminal) {
  options_.protocol = "ucp";
  options_.settings = {"ucp-alphabet=ascii"};
  for (const bool json : {true, false}) {
    options_.json = json;
    Run([](Caller& line) {
      line.Sends(centre::test::Submit("012345", "", "3", "9B324A0A"));
      line.HearsUpTo("<ETX>");
    });
  }
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("\"\\u009b2J\\n\""), HasSubstr("\"<9B>2J<LF>\"")));
  EXPECT_THAT(out_.str(), Not(HasSubstr("\xC2\x9B")));
}

TEST_F(CommandTest, RecordsToAFile) {
  options_.record = record_;
  options_.quiet = true;
  Run([this](Caller& line) { SendPage(line); });
  EXPECT_EQ(out_.str(), "Listening on 127.0.0.1:" + std::to_string(port_) + "\n");
  std::ifstream in(record_);
  const auto lines = Lines(in);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(nlohmann::json::parse(lines[1])["raw"], "123<CR>ABC<CR>");
}

TEST_F(CommandTest, TracesEveryByte) {
  options_.trace = true;
  Run([this](Caller& line) { SendPage(line); });
  EXPECT_THAT(out_.str(), HasSubstr("* the call begins\n< <CR>\n> ID=\n< <ESC>PG1<CR>\n"));
  EXPECT_THAT(out_.str(), testing::EndsWith("* the call is over\n"));
}

TEST_F(CommandTest, TracesInJson) {
  options_.trace = options_.json = true;
  options_.settings = {"even-parity=on"};
  Run([](Caller& line) {
    line.Sends("<CR><8D>");
    line.HearsUpTo("<xBD>");
  });
  EXPECT_THAT(
      out_.str(),
      AllOf(HasSubstr("{\"call\":\"begins\"}\n"), HasSubstr("{\"dropped\":\"<CR>\"}\n"),
            HasSubstr("{\"sent\":\"<C9>D<BD>\"}\n"), HasSubstr("{\"call\":\"is over\"}\n")));
}

TEST_F(CommandTest, HasAModemOnItsPort) {
  for (const char* modem : {"raw", "rfc2217"}) {
    options_.modem = modem;
    out_.str("");
    Run([this](Caller& line) {
      line.Sends("ATE0DT1<CR>");
      line.HearsUpTo("CONNECT<CR><LF>");
      SendPage(line);
    });
    EXPECT_THAT(out_.str(), HasSubstr("TAP  page  123  \"ABC\"  accepted\n")) << modem;
  }
}

/// A centre that speaks TLS.
class TlsCommandTest : public CommandTest {
 protected:
  void SetUp() override {
    CommandTest::SetUp();
    options_.certificate = File("own.pem", own_.certificate);
    options_.key = File("own.key", own_.key);
  }
  std::string File(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / name) << text;
    return folder_ / name;
  }
  /// What comes until `end`, or until the line is over or half a minute.
  static std::string HearUpTo(posix::NetStream& stream, const std::string& end) {
    std::string heard;
    std::array<char, 256> buffer{};
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!heard.ends_with(end) && std::chrono::steady_clock::now() < limit) {
      pollfd wait{stream.fd(), POLLIN, 0};
      ::poll(&wait, 1, 10);
      const long got = stream.Read(buffer.data(), buffer.size());
      if (got > 0) heard.append(buffer.data(), static_cast<std::size_t>(got));
      if (got == 0 || (got < 0 && errno != EAGAIN)) break;
    }
    return heard;
  }

  TempFolder folder_;
  const posix::Certificate own_ = posix::MakeCertificate({});
};

TEST_F(TlsCommandTest, CallersAreAnsweredByTls) {
  options_.json = true;
  options_.calls = 2;  // with the one that Run begins
  Run([this](Caller& line) {
    line.HangUp();
    const posix::LineAccess access{options_.certificate, "", "", "", ""};
    const auto call = posix::OpenNetStream({"localhost", std::to_string(port_)}, "centre", true,
                                           access, std::stop_token());
    ASSERT_TRUE(call.stream) << call.trouble;
    call.stream->Write("\r");
    EXPECT_EQ(HearUpTo(*call.stream, "="), "ID=");
    call.stream->Finish();
  });
  EXPECT_THAT(out_.str(), HasSubstr("\"tls\":true"));
  EXPECT_EQ(err_.str(), "");
}

TEST_F(TlsCommandTest, ACallerWithoutTlsIsHungUpAndTold) {
  Run([](Caller& line) {
    line.Sends("GET / HTTP/1.0<CR><LF><CR><LF>");
    EXPECT_TRUE(line.HearsTheEnd());
  });
  EXPECT_EQ(err_.str(), "mvsms centre: The caller does not speak TLS\n");
}

TEST_F(TlsCommandTest, ACertificateThatDoesNotServeIsNamed) {
  const auto said = [this] {
    err_.str("");
    EXPECT_EQ(RunCentre(options_, out_, err_, [](centre::Server*) {}), 1);
    return err_.str();
  };
  options_.key = File("other.key", posix::MakeCertificate({}).key);
  EXPECT_EQ(said(), "mvsms centre: The key " + options_.key +
                        " does not belong to the certificate " + options_.certificate + "\n");
  options_.key.clear();
  EXPECT_THAT(said(),
              StartsWith("mvsms centre: The key " + options_.certificate + " cannot be used: "));
  options_.certificate = "/nowhere";
  EXPECT_EQ(said(),
            "mvsms centre: The certificate /nowhere cannot be used: No such file or directory\n");
  EXPECT_EQ(out_.str(), "");
}

TEST_F(CommandTest, PlaysADialogue) {
  options_.script = std::string(MVSMS_DIALOGUES) + "/tap-plain-login.dialogue";
  Run([this](Caller& line) {
    SendPage(line);
    line.Sends("<EOT><CR>");
    line.HearsTheEnd();
  });
  EXPECT_THAT(out_.str(), HasSubstr("tap-plain-login.dialogue: played\n"));
  EXPECT_EQ(result_, 0);
}

TEST_F(CommandTest, ADepartureFromTheDialogueIsAFailure) {
  options_.script = std::string(MVSMS_DIALOGUES) + "/tap-plain-login.dialogue";
  options_.quiet = true;
  Run([](Caller& line) {
    line.Sends("x");
    line.HearsTheEnd();
  });
  EXPECT_THAT(err_.str(),
              HasSubstr("tap-plain-login.dialogue:3: expected <CR>, the caller sent x"));
  EXPECT_EQ(result_, 1);
}

TEST_F(CommandTest, ServesSeveralCalls) {
  options_.calls = 3;
  Run([this](Caller& first) {
    SendPage(first);
    first.HangUp();
    for (int i = 0; i < 2; ++i) {
      auto next = Caller::Tcp(port_);
      SendPage(next);
    }
  });
  std::istringstream in(out_.str());
  EXPECT_EQ(Lines(in).size(), 7u);
}

TEST_F(CommandTest, WhatCannotBeHadIsAnErrorWithoutAFirstLine) {
  options_.record = "/nowhere/at/all";
  EXPECT_EQ(RunCentre(options_, out_, err_, [](centre::Server*) {}), 1);
  EXPECT_EQ(err_.str(), "mvsms centre: /nowhere/at/all: cannot be written\n");
  EXPECT_EQ(out_.str(), "");
}

/// What the parser says to a command line; "ran" when the command was carried out.
std::string Parse(std::vector<std::string> arguments) {
  Parser parser("mvsms", "", "",
                [](const std::string&, const std::string& value) { return value; });
  int exit_code = 0;
  AddCentreCommand(parser.root(), exit_code);
  arguments.insert(arguments.begin(), "centre");
  std::ostringstream out;
  try {
    parser.Parse(arguments, out);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "ran";
}

TEST(CentreOptions, NeedSomewhereToListen) {
  EXPECT_THAT(Parse({}), HasSubstr("--tcp PORT or --pty"));
  EXPECT_THAT(Parse({"--tcp", "0", "--pty"}), HasSubstr("excludes"));
}

TEST(CentreOptions, AreCheckedWhereTheyStand) {
  EXPECT_THAT(Parse({"--tcp", "99999"}), HasSubstr("--tcp"));
  EXPECT_THAT(Parse({"--pty", "--protocol", "smtp"}), HasSubstr("--protocol"));
  EXPECT_THAT(Parse({"--pty", "--set", "colour=red"}), HasSubstr("there is no setting \"colour\""));
  EXPECT_THAT(Parse({"--pty", "--script", "/nowhere"}), HasSubstr("/nowhere"));
  EXPECT_THAT(Parse({"--pty", "--once", "--calls", "2"}), HasSubstr("excludes"));
  EXPECT_THAT(Parse({"--tcp", "0", "--link", "x"}), HasSubstr("--pty"));
  EXPECT_THAT(Parse({"--pty", "--certificate", "x"}), HasSubstr("--certificate requires --tcp"));
  EXPECT_THAT(Parse({"--tcp", "0", "--key", "x"}), HasSubstr("--key requires --certificate"));
  EXPECT_THAT(Parse({"--tcp", "0", "--modem", "isdn"}), HasSubstr("isdn not in {raw,rfc2217}"));
}

TEST(CentreOptions, TheListOfSettingsNeedsNoLine) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(Parse({"--settings"}), "ran");
  const std::string list = testing::internal::GetCapturedStdout();
  EXPECT_THAT(list, HasSubstr("TAP:\n  prompt=ID=  (text)\n      the prompt"));
  EXPECT_THAT(list, HasSubstr("\n  go-ahead=<ESC>[p<CR>  (text)\n"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(Parse({"--settings", "--json"}), "ran");
  EXPECT_GT(nlohmann::json::parse(testing::internal::GetCapturedStdout()).size(), 50u);
}

}  // namespace
}  // namespace mvsms::cli
