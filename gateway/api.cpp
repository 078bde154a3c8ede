// See api.h. One table says which routes there are.
#include "gateway/api.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include "gateway/assets.h"
#include "gateway/embedded.h"
#include "gateway/events.h"
#include "gateway/json.h"

namespace mvsms::gateway {
namespace {

constexpr std::size_t kMostListed = 1000;

HttpReply JsonReply(const Json& document, int status = 200) {
  return {.status = status, .body = JsonText(document)};
}

HttpReply FaultReply(const WrongFields& wrong) {
  Json fields = Json::object();
  for (const FieldFault& fault : wrong.faults()) {
    if (!fault.field.empty()) fields[fault.field] = fault.sentence;
  }
  return JsonReply({{"error", wrong.what()}, {"fields", fields}}, 422);
}

HttpReply LaterReply(int status, const std::string& sentence, int seconds) {
  HttpReply reply = ErrorReply(status, sentence);
  reply.headers.emplace_back("Retry-After", std::to_string(seconds));
  return reply;
}

/// What a browser may do with anything that comes from here.
void AddProtections(HttpReply& reply) {
  constexpr std::pair<const char*, const char*> kHeaders[] = {
      {"Content-Security-Policy",
       "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src "
       "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
      {"Cache-Control", "no-store"},
  };
  for (const auto& [name, value] : kHeaders) reply.headers.emplace_back(name, value);
}

/// The next part of a path, "pages" of "/pages/7"; the path goes on behind it.
std::string_view NextPart(std::string_view& path) {
  path.remove_prefix(std::min<std::size_t>(1, path.size()));
  const std::string_view part = path.substr(0, path.find('/'));
  path.remove_prefix(part.size());
  return part;
}

/// Whether the path is as the pattern says, in which "{id}" stands for any part.
bool Matches(std::string_view pattern, std::string_view path, std::string& part) {
  while (!pattern.empty() && !path.empty()) {
    const std::string_view wanted = NextPart(pattern), given = NextPart(path);
    const bool any = wanted == "{id}" && !given.empty();
    if (!any && wanted != given) return false;
    if (any) part = given;
  }
  return pattern.empty() && path.empty();
}

dispatch::PageStates StatesIn(const HttpRequest& request) {
  dispatch::PageStates states;
  const auto [first, last] = request.query.equal_range("state");
  for (auto one = first; one != last; ++one) {
    const auto found = std::ranges::find(dispatch::kPageStateNames, one->second);
    if (found == dispatch::kPageStateNames.end()) {
      throw WrongFields("state", "there is no such state");
    }
    states |= static_cast<dispatch::PageState>(found - dispatch::kPageStateNames.begin());
  }
  return states.empty() ? dispatch::kAllStates : states;
}

ListQuery QueryIn(const HttpRequest& request) {
  ListQuery query{
      .states = StatesIn(request), .since = request.Query("since"), .search = request.Query("q")};
  const std::string limit = request.Query("limit");
  if (limit.empty()) return query;
  const char* const end = limit.data() + limit.size();
  const auto [stop, error] = std::from_chars(limit.data(), end, query.most);
  if (error != std::errc{} || stop != end || query.most < 1 || query.most > kMostListed) {
    throw WrongFields("limit", "limit must be a number from 1 to " + std::to_string(kMostListed));
  }
  return query;
}

/// The key is the id of a page that has none of its own.
void TakeKey(std::vector<PageRequest>& requests, const std::string& key) {
  for (std::size_t i = 0; !key.empty() && i < requests.size(); ++i) {
    std::string& id = requests[i].id;
    if (id.empty()) id = requests.size() == 1 ? key : key + "-" + std::to_string(i + 1);
  }
}

/// The same notification again within some minutes is one that was not answered; later, one that is
/// repeated on purpose.
std::string IdOfNow(Desk& desk, const std::string& id) {
  constexpr auto kAgain = std::chrono::minutes(5);
  const auto part = std::chrono::system_clock::now().time_since_epoch() / kAgain;
  const std::string before = id + "." + std::to_string(part - 1);
  return desk.Page(before).is_null() ? id + "." + std::to_string(part) : before;
}

}  // namespace

struct Api::Call {
  const HttpRequest& request;
  std::string part;  // of the path, in the place of "{id}"
  std::string who;
};

struct Api::Route {
  std::string_view method;
  const char* pattern;
  Role role;
  std::function<HttpReply(Api&, const Call&)> handler;
};

const std::vector<Api::Route>& Api::Routes() {
  static const auto operates = [](const dispatch::OperatorAction& action) {
    return [&action](Api& api, const Call& call) { return api.Operate(call, action); };
  };
  static const std::vector<Route> routes = {
      {"POST", "/v1/pages", Role::kSubmit, &Api::Submit},
      {"GET", "/v1/pages", Role::kRead, &Api::ListPages},
      {"GET", "/v1/pages/{id}", Role::kRead, &Api::ShowPage},
      {"DELETE", "/v1/pages/{id}", Role::kOperate, operates(dispatch::kCancelPage)},
      {"POST", "/v1/pages/{id}/retry", Role::kOperate, operates(dispatch::kRetryPage)},
      {"POST", "/v1/pages/{id}/hold", Role::kOperate, operates(dispatch::kHoldPage)},
      {"POST", "/v1/pages/{id}/release", Role::kOperate, operates(dispatch::kReleasePage)},
      {"GET", "/v1/stats", Role::kRead, &Api::Stats},
      {"GET", "/v1/lines", Role::kRead, &Api::Lines},
      {"GET", "/v1/hub", Role::kRead, &Api::Hub},
      {"POST", "/v1/alertmanager", Role::kSubmit, &Api::Alerts},
      {"POST", "/v1/grafana", Role::kSubmit, &Api::Alerts},
      {"GET", "/v1/events", Role::kRead, &Api::Events},
      {"GET", "/v1/journal", Role::kRead, &Api::Journal},
      {"GET", "/v1/journal/{id}", Role::kRead, &Api::Attempt},
      {"GET", "/v1/history", Role::kRead, &Api::History},
      {"GET", "/v1/openapi.json", Role::kNobody, &Api::Description},
      {"GET", "/metrics", Role::kRead, &Api::Metrics},
      {"GET", "/healthz", Role::kNobody, &Api::Health},
      {"GET", "/readyz", Role::kNobody, &Api::Ready},
  };
  return routes;
}

std::set<std::string> Api::RouteNames() {
  std::set<std::string> names;
  for (const Route& route : Routes()) names.insert(std::string(route.method) + route.pattern);
  return names;
}

HttpReply Api::Answer(const HttpRequest& request) {
  HttpReply reply;
  try {
    reply = Guarded(request);
  } catch (const WrongFields& wrong) {
    reply = FaultReply(wrong);
  } catch (const Unavailable& error) {
    shared_.tell(error.what());
    reply = LaterReply(503, error.what(), 5);
  } catch (const std::exception& error) {
    shared_.tell(std::string("a request could not be answered: ") + error.what());
    reply = ErrorReply(500, "something is wrong here; the log of the service has more");
  }
  AddProtections(reply);
  return reply;
}

HttpReply Api::Guarded(const HttpRequest& request) {
  Call call{request, {}, {}};
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  std::string allowed;
  for (const Route& route : Routes()) {
    if (!Matches(route.pattern, request.path, call.part)) continue;
    if (route.method == method) {
      auto refusal = shared_.access.Refusal(request, route.role, call.who);
      return refusal ? *std::move(refusal) : route.handler(*this, call);
    }
    allowed.append(allowed.empty() ? "" : ", ").append(route.method);
  }
  if (auto refusal = shared_.access.Refusal(request, Role::kNobody, call.who)) return *refusal;
  if (!allowed.empty()) {
    HttpReply reply = ErrorReply(405, "this takes " + allowed);
    reply.headers.emplace_back("Allow", allowed);
    return reply;
  }
  const auto asset = std::ranges::find_if(
      Assets(), [&](const Asset& one) { return method == "GET" && one.path == request.path; });
  if (asset == Assets().end()) return ErrorReply(404, "there is nothing of this name");
  return {.body = std::string(asset->bytes), .type = asset->type};
}

HttpReply Api::Submit(const Call& call) {
  auto requests = ReadPageRequests(ParseJson(call.request.body), shared_.limits.pages);
  TakeKey(requests, call.request.Header("idempotency-key"));
  return Put(call, requests);
}

HttpReply Api::Put(const Call& call, const std::vector<PageRequest>& requests) {
  std::size_t pages = 0;
  for (const PageRequest& request : requests) pages += request.to.size();
  if (auto refusal = Crowded(call.who, pages)) return *std::move(refusal);
  return JsonReply(PutAndTell(requests), 202);
}

Json Api::PutAndTell(const std::vector<PageRequest>& requests) {
  Json taken = desk_.Put(requests);
  for (const std::string& sentence : SkippedIn(taken)) shared_.tell(sentence);
  return taken;
}

std::vector<std::string> SkippedIn(const Json& taken) {
  std::vector<std::string> sentences;
  for (const Json& one : taken.value("skipped", Json::array())) {
    sentences.push_back("nothing was sent to " + one.at("recipient").get<std::string>() + ": " +
                        one.at("reason").get<std::string>());
  }
  return sentences;
}

std::optional<ApiShared::Crowd> ApiShared::Crowded(const std::string& who, std::size_t pages) {
  if (waiting >= limits.waiting) {
    return Crowd{503, std::to_string(waiting) + " pages wait already", 60};
  }
  const int seconds = rate.SecondsUntil(who, pages, std::chrono::steady_clock::now());
  if (seconds == 0) return std::nullopt;
  return Crowd{429,
               "more than " + std::to_string(limits.pages_a_minute) +
                   " pages a minute are not taken from one client",
               seconds};
}

std::optional<HttpReply> Api::Crowded(const std::string& who, std::size_t pages) {
  const auto crowd = shared_.Crowded(who, pages);
  if (!crowd) return std::nullopt;
  return LaterReply(crowd->status, crowd->sentence, crowd->seconds);
}

/// Whom one can be told is told, whatever is wrong with another one: an alarm must not be lost by a
/// mistyped number beside the right one.
HttpReply Api::Alerts(const Call& call) {
  auto pages = PagesOfAlerts(ParseJson(call.request.body), call.request, shared_.templates);
  if (pages.size() > shared_.limits.pages) {
    shared_.tell("a notification is " + std::to_string(pages.size()) + " pages; the first " +
                 std::to_string(shared_.limits.pages) + " are taken");
    pages.resize(shared_.limits.pages);
  }
  if (auto refusal = Crowded(call.who, pages.size())) return *std::move(refusal);
  Json taken = Json::array();
  std::vector<FieldFault> faults;
  for (PageRequest& page : pages) {
    page.id = IdOfNow(desk_, page.id);
    try {
      Json put = PutAndTell({page});
      for (Json& one : put.at("pages")) taken.push_back(std::move(one));
    } catch (const WrongFields& wrong) {
      shared_.tell("an alert cannot be sent to " + page.to.front() + ": " + wrong.what());
      faults.insert(faults.end(), wrong.faults().begin(), wrong.faults().end());
    }
  }
  if (taken.empty() && !faults.empty()) throw WrongFields(faults);
  return JsonReply({{"pages", taken}}, pages.empty() ? 200 : 202);
}

HttpReply Api::ListPages(const Call& call) { return JsonReply(desk_.Pages(QueryIn(call.request))); }

HttpReply Api::ShowPage(const Call& call) {
  const Json page = desk_.Page(call.part);
  return page.is_null() ? ErrorReply(404, "there is no such page") : JsonReply(page);
}

HttpReply Api::Operate(const Call& call, const dispatch::OperatorAction& action) {
  const Operated operated = desk_.Operate(call.part, action);
  if (operated == Operated::kNoSuchPage) return ErrorReply(404, "there is no such page");
  const Json page = desk_.Page(call.part);
  if (operated == Operated::kDone) return JsonReply(page);
  return ErrorReply(409, "the page is " + page.value("state", "gone") + ", and stays so");
}

HttpReply Api::Stats(const Call& call) {
  Json stats = desk_.Stats();
  stats["role"] = shared_.access.RoleOf(call.request);
  return JsonReply(stats);
}

HttpReply Api::Lines(const Call&) { return JsonReply(desk_.Lines()); }

HttpReply Api::Hub(const Call&) { return JsonReply(desk_.Hub()); }

HttpReply Api::Events(const Call& call) {
  if (shared_.streams() >= shared_.limits.streams) {
    return LaterReply(503, "too many streams of events are open", 30);
  }
  const std::uint64_t published = shared_.published();  // before what has happened is looked up
  std::string last = call.request.Header("last-event-id");
  if (last.empty()) last = call.request.Query("last_event_id");
  std::int64_t since = 0;
  const auto [end, error] = std::from_chars(last.data(), last.data() + last.size(), since);
  if (error != std::errc{} || end != last.data() + last.size()) since = 0;
  std::string body = "retry: 2000\n\n" + LinesEvent(desk_.Lines());
  if (since > 0) body += desk_.EventsSince(since);
  if (since == 0 && !last.empty()) body += ReloadEvent();
  return {.body = body, .type = "text/event-stream", .events_after = published};
}

HttpReply Api::Journal(const Call& call) {
  return JsonReply(desk_.Attempts(QueryIn(call.request)));
}

HttpReply Api::Attempt(const Call& call) {
  const Json attempt = desk_.Attempt(call.part);
  return attempt.is_null() ? ErrorReply(404, "there is no such attempt") : JsonReply(attempt);
}

HttpReply Api::History(const Call&) { return JsonReply(desk_.History()); }

HttpReply Api::Metrics(const Call&) {
  Figures figures = desk_.Measure();
  figures.connections = shared_.connections();
  figures.streams = shared_.streams();
  return {.body = MetricsText(figures), .type = "text/plain; version=0.0.4; charset=utf-8"};
}

HttpReply Api::Description(const Call&) { return {.body = std::string(kOpenApi)}; }

HttpReply Api::Health(const Call&) { return {.body = "ok\n", .type = "text/plain"}; }

HttpReply Api::Ready(const Call&) {
  desk_.CheckReady();
  return {.body = "ok\n", .type = "text/plain"};
}

}  // namespace mvsms::gateway
