// Requests and replies of HTTP, apart from how they come and go.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mvsms::gateway {

struct HttpRequest {
  std::string method;
  std::string path;  // decoded, without the query
  std::multimap<std::string, std::string> query;
  std::multimap<std::string, std::string> headers;  // names in small letters
  std::string body;
  std::string peer;  // the address it comes from

  /// The first value; empty without one.
  std::string Query(const std::string& name) const;
  std::string Header(const std::string& name) const;
};

struct HttpReply {
  int status = 200;
  std::string body;
  std::string type = "application/json";
  std::vector<std::pair<std::string, std::string>> headers{};
  /// The connection becomes a stream of events: those behind this one follow the body.
  std::optional<std::uint64_t> events_after{};
};

/// Called on several threads at once, or each thread has its own.
using HttpHandler = std::function<HttpReply(const HttpRequest&)>;

/// A reply as it goes over the line.
struct HttpAnswer {
  std::string bytes;
  bool closes = false;  // the connection, behind it
  std::optional<std::uint64_t> events_after{};
};

/// Reads HTTP requests and writes replies, by cpp-httplib. Of one thread.
class HttpParser {
 public:
  explicit HttpParser(HttpHandler handler);
  ~HttpParser();
  HttpParser(const HttpParser&) = delete;
  HttpParser& operator=(const HttpParser&) = delete;

  /// The answer to the bytes of one whole request, as http_frame.h has found it to be.
  HttpAnswer Answer(const std::string& request, const std::string& peer);

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace mvsms::gateway
