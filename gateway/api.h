// What is asked for over HTTP: the routes of the gateway, who may use each, and what they answer.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "gateway/access.h"
#include "gateway/alerts.h"
#include "gateway/desk.h"
#include "gateway/http.h"
#include "gateway/rate.h"

namespace mvsms::gateway {

struct ApiLimits {
  std::size_t pages = 1000;        // of one request
  std::int64_t waiting = 100'000;  // pages in the queue, beyond which no more are taken
  int pages_a_minute = 60'000;     // of one token, or address; 0: any number
  std::size_t streams = 1000;      // of events, open at once
};

/// What the threads that answer have in common. It outlives them, and is safe to use from all.
struct ApiShared {
  explicit ApiShared(const ApiLimits& given) : limits(given), rate(given.pages_a_minute) {}

  Access access;
  AlertTemplates templates;
  const ApiLimits limits;
  RateLimit rate;
  /// Pages that wait, as of a moment ago.
  std::atomic<std::int64_t> waiting = 0;

  /// Why a client may not put so many pages just now; nothing when it may.
  struct Crowd {
    int status;  // as HTTP has it
    std::string sentence;
    int seconds;  // until it may try again
  };
  std::optional<Crowd> Crowded(const std::string& who, std::size_t pages);

  /// The numbers of the events published, and of the connections and streams that are open.
  std::function<std::uint64_t()> published;
  std::function<std::size_t()> connections;
  std::function<std::size_t()> streams;
  /// A sentence for the operator.
  std::function<void(const std::string& sentence)> tell;
};

class Api {
 public:
  /// Of one thread, as its desk is. Both outlive it.
  Api(Desk& desk, ApiShared& shared) : desk_(desk), shared_(shared) {}

  HttpReply Answer(const HttpRequest& request);
  /// All that there are, "GET/v1/pages/{id}", as the description has them.
  static std::set<std::string> RouteNames();

 private:
  struct Call;
  struct Route;
  static const std::vector<Route>& Routes();

  HttpReply Guarded(const HttpRequest& request);
  HttpReply Submit(const Call& call);
  HttpReply Put(const Call& call, const std::vector<PageRequest>& requests);
  HttpReply Alerts(const Call& call);
  HttpReply ListPages(const Call& call);
  HttpReply ShowPage(const Call& call);
  HttpReply Operate(const Call& call, const dispatch::OperatorAction& action);
  HttpReply Stats(const Call& call);
  HttpReply Lines(const Call& call);
  HttpReply Hub(const Call& call);
  HttpReply Events(const Call& call);
  HttpReply Journal(const Call& call);
  HttpReply Attempt(const Call& call);
  HttpReply History(const Call& call);
  HttpReply Metrics(const Call& call);
  HttpReply Description(const Call& call);
  HttpReply Health(const Call& call);
  HttpReply Ready(const Call& call);
  /// Nothing when so many pages may be put now.
  std::optional<HttpReply> Crowded(const std::string& who, std::size_t pages);
  Json PutAndTell(const std::vector<PageRequest>& requests);

  Desk& desk_;
  ApiShared& shared_;
};

}  // namespace mvsms::gateway
