// A stand-in for the Sender, with a medium and a virtual clock of its own: time passes only in
// Pause. It keeps one record of everything a session does, in order, and plays the centre's part
// from a script.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "protocols/session.h"

namespace mvsms {

class FakeHost final : public SessionHost, private ISMSMedium {
 public:
  // --- script -------------------------------------------------------------------------------
  /// `text` arrives at `time` milliseconds after the start.
  void Arrives(std::int64_t time, std::string text) {
    arrivals_.push_back({time, std::move(text)});
  }
  /// `text` arrives `delay` milliseconds after the `nth` Send (from 1).
  void Answers(int nth, std::int64_t delay, std::string text) {
    answers_.push_back({nth, delay, std::move(text)});
  }
  /// The host aborts at `time`, in the middle of whatever pause reaches it.
  void AbortsAt(std::int64_t time) { abort_time_ = time; }
  /// The host aborts from its handler for a status line that begins with `start`.
  void AbortsOnStatus(std::string start) { abort_status_ = std::move(start); }
  /// The host aborts while the `nth` DoEvents (from 1) runs.
  void AbortsInEvents(int nth) { abort_events_ = nth; }

  // --- record -------------------------------------------------------------------------------
  /// "status ...", "error N|text|location", "send ...", "pause N", "receive", "events".
  std::vector<std::string> record;
  std::int64_t now = 0;

  std::vector<std::string> Statuses() const { return Recorded("status "); }
  std::vector<std::string> Errors() const { return Recorded("error "); }
  std::vector<std::string> Sent() const { return Recorded("send "); }
  std::vector<std::string> Pauses() const { return Recorded("pause "); }

  // --- SessionHost --------------------------------------------------------------------------
  ISMSMedium& Medium() override { return *this; }
  void AddStatus(const std::string& Text) override {
    record.push_back("status " + Text);
    if (!abort_status_.empty() && Text.starts_with(abort_status_)) abort = true;
  }
  void ReportError(std::int32_t ErrNumber, const std::string& ErrDescription,
                   const std::string& ModuleName) override {
    record.push_back("error " + std::to_string(ErrNumber) + "|" + ErrDescription + "|" +
                     ModuleName);
  }
  void Pause(std::int32_t Milliseconds) override {
    record.push_back("pause " + std::to_string(Milliseconds));
    if (Milliseconds > 0) now += std::int64_t{Milliseconds} / 10 * 10;
    if (abort_time_ >= 0 && now >= abort_time_) abort = true;
  }
  void DoEvents() override {
    record.push_back("events");
    if (++events_ == abort_events_) abort = true;
  }

 private:
  struct Arrival {
    std::int64_t time;
    std::string text;
  };
  struct Answer {
    int nth;
    std::int64_t delay;
    std::string text;
  };

  bool Send(const std::string& Message) override {
    record.push_back("send " + Message);
    ++sends_;
    for (const Answer& answer : answers_)
      if (answer.nth == sends_) Arrives(now + answer.delay, answer.text);
    return true;
  }
  std::string Receive() override {
    record.push_back("receive");
    std::string received;
    std::erase_if(arrivals_, [&](const Arrival& arrival) {
      const bool due = arrival.time <= now;
      if (due) received += arrival.text;
      return due;
    });
    return received;
  }

  std::vector<std::string> Recorded(const std::string& kind) const {
    std::vector<std::string> entries;
    for (const std::string& entry : record)
      if (entry.starts_with(kind)) entries.push_back(entry.substr(kind.size()));
    return entries;
  }

  std::vector<Arrival> arrivals_;
  std::vector<Answer> answers_;
  std::int64_t abort_time_ = -1;
  std::string abort_status_;
  int abort_events_ = 0;
  int events_ = 0;
  int sends_ = 0;
};

}  // namespace mvsms
