// See access.h.
#include "gateway/access.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "gateway/digest.h"
#include "gateway/json.h"

namespace mvsms::gateway {
namespace {

constexpr std::size_t kShortestToken = 16;  // characters: below that they can be tried

struct RoleName {
  std::string_view name;
  Role role;
};
constexpr RoleName kRoles[] = {
    {"read", Role::kRead}, {"submit", Role::kSubmit}, {"operate", Role::kOperate}};

[[noreturn]] void Fail(int line, const std::string& why) {
  throw std::runtime_error("line " + std::to_string(line) + " of the tokens: " + why);
}

Role RoleNamed(const std::string& name, int line) {
  const auto found = std::ranges::find(kRoles, name, &RoleName::name);
  if (found == std::end(kRoles)) Fail(line, "the role must be read, submit or operate");
  return found->role;
}

/// With or without a port.
bool IsThisMachine(std::string_view host) {
  constexpr std::string_view kNames[] = {"localhost", "127.0.0.1", "[::1]"};
  return std::ranges::any_of(kNames, [&](std::string_view name) {
    if (!host.starts_with(name)) return false;
    const std::string_view port = host.substr(name.size());
    return port.empty() ||
           (port.front() == ':' && port.find_first_not_of("0123456789", 1) == port.npos);
  });
}

/// A page of another site, in a browser on this machine, asks in its user's name. It cannot hide
/// what it is called, nor what our name is that it reached us by.
bool ComesFromAnotherSite(const HttpRequest& request) {
  const std::string host = request.Header("host"), origin = request.Header("origin"),
                    site = request.Header("sec-fetch-site");
  if (!IsThisMachine(host)) return true;
  const bool same_site = site.empty() || site == "same-origin" || site == "none";
  return !same_site ||
         (!origin.empty() && origin != "http://" + host && origin != "https://" + host);
}

}  // namespace

void Access::SetTokens(const std::string& text) {
  auto tokens = std::make_shared<Tokens>();
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::istringstream words(line);
    std::string name, role, secret, more;
    if (!(words >> name) || name.starts_with('#')) continue;
    if (!(words >> role >> secret) || words >> more) Fail(number, "it must be NAME ROLE TOKEN");
    if (secret.size() < kShortestToken) {
      Fail(number, "the token must have " + std::to_string(kShortestToken) + " characters or more");
    }
    tokens->push_back({name, RoleNamed(role, number), DigestOf(secret)});
  }
  if (tokens->empty()) throw std::runtime_error("there is no token among the tokens");
  const std::lock_guard lock(mutex_);
  tokens_ = std::move(tokens);
}

std::shared_ptr<const Access::Tokens> Access::tokens() const {
  const std::lock_guard lock(mutex_);
  return tokens_;
}

/// All are looked at, each in whole, so that the time tells nothing of them.
std::optional<Access::Token> Access::Find(const std::string& given) const {
  const Digest digest = DigestOf(given);
  const auto all = tokens();
  std::optional<Token> found;
  for (const Token& token : *all) {
    if (CRYPTO_memcmp(token.digest.data(), digest.data(), digest.size()) == 0) found = token;
  }
  return found;
}

std::optional<Access::Token> Access::TokenOf(const HttpRequest& request) const {
  constexpr std::string_view kScheme = "Bearer ";
  const std::string given = request.Header("authorization");
  return given.starts_with(kScheme) ? Find(given.substr(kScheme.size())) : std::nullopt;
}

bool Access::Knows(const std::string& name, const std::string& token, Role role) const {
  const auto found = Find(token);
  return found && found->name == name && found->role >= role;
}

std::optional<HttpReply> Access::Refusal(const HttpRequest& request, Role role,
                                         std::string& who) const {
  who = request.peer;
  if (!has_tokens()) {
    if (!ComesFromAnotherSite(request)) return std::nullopt;
    return ErrorReply(403, "without tokens only programs and pages of this machine are served");
  }
  if (role == Role::kNobody) return std::nullopt;
  const auto token = TokenOf(request);
  if (!token) {
    HttpReply reply = ErrorReply(401, "a token is needed: Authorization: Bearer TOKEN");
    reply.headers.emplace_back("WWW-Authenticate", "Bearer");
    return reply;
  }
  who = token->name;
  if (token->role >= role) return std::nullopt;
  return ErrorReply(403, "the token " + token->name + " may not do this");
}

std::string_view Access::RoleOf(const HttpRequest& request) const {
  const auto token = TokenOf(request);
  const Role role = token ? token->role : Role::kNobody;
  const auto found =
      std::ranges::find(kRoles, has_tokens() ? role : Role::kOperate, &RoleName::role);
  return found == std::end(kRoles) ? "" : found->name;
}

HttpReply ErrorReply(int status, const std::string& sentence) {
  return {.status = status, .body = JsonText({{"error", sentence}})};
}

}  // namespace mvsms::gateway
