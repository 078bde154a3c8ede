// Passes everything on unchanged.
#include "centre/traced.h"

#include <utility>

namespace mvsms::centre {

Traced::Traced(std::unique_ptr<Answerer> inner, Tracer tracer, std::function<void()> ended)
    : inner_(std::move(inner)), tracer_(std::move(tracer)), ended_(std::move(ended)) {}

void Traced::Connected(Line& line) {
  Show(Seen::kCallBegun);
  outer_ = &line;
  inner_->Connected(*this);
}

void Traced::Received(std::string_view bytes) {
  Show(Seen::kReceived, bytes);
  inner_->Received(bytes);
}

void Traced::HungUp() {
  inner_->HungUp();
  End();
}

void Traced::Write(std::string_view bytes) {
  Show(Seen::kSent, bytes);
  outer_->Write(bytes);
}

void Traced::HangUp() {
  outer_->HangUp();
  End();
}

void Traced::After(Millis delay, std::function<void()> action) {
  outer_->After(delay, std::move(action));
}

Millis Traced::Now() { return outer_->Now(); }

void Traced::Show(Seen what, std::string_view bytes) const {
  if (tracer_) tracer_(what, bytes);
}

void Traced::End() const {
  Show(Seen::kCallEnded);
  ended_();
}

}  // namespace mvsms::centre
