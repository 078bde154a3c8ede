// The hub on a PostgreSQL server: each operation is one call of a function there (schema-1.sql),
// and one transaction, on stable storage when it returns.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/posix/hub/wire.h"
#include "dispatch/hub.h"

namespace mvsms::posix {

/// The version of the tables and functions that this program speaks to.
inline constexpr std::int32_t kHubVersion = 1;

/// Every failure is thrown as RaisedError with a sentence (ANSI code page).
class ServerHub : public dispatch::Hub {
 public:
  /// The wire outlives it.
  explicit ServerHub(HubWire& wire) : wire_(wire) {}

  // As the owner of the database, who alone may.
  /// Makes tables and functions; an error where they are there.
  void Init();
  /// Brings them from their version to this program's, in one transaction, while machines are at
  /// work.
  void Upgrade();
  /// Their version; nothing where there are none.
  std::optional<std::int32_t> Version();
  /// Throws what to do when the hub has another version than this program.
  void CheckVersion();

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

  dispatch::Moment Now() override;
  bool Submit(const dispatch::QueuedPage& page) override;
  bool Withdraw(const std::string& id, std::int64_t offer) override;
  std::vector<dispatch::QueuedPage> Results(const std::string& origin, std::size_t most) override;
  bool Seen(const std::string& id, std::int64_t epoch, dispatch::PageState state) override;
  std::vector<dispatch::HubTry> Tries(const std::string& id) override;
  void Late(const std::string& id, std::int64_t epoch, const dispatch::PageResult& result) override;
  std::vector<dispatch::WaitedService> Waited(const std::string& profile) override;
  dispatch::HubNews Beat(const dispatch::Machine& machine) override;
  std::vector<dispatch::Machine> Machines() override;
  dispatch::HubRests Rests(const std::string& origin) override;
  void Hold(const std::string& why) override;
  bool Replay(const std::string& id, std::int64_t epoch, const std::string& holder,
              const dispatch::PageResult& result, dispatch::PageState state) override;
  void HasTold(const std::string& machine) override;
  void Release() override;
  std::string HeldBecause() override;

 private:
  void MakeVersions(std::int32_t from);

  using Table = std::vector<std::vector<std::string>>;

  Table Ask(const std::string& sql, const std::vector<std::string>& values = {});
  /// SELECT `columns` FROM the function with these values.
  Table Call(const std::string& function, const std::vector<std::string>& values,
             const std::string& columns = "*");
  bool Changed(const std::string& function, const std::vector<std::string>& values);
  std::vector<dispatch::QueuedPage> Pages(const std::string& function,
                                          const std::vector<std::string>& values);

  HubWire& wire_;
};

}  // namespace mvsms::posix
