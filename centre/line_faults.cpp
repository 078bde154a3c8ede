// Everything sent goes through one queue of pieces with due times, so that late and split answers
// keep their order whatever is mixed.
#include "centre/line_faults.h"

#include <algorithm>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr int kMostRandomBytes = 1 << 20;

/// How much of `size` may still pass under `limit` (0: no limit); `count`, what has passed so far,
/// grows by it.
std::size_t Pass(std::size_t size, int limit, int& count) {
  if (limit == 0) return size;
  const auto left = std::min(size, static_cast<std::size_t>(limit - count));
  count += static_cast<int>(left);
  return left;
}

}  // namespace

LineFaults::LineFaults(const Settings& settings, std::unique_ptr<Answerer> inner)
    : settings_(settings),
      inner_(std::move(inner)),
      random_(static_cast<std::mt19937::result_type>(settings.seed)) {}

LineFaults::~LineFaults() = default;

void LineFaults::Connected(Line& line) {
  outer_ = &line;
  inner_hears_ = std::make_shared<char>();
  Queue(settings_.noise + RandomBytes(settings_.garbage), Millis{0});
  if (inner_hears_) inner_->Connected(*this);
}

void LineFaults::Received(std::string_view bytes) {
  if (!inner_hears_) return;
  const int limit = settings_.hang_up_after_received;
  bytes = bytes.substr(0, Pass(bytes.size(), limit, received_));
  inner_->Received(bytes);
  if (limit != 0 && received_ == limit && inner_hears_) Cut();
}

void LineFaults::HungUp() {
  outer_ = nullptr;
  queue_.clear();
  if (std::exchange(inner_hears_, nullptr)) inner_->HungUp();
}

void LineFaults::Write(std::string_view bytes) {
  if (!inner_hears_ || cut_) return;
  std::string answer(bytes);
  if (settings_.truncate_answers > 0)
    answer.resize(std::min(answer.size(), static_cast<std::size_t>(settings_.truncate_answers)));
  if (!std::exchange(flooded_, true)) answer.insert(0, RandomBytes(settings_.flood));
  Queue(answer, settings_.answer_delay);
}

void LineFaults::HangUp() {
  inner_hears_.reset();
  closing_ = true;
  if (queue_.empty() && outer_ != nullptr) Drop();
}

void LineFaults::After(Millis delay, std::function<void()> action) {
  outer_->After(delay, [hears = std::weak_ptr(inner_hears_), act = std::move(action)] {
    if (!hears.expired()) act();
  });
}

Millis LineFaults::Now() { return outer_->Now(); }

void LineFaults::Queue(const std::string& bytes, Millis delay) {
  if (bytes.empty()) return;
  const Millis start = std::max(Now() + delay, last_due_);
  const auto size =
      settings_.chunk_bytes > 0 ? static_cast<std::size_t>(settings_.chunk_bytes) : bytes.size();
  Millis due = start;
  for (std::size_t at = 0; at < bytes.size() && outer_ != nullptr; at += size) {
    QueuePiece(bytes.substr(at, size), due);
    due += settings_.chunk_gap;
  }
  last_due_ = settings_.chunk_bytes > 0 ? due : start;
}

void LineFaults::QueuePiece(std::string piece, Millis due) {
  const Millis wait = due - Now();
  if (wait <= Millis{0} && queue_.empty()) return Transmit(std::move(piece));
  queue_.push_back(std::move(piece));
  outer_->After(std::max(wait, Millis{0}), [this] { SendNext(); });
}

void LineFaults::SendNext() {
  if (queue_.empty()) return;
  std::string piece = std::move(queue_.front());
  queue_.pop_front();
  Transmit(std::move(piece));
  if (closing_ && queue_.empty() && outer_ != nullptr) Drop();
}

void LineFaults::Transmit(std::string bytes) {
  const int limit = settings_.hang_up_after_sent;
  bytes.resize(Pass(bytes.size(), limit, sent_));
  outer_->Write(bytes);
  if (limit == 0 || sent_ < limit || std::exchange(cut_, true)) return;
  // Not at once: the inner answerer may be in the middle of writing.
  outer_->After(Millis{0}, [this] { Cut(); });
}

void LineFaults::Cut() {
  queue_.clear();
  if (std::exchange(inner_hears_, nullptr)) inner_->HungUp();
  if (outer_ != nullptr) Drop();
}

void LineFaults::Drop() { std::exchange(outer_, nullptr)->HangUp(); }

std::string LineFaults::RandomBytes(int count) {
  std::string out;
  for (count = std::min(count, kMostRandomBytes); count > 0; --count)
    out += static_cast<char>(random_() & 0xFF);
  return out;
}

}  // namespace mvsms::centre
