// Steps are performed one after the other until one has to wait, for bytes or for time.
#include "centre/scripted.h"

#include <algorithm>
#include <utility>

#include "centre/notation.h"

namespace mvsms::centre {
namespace {
constexpr std::size_t kMostUnasked = 1 << 20;
}

Scripted::Scripted(const Dialogue& dialogue, Report report)
    : dialogue_(dialogue), report_(std::move(report)) {}

void Scripted::Connected(Line& line) {
  line_ = &line;
  Play();
}

void Scripted::Received(std::string_view bytes) {
  if (line_ == nullptr || received_.size() > kMostUnasked) return;
  received_ += bytes;
  Play();
}

void Scripted::HungUp() {
  line_ = nullptr;
  if (step_ < dialogue_.steps.size()) Tell(At("the caller hung up"));
}

void Scripted::Play() {
  while (line_ != nullptr && !waiting_ && step_ < dialogue_.steps.size()) {
    if (!Perform(dialogue_.steps[step_])) return;
    ++step_;
  }
  if (step_ == dialogue_.steps.size()) Tell({});
}

bool Scripted::Perform(const DialogueStep& step) {
  switch (step.kind) {
    case DialogueStep::Kind::kExpect:
      return Expect(step);
    case DialogueStep::Kind::kAny:
      return Any(step);
    case DialogueStep::Kind::kReply:
      line_->Write(step.bytes);
      return true;
    case DialogueStep::Kind::kAfter:
      return Wait(step);
    case DialogueStep::Kind::kDiscard:
      received_.clear();
      return true;
    case DialogueStep::Kind::kHangUp:
      HangUp();
      return true;
  }
  return true;
}

bool Scripted::Expect(const DialogueStep& step) {
  const std::size_t common = std::min(received_.size(), step.bytes.size());
  if (received_.compare(0, common, step.bytes, 0, common) != 0) {
    Tell(At("expected " + ToNotation(step.bytes) + ", the caller sent " + ToNotation(received_)));
    HangUp();
    return false;
  }
  if (common < step.bytes.size()) return false;
  received_.erase(0, common);
  return true;
}

bool Scripted::Any(const DialogueStep& step) {
  const std::size_t end = received_.find(step.bytes);
  if (end == std::string::npos) return false;
  received_.erase(0, end + step.bytes.size());
  return true;
}

bool Scripted::Wait(const DialogueStep& step) {
  waiting_ = true;
  line_->After(step.delay, [this] {
    waiting_ = false;
    ++step_;
    Play();
  });
  return false;
}

void Scripted::Tell(const std::string& complaint) {
  if (const Report report = std::exchange(report_, nullptr)) report(complaint);
}

std::string Scripted::At(const std::string& what) const {
  return dialogue_.name + ":" + std::to_string(dialogue_.steps[step_].line) + ": " + what;
}

void Scripted::HangUp() { std::exchange(line_, nullptr)->HangUp(); }

}  // namespace mvsms::centre
