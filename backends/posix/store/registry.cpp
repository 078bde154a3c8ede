// The registry tree in the settings file. A key is a row with a row id, its path resolved one
// component at a time through the unique index (parent, folded name), so that the number of
// siblings costs nothing. All failures of SQLite become error codes in one place, AsRegStatus.
#include "platform/registry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/store/store.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "platform/registry_key.h"

namespace mvsms::posix {
namespace {

using RowId = std::int64_t;
constexpr RowId kHive = 1;
constexpr RowId kNoKey = 0;

/// What a host knows as "Path/File access error".
constexpr std::int32_t kAccessError = 75;

constexpr char kFindKey[] = "SELECT id FROM keys WHERE parent = ?1 AND folded = ?2";
constexpr char kKeyExists[] = "SELECT 1 FROM keys WHERE id = ?1";
constexpr char kAddKey[] = "INSERT INTO keys(parent, name, folded) VALUES(?1, ?2, ?3)";
constexpr char kHasSubkeys[] = "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1";
constexpr char kDeleteKey[] = "DELETE FROM keys WHERE id = ?1";
constexpr char kDeleteValues[] = "DELETE FROM key_values WHERE key = ?1";
constexpr char kDeleteValue[] = "DELETE FROM key_values WHERE key = ?1 AND folded = ?2";
constexpr char kDeleteKeyTree[] =
    "WITH RECURSIVE doomed(id) AS (SELECT ?1 UNION"
    " SELECT keys.id FROM keys JOIN doomed ON keys.parent = doomed.id)"
    " DELETE FROM keys WHERE id IN doomed";
constexpr char kDeleteValuesTree[] =
    "WITH RECURSIVE doomed(id) AS (SELECT ?1 UNION"
    " SELECT keys.id FROM keys JOIN doomed ON keys.parent = doomed.id)"
    " DELETE FROM key_values WHERE key IN doomed";
constexpr char kValueInfo[] =
    "SELECT type, length(data) FROM key_values WHERE key = ?1 AND folded = ?2";
constexpr char kValue[] = "SELECT type, data FROM key_values WHERE key = ?1 AND folded = ?2";
constexpr char kSetValue[] =
    "INSERT INTO key_values(key, name, folded, type, data) VALUES(?1, ?2, ?3, ?4, ?5)"
    " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data";

/// How names of one kind are listed: the one after a given name, and the one at an index.
struct Listing {
  const char* after;
  const char* at;
};
constexpr Listing kKeyListing = {
    "SELECT name, folded FROM keys WHERE parent = ?1 AND folded > ?2 ORDER BY folded LIMIT 1",
    "SELECT name, folded FROM keys WHERE parent = ?1 ORDER BY folded LIMIT 1 OFFSET ?2"};
constexpr Listing kValueListing = {
    "SELECT name, folded FROM key_values WHERE key = ?1 AND folded > ?2 ORDER BY folded LIMIT 1",
    "SELECT name, folded FROM key_values WHERE key = ?1 ORDER BY folded LIMIT 1 OFFSET ?2"};

/// The state of the file that a position belongs to: other connections' commits, and our own.
struct Version {
  std::int64_t theirs = 0;
  std::uint64_t ours = 0;
  bool operator==(const Version&) const = default;
};

/// Where the last enumeration of a key stands, so that the next index is one step and not a count
/// from the first name. Void when names may have come or gone since.
struct Position {
  std::optional<std::uint32_t> index;
  std::string folded;
  Version version;
};

struct OpenedKey {
  RowId row = kNoKey;
  std::uint64_t generation = 0;  // of the store that the row belongs to
  Position subkeys;
  Position values;
};

RegStatus StatusOf(const SqliteError& error) {
  switch (error.code()) {
    case SQLITE_CONSTRAINT:  // the key was deleted while it was open
      return kErrorFileNotFound;
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return kErrorAccessDenied;
    default:
      return kErrorWriteFault;
  }
}

RowId FindChild(Connection& store, RowId parent, std::string_view name) {
  return store.Value(kFindKey, {parent, Blob{FoldCase(name)}});
}

RowId FindKey(Connection& store, RowId parent, std::string_view path) {
  RowId row = store.Value(kKeyExists, {parent}) ? parent : kNoKey;
  for (const std::string_view name : SplitKeyPath(path)) {
    if (row == kNoKey) break;
    row = FindChild(store, row, name);
  }
  return row;
}

RowId AddChild(Connection& store, RowId parent, std::string_view name) {
  store.Execute(kAddKey, {parent, Text{Utf8FromAnsi(name)}, Blob{FoldCase(name)}});
  return store.LastInsertId();
}

class PosixRegistry : public Registry {
 public:
  explicit PosixRegistry(const std::string& home) : home_(home), store_(home) {
    opened_[kHKeyLocalMachine].row = kHive;
  }

  RegStatus OpenKey(RegKey parent, const std::string& path, std::uint32_t, RegKey& key) override {
    return AsRegStatus([&] { return Open(parent, path, key); });
  }

  RegStatus CreateKey(RegKey parent, const std::string& path, RegKey& key) override {
    return AsRegStatus([&] {
      const RegStatus status = Open(parent, path, key);
      return status == kErrorFileNotFound ? Create(parent, path, key) : status;
    });
  }

  RegStatus CloseKey(RegKey key) override {
    if (key == kHKeyLocalMachine) return kErrorSuccess;
    return opened_.erase(key) ? kErrorSuccess : kErrorInvalidHandle;
  }

  RegStatus QueryValueInfo(RegKey key, const std::string& name, RegType& type,
                           std::uint32_t& size) override {
    return ReadValue(kValueInfo, key, name, [&](const Rows& rows) {
      type = static_cast<RegType>(rows.Int(0));
      size = static_cast<std::uint32_t>(rows.Int(1));
    });
  }

  RegStatus QueryValue(RegKey key, const std::string& name, RegType& type,
                       std::string& data) override {
    return ReadValue(kValue, key, name, [&](const Rows& rows) {
      type = static_cast<RegType>(rows.Int(0));
      data = rows.Bytes(1);
    });
  }

  RegStatus SetValue(RegKey key, const std::string& name, RegType type,
                     const std::string& data) override {
    return AsRegStatus([&] {
      if (!opened_.count(key)) return kErrorInvalidHandle;
      Connection& store = store_.Write();
      Transaction writing(store, Transaction::Kind::kWrite);
      store.Execute(kSetValue, {RowOf(key), Text{Utf8FromAnsi(name)}, Blob{FoldCase(name)},
                                static_cast<std::int64_t>(type), Blob{data}});
      writing.Commit();
      ++value_changes_;
      return kErrorSuccess;
    });
  }

  RegStatus EnumKey(RegKey key, std::uint32_t index, std::size_t buffer_size,
                    std::string& name) override {
    return AsRegStatus([&] {
      std::string found;
      const RegStatus status =
          NameAt(kKeyListing, key, &OpenedKey::subkeys, key_changes_, index, found);
      if (status != kErrorSuccess) return status;
      if (found.size() + 1 > buffer_size) return kErrorMoreData;
      name = found;
      return kErrorSuccess;
    });
  }

  RegStatus EnumValue(RegKey key, std::uint32_t index, std::string& name) override {
    return AsRegStatus([&] {
      return NameAt(kValueListing, key, &OpenedKey::values, value_changes_, index, name);
    });
  }

  RegStatus DeleteValue(RegKey key, const std::string& name) override {
    return AsRegStatus([&] {
      if (!opened_.count(key)) return kErrorInvalidHandle;
      Connection* store = store_.Read();
      if (!store) return kErrorFileNotFound;
      store->Execute(kDeleteValue, {RowOf(key), Blob{FoldCase(name)}});
      ++value_changes_;
      return store->Changes() > 0 ? kErrorSuccess : kErrorFileNotFound;
    });
  }

  RegStatus DeleteKey(RegKey parent, const std::string& name) override {
    return Delete(parent, name, [](Connection& store, RowId row) {
      if (store.Value(kHasSubkeys, {row})) return kErrorAccessDenied;
      store.Execute(kDeleteValues, {row});
      store.Execute(kDeleteKey, {row});
      return kErrorSuccess;
    });
  }

  bool HasDeleteTree() override { return true; }

  RegStatus DeleteTree(RegKey parent, const std::string& name) override {
    return Delete(parent, name, [](Connection& store, RowId row) {
      store.Execute(kDeleteValuesTree, {row});
      store.Execute(kDeleteKeyTree, {row});
      return kErrorSuccess;
    });
  }

  void BeginReading() override {
    if (readings_++ > 0) return;
    AsRegStatus([&] {
      if (Connection* store = store_.Read()) reading_.emplace(*store, Transaction::Kind::kRead);
      return kErrorSuccess;
    });
  }

  void EndReading() override {
    if (--readings_ == 0) reading_.reset();
  }

  Store& store() { return store_; }

  /// See WriteTogether.
  void Together(const std::function<void()>& changes) {
    problem_.clear();
    try {
      Transaction writing(store_.Write(), Transaction::Kind::kWrite);
      changes();
      writing.Commit();
    } catch (const SqliteError& error) {
      problem_ = ProblemSentence(home_, error);
    } catch (const std::exception&) {
      if (problem_.empty()) throw;
    }
    if (!problem_.empty()) throw RaisedError(kAccessError, "Registry", AnsiFromUtf8(problem_));
  }

 private:
  /// Runs an operation on the store, turning its failure into an error code. Its words are kept for
  /// Together.
  template <typename Operation>
  RegStatus AsRegStatus(Operation operation) {
    try {
      return operation();
    } catch (const SqliteError& error) {
      problem_ = ProblemSentence(home_, error);
      return StatusOf(error);
    }
  }

  /// The row of an open key; none when it belonged to a file that another one has replaced.
  RowId RowOf(RegKey key) const {
    const OpenedKey& opened = opened_.at(key);
    const bool current = opened.row == kHive || opened.generation == store_.generation();
    return current ? opened.row : kNoKey;
  }

  RegKey Remember(RowId row) {
    do {
      ++last_key_;
    } while (opened_.count(last_key_));
    opened_[last_key_] = {row, store_.generation(), {}, {}};
    return last_key_;
  }

  RegStatus Open(RegKey parent, const std::string& path, RegKey& key) {
    if (!opened_.count(parent)) return kErrorInvalidHandle;
    if (path.starts_with('\\')) return kErrorBadPathname;
    RowId row = kNoKey;
    if (Connection* store = store_.Read()) {
      Transaction reading(*store, Transaction::Kind::kRead);
      row = FindKey(*store, RowOf(parent), path);
    } else if (RowOf(parent) == kHive && SplitKeyPath(path).empty()) {
      row = kHive;  // it exists even where nothing has been stored
    }
    if (row == kNoKey) return kErrorFileNotFound;
    key = Remember(row);
    return kErrorSuccess;
  }

  RegStatus Create(RegKey parent, const std::string& path, RegKey& key) {
    Connection& store = store_.Write();
    Transaction writing(store, Transaction::Kind::kWrite);
    RowId row = RowOf(parent);
    for (const std::string_view name : SplitKeyPath(path)) {
      const RowId found = FindChild(store, row, name);
      row = found ? found : AddChild(store, row, name);
    }
    if (!store.Value(kKeyExists, {row})) return kErrorFileNotFound;
    writing.Commit();
    ++key_changes_;
    key = Remember(row);
    return kErrorSuccess;
  }

  template <typename Take>
  RegStatus ReadValue(const char* sql, RegKey key, const std::string& name, Take take) {
    return AsRegStatus([&] {
      if (!opened_.count(key)) return kErrorInvalidHandle;
      Connection* store = store_.Read();
      if (!store) return kErrorFileNotFound;
      Rows rows = store->Query(sql, {RowOf(key), Blob{FoldCase(name)}});
      if (!rows.Next()) return kErrorFileNotFound;
      take(rows);
      return kErrorSuccess;
    });
  }

  RegStatus NameAt(const Listing& listing, RegKey key, Position OpenedKey::* member,
                   std::uint64_t changes, std::uint32_t index, std::string& name) {
    if (!opened_.count(key)) return kErrorInvalidHandle;
    Connection* store = store_.Read();
    if (!store) return kErrorNoMoreItems;
    Position& position = opened_.at(key).*member;
    const Version version = {store->Value("PRAGMA data_version"), changes};
    const bool next = position.index && index == *position.index + 1 && position.version == version;
    Rows rows = next ? store->Query(listing.after, {RowOf(key), Blob{position.folded}})
                     : store->Query(listing.at, {RowOf(key), std::int64_t{index}});
    if (!rows.Next()) {
      return store->Value(kKeyExists, {RowOf(key)}) ? kErrorNoMoreItems : kErrorFileNotFound;
    }
    position = {index, rows.Bytes(1), version};
    name = AnsiFromUtf8(rows.Bytes(0));
    return kErrorSuccess;
  }

  /// Runs `remove` on the named key as one transaction. The hive itself cannot be named.
  template <typename Remove>
  RegStatus Delete(RegKey parent, const std::string& path, Remove remove) {
    return AsRegStatus([&] {
      if (!opened_.count(parent)) return kErrorInvalidHandle;
      if (path.starts_with('\\')) return kErrorBadPathname;
      if (SplitKeyPath(path).empty()) return kErrorInvalidParameter;
      Connection* store = store_.Read();
      if (!store) return kErrorFileNotFound;
      Transaction writing(*store, Transaction::Kind::kWrite);
      const RowId row = FindKey(*store, RowOf(parent), path);
      if (row == kNoKey) return kErrorFileNotFound;
      const RegStatus status = remove(*store, row);
      if (status != kErrorSuccess) return status;
      writing.Commit();
      ++key_changes_;
      return kErrorSuccess;
    });
  }

  std::string home_;
  Store store_;
  std::string problem_;  // the last failure of the store
  std::optional<Transaction> reading_;
  int readings_ = 0;
  std::unordered_map<RegKey, OpenedKey> opened_;
  RegKey last_key_ = 0;
  std::uint64_t key_changes_ = 0;    // our own commits, which void the
  std::uint64_t value_changes_ = 0;  // positions of enumerations
};

}  // namespace

std::unique_ptr<Registry> MakeRegistry(const std::string& home) {
  return std::make_unique<PosixRegistry>(home);
}

Store* StoreOf(Registry& registry) {
  auto* const ours = dynamic_cast<PosixRegistry*>(&registry);
  return ours != nullptr ? &ours->store() : nullptr;
}

void WriteTogether(Registry& registry, const std::function<void()>& changes) {
  auto* const ours = dynamic_cast<PosixRegistry*>(&registry);
  ours != nullptr ? ours->Together(changes) : changes();
}

}  // namespace mvsms::posix
