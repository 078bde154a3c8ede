// Passes everything on unchanged.
#include "centre/traced.h"

#include <utility>

namespace mvsms::centre {

Traced::Traced(std::unique_ptr<Answerer> inner, Observer observer, std::function<void()> ended)
    : inner_(std::move(inner)), observer_(std::move(observer)), ended_(std::move(ended)) {}

void Traced::Connected(Line& line) {
  outer_ = &line;
  inner_->Connected(*this);
}

void Traced::Received(std::string_view bytes) {
  if (observer_) observer_(true, bytes);
  inner_->Received(bytes);
}

void Traced::HungUp() {
  inner_->HungUp();
  ended_();
}

void Traced::Write(std::string_view bytes) {
  if (observer_) observer_(false, bytes);
  outer_->Write(bytes);
}

void Traced::HangUp() {
  outer_->HangUp();
  ended_();
}

void Traced::After(Millis delay, std::function<void()> action) {
  outer_->After(delay, std::move(action));
}

Millis Traced::Now() { return outer_->Now(); }

}  // namespace mvsms::centre
