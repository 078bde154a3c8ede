// See http.h. cpp-httplib sees a request as a stream of bytes that have all come, and its reply
// goes into a text: sockets, time and those who misbehave are not its business here. It is the one
// file that knows that library, in the versions of both releases of Debian.
#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <type_traits>

#include "gateway/http.h"

namespace mvsms::gateway {
namespace {

// Told to clients, which need not keep to it.
constexpr time_t kIdle = 60;  // seconds
constexpr std::size_t kRequests = 1000;

class Memory : public httplib::Stream {
 public:
  Memory(const std::string& input, const std::string& peer) : input_(input), peer_(peer) {}

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* to, size_t size) override {
    const std::size_t taken = std::min(size, input_.size() - position_);
    std::memcpy(to, input_.data() + position_, taken);
    position_ += taken;
    return static_cast<ssize_t>(taken);
  }
  ssize_t write(const char* from, size_t size) override {
    output_.append(from, size);
    return static_cast<ssize_t>(size);
  }
  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    ip = peer_;
    port = 0;
  }
  void get_local_ip_and_port(std::string&, int&) const override {}
  socket_t socket() const override { return INVALID_SOCKET; }

  std::string& output() { return output_; }

 private:
  const std::string& input_;
  const std::string& peer_;
  std::size_t position_ = 0;
  std::string output_;
};

HttpRequest Taken(const httplib::Request& request) {
  HttpRequest taken{.method = request.method,
                    .path = request.path,
                    .query = {request.params.begin(), request.params.end()},
                    .headers = {},
                    .body = request.body,
                    .peer = request.remote_addr};
  for (const auto& [name, value] : request.headers) {
    std::string small = name;
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    taken.headers.emplace(small, value);
  }
  return taken;
}

std::string ValueIn(const std::multimap<std::string, std::string>& values,
                    const std::string& name) {
  const auto found = values.find(name);
  return found == values.end() ? "" : found->second;
}

}  // namespace

std::string HttpRequest::Query(const std::string& name) const { return ValueIn(query, name); }
std::string HttpRequest::Header(const std::string& name) const { return ValueIn(headers, name); }

class HttpParser::Server : public httplib::Server {
 public:
  explicit Server(HttpHandler handler) : handler_(std::move(handler)) {
    const auto handle = [this](const httplib::Request& request, httplib::Response& response) {
      Handle(request, response);
    };
    set_keep_alive_timeout(kIdle);
    set_keep_alive_max_count(kRequests);
    constexpr char kEveryPath[] = ".*";
    Get(kEveryPath, handle);
    Post(kEveryPath, handle);
    Put(kEveryPath, handle);
    Patch(kEveryPath, handle);
    Delete(kEveryPath, handle);
    Options(kEveryPath, handle);
    set_error_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.body.empty()) {
        response.set_content(R"({"error": "the request cannot be read"})", "application/json");
      }
    });
  }

  HttpAnswer Answer(const std::string& bytes, const std::string& peer) {
    Memory stream(bytes, peer);
    bool closed = false;
    events_after_.reset();
    const bool answered = Process(*this, stream, peer, closed);
    if (events_after_) stream.output() += body_;
    return {std::move(stream.output()), !answered || closed, events_after_};
  }

 private:
  // The library got more parameters in the meantime.
  template <typename Base>
  bool Process(Base& base, Memory& stream, const std::string& peer, bool& closed) {
    constexpr bool kCloses = false;
    if constexpr (requires { base.process_request(stream, kCloses, closed, Plain); }) {
      return base.process_request(stream, kCloses, closed, Plain);
    } else {
      return base.process_request(stream, peer, 0, std::string(), 0, kCloses, closed, Plain);
    }
  }

  // Whole replies as they are: parts and compressed ones would be work that strangers can order.
  static void Plain(httplib::Request& request) {
    request.ranges.clear();
    request.headers.erase("Range");
    request.headers.erase("Accept-Encoding");
  }

  void Handle(const httplib::Request& request, httplib::Response& response) {
    HttpReply reply = handler_(Taken(request));
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) response.set_header(name, value);
    events_after_ = reply.events_after;
    if (!reply.events_after) return response.set_content(reply.body, reply.type);
    // Without a length: what the connection goes on with belongs to it, from its body on.
    response.set_content_provider(reply.type, [](size_t, httplib::DataSink& sink) {
      sink.done();
      return true;
    });
    body_ = std::move(reply.body);
  }

  const HttpHandler handler_;
  std::optional<std::uint64_t> events_after_;
  std::string body_;  // of a stream
};

HttpParser::HttpParser(HttpHandler handler)
    : server_(std::make_unique<Server>(std::move(handler))) {}
HttpParser::~HttpParser() = default;

HttpAnswer HttpParser::Answer(const std::string& request, const std::string& peer) {
  return server_->Answer(request, peer);
}

}  // namespace mvsms::gateway
