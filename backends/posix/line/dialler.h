// How a line of one kind reaches the far end: the part of a call that knows modems or sockets.
#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "backends/posix/line/channel.h"
#include "backends/posix/store/line_store.h"
#include "platform/telephony.h"

namespace mvsms::posix {

/// One call. Prepare, then Dial, then HangUp, each when the one before has returned.
class Dialler {
 public:
  virtual ~Dialler() = default;
  /// Acquires what the call needs. On the owner's thread; throws RaisedError.
  virtual void Prepare() = 0;
  /// Calls the far end and returns when the call is up (kNone) or has failed (why), soon after
  /// `stop` at the latest. On a worker thread.
  virtual CallCause Dial(const std::stop_token& stop) = 0;
  /// The open line of a call that is up.
  virtual const std::shared_ptr<Channel>& channel() const = 0;
  /// Why the call did not come up, or why the line of one that is up was lost, where that is more
  /// than the cause says: a sentence, UTF-8; else empty. Asked before HangUp, when Dial is not
  /// running.
  virtual std::string Trouble() const = 0;
  /// The words with which the far end refused a login of the line, ANSI; empty when it did not.
  /// Asked as Trouble is.
  virtual std::string Refusal() const { return {}; }
  /// Whether the Dial that failed did not come as far as the number, because of the modem or its
  /// line: then another modem may be tried.
  virtual bool NothingDialled() const = 0;
  /// Ends the call, if it is up, and releases what Prepare acquired. On the owner's thread; safe in
  /// every state.
  virtual void HangUp() = 0;
};

/// `destination` is what the line's modem dials, or host:port or tls://host:port.
std::unique_ptr<Dialler> MakeHayesDialler(const LineConfig& line, const std::string& destination);
std::unique_ptr<Dialler> MakeTcpDialler(const LineConfig& line, const std::string& destination);

}  // namespace mvsms::posix
