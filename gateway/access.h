// Who may do what: tokens with their roles, and, where there are none, the rules by which only
// programs of this machine, and no web page in its browser, reach the gateway.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/http.h"

namespace mvsms::gateway {

/// Each includes the ones before.
enum class Role {
  kNobody,   // open to everybody who reaches the gateway
  kRead,     // sees pages, journal, lines
  kSubmit,   // puts pages
  kOperate,  // cancels and retries them
};

/// Of all threads.
class Access {
 public:
  /// Without tokens: everything is allowed to who is on this machine.
  Access() = default;
  explicit Access(const std::string& tokens) { SetTokens(tokens); }

  /// From now on the tokens of a text, a line for each: name, role, token; "#" begins a comment.
  /// Throws std::runtime_error with the line's number, and never with a token, when one cannot be
  /// read, or there is none; then those of before stay.
  void SetTokens(const std::string& text);

  bool has_tokens() const { return !tokens()->empty(); }

  /// Whether the token is that of this name and may do what takes `role`; for doors without
  /// requests.
  bool Knows(const std::string& name, const std::string& token, Role role) const;

  /// Nothing when the request may do what takes `role`; else the reply to it. `who` gets the name
  /// that belongs to the token, or the address it comes from.
  std::optional<HttpReply> Refusal(const HttpRequest& request, Role role, std::string& who) const;

  /// What the request's token is for: "read", "submit" or "operate"; "" when it is not known.
  std::string_view RoleOf(const HttpRequest& request) const;

 private:
  struct Token {
    std::string name;
    Role role;
    std::array<unsigned char, 32> digest;  // by which tokens are compared: all of one length
  };

  using Tokens = std::vector<Token>;

  std::shared_ptr<const Tokens> tokens() const;
  std::optional<Token> Find(const std::string& given) const;
  /// Nothing when the request has none that is known.
  std::optional<Token> TokenOf(const HttpRequest& request) const;

  mutable std::mutex mutex_;
  std::shared_ptr<const Tokens> tokens_ = std::make_shared<Tokens>();
};

/// The reply with a sentence as its error.
HttpReply ErrorReply(int status, const std::string& sentence);

}  // namespace mvsms::gateway
