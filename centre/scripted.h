// Plays a dialogue as the answering side of a call, and tells whether the caller kept to it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "centre/dialogue.h"
#include "centre/line.h"

namespace mvsms::centre {

class Scripted : public Answerer {
 public:
  /// Called once per call: when the dialogue has been played to its end (empty text), or when the
  /// caller departs from it or hangs up too early ("NAME:LINE: ...").
  using Report = std::function<void(const std::string& complaint)>;

  /// `dialogue` outlives the call.
  explicit Scripted(const Dialogue& dialogue, Report report = {});
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  void Play();
  bool Perform(const DialogueStep& step);
  bool Expect(const DialogueStep& step);
  bool Any(const DialogueStep& step);
  bool Wait(const DialogueStep& step);
  void Tell(const std::string& complaint);
  std::string At(const std::string& what) const;
  void HangUp();

  const Dialogue& dialogue_;
  Report report_;
  Line* line_ = nullptr;
  std::string received_;  // and not yet asked for
  std::size_t step_ = 0;
  bool waiting_ = false;
};

}  // namespace mvsms::centre
