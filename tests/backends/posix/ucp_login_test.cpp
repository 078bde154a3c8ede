// The login before the first message, against a centre that says what a test tells it to.
#include "backends/posix/line/ucp_login.h"

#include <gmock/gmock.h>

#include <fstream>

#include "backends/posix/line/line_trouble.h"
#include "tests/backends/posix/listener.h"
#include "tests/backends/posix/telephony_fixture.h"

namespace mvsms::posix {
namespace {

constexpr char kLogin[] =
    "\x02"
    "00/00058/O/60/07656765/6/5/1/50617373776F7264//0100//////";

TEST(UcpLogin, IsAFrameOfOperation60) {
  const std::string frame = LoginFrame("07656765", "Password");
  EXPECT_TRUE(frame.starts_with(std::string(kLogin).substr(0, 1) + "00/000")) << frame;
  EXPECT_NE(frame.find("/O/60/07656765/6/5/1/50617373776F7264//0100//////"), std::string::npos);
  // The length counts everything between STX and ETX.
  EXPECT_EQ(static_cast<std::size_t>(std::stoi(frame.substr(4, 5))), frame.size() - 2);
}

class LineWithLogin : public TelephonySession {
 protected:
  LineWithLogin() {
    std::ofstream(files_ / "password") << "sec/ret\r\n";
    LineConfig line;
    line.name = "Net";
    line.kind = LineKind::kTcp;
    line.access = {"", "", "", "user", files_ / "password"};
    AddLine(line);
  }
  /// A call that the centre answers by `words` to whatever comes; it hangs up when there are none.
  CallState CallAnd(const std::string& words) {
    std::jthread centre([this, words] {
      far_ = listener_.Accept();
      char buffer[256];
      const ssize_t count = read(far_.get(), buffer, sizeof buffer);
      heard_.assign(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      if (words.empty()) return far_.Reset();
      EXPECT_EQ(write(far_.get(), words.data(), words.size()), static_cast<ssize_t>(words.size()));
    });
    number_ = "127.0.0.1:" + listener_.port();
    return Dial("Net", number_);
  }

  TempFolder files_;
  Listener listener_;
  UniqueFd far_;
  std::string heard_, number_;
};

TEST_F(LineWithLogin, IsUpWhenTheCentreHasLetItIn) {
  EXPECT_EQ(CallAnd("\x02"
                    "00/00019/R/60/A//6D\x03"
                    "rest"),
            CallState::kConnected);
  EXPECT_EQ(heard_, LoginFrame("user", "sec/ret"));
  EXPECT_EQ(Read(TakePort(), "rest"), "rest");
}

TEST_F(LineWithLogin, WhatComesBeforeTheAnswerIsNone) {
  EXPECT_EQ(CallAnd("hello\x02"
                    "00/00019/O/31/x/0139/00\x03\x02"
                    "00/00019/R/60/A//6D\x03"),
            CallState::kConnected);
}

TEST_F(LineWithLogin, ARefusalHasTheCentresWords) {
  EXPECT_EQ(CallAnd("\x02"
                    "00/00042/R/60/N/07/Authentication failure/00\x03"),
            CallState::kDisconnected);
  EXPECT_EQ(events_.back().second, CallCause::kDisconnectRejected);
  EXPECT_EQ(words_, "07/Authentication failure");
  EXPECT_EQ(LastTrouble("Net"), number_ + " refuses the login");
}

TEST_F(LineWithLogin, ACentreThatHangsUpRefusesNothing) {
  EXPECT_EQ(CallAnd(""), CallState::kDisconnected);
  EXPECT_EQ(events_.back().second, CallCause::kDisconnectFailed);
  EXPECT_EQ(words_, "");
  EXPECT_EQ(LastTrouble("Net"), number_ + " closed the connection without a word to the login");
}

TEST_F(LineWithLogin, APasswordThatCannotBeReadKeepsItFromCalling) {
  std::filesystem::remove(files_ / "password");
  EXPECT_EQ(Dial("Net", "127.0.0.1:" + listener_.port()), CallState::kDisconnected);
  EXPECT_EQ(LastTrouble("Net"), "The password file " + (files_ / "password") +
                                    " cannot be read: No such file or directory");
}

}  // namespace
}  // namespace mvsms::posix
