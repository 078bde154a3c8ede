// The record of the hub's pages that lines here have had, `hub.db` in the folder of all state: a
// SQLite database like the queue's, which is there only where a hub is used.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "backends/posix/store/queue.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/system/machine.h"
#include "dispatch/hub_record.h"

namespace mvsms::posix {

/// Of one thread. Every failure is thrown as RaisedError with a sentence that names the file.
class HubFile : public dispatch::HubRecord {
 public:
  /// `home` is the folder of all state, UTF-8; `machine` tells a copy of it on another machine from
  /// this one. Touches nothing yet.
  explicit HubFile(const std::string& home, std::function<dispatch::Moment()> now = SystemNow,
                   std::string machine = MachineId())
      : home_(home), file_(home + "/hub.db"), now_(std::move(now)), machine_(std::move(machine)) {}

  void Note(const dispatch::HubRow& row) override;
  std::vector<dispatch::HubRow> Open() override;
  void Close(const std::string& id, std::int64_t epoch) override;
  std::vector<dispatch::HubRow> Kept() override;
  void Prune(dispatch::Moment before) override;
  std::string Home() override;
  std::int64_t Beats(const std::string& machine) override;
  void NoteBeats(const std::string& machine, std::int64_t beats) override;

 private:
  Connection& Opened();
  std::vector<dispatch::HubRow> Read(const char* sql);

  std::string home_;
  std::string file_;
  std::function<dispatch::Moment()> now_;
  std::string machine_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace mvsms::posix
