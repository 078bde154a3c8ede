// Stands between an answerer and its line and shows what passes: for traces, and for counting the
// calls that have ended.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "centre/line.h"

namespace mvsms::centre {

class Traced : public Answerer, private Line {
 public:
  using Observer = std::function<void(bool from_caller, std::string_view bytes)>;

  /// `observer` may be empty. `ended` is called once, when either side has hung up.
  Traced(std::unique_ptr<Answerer> inner, Observer observer, std::function<void()> ended);
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override;

  std::unique_ptr<Answerer> inner_;
  Observer observer_;
  std::function<void()> ended_;
  Line* outer_ = nullptr;
};

}  // namespace mvsms::centre
