// Whatever comes from the network: where a request ends, the pages that a body asks for, and the
// text that a notification becomes.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "gateway/alerts.h"
#include "gateway/http.h"
#include "gateway/http_frame.h"
#include "gateway/json.h"
#include "gateway/page_request.h"

namespace {

using namespace mvsms::gateway;

/// What passes is one request to the parser behind, too, and gets one answer.
void Answer(const std::string& request) {
  static int requests = 0;
  static HttpParser parser([](const HttpRequest& parsed) {
    ++requests;
    return HttpReply{.body = parsed.path};
  });
  requests = 0;
  const HttpAnswer answer = parser.Answer(request, "127.0.0.1");
  mvsms::fuzz::Require(requests <= 1, "one request");
  mvsms::fuzz::Require(answer.bytes.empty() || answer.bytes.starts_with("HTTP/1."), "an answer");
}

void Frame(const std::string& bytes) {
  constexpr std::size_t kLongestBody = 1000;
  const HttpFrame frame = FrameOf(bytes, kLongestBody);
  if (frame.kind != HttpFrame::Kind::kWhole) return;
  // What follows a request, or has not come yet, does not change it.
  mvsms::fuzz::Require(frame.size <= bytes.size(), "a request is within what has come");
  const HttpFrame alone = FrameOf(bytes.substr(0, frame.size), kLongestBody);
  mvsms::fuzz::Require(alone.kind == HttpFrame::Kind::kWhole && alone.size == frame.size,
                       "a request ends where it ended");
  Answer(bytes.substr(0, frame.size));
}

void Read(const std::string& bytes) {
  static const AlertTemplates templates;
  HttpRequest request;
  request.query = {{"to", "0171"}, {"resolved", "yes"}, {"each", "yes"}};
  try {
    const Json document = ParseJson(bytes);
    for (const PageRequest& page : PagesOfAlerts(document, request, templates)) {
      mvsms::fuzz::Require(page.text.find_first_of("\r\n") == std::string::npos,
                           "the text of an alert is one line");
    }
  } catch (const WrongFields&) {
    // It was told what is wrong.
  }
  try {
    ReadPageRequests(ParseJson(bytes), 10);
  } catch (const WrongFields&) {
    // The same.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  Frame(bytes);
  Read(bytes);
  return 0;
}
