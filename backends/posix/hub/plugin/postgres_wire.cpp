// The plug-in mvsms-hub.so: the wire to a PostgreSQL server, through libpq. A call ends at its
// deadline whatever the network does; the connection is then given up, for nobody knows what would
// come over it next.
#include <libpq-fe.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backends/posix/hub/plugin/certificate.h"
#include "backends/posix/hub/wire.h"

namespace mvsms::posix {
namespace {

using Ticks = std::chrono::steady_clock;
using namespace std::chrono_literals;

using Settings = std::vector<std::pair<const char*, std::string>>;

/// What a machine at night wants, where its operator has not said otherwise.
const Settings kUsual = {
    {"connect_timeout", "3"},
    {"tcp_user_timeout", "5000"},
    {"keepalives_idle", "10"},
    {"keepalives_interval", "5"},
    {"keepalives_count", "3"},
    {"target_session_attrs", "read-write"},
    {"application_name", "mvsms"},
    {"client_encoding", "UTF8"},
    {"options", "-c idle_in_transaction_session_timeout=10s -c statement_timeout=10s"},
};

struct Closing {
  void operator()(PGconn* connection) const { PQfinish(connection); }
  void operator()(PGresult* result) const { PQclear(result); }
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
template <class Thing>
using Owned = std::unique_ptr<Thing, Closing>;

/// Of the library, for whatever is the matter with a certificate.
constexpr std::string_view kNotTrusted = "certificate verify failed";

/// The library's words as one line.
std::string OneLine(const char* words) {
  std::string line = words;
  std::erase(line, '\t');
  std::ranges::replace(line, '\n', ' ');
  while (line.ends_with(' ') || line.ends_with('.')) line.pop_back();
  return line;
}

std::string ValueOf(const PQconninfoOption* options, std::string_view name) {
  for (const auto* one = options; one != nullptr && one->keyword != nullptr; ++one) {
    if (one->keyword == name && one->val != nullptr) return one->val;
  }
  return "";
}

/// The value of an option of a connection that was tried; empty without one.
std::string OptionOf(PGconn* connection, std::string_view name) {
  return ValueOf(Owned<PQconninfoOption>(PQconninfo(connection)).get(), name);
}

std::vector<std::string> ListOf(const std::string& words) {
  std::vector<std::string> list;
  std::istringstream stream(words);
  for (std::string item; std::getline(stream, item, ',');) list.push_back(item);
  return list;
}

/// Why the file of passwords had none; the library only says that there is none.
std::string WhyNoPasswordIn(const std::string& file) {
  const std::string words = "; the password file " + file;
  struct stat its{};
  if (stat(file.c_str(), &its) != 0) return words + " is not there, or not for this user";
  if ((its.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    return words + " may be read by others than its owner (chmod 600)";
  }
  return words + " has no line for this host, port, database and user";
}

class PostgresWire : public HubWire {
 public:
  PostgresWire(std::string where, std::string password_file, std::chrono::milliseconds longest)
      : where_(std::move(where)), password_file_(std::move(password_file)), longest_(longest) {}

  HubAnswer Ask(const std::string& sql, const std::vector<std::string>& values) override {
    HubAnswer answer;
    if (PQstatus(connection_.get()) != CONNECTION_OK && !Connect(answer)) return answer;
    deadline_ = Ticks::now() + longest_;
    if (!Send(sql, values) || !Receive(answer)) GiveUp(answer);
    if (PQstatus(connection_.get()) != CONNECTION_OK) connection_.reset();
    return answer;
  }

  std::optional<std::vector<HubNotice>> Hear(std::chrono::milliseconds longest) override {
    if (PQstatus(connection_.get()) != CONNECTION_OK) return std::nullopt;
    deadline_ = Ticks::now() + longest;
    std::vector<HubNotice> heard = Notices();
    if (heard.empty() && Wait(POLLIN) && PQconsumeInput(connection_.get()) == 0) {
      connection_.reset();
      return std::nullopt;
    }
    return heard.empty() ? Notices() : heard;
  }

  /// Empty when the words can be read. The library repeats the word that it did not understand,
  /// which may be a piece of a password.
  static std::string TroubleWith(const std::string& where) {
    char* words = nullptr;
    const Owned<PQconninfoOption> options(PQconninfoParse(where.c_str(), &words));
    const std::string trouble = words != nullptr ? OneLine(words) : "";
    PQfreemem(words);
    const bool secret = where.find("password") != std::string::npos;
    return secret && !trouble.empty() ? "it is no list of words such as host=a,b dbname=mvsms"
                                      : trouble;
  }

 private:
  std::vector<HubNotice> Notices() {
    std::vector<HubNotice> notices;
    while (PGnotify* const one = PQnotifies(connection_.get())) {
      notices.push_back({one->relname, one->extra});
      PQfreemem(one);
    }
    return notices;
  }

  /// The servers one after the other, until one is right. The library would do so by itself, but
  /// end with the first that answers and then hangs up, has another certificate, or refuses the
  /// password.
  bool Connect(HubAnswer& answer) {
    for (const Settings& server : Servers()) {
      if (ConnectTo(server)) return true;
      answer.trouble += (answer.trouble.empty() ? "" : "; ") + WhyNotConnected(connection_.get());
    }
    connection_.reset();
    return false;
  }

  bool ConnectTo(const Settings& server) {
    std::vector<const char*> names = {"dbname"}, values = {where_.c_str()};
    const auto set = [&](const char* name, const std::string& value) {
      names.push_back(name);
      values.push_back(value.c_str());
    };
    for (const auto& [name, value] : kUsual) {
      if (Given(name).empty()) set(name, value);
    }
    if (!password_file_.empty()) set("passfile", password_file_);
    for (const auto& [name, value] : server) set(name, value);
    names.push_back(nullptr);
    values.push_back(nullptr);
    // This one waits, and connect_timeout bounds it.
    connection_.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(connection_.get()) != CONNECTION_OK) return false;
    PQsetNoticeProcessor(connection_.get(), [](void*, const char*) {}, nullptr);
    PQsetnonblocking(connection_.get(), 1);
    return true;
  }

  /// What names each server that is named. One item without words where none is, or where the lists
  /// do not fit each other, which the library then says.
  std::vector<Settings> Servers() const {
    std::vector<Settings> servers(
        std::max(ListOf(Given("host")).size(), ListOf(Given("hostaddr")).size()));
    for (const char* name : {"host", "hostaddr", "port"}) {
      const std::vector<std::string> list = ListOf(Given(name));
      if (list.size() <= 1) continue;  // it is the same for all
      if (list.size() != servers.size()) return {{}};
      for (std::size_t i = 0; i < list.size(); ++i) servers[i].emplace_back(name, list[i]);
    }
    return servers.empty() ? std::vector<Settings>{{}} : servers;
  }

  /// The library's words, and what it does not say: why a certificate is not trusted, or a file of
  /// passwords is of no use.
  static std::string WhyNotConnected(PGconn* connection) {
    std::string words = OneLine(PQerrorMessage(connection));
    if (words.find(kNotTrusted) != std::string::npos) {
      words += WhyNotTrusted(PQhostaddr(connection), PQport(connection),
                             OptionOf(connection, "sslrootcert"));
    }
    if (PQconnectionNeedsPassword(connection) != 0) {
      words += WhyNoPasswordIn(OptionOf(connection, "passfile"));
    }
    return words;
  }

  /// What the operator says of an option; empty when he does not.
  std::string Given(std::string_view name) const {
    char* words = nullptr;
    const Owned<PQconninfoOption> options(PQconninfoParse(where_.c_str(), &words));
    PQfreemem(words);
    return ValueOf(options.get(), name);
  }

  bool Send(const std::string& sql, const std::vector<std::string>& values) {
    std::vector<const char*> pointers;
    for (const std::string& value : values) pointers.push_back(value.c_str());
    const int count = static_cast<int>(values.size());
    const int sent = count == 0 ? PQsendQuery(connection_.get(), sql.c_str())
                                : PQsendQueryParams(connection_.get(), sql.c_str(), count, nullptr,
                                                    pointers.data(), nullptr, nullptr, 0);
    if (sent == 0) return false;
    int rest = 1;
    while ((rest = PQflush(connection_.get())) == 1) {
      if (!Wait(POLLIN | POLLOUT) || PQconsumeInput(connection_.get()) == 0) return false;
    }
    return rest == 0;
  }

  /// Several results are those of a script; the last one counts, and any that failed.
  bool Receive(HubAnswer& answer) {
    bool failed = false;
    while (true) {
      while (PQisBusy(connection_.get()) != 0) {
        if (!Wait(POLLIN) || PQconsumeInput(connection_.get()) == 0) return false;
      }
      const Owned<PGresult> result(PQgetResult(connection_.get()));
      if (!result) break;
      if (!failed) failed = !Take(*result, answer);
    }
    answer.done = !failed;
    return failed || PQstatus(connection_.get()) == CONNECTION_OK;
  }

  static bool Take(const PGresult& result, HubAnswer& answer) {
    const ExecStatusType status = PQresultStatus(&result);
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
      const char* const code = PQresultErrorField(&result, PG_DIAG_SQLSTATE);
      const char* const words = PQresultErrorField(&result, PG_DIAG_MESSAGE_PRIMARY);
      answer.code = code != nullptr ? code : "";
      answer.trouble = OneLine(words != nullptr ? words : PQresultErrorMessage(&result));
      return false;
    }
    answer.rows.clear();
    for (int row = 0; row < PQntuples(&result); ++row) {
      std::vector<std::string>& columns = answer.rows.emplace_back();
      for (int column = 0; column < PQnfields(&result); ++column) {
        columns.emplace_back(PQgetvalue(&result, row, column));
      }
    }
    return true;
  }

  void GiveUp(HubAnswer& answer) {
    answer.done = false;
    const std::string words = OneLine(PQerrorMessage(connection_.get()));
    const bool late = Ticks::now() >= deadline_;
    if (answer.trouble.empty()) answer.trouble = late ? "it did not answer in time" : words;
    connection_.reset();
  }

  /// False at the deadline.
  bool Wait(int events) {
    pollfd one{PQsocket(connection_.get()), static_cast<short>(events), 0};
    while (true) {
      const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Ticks::now());
      if (one.fd < 0 || rest <= 0ms) return false;
      const int ready = poll(&one, 1, static_cast<int>(rest.count()));
      if (ready > 0) return true;
      if (ready < 0 && errno != EINTR) return false;
    }
  }

  const std::string where_;
  const std::string password_file_;
  const std::chrono::milliseconds longest_;
  Owned<PGconn> connection_;
  Ticks::time_point deadline_{};
};

}  // namespace
}  // namespace mvsms::posix

extern "C" mvsms::posix::HubWire* mvsms_hub_wire(const char* where, const char* password_file,
                                                 std::chrono::milliseconds deadline,
                                                 std::string* trouble) {
  *trouble = mvsms::posix::PostgresWire::TroubleWith(where);
  if (!trouble->empty()) return nullptr;
  return new mvsms::posix::PostgresWire(where, password_file, deadline);
}
