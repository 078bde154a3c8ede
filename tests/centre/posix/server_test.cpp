// The servers with real sockets and terminals: the only tests here that spend real time.
#include "centre/posix/server.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>
#include <thread>

#include "tests/centre/callers.h"
#include "tests/support/centre_call.h"

namespace mvsms::centre::test {
namespace {

/// A server in a thread of its own, stopped with the test.
template <typename ServerType>
class Running {
 public:
  template <typename First, typename... Rest>
  Running(First first, AnswererFactory factory, Rest... rest)
      : server_(std::move(first), std::move(factory), rest...),
        thread_([this] { server_.Run(); }) {}
  ~Running() { Stop(); }
  void Stop() {
    server_.Stop();
    Wait();
  }
  void Wait() {
    if (thread_.joinable()) thread_.join();
  }
  ServerType& operator*() { return server_; }
  ServerType* operator->() { return &server_; }

 private:
  ServerType server_;
  std::thread thread_;
};

/// Hangs up at the first byte, after a long last word.
class LastWord : public Answerer {
 public:
  explicit LastWord(std::size_t size) : word_(size, 'w') {}
  void Connected(Line& line) override { line_ = &line; }
  void Received(std::string_view) override {
    line_->Write(word_ + "!");
    line_->HangUp();
  }
  void HungUp() override {}

 private:
  std::string word_;
  Line* line_ = nullptr;
};

/// Says hello, and tells when the caller has gone.
class Greets : public Answerer {
 public:
  explicit Greets(std::function<void()> ended) : ended_(std::move(ended)) {}
  void Connected(Line& line) override { line.Write("hello"); }
  void Received(std::string_view) override {}
  void HungUp() override { ended_(); }

 private:
  std::function<void()> ended_;
};

std::string LinkPath() {
  return (std::filesystem::temp_directory_path() /
          ("mvsms-centre-test-" + std::to_string(::getpid())))
      .string();
}

TEST(TcpServer, AnswersACall) {
  TapTest tap;
  Running<TcpServer> server(std::uint16_t{0}, [&] { return tap.centre().AnswerCall(); });
  auto caller = Caller::Tcp(server->port());
  caller.Sends("<CR>");
  EXPECT_EQ(caller.HearsUpTo("="), kPrompt);
  caller.Sends(kLogin);
  EXPECT_EQ(caller.HearsUpTo("[p<CR>"), kLoggedIn);
  caller.Sends(kPage);
  EXPECT_EQ(caller.HearsUpTo("<ACK><CR>"), kPageAccepted);
  caller.Sends("<EOT><CR>");
  EXPECT_EQ(caller.HearsUpTo("<EOT><CR>"), "115 Goodbye<CR><CR><ESC><EOT><CR>");
  EXPECT_TRUE(caller.HearsTheEnd());
}

TEST(TcpServer, AnswersManyCallsAtOnce) {
  TapTest tap;
  Running<TcpServer> server(std::uint16_t{0}, [&] { return tap.centre().AnswerCall(); });
  std::vector<std::unique_ptr<Caller>> callers;
  for (int i = 0; i < 50; ++i)
    callers.emplace_back(new Caller(Caller::Tcp(server->port())))->Sends("<CR>");
  for (const auto& caller : callers) EXPECT_EQ(caller->HearsUpTo("="), kPrompt);
}

TEST(TcpServer, TimePassesOnTheLine) {
  TapTest tap({"prompt-delay=60", "chunk-bytes=1", "chunk-gap=20"});
  Running<TcpServer> server(std::uint16_t{0}, [&] { return tap.centre().AnswerCall(); });
  auto caller = Caller::Tcp(server->port());
  const auto start = std::chrono::steady_clock::now();
  caller.Sends("<CR>");
  EXPECT_EQ(caller.HearsUpTo("="), kPrompt);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(95));
}

TEST(TcpServer, TheLastWordArrivesWholeBeforeTheEnd) {
  Running<TcpServer> server(std::uint16_t{0}, [] { return std::make_unique<LastWord>(3'000'000); });
  auto caller = Caller::Tcp(server->port());
  caller.Sends("x more that is never read");
  EXPECT_EQ(caller.HearsUpTo("!").size(), 3'000'001u);
  EXPECT_TRUE(caller.HearsTheEnd());
}

TEST(TcpServer, AFailedCallIsHungUp) {
  TapTest tap({"call=busy"});
  Running<TcpServer> server(std::uint16_t{0}, [&] { return tap.centre().AnswerCall(); });
  EXPECT_TRUE(Caller::Tcp(server->port()).HearsTheEnd());
}

TEST(TcpServer, ATakenPortIsAnError) {
  const AnswererFactory none = [] { return std::make_unique<LastWord>(1); };
  const TcpServer first(0, none);
  EXPECT_THROW(TcpServer(first.port(), none), std::system_error);
}

TEST(TcpServer, FinishEndsItAfterTheCallsUnderWay) {
  TcpServer server(0, [&] { return std::make_unique<Greets>([&server] { server.Finish(); }); });
  std::thread serving([&] { server.Run(); });
  auto first = Caller::Tcp(server.port());
  auto second = Caller::Tcp(server.port());
  EXPECT_EQ(first.HearsUpTo("o"), "hello");
  EXPECT_EQ(second.HearsUpTo("o"), "hello");
  first.HangUp();
  second.HangUp();
  serving.join();
}

TEST(TcpServer, StopEndsItWithCallsUnderWay) {
  TapTest tap;
  Running<TcpServer> server(std::uint16_t{0}, [&] { return tap.centre().AnswerCall(); });
  auto caller = Caller::Tcp(server->port());
  caller.Sends("<CR>");
  caller.HearsUpTo("=");
  server.Stop();
}

TEST(PtyServer, IsASerialPortWithAModem) {
  TapTest tap;
  Running<PtyServer> server(std::string(), [&] { return tap.centre().AnswerModem(); });
  auto caller = Caller::Terminal(server->path());
  caller.Sends("ATE0<CR>");
  EXPECT_EQ(caller.HearsUpTo("OK<CR><LF>"), "ATE0<CR><CR><LF>OK<CR><LF>");
  caller.Sends("ATDT123<CR>");
  EXPECT_EQ(caller.HearsUpTo("CONNECT<CR><LF>"), "<CR><LF>CONNECT<CR><LF>");
  caller.Sends("<CR>");
  EXPECT_EQ(caller.HearsUpTo("="), kPrompt);
}

TEST(PtyServer, ClosingThePortResetsTheModem) {
  TapTest tap;
  Running<PtyServer> server(std::string(), [&] { return tap.centre().AnswerModem(); });
  for (int i = 0; i < 3; ++i) {
    auto caller = Caller::Terminal(server->path());
    caller.Sends("AT<CR>");
    EXPECT_EQ(caller.HearsUpTo("OK<CR><LF>"), "AT<CR><CR><LF>OK<CR><LF>") << i;
    caller.Sends("ATE0DT123<CR>");
    EXPECT_EQ(caller.HearsUpTo("CONNECT<CR><LF>"), "ATE0DT123<CR><CR><LF>CONNECT<CR><LF>") << i;
    caller.HangUp();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

// As stty and a program after it need it of a serial port.
TEST(PtyServer, TheCallersSettingsAreNeverTouched) {
  TapTest tap;
  Running<PtyServer> server(std::string(), [&] { return tap.centre().AnswerModem(); });
  for (int i = 0; i < 3; ++i) {
    auto caller = Caller::Terminal(server->path());
    termios own = caller.Mode();
    EXPECT_EQ(own.c_cc[VTIME], i == 0 ? 0 : 4 + i) << "as the caller before left it";
    own.c_iflag |= ISTRIP;
    own.c_cc[VMIN] = 0;
    own.c_cc[VTIME] = static_cast<cc_t>(5 + i);
    caller.SetMode(own);
    caller.Sends("AT<CR>");  // whoever answers has noticed the caller
    EXPECT_EQ(caller.HearsUpTo("OK<CR><LF>"), "AT<CR><CR><LF>OK<CR><LF>") << i;
    const termios after = caller.Mode();
    EXPECT_EQ(after.c_iflag, own.c_iflag) << i;
    EXPECT_EQ(after.c_cc[VMIN], 0) << i;
    EXPECT_EQ(after.c_cc[VTIME], 5 + i) << i;
  }
}

TEST(PtyServer, WithoutAModemEachOpeningIsACall) {
  TapTest tap;
  Running<PtyServer> server(
      std::string(), [&] { return tap.centre().AnswerCall(); }, PtyServer::Connects::kWhenOpened);
  for (int i = 0; i < 3; ++i) {
    auto caller = Caller::Terminal(server->path());
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the opening is noticed
    caller.Sends("<CR>");
    EXPECT_EQ(caller.HearsUpTo("ID="), "ID=") << i;
    caller.HangUp();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

TEST(PtyServer, LeavesALinkThatAnotherHasTakenOver) {
  TapTest tap;
  const std::string link = LinkPath();
  const auto answer = [&] { return tap.centre().AnswerModem(); };
  auto first = std::make_unique<PtyServer>(link, answer);
  const PtyServer second(link, answer);
  first.reset();
  EXPECT_EQ(std::filesystem::read_symlink(link), second.path());
}

TEST(PtyServer, MakesAndRemovesItsLink) {
  TapTest tap;
  const std::string link = LinkPath();
  std::filesystem::create_symlink("/nowhere", link);
  {
    PtyServer server(link, [&] { return tap.centre().AnswerModem(); });
    EXPECT_EQ(std::filesystem::read_symlink(link), server.path());
  }
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(PtyServer, LeavesAnyOtherFileAlone) {
  TapTest tap;
  const std::string link = LinkPath();
  std::filesystem::create_directory(link);
  EXPECT_THROW(PtyServer(link, [&] { return tap.centre().AnswerModem(); }), std::system_error);
  EXPECT_TRUE(std::filesystem::is_directory(link));
  std::filesystem::remove(link);
}

}  // namespace
}  // namespace mvsms::centre::test
