// Modems behind serial servers: the addresses, and calls over Debian's ser2net with a modem on a
// pseudo-terminal, the server killed at every stage.
#include "backends/posix/line/network_modem.h"

#include <gmock/gmock.h>
#include <netinet/tcp.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>

#include "backends/posix/line/line_check.h"
#include "backends/posix/line/line_doctor.h"
#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/net_stream.h"
#include "tests/backends/posix/listener.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// --- addresses -----------------------------------------------------------------------------------

TEST(NetAddress, IsASchemeAndAHostWithItsPort) {
  std::string problem;
  const auto address = ParseNetAddress("rfc2217://server.example:4001", problem);
  ASSERT_TRUE(address);
  EXPECT_EQ(address->scheme, NetScheme::kRfc2217);
  EXPECT_EQ(address->host, (TcpAddress{"server.example", "4001"}));
  EXPECT_EQ(ParseNetAddress("tcp://[2001:db8::7]:1", problem)->host,
            (TcpAddress{"2001:db8::7", "1"}));
  EXPECT_EQ(ParseNetAddress("tls://192.0.2.7:1", problem)->scheme, NetScheme::kTls);
}

TEST(NetAddress, AnythingElseIsRefusedWithASentence) {
  const auto problem = [](const std::string& text) {
    std::string sentence;
    EXPECT_FALSE(ParseNetAddress(text, sentence)) << text;
    return sentence;
  };
  EXPECT_EQ(problem("http://x:1"),
            "\"http://x:1\" begins with no known scheme; use "
            "rfc2217://HOST:PORT, tcp://HOST:PORT or tls://HOST:PORT");
  EXPECT_EQ(problem("tcp://x"), "\"tcp://x\" is not tcp://HOST:PORT");
  EXPECT_EQ(problem("rfc2217://x:99999"), "\"rfc2217://x:99999\" is not rfc2217://HOST:PORT");
  EXPECT_THAT(problem("/dev/ttyS0"), HasSubstr("no known scheme"));
}

TEST(NetAddress, OfACentreNeedsNoScheme) {
  EXPECT_EQ(ParseCentreAddress("x:1", false)->scheme, NetScheme::kTcp);
  EXPECT_EQ(ParseCentreAddress("x:1", true)->scheme, NetScheme::kTls);
  EXPECT_EQ(ParseCentreAddress("tcp://x:1", true)->scheme, NetScheme::kTcp);
  EXPECT_EQ(ParseCentreAddress(" tls://x:1 ", false)->scheme, NetScheme::kTls);
  EXPECT_FALSE(ParseCentreAddress("rfc2217://x:1", false));
  EXPECT_FALSE(ParseCentreAddress("123", false));
}

TEST(NetAddress, AHostThatIsUnknownIsToldBeforeAnyCall) {
  const std::string device = "tcp://" + std::string(300, 'x') + ":1";  // too long to ask about
  EXPECT_EQ(CheckDevice(device), device + ": the host is unknown");
  EXPECT_TRUE(MayAppear(device));
  EXPECT_FALSE(MayAppear("http://localhost:1"));
  EXPECT_EQ(CheckDevice("rfc2217://127.0.0.1:1"), "");
}

// --- calls ---------------------------------------------------------------------------------------

class ServedModem : public TelephonySession {
 protected:
  ~ServedModem() override { Kill(); }

  /// ser2net with the modem on a port of its own; false where it is not installed.
  bool Serve(const std::string& accepter) {
    const std::string program = "/usr/sbin/ser2net";
    if (access(program.c_str(), X_OK) != 0) return false;
    {
      port_number_ = Listener().port();
    }
    std::ofstream(files_ / "ser2net.yaml")
        << "%YAML 1.1\n---\nconnection: &modem\n  accepter: " << accepter << "tcp,127.0.0.1,"
        << port_number_ << "\n  connector: serialdev," << modem_.device()
        << ",9600n81,local\n  options:\n    chardelay: false\n";
    return Start();
  }
  bool Start() {
    const std::string program = "/usr/sbin/ser2net";
    server_ = fork();
    if (server_ == 0) {
      const std::string file = files_ / "ser2net.yaml";
      const int nowhere = open("/dev/null", O_WRONLY);
      dup2(nowhere, STDERR_FILENO);  // it misses the service for names
      execl(program.c_str(), "ser2net", "-n", "-d", "-c", file.c_str(), nullptr);
      _exit(127);
    }
    return Listens();
  }
  bool Listens() const {
    const std::string address = "127.0.0.1:" + port_number_;
    for (int turn = 0; turn < 500; ++turn) {
      sockaddr_in there{};
      there.sin_family = AF_INET;
      there.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      there.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port_number_)));
      const UniqueFd fd(socket(AF_INET, SOCK_STREAM, 0));
      if (connect(fd.get(), reinterpret_cast<sockaddr*>(&there), sizeof there) == 0) return true;
      std::this_thread::sleep_for(milliseconds(10));
    }
    return false;
  }
  void Kill() {
    if (server_ > 0) {
      kill(server_, SIGKILL);
      waitpid(server_, nullptr, 0);
    }
    server_ = 0;
  }
  void Line(const std::string& scheme) {
    LineConfig line;
    line.name = "Modem";
    line.device = scheme + "://127.0.0.1:" + port_number_;
    line.flow = "none";
    device_ = line.device;
    AddLine(line);
    modem_.On("ATD123", "\r\nCONNECT 2400\r\nID=");
    modem_.On("+++", "\r\nOK\r\n");
    modem_.On("ATH", "\r\nOK\r\n");
  }
  CallState Call() { return Dial("Modem", "123"); }
  /// Kills the server as soon as the modem has heard `text`, and waits for the call's end.
  CallState CallKilledAt(const std::string& text) {
    call_ = TelephonySession::Call("Modem", "123");
    call_->Connect(false);
    Await([&] { return modem_.received().find(text) != std::string::npos; });
    Kill();
    return Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
  }

  std::vector<Finding> Findings(const DoctorsOrder& order) {
    modem_.On("AT", "\r\nOK\r\n");
    modem_.On("ATI", "\r\nOK\r\n");
    modem_.On("", "ID=");
    const auto line = LineStore(home_.path()).Find("Modem");
    seen_ = Examine(*line, order, [](const std::string&, milliseconds) {});
    return Diagnose(seen_);
  }

  TempFolder files_;
  PtyModem modem_;
  Seen seen_;
  std::string port_number_, device_;
  pid_t server_ = 0;
};

#define MVSMS_SERVE(accepter) \
  if (!Serve(accepter)) GTEST_SKIP() << "no ser2net on this machine"

TEST_F(ServedModem, IsDialledByRfc2217) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
  const CommHandle port = TakePort();
  EXPECT_EQ(Read(port, "ID="), "ID=");
  Write(port, "\x1BPG1\r\xFF\xFE");
  Await([this] { return modem_.received().ends_with("\x1BPG1\r\xFF\xFE"); });
  EXPECT_THAT(modem_.received(), EndsWith("\x1BPG1\r\xFF\xFE"));
  call_->Disconnect(kDcNormal);
  EXPECT_THAT(modem_.received(), HasSubstr("+++ATH"));
}

TEST_F(ServedModem, IsDialledOverARawConnection) {
  MVSMS_SERVE("");
  Line("tcp");
  ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
  EXPECT_EQ(Read(TakePort(), "ID="), "ID=");
}

TEST_F(ServedModem, TakesOneCallAfterTheOther) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  for (int turn = 0; turn < 2; ++turn) {
    ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
    call_->Disconnect(kDcNormal);
  }
}

TEST_F(ServedModem, IsInUseWhileItIs) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  ASSERT_EQ(Call(), CallState::kConnected);
  EXPECT_THROW(Register("Modem"), RaisedError);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr(device_ + " is in use by another call"));
  call_->Disconnect(kDcNormal);
  EXPECT_NO_THROW(Register("Modem"));
}

TEST_F(ServedModem, AServerThatDiesWhileDiallingEndsTheCall) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  modem_.On("ATD123", "");
  EXPECT_EQ(CallKilledAt("ATD123\r"), CallState::kDisconnected);
  EXPECT_EQ(LastTrouble("Modem"), "The line over " + device_ + " was lost");
}

TEST_F(ServedModem, AServerThatDiesWhileInitialisingEndsTheCall) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  modem_.On("ATZ", "");
  EXPECT_EQ(CallKilledAt("ATZ\r"), CallState::kDisconnected);
}

TEST_F(ServedModem, AServerThatDiesInACallEndsItAfterWhatCameBefore) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
  const CommHandle port = TakePort();
  EXPECT_EQ(Read(port, "ID="), "ID=");
  Kill();
  Await([this] { return call_->GetCallState() == CallState::kDisconnected; });
  EXPECT_EQ(LastTrouble("Modem"), "The line over " + device_ + " was lost");
}

TEST_F(ServedModem, AServerThatIsGoneIsToldAtOnce) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  Kill();
  EXPECT_EQ(Call(), CallState::kDisconnected);
  EXPECT_EQ(LastTrouble("Modem"), device_ + " refuses connections: nothing listens there");
}

TEST_F(ServedModem, AServerThatDiesWhileHangingUpHoldsNobodyUp) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
  std::jthread killer([this](const std::stop_token& stop) {
    while (!stop.stop_requested() && modem_.received().find("+++") == std::string::npos) {
      std::this_thread::sleep_for(milliseconds(5));
    }
    kill(server_, SIGKILL);
  });
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
  EXPECT_THAT(modem_.received(), HasSubstr("+++"));
}

TEST_F(ServedModem, AServerThatWasStartedAgainCostsNothing) {
  MVSMS_SERVE("");
  Line("tcp");
  ASSERT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
  Kill();
  call_->Disconnect(kDcNormal);
  ASSERT_TRUE(Start());
  EXPECT_EQ(Call(), CallState::kConnected) << LastTrouble("Modem");
}

TEST_F(ServedModem, AServerThatIsGoneBeforeAWordIsToldSo) {
  const Listener server;
  port_number_ = server.port();
  Line("rfc2217");
  std::jthread gone([&] { server.Accept(); });
  EXPECT_EQ(Call(), CallState::kDisconnected);
  EXPECT_EQ(LastTrouble("Modem"), device_ + " closed the connection at once; is its port in use?");
}

TEST(NetStream, IsAskedWhetherItStillLives) {
  const Listener server;
  const NetResult result =
      OpenNetStream({"127.0.0.1", server.port()}, "server", false, LineAccess(), {});
  ASSERT_TRUE(result.stream) << result.trouble;
  const auto option = [&](int level, int name) {
    int value = 0;
    socklen_t size = sizeof value;
    getsockopt(result.stream->fd(), level, name, &value, &size);
    return value;
  };
  EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_LE(option(IPPROTO_TCP, TCP_KEEPIDLE) +
                option(IPPROTO_TCP, TCP_KEEPINTVL) * option(IPPROTO_TCP, TCP_KEEPCNT),
            60);
  EXPECT_LE(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 60000) << "also while something is on its way";
}

// --- the doctor ----------------------------------------------------------------------------------

TEST_F(ServedModem, IsWellForTheDoctor) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("rfc2217");
  EXPECT_THAT(Findings({.number = "123", .protocol = "TAP"}), IsEmpty());
  EXPECT_EQ(seen_.call.connect.speed, "2400");
  EXPECT_EQ(Joined(seen_.centre.greeting), "ID=");
}

TEST_F(ServedModem, BehindTelnetIsGivenThePortThatTheServerOffers) {
  MVSMS_SERVE("telnet(rfc2217),");
  Line("tcp");
  modem_.On("ATD123", "\r\nBUSY\r\n");
  const auto findings = Findings({.number = "123", .protocol = ""});
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[0].id, "telnet-modem");
  ASSERT_EQ(findings[0].settings.size(), 1U);
  EXPECT_EQ(findings[0].settings[0].to, "rfc2217://127.0.0.1:" + port_number_);
  EXPECT_EQ(findings[1].id, "busy");
  const std::string received = modem_.received();
  EXPECT_EQ(received.find("ATD"), received.rfind("ATD")) << "it is dialled once";
}

TEST_F(ServedModem, WithoutAServerIsSaidToBe) {
  MVSMS_SERVE("");
  Line("tcp");
  Kill();
  const auto findings = Findings({});
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_THAT(findings[0].sentence, HasSubstr("refuses connections"));
}

TEST_F(ServedModem, AServerWithoutTheOptionIsToldWithTheWayOut) {
  MVSMS_SERVE("telnet,");
  Line("rfc2217");
  EXPECT_EQ(Call(), CallState::kDisconnected);
  EXPECT_THAT(LastTrouble("Modem"), HasSubstr(device_ + " does not speak RFC 2217"));
}

}  // namespace
}  // namespace mvsms::posix
