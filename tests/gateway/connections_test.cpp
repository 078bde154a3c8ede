// Connections over real sockets: slow and hostile clients, limits, streams, TLS.
#include "gateway/connections.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "gateway/listen.h"
#include "gateway/snpp_server.h"

namespace mvsms::gateway {
namespace {

using posix::UniqueFd;

class Client {
 public:
  explicit Client(std::uint16_t port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval patience{20, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    EXPECT_EQ(connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }
  void Send(const std::string& bytes) { send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); }
  /// What has come when `mark` has, or when the other end has closed.
  std::string Until(const std::string& mark) {
    char bytes[4096];
    std::size_t looked_at = 0;
    while (mark.empty() || said_.find(mark, looked_at) == said_.npos) {
      looked_at = said_.size() - std::min(said_.size(), mark.size());
      const ssize_t count = recv(fd_.get(), bytes, sizeof(bytes), 0);
      if (count <= 0) break;
      said_.append(bytes, static_cast<std::size_t>(count));
    }
    return std::exchange(said_, {});
  }
  std::string UntilClosed() { return Until(""); }
  /// Whether something has come, looked for a hundredth of a second.
  bool HasSaid() const {
    pollfd look{fd_.get(), POLLIN, 0};
    return poll(&look, 1, 10) > 0;
  }

 private:
  UniqueFd fd_;
  std::string said_;
};

class ConnectionsTest : public testing::Test {
 protected:
  void Begin(const ConnectionLimits& limits) {
    connections_ = std::make_unique<Connections>(
        limits, [this] { return [this](const HttpRequest& request) { return Answer(request); }; });
    Listening listening = ListenOn("127.0.0.1:0");
    EXPECT_TRUE(listening.is_local);
    port_ = static_cast<std::uint16_t>(
        std::stoi(listening.address.substr(listening.address.rfind(':') + 1)));
    connections_->Listen(std::move(listening.socket), nullptr);
    mover_ = std::thread([this] { connections_->Run(); });
  }
  void TearDown() override {
    Release();
    connections_->Stop();
    mover_.join();
  }
  void Release() {
    released_ = true;
    released_.notify_all();
  }
  HttpReply Answer(const HttpRequest& request) {
    ++answered_;
    if (request.path == "/wait") released_.wait(false);
    if (request.path == "/events") {
      return {.body = "begin\n", .type = "text/event-stream", .events_after = 0};
    }
    return {.body = request.method + request.path + "[" + request.body + "]", .type = "text/plain"};
  }
  static std::string Get(const std::string& path) {
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  }
  static std::string Post(const std::string& body) {
    return "POST /p HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
  }

  std::atomic<int> answered_ = 0;
  std::atomic<bool> released_ = false;
  std::unique_ptr<Connections> connections_;
  std::uint16_t port_ = 0;
  std::thread mover_;
};

TEST_F(ConnectionsTest, RequestsOnOneConnectionAreAnsweredInTheirOrder) {
  Begin({});
  Client client(port_);
  client.Send(Get("/a") + Post("{}") + Get("/b"));
  const std::string said = client.Until("GET/b[]");
  EXPECT_LT(said.find("GET/a[]"), said.find("POST/p[{}]"));
  EXPECT_LT(said.find("POST/p[{}]"), said.find("GET/b[]"));
}

TEST_F(ConnectionsTest, ARequestMayComeByteByByte) {
  Begin({});
  Client client(port_);
  for (const char c : Post("{\"a\":1}")) client.Send({c});
  EXPECT_NE(client.Until("]").find("POST/p[{\"a\":1}]"), std::string::npos);
}

TEST_F(ConnectionsTest, AClientThatWaitsForItIsToldToGoOn) {
  Begin({});
  Client client(port_);
  client.Send(
      "POST /p HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
      "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n");
  EXPECT_EQ(client.Until("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
  client.Send("{}");
  EXPECT_NE(client.Until("[{}]").find("200"), std::string::npos);
}

TEST_F(ConnectionsTest, SlowClientsLoseTheirConnectionAndKeepNobodyWaiting) {
  Begin({.request = std::chrono::seconds(1), .threads = 1});
  std::vector<std::unique_ptr<Client>> slow;
  for (int i = 0; i < 50; ++i) {
    slow.push_back(std::make_unique<Client>(port_));
    slow.back()->Send("GET / HTTP/1.1\r\nHost:");
  }
  Client quick(port_);
  quick.Send(Get("/quick"));
  EXPECT_NE(quick.Until("]").find("GET/quick"), std::string::npos);
  for (const auto& client : slow) EXPECT_NE(client->UntilClosed().find("408"), std::string::npos);
  EXPECT_EQ(answered_, 1);
}

TEST_F(ConnectionsTest, WhoSendsTooMuchSeesWhy) {
  Begin({.longest_body = 1000});
  Client client(port_);
  client.Send(Post(std::string(1'000'000, 'x')));
  EXPECT_NE(client.UntilClosed().find("HTTP/1.1 413"), std::string::npos);
  EXPECT_EQ(answered_, 0);
}

TEST_F(ConnectionsTest, WhoHasKeptItWaitingForTheLongestMakesRoom) {
  Begin({.connections = 3});
  std::vector<std::unique_ptr<Client>> slow;
  for (int i = 0; i < 20; ++i) {
    slow.push_back(std::make_unique<Client>(port_));
    slow.back()->Send("GET");
  }
  Client another(port_);
  another.Send(Get("/x"));
  EXPECT_NE(another.Until("]").find("GET/x"), std::string::npos);
  EXPECT_LE(connections_->open(), 3U);
}

TEST_F(ConnectionsTest, WhoIsBeingAnsweredMakesNoRoomAndMoreAreRefused) {
  Begin({.connections = 1});
  Client served(port_);
  served.Send(Get("/wait"));
  while (answered_ == 0) std::this_thread::yield();
  Client another(port_);
  EXPECT_NE(another.UntilClosed().find("HTTP/1.1 503"), std::string::npos);
  Release();
  EXPECT_NE(served.Until("]").find("GET/wait"), std::string::npos);
}

TEST_F(ConnectionsTest, TheLongestRequestsMakeRoomInMemoryAndShortOnesAreTaken) {
  Begin({.longest_body = 1'000'000, .held = 2'500'000, .request = std::chrono::seconds(600)});
  const std::string large = Post(std::string(900'000, ' '));
  std::vector<std::unique_ptr<Client>> crowd;
  for (int i = 0; i < 20; ++i) {
    crowd.push_back(std::make_unique<Client>(port_));
    crowd.back()->Send(large.substr(0, large.size() - 1));  // the last byte never comes
  }
  Client small(port_);
  small.Send(Post("{}"));
  EXPECT_NE(small.Until("[{}]").find("200"), std::string::npos);
  // Two fit; the others are told, whichever they are.
  while (crowd.size() > 2) {
    std::erase_if(crowd, [](const auto& client) {
      if (!client->HasSaid()) return false;
      EXPECT_NE(client->UntilClosed().find("HTTP/1.1 503"), std::string::npos);
      return true;
    });
  }
  EXPECT_EQ(answered_, 1);
}

TEST_F(ConnectionsTest, AnIdleConnectionMakesRoomForAnother) {
  Begin({.connections = 1});
  Client idle(port_);
  idle.Send(Get("/first"));
  EXPECT_NE(idle.Until("]").find("first"), std::string::npos);
  Client another(port_);
  another.Send(Get("/second"));
  EXPECT_NE(another.Until("]").find("second"), std::string::npos);
  EXPECT_EQ(idle.UntilClosed(), "");
}

TEST_F(ConnectionsTest, EventsReachAllStreamsAndThoseThatBeginMeanwhile) {
  Begin({});
  Client first(port_);
  first.Send(Get("/events"));
  EXPECT_NE(first.Until("begin\n").find("text/event-stream"), std::string::npos);
  connections_->Publish("data: 1\n\n");
  EXPECT_EQ(first.Until("\n\n"), "data: 1\n\n");
  Client second(port_);
  second.Send(Get("/events"));
  second.Until("begin\n");
  connections_->Publish("data: 2\n\n");
  EXPECT_NE(first.Until("2\n\n").find("data: 2"), std::string::npos);
  EXPECT_NE(second.Until("2\n\n").find("data: 2"), std::string::npos);
  EXPECT_EQ(connections_->streams(), 2U);
}

TEST_F(ConnectionsTest, AStreamThatIsNotReadIsClosed) {
  Begin({});
  Client client(port_);
  client.Send(Get("/events"));
  client.Until("begin\n");
  const std::string event = "data: " + std::string(100'000, 'x') + "\n\n";
  for (int i = 0; i < 1000 && connections_->streams() > 0; ++i) {
    connections_->Publish(event);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(connections_->streams(), 0U);
}

TEST_F(ConnectionsTest, ABurstOfEventsReachesWhoReadsInItsOrderAndNobodyElseWaits) {
  Begin({});
  std::vector<std::unique_ptr<Client>> streams;
  for (int i = 0; i < 20; ++i) {  // the last one reads
    streams.push_back(std::make_unique<Client>(port_));
    streams.back()->Send(Get("/events"));
    streams.back()->Until("begin\n");
  }
  const std::string filling(1000, 'x');
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string event = "data: " + std::to_string(i) + filling + "\n\n";
    expected += event;
    connections_->Publish(event);
  }
  Client another(port_);
  another.Send(Get("/meanwhile"));
  EXPECT_NE(another.Until("]").find("meanwhile"), std::string::npos);
  EXPECT_TRUE(streams.back()->Until("data: 2999" + filling + "\n\n") == expected);
}

/// Nobody is paged; whoever connects is greeted.
class NoSink : public SnppSink {
 public:
  bool IsOpen() override { return true; }
  bool LogIn(const std::string&, const std::string&) override { return true; }
  Found Find(const std::string& pager) override { return {pager, ""}; }
  Answer Send(const PageRequest&) override { return {End::kQueued, ""}; }
};

class SnppServerTest : public testing::Test {
 protected:
  void Begin(const SnppLimits& limits) {
    server_ = std::make_unique<SnppServer>(
        limits, [] { return std::make_unique<NoSink>(); }, [] { return std::string("id"); });
    Listening listening = ListenOn("127.0.0.1:0");
    port_ = static_cast<std::uint16_t>(
        std::stoi(listening.address.substr(listening.address.rfind(':') + 1)));
    server_->Listen(std::move(listening.socket));
  }
  std::unique_ptr<SnppServer> server_;
  std::uint16_t port_ = 0;
};

TEST_F(SnppServerTest, ClientsAreServedAtTheSameTimeAndLineByLine) {
  Begin({});
  Client silent(port_), quick(port_);
  EXPECT_EQ(silent.Until("\n").substr(0, 3), "220");
  quick.Until("\n");
  quick.Send("PAGE 0171\r\nMESS x\r\nSE");
  quick.Send("ND\nQUIT\r\nPAGE 0172\r\n");
  EXPECT_EQ(quick.UntilClosed(),
            "250 Pager ID accepted\r\n250 Message OK\r\n250 Message queued, \r\n"
            "221 OK, goodbye\r\n");
}

TEST_F(SnppServerTest, WhoSaysNothingIsSentAway) {
  Begin({.idle = std::chrono::seconds(1)});
  Client silent(port_);
  silent.Until("\n");
  silent.Send("PAG");  // no line
  EXPECT_EQ(silent.UntilClosed().substr(0, 3), "421");
}

TEST_F(SnppServerTest, WhoIsSilentMakesRoomForWhoComes) {
  Begin({.connections = 2, .silent = std::chrono::seconds(0)});
  Client first(port_), second(port_);
  first.Until("\n");
  second.Until("\n");
  Client another(port_);
  EXPECT_EQ(another.Until("\n").substr(0, 3), "220");
  EXPECT_EQ(first.UntilClosed().substr(0, 3), "421");
}

TEST(ACertificate, ThatCannotBeUsedIsNamedWithTheReason) {
  const auto trouble = [](const std::string& file) -> std::string {
    try {
      Certificate(file, file);
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  };
  EXPECT_EQ(trouble("/missing.pem"),
            "the certificate /missing.pem cannot be used: No such file or directory");
  EXPECT_EQ(trouble("/dev/null"), "the certificate /dev/null cannot be used: no start line");
}

TEST(Listen, AnAddressIsAHostAndAPort) {
  for (const char* const wrong : {"", "8026", "nowhere.invalid:8026", ":0", "127.0.0.1:x"}) {
    EXPECT_THROW(ListenOn(wrong), std::runtime_error) << wrong;
  }
  EXPECT_TRUE(ListenOn("localhost:0").is_local);
  EXPECT_FALSE(ListenOn("0.0.0.0:0").is_local);
}

}  // namespace
}  // namespace mvsms::gateway
