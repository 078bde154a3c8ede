// The record of the hub's pages in memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/hub_record.h"

namespace mvsms::memory {

class MemoryHubRecord : public dispatch::HubRecord {
 public:
  explicit MemoryHubRecord(std::function<dispatch::Moment()> now) : now_(std::move(now)) {}

  void Note(const dispatch::HubRow& row) override {
    const auto known = Look(row.id, row.epoch);
    known != open_.end() ? void(*known = row) : open_.push_back(row);
  }
  std::vector<dispatch::HubRow> Open() override { return open_; }
  void Close(const std::string& id, std::int64_t epoch) override {
    const auto known = Look(id, epoch);
    if (known == open_.end()) return;
    if (IsTry(known->step)) kept_.emplace_back(*known, now_());
    open_.erase(known);
  }
  std::vector<dispatch::HubRow> Kept() override {
    std::vector<dispatch::HubRow> rows;
    for (const auto& [row, closed] : kept_) rows.push_back(row);
    return rows;
  }
  void Prune(dispatch::Moment before) override {
    std::erase_if(kept_, [&](const auto& kept) { return kept.second < before; });
  }
  std::string Home() override { return home_; }
  std::int64_t Beats(const std::string& machine) override { return beats_[machine]; }
  void NoteBeats(const std::string& machine, std::int64_t beats) override {
    beats_[machine] = beats;
  }

 private:
  std::vector<dispatch::HubRow>::iterator Look(const std::string& id, std::int64_t epoch) {
    return std::ranges::find_if(
        open_, [&](const auto& row) { return row.id == id && row.epoch == epoch; });
  }
  std::function<dispatch::Moment()> now_;
  static inline int homes_ = 0;
  const std::string home_ = std::to_string(++homes_);
  std::vector<dispatch::HubRow> open_;
  std::vector<std::pair<dispatch::HubRow, dispatch::Moment>> kept_;
  std::map<std::string, std::int64_t> beats_;
};

}  // namespace mvsms::memory
