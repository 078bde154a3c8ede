// See gateway_client.h.
#include "cli/gateway_client.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string_view>

#include "base/ansi.h"
#include "cli/json.h"
#include "cli/send_record.h"
#include "cli/store.h"
#include "dispatch/hand_over.h"
#include "dispatch/outcome.h"
#include "dispatch/queue.h"

namespace mvsms::cli {
namespace {

using dispatch::Exit;

/// Ends the handing over with an exit code, and tells why.
void End(Context& context, Exit exit, const std::string& sentence) {
  context.Warn(Printable(sentence));
  context.exit_code = std::max(context.exit_code, static_cast<int>(exit), ByWeight);
}

// --- What is asked.

/// Members that were not asked for are left out: what they are then is the gateway's to say.
void AddText(Json& page, const char* name, const std::string& value) {
  if (!value.empty()) page[name] = value;
}

void AddNumber(Json& page, const char* name, const std::string& option, const std::string& value,
               long long low, long long high) {
  if (!value.empty()) page[name] = ParseNumber(option, value, low, high);
}

Json PageFor(const Context& context, const std::vector<std::string>& recipients,
             const SendOptions& options, const QueueOptions& queue) {
  Json page{{"to", recipients}, {"text", options.text}, {"profile", context.profile}};
  page["id"] = queue.id.empty() ? Utf8FromAnsi(dispatch::FreshId()) : queue.id;
  AddText(page, "from", options.from);
  AddText(page, "service", options.service);
  AddText(page, "not_before", queue.not_before);
  AddNumber(page, "priority", "--priority", queue.priority, dispatch::kFirstPriority,
            dispatch::kLastPriority);
  AddNumber(page, "expires", "--expires", queue.expires, 1, kLongestExpiry);
  if (options.fit) page["fit"] = *options.fit;
  return page;
}

/// What editors of Windows put before a text.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The one line of the file. A Failure when it is none that can be sent.
std::string TokenOf(const std::string& utf8_path) {
  if (utf8_path.empty()) return "";
  std::ifstream file(FilePath(utf8_path));
  std::string token;
  if (!std::getline(file, token)) {
    throw Failure("cannot read a token from " + utf8_path + ", the GatewayTokenFile");
  }
  if (token.starts_with(kByteOrderMark)) token.erase(0, kByteOrderMark.size());
  token.erase(token.find_last_not_of(" \t\r") + 1);
  if (token.empty() || std::ranges::any_of(token, [](char c) { return c <= ' ' || c > '~'; })) {
    throw Failure("the first line of " + utf8_path + ", the GatewayTokenFile, is no token");
  }
  return token;
}

/// Without its body.
GatewayRequest RequestFor(Context& context) {
  std::string url = Utf8FromAnsi(SettingOrInitial(context, setting::kGateway));
  if (url.empty()) {
    throw Failure(
        "no gateway is set that has a queue; 'mvsms config set Gateway https://HOST:8026' names "
        "one, and without --queue the page is sent at once");
  }
  url.erase(url.find_last_not_of('/') + 1);
  return {url + "/v1/pages",
          TokenOf(Utf8FromAnsi(SettingOrInitial(context, setting::kGatewayTokenFile))),
          {}};
}

// --- What the answer means. It came over a network: no member is trusted to be there.

Json MemberOf(const Json& object, const char* name) {
  return object.is_object() && object.contains(name) ? object[name] : Json();
}

std::string TextOf(const Json& object, const char* name) {
  const Json member = MemberOf(object, name);
  if (member.is_null()) return "";
  return member.is_string() ? member.get<std::string>() : JsonText(member);
}

Exit ExitOf(int status) {
  constexpr int kMessage[] = {400, 409, 413, 422};
  constexpr int kRetry[] = {408, 425, 429};
  if (std::ranges::find(kMessage, status) != std::end(kMessage)) return Exit::kMessage;
  if (status >= 500 || std::ranges::find(kRetry, status) != std::end(kRetry)) return Exit::kRetry;
  return Exit::kSettings;
}

/// The gateway's own words, that of each field if there are any.
std::string WordsOf(const GatewayAnswer& answer, const Json& said) {
  const Json fields = MemberOf(said, "fields");
  std::string words;
  for (const auto& [field, sentence] : fields.items()) {
    words += (words.empty() ? "" : "; ") + field + ": " + TextOf(fields, field.c_str());
  }
  if (words.empty()) words = TextOf(said, "error");
  return words.empty() ? "it answered with the status " + std::to_string(answer.status) : words;
}

void Print(Context& context, const Json& page, bool quiet) {
  if (context.json) {
    context.PrintJson({{"id", TextOf(page, "id")},
                       {"recipient", TextOf(page, "recipient")},
                       {"service", TextOf(page, "service")},
                       {"priority", MemberOf(page, "priority")}});
  } else if (!quiet) {
    context.out << Printable(TextOf(page, "id")) << '\n';
  }
}

void Tell(Context& context, const GatewayRequest& request, const GatewayAnswer& answer,
          bool quiet) {
  const Json said = Json::parse(answer.body, nullptr, /*allow_exceptions=*/false);
  const bool taken = answer.status >= 200 && answer.status < 300;
  const Json pages = MemberOf(said, "pages");
  if (taken && pages.is_array()) {
    for (const Json& page : pages) Print(context, page, quiet);
    return;
  }
  const std::string what = taken ? "what answered is no gateway of mvSMS" : WordsOf(answer, said);
  End(context, ExitOf(answer.status), request.url + ": " + what);
}

/// The answer; asked for once more when none came, for the first request may have been heard.
GatewayAnswer AskPatiently(const GatewayRequest& request, const PostToGateway& post) try {
  return post(request);
} catch (const Busy&) {
  return post(request);
}

/// A page with its own id for each of its recipients.
std::vector<Json> OneEach(const Json& page) {
  std::vector<Json> pages;
  for (const Json& to : page["to"]) {
    pages.push_back(page);
    pages.back()["to"] = Json::array({to});
    pages.back()["id"] = TextOf(page, "id") + "-" + std::to_string(pages.size());
  }
  return pages;
}

/// The gateway takes a request as a whole. So where it refuses several recipients, each is asked
/// for by himself: a wrong number keeps the page from nobody else.
void HandOver(Context& context, GatewayRequest& request, const Json& page, bool quiet,
              const PostToGateway& post) {
  request.body = JsonText(page);
  const GatewayAnswer answer = AskPatiently(request, post);
  const bool refused = answer.status >= 300 && ExitOf(answer.status) == Exit::kMessage;
  if (!refused || page["to"].size() == 1) return Tell(context, request, answer, quiet);
  for (const Json& one : OneEach(page)) HandOver(context, request, one, quiet, post);
}

}  // namespace

void HandOver(Context& context, const std::vector<std::string>& recipients,
              const SendOptions& options, const QueueOptions& queue, const PostToGateway& post) {
  const Json page = PageFor(context, recipients, options, queue);
  GatewayRequest request;
  try {
    request = RequestFor(context);
    HandOver(context, request, page, options.quiet, post);
  } catch (const Busy& error) {
    End(context, Exit::kRetry,
        request.url + ": " + error.what() + "; another try with --id " + TextOf(page, "id") +
            " cannot send the page twice");
  } catch (const Failure& error) {
    End(context, Exit::kSettings, (request.url.empty() ? "" : request.url + ": ") + error.what());
  }
}

}  // namespace mvsms::cli
