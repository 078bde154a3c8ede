// Lets any answerer of the message centre take a call (or a serial device) of the machine in
// memory: `line.far_end = [&](auto&) { return CentreFarEnd::Answering(centre.AnswerCall()); }`.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "backends/memory/memory_platform.h"
#include "centre/line.h"

namespace mvsms::test {

class CentreFarEnd : public memory::FarEnd, private centre::Line {
 public:
  explicit CentreFarEnd(std::unique_ptr<centre::Answerer> answerer)
      : answerer_(std::move(answerer)) {}
  static std::unique_ptr<memory::FarEnd> Answering(std::unique_ptr<centre::Answerer> answerer) {
    return std::make_unique<CentreFarEnd>(std::move(answerer));
  }

  void Connected(memory::Wire& wire) override {
    wire_ = &wire;
    answerer_->Connected(*this);
  }
  void Received(std::string_view bytes) override {
    if (!over_) answerer_->Received(bytes);
  }
  void HungUp() override {
    if (!std::exchange(over_, true)) answerer_->HungUp();
  }

 private:
  void Write(std::string_view bytes) override { wire_->Write(bytes); }
  // The call ends only when the answerer has returned, because ending it may destroy this object.
  void HangUp() override {
    over_ = true;
    wire_->After(centre::Millis{0}, [this] { wire_->HangUp(); });
  }
  void After(centre::Millis delay, std::function<void()> action) override {
    wire_->After(delay, [this, act = std::move(action)] {
      if (!over_) act();
    });
  }
  centre::Millis Now() override { return wire_->Now(); }

  std::unique_ptr<centre::Answerer> answerer_;
  memory::Wire* wire_ = nullptr;
  bool over_ = false;  // either side has hung up
};

}  // namespace mvsms::test
