// The way to the hub's server, with real ones: TLS and passwords, servers that hang, that are dead,
// and that take each other's place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "backends/posix/hub/wire.h"
#include "base/raised_error.h"
#include "tests/backends/posix/listener.h"
#include "tests/backends/posix/tls_server.h"
#include "tests/support/hub_server.h"

namespace mvsms::posix {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

#define MVSMS_NEEDS_A_SERVER() \
  if (HubServer::Get() == nullptr) GTEST_SKIP() << "no PostgreSQL server is installed here"

/// As often as it takes: on a busy machine, short deadlines pass for nothing.
HubAnswer AnswerOf(HubWire& wire, const std::string& sql) {
  HubAnswer answer = wire.Ask(sql, {});
  while (!answer.done) answer = wire.Ask(sql, {});
  return answer;
}

/// The server's process of this wire hangs, as one whose machine or network does.
class Hanging {
 public:
  explicit Hanging(HubWire& wire)
      : process_(std::stoi(AnswerOf(wire, "SELECT pg_backend_pid()").rows.at(0).at(0))) {
    kill(process_, SIGSTOP);
  }
  ~Hanging() { kill(process_, SIGCONT); }

 private:
  const pid_t process_;
};

TEST(HubWire, AServerThatHangsHoldsACallUntilItsDeadlineAndTheNextOneReachesAnother) {
  MVSMS_NEEDS_A_SERVER();
  const auto wire = MakeHubWire(HubServer::Get()->Where(), "", 300ms);
  const Hanging hanging(*wire);
  const HubAnswer none = wire->Ask("SELECT 1", {});
  EXPECT_FALSE(none.done);
  EXPECT_EQ(none.trouble, "it did not answer in time");
  EXPECT_EQ(none.code, "");
  AnswerOf(*wire, "SELECT 1");
}

TEST(HubWire, MoreThanTheLineHoldsIsGivenUpAtTheDeadlineToo) {
  MVSMS_NEEDS_A_SERVER();
  const auto wire = MakeHubWire(HubServer::Get()->Where(), "", 300ms);
  const Hanging hanging(*wire);
  const HubAnswer none = wire->Ask("SELECT length($1)", {std::string(20'000'000, 'x')});
  EXPECT_EQ(none.trouble, "it did not answer in time");
  AnswerOf(*wire, "SELECT 1");
}

TEST(HubWire, AServerThatTakesCallsAndSaysNothingIsLeftForTheNextOne) {
  MVSMS_NEEDS_A_SERVER();
  const Listener silent;
  const std::string where = "host=127.0.0.1," + HubServer::Get()->folder() +
                            " port=" + silent.port() +
                            ",5432 dbname=postgres user=mvsms connect_timeout=2";
  const HubAnswer answer = MakeHubWire(where, "")->Ask("SELECT 1", {});
  EXPECT_TRUE(answer.done) << answer.trouble;
}

TEST(HubWire, WhatTheServerTellsByItselfIsHeardByWhoListens) {
  MVSMS_NEEDS_A_SERVER();
  const auto wire = HubServer::Get()->Wire(), other = HubServer::Get()->Wire();
  EXPECT_FALSE(wire->Hear(10min)) << "without a connection there is nothing to wait for";
  ASSERT_TRUE(wire->Ask("LISTEN mvsms_ready", {}).done);
  EXPECT_EQ(wire->Hear(0ms).value().size(), 0U);
  other->Ask("NOTIFY mvsms_other, 'no'; NOTIFY mvsms_ready, 'City'", {});
  const auto heard = wire->Hear(10min).value();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard.at(0).channel + ":" + heard.at(0).words, "mvsms_ready:City");
}

TEST(HubWire, WhoListensIsToldWhenTheConnectionBreaks) {
  MVSMS_NEEDS_A_SERVER();
  const auto wire = HubServer::Get()->Wire(), other = HubServer::Get()->Wire();
  const HubAnswer who = wire->Ask("SELECT pg_backend_pid()", {});
  other->Ask("SELECT pg_terminate_backend($1)", {who.rows.at(0).at(0)});
  while (wire->Hear(10min)) continue;  // its last words come first
  EXPECT_TRUE(wire->Ask("SELECT 1", {}).done);
}

/// Sleeps, as who waits for a lock does.
bool Sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string line;
  std::getline(file, line);
  return line.find(") S ") != std::string::npos;
}

/// Answers nobody, as soon as `behind` others wait.
class SilentWire : public HubWire {
 public:
  explicit SilentWire(std::vector<std::atomic<pid_t>>& behind) : behind_(behind) {}
  HubAnswer Ask(const std::string&, const std::vector<std::string>&) override {
    asked_ = true;
    for (const auto& one : behind_) {
      while (one == 0 || !Sleeps(one)) std::this_thread::yield();
    }
    HubAnswer none;
    none.trouble = "silence " + std::to_string(++silences_);
    return none;
  }
  std::optional<std::vector<HubNotice>> Hear(std::chrono::milliseconds) override { return {}; }
  bool asked() const { return asked_; }

 private:
  std::vector<std::atomic<pid_t>>& behind_;
  std::atomic<bool> asked_ = false;
  int silences_ = 0;
};

TEST(HubWire, WhoWaitsBehindACallWithoutAnswerHasItsAnswer) {
  std::vector<std::atomic<pid_t>> behind(3);
  auto silent = std::make_unique<SilentWire>(behind);
  const SilentWire& seen = *silent;
  SharedWire wire(std::move(silent));
  std::jthread first([&] { EXPECT_EQ(wire.Ask("", {}).trouble, "silence 1"); });
  while (!seen.asked()) std::this_thread::yield();
  {
    std::vector<std::jthread> others;
    for (auto& one : behind) {
      others.emplace_back([&] {
        one = gettid();
        EXPECT_EQ(wire.Ask("", {}).trouble, "silence 1");
      });
    }
  }
  first.join();
  behind.clear();
  EXPECT_EQ(wire.Ask("", {}).trouble, "silence 2") << "who comes later tries again";
}

/// With a certificate for "localhost" and a role that needs a password.
class HubWireByTls : public testing::Test {
 protected:
  void SetUp() override {
    MVSMS_NEEDS_A_SERVER();
    if (server_ == nullptr) Begin();
    Write(password_file_, "*:*:*:site:geheim\n");
  }
  static void TearDownTestSuite() {
    server_.reset();
    files_.reset();
  }

  static void Begin() {
    files_ = std::make_unique<TempFolder>();
    authority_ = MakeCertificate({.name = "Our CA", .authority = true});
    Write(*files_ / "ca.crt", authority_.certificate);
    Write(*files_ / "other.crt",
          MakeCertificate({.name = "Their CA", .authority = true}).certificate);
    const Certificate own = MakeCertificate({.name = "localhost"}, &authority_);
    server_ = HubServer::WithTls(own.certificate, own.key);
    server_->Wire()->Ask("CREATE ROLE site LOGIN PASSWORD 'geheim'", {});
  }
  static void Write(const std::string& file, const std::string& text, mode_t mode = 0600) {
    std::ofstream(file) << text;
    chmod(file.c_str(), mode);
  }
  static std::string Where(const std::string& host = "localhost",
                           const std::string& authority = "ca.crt") {
    return "host=" + host + " hostaddr=127.0.0.1 port=" + server_->port() +
           " dbname=postgres user=site sslmode=verify-full sslrootcert=" + (*files_ / authority);
  }
  HubAnswer Call(const std::string& where) const {
    return MakeHubWire(where, password_file_)
        ->Ask("SELECT ssl FROM pg_stat_ssl WHERE pid = pg_backend_pid()", {});
  }
  std::string TroubleOf(const std::string& where) const {
    const HubAnswer answer = Call(where);
    EXPECT_FALSE(answer.done);
    EXPECT_THAT(answer.trouble, AllOf(Not(HasSubstr("geheim")), Not(HasSubstr("\n"))));
    return answer.trouble;
  }

  static inline std::unique_ptr<TempFolder> files_;
  static inline std::unique_ptr<HubServer> server_;
  static inline Certificate authority_;
  const TempFolder own_;
  const std::string password_file_ = own_ / "pgpass";
};

TEST_F(HubWireByTls, AServerThatShowsWhoItIsIsReachedWithThePasswordOfTheFile) {
  const HubAnswer answer = Call(Where());
  EXPECT_THAT(answer.rows, ElementsAre(ElementsAre("t"))) << answer.trouble;
}

TEST_F(HubWireByTls, TheEnvironmentMayNameTheFile) {
  setenv("PGPASSFILE", password_file_.c_str(), 1);
  const HubAnswer answer = MakeHubWire(Where(), "")->Ask("SELECT 1", {});
  unsetenv("PGPASSFILE");
  EXPECT_TRUE(answer.done) << answer.trouble;
}

TEST_F(HubWireByTls, ACertificateForAnotherNameIsTold) {
  EXPECT_THAT(TroubleOf(Where("db1.example")),
              HasSubstr("\"localhost\" does not match host name \"db1.example\""));
}

TEST_F(HubWireByTls, ACertificateOfAnUnknownAuthorityIsTold) {
  EXPECT_THAT(TroubleOf(Where("localhost", "other.crt")),
              HasSubstr("certificate verify failed; of /CN=localhost: unable to get local issuer "
                        "certificate"));
}

TEST_F(HubWireByTls, ACertificateThatHasExpiredIsTold) {
  const Certificate old =
      MakeCertificate({.name = "localhost", .from_days = -9, .to_days = -1}, &authority_);
  server_->SetCertificate(old.certificate, old.key);
  HubAnswer answer = Call(Where());
  while (answer.done) answer = Call(Where());  // until the server has read it
  EXPECT_THAT(answer.trouble, HasSubstr("of /CN=localhost: certificate has expired"));
  server_.reset();  // the next test begins anew
}

TEST_F(HubWireByTls, AFileOfAuthoritiesThatIsNotThereIsTold) {
  EXPECT_THAT(TroubleOf(Where("localhost", "none.crt")),
              AllOf(HasSubstr("none.crt"), HasSubstr("does not exist")));
}

TEST_F(HubWireByTls, AWrongPasswordIsToldWithoutIt) {
  Write(password_file_, "*:*:*:site:geheimnis\n");
  EXPECT_THAT(TroubleOf(Where()), HasSubstr("password authentication failed for user \"site\""));
}

TEST_F(HubWireByTls, AFileWithoutThePasswordSaysWhyItHasNone) {
  Write(password_file_, "*:*:*:somebody:geheim\n");
  EXPECT_THAT(TroubleOf(Where()), HasSubstr("has no line for this host"));
  Write(password_file_, "*:*:*:site:geheim\n", 0644);
  EXPECT_THAT(TroubleOf(Where()), HasSubstr("may be read by others than its owner"));
  unlink(password_file_.c_str());
  EXPECT_THAT(TroubleOf(Where()), HasSubstr(password_file_ + " is not there"));
}

TEST_F(HubWireByTls, AServerWithoutTlsIsNotTalkedTo) {
  const std::string plain = "host=localhost hostaddr=127.0.0.1 port=" + server_->port() +
                            " dbname=postgres user=site sslmode=disable";
  EXPECT_THAT(TroubleOf(plain), HasSubstr("no encryption"));
}

TEST_F(HubWireByTls, AServerOfTheListThatIsNotTrustedIsLeftForTheNextOne) {
  const std::string both =
      "host=db1.example,localhost hostaddr=127.0.0.1,127.0.0.1 port=" + server_->port() +
      " dbname=postgres user=site sslmode=verify-full" + " sslrootcert=" + (*files_ / "ca.crt");
  const HubAnswer answer = Call(both);
  EXPECT_TRUE(answer.done) << answer.trouble;
}

TEST_F(HubWireByTls, WhatIsTheMatterIsToldOfEachServer) {
  const std::string both =
      "host=db1.example,localhost hostaddr=127.0.0.1,127.0.0.1 port=" + server_->port() +
      ",1 dbname=postgres user=site sslmode=verify-full" + " sslrootcert=" + (*files_ / "ca.crt");
  EXPECT_THAT(TroubleOf(both), AllOf(HasSubstr("db1.example"), HasSubstr("refused")));
  EXPECT_THAT(TroubleOf("host=a,b,c port=1,2"), HasSubstr("could not match 2 port numbers"));
}

/// The operator of a machine lists both; which one is the standby is nobody's business.
TEST_F(HubWireByTls, TheServerThatCanBeWrittenToIsFoundAndFollowed) {
  const auto standby = server_->Standby();
  const auto wire =
      MakeHubWire("host=/nowhere," + standby->folder() + "," + server_->folder() + " port=1,5432," +
                      server_->port() + " dbname=postgres user=mvsms",
                  "");
  const auto data = [&] {
    const HubAnswer answer = wire->Ask("SHOW data_directory", {});
    return answer.done ? answer.rows.at(0).at(0) : answer.trouble;
  };
  EXPECT_THAT(data(), HasSubstr(server_->folder()));
  server_->End();
  EXPECT_THAT(data(), Not(HasSubstr("/data"))) << "nobody knows what became of this call";
  EXPECT_THAT(data(), HasSubstr("read-only")) << "the standby, until it is promoted";
  EXPECT_TRUE(standby->Wire()->Ask("SELECT pg_promote()", {}).done);
  EXPECT_THAT(data(), HasSubstr(standby->folder()));
  server_.reset();
}

TEST(HubWire, WordsThatCannotBeReadAreNotRepeatedWhereAPasswordIsAmongThem) {
  MVSMS_NEEDS_A_SERVER();
  try {
    MakeHubWire("host=a password=ge heim", "");
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_THAT(error.description(), Not(HasSubstr("heim")));
  }
}

}  // namespace
}  // namespace mvsms::posix
