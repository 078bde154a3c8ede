// A bad line and a slow centre, put in front of any answerer: noise and floods, answers that are
// late, in pieces or cut off, and hang-ups after any byte. The answerer behind it knows nothing of
// it.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "centre/line.h"
#include "centre/settings.h"

namespace mvsms::centre {

class LineFaults : public Answerer, private Line {
 public:
  /// `settings` outlive the call.
  LineFaults(const Settings& settings, std::unique_ptr<Answerer> inner);
  ~LineFaults() override;
  void Connected(Line& line) override;
  void Received(std::string_view bytes) override;
  void HungUp() override;

 private:
  void Write(std::string_view bytes) override;
  void HangUp() override;
  void After(Millis delay, std::function<void()> action) override;
  Millis Now() override;

  void Queue(const std::string& bytes, Millis delay);
  void QueuePiece(std::string piece, Millis due);
  void SendNext();
  void Transmit(std::string bytes);
  void Cut();
  void Drop();
  std::string RandomBytes(int count);

  const Settings& settings_;
  std::unique_ptr<Answerer> inner_;
  Line* outer_ = nullptr;
  std::shared_ptr<char> inner_hears_;  // gone once the inner answerer must hear nothing more
  std::deque<std::string> queue_;
  Millis last_due_{0};
  bool closing_ = false;  // the inner answerer has hung up, its last bytes are still to be sent
  bool cut_ = false;      // the sent bytes have reached their limit
  bool flooded_ = false;
  int received_ = 0;
  int sent_ = 0;
  std::mt19937 random_;
};

}  // namespace mvsms::centre
