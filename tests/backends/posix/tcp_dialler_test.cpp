// Calls over the network, against a listening socket of the test.
#include <gmock/gmock.h>
#include <netdb.h>
#include <sys/socket.h>

#include <random>

#include "backends/posix/line/tcp_address.h"
#include "tests/backends/posix/listener.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::Pair;

// --- the number of a TCP line ------------------------------------------------------------------

TEST(TcpNumber, IsHostAndPort) {
  EXPECT_EQ(ParseTcpAddress("centre.example:2000"), (TcpAddress{"centre.example", "2000"}));
  EXPECT_EQ(ParseTcpAddress("192.0.2.7:1"), (TcpAddress{"192.0.2.7", "1"}));
  EXPECT_EQ(ParseTcpAddress("[2001:db8::7]:65535"), (TcpAddress{"2001:db8::7", "65535"}));
  EXPECT_EQ(ParseTcpAddress("2001:db8::7:2000"), (TcpAddress{"2001:db8::7", "2000"}));
  EXPECT_EQ(ParseTcpAddress("  host:2000 "), (TcpAddress{"host", "2000"}));
}

TEST(TcpNumber, AnythingElseIsRefused) {
  for (const char* text :
       {"", ":", "host", "host:", ":2000", "host:0", "host:65536", "host:-1", "host:+1", "host:2k",
        "ho st:2000", "host: 2000", "[]:2000", "[host:2000", "host]:2000", "h\xF6st:2000",
        "host:99999999999999999999", "0172 2278020", "host\n:2000"}) {
    EXPECT_FALSE(ParseTcpAddress(text)) << text;
  }
}

TEST(TcpNumber, AnyBytesAreParsedOrRefused) {
  std::mt19937 random(11);
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 12, ' ');
    for (char& code : text) code = "0123456789:[]. ah\0\xFF"[random() % 19];
    const auto address = ParseTcpAddress(text);
    if (!address) continue;
    EXPECT_EQ(ParseTcpAddress("[" + address->host + "]:" + address->port), address) << text;
  }
}

// --- calls -------------------------------------------------------------------------------------

class TcpCall : public TelephonySession {
 protected:
  TcpCall() {
    LineConfig line;
    line.name = "Net";
    line.kind = LineKind::kTcp;
    AddLine(line);
  }
  std::string Here() const { return "127.0.0.1:" + listener_.port(); }
  void Connect() {
    ASSERT_EQ(Dial("Net", Here()), CallState::kConnected);
    far_ = listener_.Accept();
    port_ = TakePort();
    events_.clear();
  }
  void Say(const std::string& text) const {
    ASSERT_EQ(write(far_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  std::string Hear(std::size_t count) const {
    std::string text(count, ' ');
    const ssize_t got = recv(far_.get(), text.data(), count, MSG_WAITALL);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return text;
  }
  CallCause FailureOf(const std::string& number) {
    events_.clear();
    EXPECT_EQ(Dial("Net", number), CallState::kDisconnected);
    return events_.empty() ? CallCause::kNone : events_.back().second;
  }

  Listener listener_;
  UniqueFd far_;
  CommHandle port_ = kNoComm;
};

TEST_F(TcpCall, CarriesDataBothWays) {
  Connect();
  Say("ID=");
  EXPECT_EQ(Read(port_, "ID="), "ID=");
  Write(port_, std::string("\x1BPG1\r\xFF\0", 7));
  EXPECT_EQ(Hear(7), std::string("\x1BPG1\r\xFF\0", 7));
}

// As a terminal server in telnet mode pads every CR.
TEST_F(TcpCall, ZeroBytesNeverArrive) {
  Connect();
  Say(std::string("\r\0\n\0ID=", 7));
  EXPECT_EQ(Read(port_, "\r\nID="), "\r\nID=");
}

TEST_F(TcpCall, IsConnectedByName) {
  if (gethostbyname("localhost") == nullptr) GTEST_SKIP() << "no localhost on this machine";
  ASSERT_EQ(Dial("Net", "localhost:" + listener_.port()), CallState::kConnected);
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kConnected, CallCause::kNone)));
}

TEST_F(TcpCall, IsConnectedOverIpv6) {
  const Listener listener(5, AF_INET6);
  if (!listener.up()) GTEST_SKIP() << "no IPv6 on this machine";
  EXPECT_EQ(Dial("Net", "[::1]:" + listener.port()), CallState::kConnected);
}

TEST_F(TcpCall, NumberIsNotTouched) {
  EXPECT_EQ(Address("Net")->TranslateAddress("centre.example:2000", 0, 0)->DialableString(),
            "centre.example:2000");
}

TEST_F(TcpCall, NobodyThereIsNoAnswer) {
  listener_.Close();
  EXPECT_EQ(FailureOf(Here()), CallCause::kDisconnectNoAnswer);
}

TEST_F(TcpCall, WhatIsNoAddressIsABadNumber) {
  EXPECT_EQ(FailureOf("0172 2278020"), CallCause::kDisconnectBadAddress);
  const std::string no_name(300, 'x');  // too long to ask anybody about
  EXPECT_EQ(FailureOf(no_name + ":1"), CallCause::kDisconnectBadAddress);
}

TEST_F(TcpCall, UnreachableAddressFails) {
  // Multicast has no stream connections.
  EXPECT_EQ(FailureOf("224.0.0.1:1"), CallCause::kDisconnectFailed);
}

TEST_F(TcpCall, EndsWhenTheFarEndCloses) {
  Connect();
  far_.Reset();
  EXPECT_EQ(Await([this] { return call_->GetCallState() == CallState::kDisconnected; }),
            CallState::kDisconnected);
  loop_.DoEvents();
  EXPECT_THAT(events_, ElementsAre(Pair(CallState::kDisconnected, CallCause::kDisconnectNormal)));
}

TEST_F(TcpCall, EndsOnlyWhenAllThatCameWasRead) {
  Connect();
  Say("last words");
  far_.Reset();
  loop_.Sleep(milliseconds(20));
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
  EXPECT_EQ(Read(port_, "last words"), "last words");
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
}

TEST_F(TcpCall, DeliversMoreThanAnyBufferBeforeItEnds) {
  Connect();
  const std::string text(50'000, 'x');
  Say(text);
  far_.Reset();
  loop_.Sleep(milliseconds(20));
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
  EXPECT_EQ(Read(port_, text), text);
  EXPECT_EQ(call_->GetCallState(), CallState::kDisconnected);
}

TEST_F(TcpCall, WritesToAFarEndThatIsGoneAreSwallowed) {
  Connect();
  far_.Reset();
  for (int turn = 0; turn < 5; ++turn) {
    Write(port_, "nobody hears this");
    loop_.Sleep(milliseconds(5));
  }
}

TEST_F(TcpCall, DisconnectSendsWhatWasWrittenAndCloses) {
  Connect();
  Say("not read by us");
  loop_.Sleep(milliseconds(10));
  Write(port_, "\x04\r");
  comm_->CloseHandle(port_);
  call_->Disconnect(kDcNormal);
  EXPECT_EQ(Hear(3), "\x04\r");
}

TEST_F(TcpCall, ClosingThePortLeavesTheCallUp) {
  Connect();
  comm_->CloseHandle(port_);
  EXPECT_EQ(call_->GetCallState(), CallState::kConnected);
}

TEST_F(TcpCall, ValidPortSettingsAreAcceptedWithoutEffect) {
  Connect();
  Dcb dcb;
  ASSERT_TRUE(comm_->GetCommState(port_, dcb));
  dcb.BaudRate = 2400;
  dcb.ByteSize = 7;
  dcb.Parity = 2;
  EXPECT_TRUE(comm_->SetCommState(port_, dcb));
  Write(port_, "\xC1\xFF");
  EXPECT_EQ(Hear(2), "\xC1\xFF");
  dcb.StopBits = 1;
  EXPECT_FALSE(comm_->SetCommState(port_, dcb));
  std::uint32_t status = 0;
  EXPECT_FALSE(comm_->GetCommModemStatus(port_, status));
}

TEST_F(TcpCall, SeveralCallsShareALine) {
  Connect();
  const auto first = std::move(call_);
  EXPECT_EQ(Dial("Net", Here()), CallState::kConnected);
  EXPECT_EQ(first->GetCallState(), CallState::kConnected);
}

TEST_F(TcpCall, DisconnectWhileConnectingReturnsSoon) {
  // With its queue full the listener drops further attempts, so they go on and on.
  const Listener full(0);
  const std::string number = "127.0.0.1:" + full.port();
  std::vector<std::shared_ptr<ITBasicCallControl>> calls;
  for (int turn = 0; turn < 4; ++turn) {
    calls.push_back(Call("Net", number));
    calls.back()->Connect(false);
  }
  loop_.Sleep(milliseconds(50));
  loop_.DoEvents();
  std::erase_if(calls,
                [](const auto& call) { return call->GetCallState() != CallState::kInProgress; });
  ASSERT_FALSE(calls.empty());
  const auto start = steady_clock::now();
  calls[0]->Disconnect(kDcNormal);
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));
  EXPECT_EQ(calls[0]->GetCallState(), CallState::kDisconnected);
}

}  // namespace
}  // namespace mvsms::posix
