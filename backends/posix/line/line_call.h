// A call as TAPI shows it, over a dialler of either kind, and the events of a telephony session.
//
// The dialling runs on a worker thread of the call, for Connect must return at once. Its outcome
// comes to the owner through the event loop: the state changes when the event is delivered, so
// nobody sees a call that has failed without knowing why, and the state needs no lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "backends/posix/line/dialler.h"
#include "backends/posix/system/event_loop.h"
#include "platform/telephony.h"

namespace mvsms::posix {

/// Where the events of a session go. Shared with its calls, which may end later than the session.
class EventOutlet {
 public:
  void PutFilter(std::int32_t mask) { mask_ = mask; }
  void SetSink(ITTAPI::EventSink sink) { sink_ = std::move(sink); }
  /// `words` are those with which the far end refused the call, where it was heard.
  void Deliver(CallState state, CallCause cause, const std::string& words = {}) const;

 private:
  std::int32_t mask_ = 0;
  ITTAPI::EventSink sink_;
};

class LineCall : public ITBasicCallControl, public std::enable_shared_from_this<LineCall> {
 public:
  /// `line` is the line's name, under which the call's trouble is noted. `loop` outlives the call.
  LineCall(std::string line, std::unique_ptr<Dialler> dialler, PosixEventLoop& loop,
           std::shared_ptr<EventOutlet> outlet);
  ~LineCall() override;

  /// When the far end has gone, and all that it sent was read, the call is disconnected.
  CallState GetCallState() override;
  /// Throws RaisedError when the device cannot be had (see OpenModem) or the call was started
  /// before.
  void Connect(bool synchronous) override;
  /// Blocks until the modem has hung up: half a second where it follows DTR, else some three.
  void Disconnect(std::int32_t code) override;

  /// The open line; null unless the call is connected.
  std::shared_ptr<Channel> channel() const;

 private:
  CallCause Dial(const std::stop_token& stop);
  void Finished(CallCause cause);
  void End();
  void Prepare();
  void NoteLoss();

  std::string line_;
  std::unique_ptr<Dialler> dialler_;
  PosixEventLoop& loop_;
  std::shared_ptr<EventOutlet> outlet_;
  CallState state_ = CallState::kIdle;
  std::jthread worker_;
};

}  // namespace mvsms::posix
