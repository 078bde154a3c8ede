// One call from Connect to Disconnect.
#include "backends/posix/line/line_call.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "backends/posix/line/line_trouble.h"
#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

constexpr std::chrono::milliseconds kSyncStep{20};

class CallStateEvent : public ITCallStateEvent {
 public:
  CallStateEvent(CallState state, CallCause cause, const std::string& words)
      : state_(state), cause_(cause), words_(words) {}
  CallState State() override { return state_; }
  CallCause Cause() override { return cause_; }
  std::string Words() override { return words_; }

 private:
  CallState state_;
  CallCause cause_;
  const std::string& words_;
};

}  // namespace

void EventOutlet::Deliver(CallState state, CallCause cause, const std::string& words) const {
  if ((mask_ & kTeCallState) == 0 || !sink_) return;
  const ITTAPI::EventSink sink = sink_;  // it may be unbound from inside the delivery
  CallStateEvent event(state, cause, words);
  sink(kTeCallState, &event);
}

LineCall::LineCall(std::string line, std::unique_ptr<Dialler> dialler, PosixEventLoop& loop,
                   std::shared_ptr<EventOutlet> outlet)
    : line_(std::move(line)),
      dialler_(std::move(dialler)),
      loop_(loop),
      outlet_(std::move(outlet)) {}

LineCall::~LineCall() { Disconnect(kDcNormal); }

CallState LineCall::GetCallState() {
  if (state_ == CallState::kConnected && dialler_->channel()->Ended()) {
    NoteLoss();
    End();
  }
  return state_;
}

void LineCall::Connect(bool synchronous) {
  if (state_ != CallState::kIdle) {
    throw RaisedError(EISCONN, "Connect", "The call was started already");
  }
  Prepare();
  state_ = CallState::kInProgress;
  worker_ = std::jthread([this, weak = weak_from_this()](const std::stop_token& stop) {
    const CallCause cause = Dial(stop);
    loop_.Post([weak, cause] {
      if (const auto call = weak.lock()) call->Finished(cause);
    });
  });
  while (synchronous && state_ == CallState::kInProgress) {
    loop_.Sleep(kSyncStep);
    loop_.DoEvents();
  }
}

void LineCall::Disconnect(std::int32_t /*code*/) {
  if (worker_.joinable()) {
    worker_.request_stop();
    worker_.join();
  }
  NoteLoss();
  dialler_->HangUp();
  if (state_ == CallState::kInProgress || state_ == CallState::kConnected) End();
  state_ = CallState::kDisconnected;
}

void LineCall::Prepare() {
  NoteTrouble(line_, "");
  NoteNothingDialled(line_, false);
  try {
    dialler_->Prepare();
  } catch (const RaisedError& error) {
    NoteNothingDialled(line_, true);
    NoteTrouble(line_, Utf8FromAnsi(error.description()));
    throw;
  }
}

// Nobody may have looked at the call since: then it is seen at the latest when it is to be ended.
void LineCall::NoteLoss() {
  if (state_ != CallState::kConnected || !dialler_->channel()->Lost()) return;
  NoteTrouble(line_, dialler_->Trouble());
}

void LineCall::End() {
  state_ = CallState::kDisconnected;
  loop_.Post([outlet = outlet_] {
    outlet->Deliver(CallState::kDisconnected, CallCause::kDisconnectNormal);
  });
}

std::shared_ptr<Channel> LineCall::channel() const {
  return state_ == CallState::kConnected ? dialler_->channel() : nullptr;
}

CallCause LineCall::Dial(const std::stop_token& stop) {
  try {
    return dialler_->Dial(stop);
  } catch (const std::exception&) {  // out of memory or threads
    return CallCause::kDisconnectFailed;
  }
}

void LineCall::Finished(CallCause cause) {
  if (state_ != CallState::kInProgress) return;
  worker_.join();
  const bool up = cause == CallCause::kNone;
  state_ = up ? CallState::kConnected : CallState::kDisconnected;
  if (!up) NoteTrouble(line_, dialler_->Trouble());
  NoteNothingDialled(line_, !up && dialler_->NothingDialled());
  const std::string refusal = up ? "" : dialler_->Refusal();
  if (!up) dialler_->HangUp();
  outlet_->Deliver(state_, cause, refusal);
}

}  // namespace mvsms::posix
