// A session of the Simple Network Paging Protocol (RFC 1861), from the side that takes pages: lines
// of a client in, lines of the answer out. Levels 1 and 2 as far as a page has something for it;
// two-way paging (level 3) is refused with 500.
//
// What is set of a page (SUBJect, CALLerid, HOLDuntil, LEVEl, PRIOrity) may come in any order,
// before or after the recipients, and is forgotten when the page was sent, or with RESEt.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "gateway/page_request.h"

namespace mvsms::gateway {

/// Where the pages of a session go. Texts are UTF-8.
class SnppSink {
 public:
  virtual ~SnppSink() = default;

  /// Whether pages are taken without a login.
  virtual bool IsOpen() = 0;
  virtual bool LogIn(const std::string& name, const std::string& password) = 0;
  struct Found {
    std::string to;        // as a page has it
    std::string obstacle;  // why nothing can be sent there, a sentence; empty when it can
  };
  /// Whom a pager ID means.
  virtual Found Find(const std::string& pager) = 0;

  enum class End { kQueued, kRefused, kUnavailable };
  struct Answer {
    End end;
    std::string sentence;  // which page it is; else why not
  };
  /// The page is on stable storage when it says that it is queued.
  virtual Answer Send(const PageRequest& page) = 0;
};

class SnppSession {
 public:
  /// The sink outlives the session. `fresh_id` makes the id of a page: one for each page, however
  /// often its SEND is repeated.
  SnppSession(SnppSink& sink, std::string (*fresh_id)());

  /// Every answer is whole lines.
  std::string Greeting() const;
  /// The answer to a line, which comes without its end; "" while the text of DATA goes on.
  std::string Take(const std::string& line);
  /// What is said to a client that is silent for too long, or when the service ends.
  static std::string Farewell();
  /// Nothing more is to be taken: the connection is to be closed.
  bool over() const { return over_; }

  static constexpr std::size_t kLongestLine = 4096;
  static constexpr std::size_t kLongestText = 65536;
  static constexpr std::size_t kMostRecipients = 100;
  static constexpr int kMostErrors = 20;

 private:
  struct Word;
  static const Word kWords[];
  using Reply = std::string;

  Reply Command(const std::string& line);
  Reply Data(std::string& text, const std::string& line);
  Reply EndData(const std::string& text);
  Reply Bad(const std::string& code_and_text);
  Reply SendBrowserAway();

  Reply Page(const std::string& rest);
  Reply Mess(const std::string& rest);
  Reply BeginData(const std::string& rest);
  Reply Send(const std::string& rest);
  Reply Rese(const std::string& rest);
  Reply Quit(const std::string& rest);
  Reply Help(const std::string& rest);
  Reply Logi(const std::string& rest);
  Reply Leve(const std::string& rest);
  Reply Prio(const std::string& rest);
  Reply Aler(const std::string& rest);
  Reply Hold(const std::string& rest);
  Reply Call(const std::string& rest);
  Reply Subj(const std::string& rest);

  SnppSink& sink_;
  std::string (*const fresh_id_)();
  bool logged_in_ = false;
  bool over_ = false;
  int errors_ = 0;
  PageRequest page_;
  std::string subject_;
  bool has_text_ = false;
  std::optional<std::string> data_;  // while the text of DATA goes on
  bool data_is_too_long_ = false;
};

/// The moment of HOLDuntil, "YYMMDDHHMMSS" in local time or with the distance from UTC ("+0100"),
/// as seconds since 1970; nothing when it is none.
std::optional<long long> ReadSnppMoment(const std::string& text);

}  // namespace mvsms::gateway
