// Stands between an answerer and its line and shows what passes: for traces, and for counting the
// calls that have ended.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "centre/desk.h"
#include "centre/line.h"

namespace mvsms::centre {

class Traced : public Answerer, private Line {
 public:
  /// `tracer` may be empty. `ended` is called once, when either side has hung up.
  Traced(std::unique_ptr<Answerer> inner, Tracer tracer, std::function<void()> ended);
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override;

  void Show(Seen what, std::string_view bytes = {}) const;
  void End() const;

  std::unique_ptr<Answerer> inner_;
  Tracer tracer_;
  std::function<void()> ended_;
  Line* outer_ = nullptr;
};

}  // namespace mvsms::centre
