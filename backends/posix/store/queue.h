// The queue of this machine's pages, `queue.db` in the folder of all state.
//
// A SQLite database with a write-ahead log, each operation one transaction that is on stable
// storage when it returns. Several processes use it at once. It keeps who is to be paged and with
// what text: owner and group may read it, and the group may write it where it may write into the
// folder.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/posix/store/sqlite.h"
#include "dispatch/queue.h"

namespace mvsms::posix {

/// The time of the system's clock.
dispatch::Moment SystemNow();

/// Every failure is thrown as RaisedError with a sentence that names the file (ANSI code page). A
/// file of a newer version is left as it is. Reading operations make no file.
class PageQueue : public dispatch::HomeQueue {
 public:
  /// `home` is the folder of all state, UTF-8; `now` gives the time of every operation. Touches
  /// nothing yet.
  explicit PageQueue(const std::string& home, std::function<dispatch::Moment()> now = SystemNow);

  /// Its path, UTF-8.
  const std::string& file() const { return file_; }

  std::size_t Put(std::span<const dispatch::Page> pages) override;
  std::optional<dispatch::QueuedPage> Claim(const std::string& holder, const std::string& profile,
                                            std::span<const std::string> services) override;
  bool Begin(const std::string& id, std::int64_t epoch) override;
  bool Extend(const std::string& id, std::int64_t epoch) override;
  bool GiveBack(const std::string& id, std::int64_t epoch) override;
  bool Finish(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
              dispatch::PageState state) override;
  bool TryAgain(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result,
                dispatch::Moment not_before) override;
  std::int64_t Divert(const std::string& profile, std::span<const std::string> services) override;
  void Sweep(const std::function<bool(const std::string& holder)>& gone) override;
  bool Operate(const std::string& id, const dispatch::OperatorAction& action) override;
  std::optional<dispatch::QueuedPage> Find(const std::string& id) override;
  std::vector<dispatch::QueuedPage> List(const dispatch::PageFilter& filter) override;
  dispatch::QueueStats Stats() override;
  std::vector<std::string> WaitedFor(const std::string& profile) override;
  dispatch::Moment NextDue(const std::string& profile) override;
  std::int64_t Prune(dispatch::Moment before) override;
  bool BringHome(const std::string& id, const dispatch::QueuedPage& there) override;

 private:
  bool Exists() const;
  /// The open file, made when it is not there. One that was moved away is left to whoever did it.
  Connection& Open();
  /// Runs an operation, turning its failure into a sentence about the file.
  template <typename Operation>
  auto Explained(Operation operation);
  /// Runs a statement on one page, and tells whether there was one to change.
  bool Changed(const char* sql, std::initializer_list<Parameter> parameters);
  std::vector<dispatch::QueuedPage> Read(const char* sql,
                                         std::initializer_list<Parameter> parameters);
  void TakeFrom(Connection& connection, const std::string& holder);

  std::string home_;
  std::string file_;
  std::function<dispatch::Moment()> now_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace mvsms::posix
