// What the calls of one message centre share: its settings, what it still has to refuse, and whom
// it tells what it received and what passed. Refusals are counted over all calls, so that a caller
// who hangs up and tries again is served in the end.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "centre/settings.h"

namespace mvsms::centre {

/// One thing that a caller asked for, and how it was answered; or, with the operation 53, one thing
/// that the centre told the caller. Recipient, originator and text are UTF-8, raw and answer the
/// bytes of the line.
struct Request {
  std::string protocol;    // "TAP" or "UCP"
  std::string operation;   // TAP: "login", "page", "logout"; UCP: the operation type, "01", "51" …
  std::string recipient;   // pager ID or AdC
  std::string originator;  // OAdC; for a TAP login the identifier with its password
  std::string text;        // the message as its reader sees it, a binary one in hexadecimal
  std::string raw;         // the bytes of the block or frame it came in
  std::string type;        // "tone", "numeric", "alphanumeric", "transparent", or empty
  std::string coding;      // of a transparent message: "binary", "gsm", "ucs2"
  std::string header;      // UCP: user data header in hexadecimal, as parts of long messages have
  std::string trn;         // UCP transaction reference
  bool accepted = false;
  std::string answer;  // the bytes sent back; empty: there was no answer
};

using Recorder = std::function<void(const Request&)>;

/// What a trace shows beside the requests.
enum class Seen {
  kCallBegun,
  kCallEnded,
  kReceived,       // bytes of a call, from the caller
  kSent,           // and to it
  kModemReceived,  // a command to the modem, without its line end
  kModemSent,      // an answer of the modem, without its line ends
  kDropped,        // bytes of a call that were ignored for their parity
};

using Tracer = std::function<void(Seen what, std::string_view bytes)>;

struct Desk {
  explicit Desk(Settings all, Recorder who = {}, Tracer watcher = {})
      : settings(std::move(all)),
        recorder(std::move(who)),
        tracer(std::move(watcher)),
        calls_to_fail(settings.failed_calls),
        logins_to_refuse(settings.login_refusals),
        messages_to_refuse(settings.refuse),
        checksums_to_spoil(settings.wrong_checksums) {}

  void Record(const Request& request) const {
    if (recorder) recorder(request);
  }
  void Trace(Seen what, std::string_view bytes) const {
    if (tracer) tracer(what, bytes);
  }
  /// Whether the number begins like one of the list in `recipients`; an empty list serves all.
  bool Serves(std::string_view recipient) const {
    std::string_view list = settings.recipients;
    if (list.empty()) return true;
    while (!list.empty()) {
      const std::string_view beginning = list.substr(0, list.find(','));
      if (!beginning.empty() && recipient.starts_with(beginning)) return true;
      list.remove_prefix(std::min(list.size(), beginning.size() + 1));
    }
    return false;
  }

  const Settings settings;
  const Recorder recorder;
  const Tracer tracer;
  int calls_to_fail;
  int logins_to_refuse;
  int messages_to_refuse;
  int checksums_to_spoil;
};

/// Takes one off what is left; false when nothing is.
inline bool Take(int& left) {
  if (left == 0) return false;
  if (left != kAll) --left;
  return true;
}

}  // namespace mvsms::centre
