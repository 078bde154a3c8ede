// What the registry in the settings file adds to the contract of all back ends: several writers,
// kills at any moment, and many siblings.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/sqlite.h"
#include "backends/posix/store/store.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

class PosixRegistry : public testing::Test {
 protected:
  std::unique_ptr<Registry> Open() const { return MakeRegistry(folder_.path()); }

  static bool SetNumber(Registry& registry, const std::string& path, const std::string& name,
                        int number) {
    RegKey key = 0;
    return registry.CreateKey(kHKeyLocalMachine, path, key) == kErrorSuccess &&
           registry.SetValue(key, name, RegType::kSz, std::to_string(number)) == kErrorSuccess &&
           registry.CloseKey(key) == kErrorSuccess;
  }

  static RegKey OpenAt(Registry& registry, const std::string& path) {
    RegKey key = 0;
    registry.OpenKey(kHKeyLocalMachine, path, kKeyAllAccess, key);
    return key;
  }

  static std::string NumberAt(Registry& registry, RegKey key) {
    RegType type = RegType::kNone;
    std::string data;
    registry.QueryValue(key, "N", type, data);
    return data;
  }

  static std::vector<std::string> Subkeys(Registry& registry, RegKey key) {
    std::vector<std::string> names;
    std::string name;
    while (registry.EnumKey(key, static_cast<std::uint32_t>(names.size()), 255, name) ==
           kErrorSuccess) {
      names.push_back(name);
    }
    return names;
  }

  /// Writes `count` keys and values of a writer; false when one is refused.
  bool WriteMany(const std::string& writer, int count) const {
    const auto registry = Open();
    for (int i = 0; i < count; ++i) {
      if (!SetNumber(*registry, "Shared\\" + writer + std::to_string(i), "N", i)) return false;
      if (!SetNumber(*registry, "Shared", writer + std::to_string(i), i)) return false;
    }
    return true;
  }

  /// Two changes, and what comes after them, as one.
  static void ChangeTwo(Registry& registry, const std::function<void()>& then) {
    WriteTogether(registry, [&] {
      SetNumber(registry, "Key", "One", 1);
      SetNumber(registry, "Key\\Below", "Two", 2);
      then();
    });
  }

  void ExpectKeysAndValues(std::size_t count) const {
    const auto registry = Open();
    const RegKey shared = OpenAt(*registry, "Shared");
    EXPECT_EQ(Subkeys(*registry, shared).size(), count);
    std::string name;
    std::uint32_t values = 0;
    while (registry->EnumValue(shared, values, name) == kErrorSuccess) ++values;
    EXPECT_EQ(values, count);
    EXPECT_EQ(WriteProblem(folder_.path()), "");
  }

  /// A hundred thousand routes, put there in one go.
  void FillRoutes() const {
    SetNumber(*Open(), "Routing", "N", 0);
    Connection(folder_ / "settings.db")
        .Execute(
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 99999)"
            " INSERT INTO keys(parent, name, folded)"
            " SELECT (SELECT id FROM keys WHERE name = 'Routing'), printf('%05d', i),"
            " CAST(printf('%05d', i) AS BLOB) FROM n");
  }

  TempFolder folder_;
};

TEST_F(PosixRegistry, TwoProcessesThatWriteAtOnceLoseNothing) {
  ChildProcess other([this] { return WriteMany("b", 60); });
  EXPECT_TRUE(WriteMany("a", 60));
  EXPECT_TRUE(other.Succeeded());
  ExpectKeysAndValues(120);
}

TEST_F(PosixRegistry, ThreadsThatWriteAtOnceLoseNothing) {
  std::vector<std::thread> threads;
  for (const char* writer : {"a", "b", "c"}) {
    threads.emplace_back([this, writer] { EXPECT_TRUE(WriteMany(writer, 20)); });
  }
  for (std::thread& thread : threads) thread.join();
  ExpectKeysAndValues(60);
}

/// A writer in another process that counts up, making and deleting a tree in between, and tells
/// each number once it is stored.
class Counter {
 public:
  explicit Counter(const std::string& home) {
    EXPECT_EQ(pipe(ends_), 0);
    process_.emplace([&] { return Count(*MakeRegistry(home)); });
    close(ends_[1]);
  }
  ~Counter() { close(ends_[0]); }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  /// Waits for the first number, then for a while longer, and kills the writer. Returns the last
  /// number told.
  int KillAfter(std::chrono::microseconds while_longer) {
    int last = 0;
    EXPECT_EQ(read(ends_[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
    std::this_thread::sleep_for(while_longer);
    process_->Kill();
    while (read(ends_[0], &last, sizeof last) == static_cast<ssize_t>(sizeof last)) {
    }
    return last;
  }

 private:
  bool Count(Registry& registry) const {
    RegKey key = 0;
    registry.CreateKey(kHKeyLocalMachine, "Counting", key);
    for (int number = 1;; ++number) {
      RegKey deepest = 0;
      if (registry.CreateKey(key, "Tree\\Branch\\Leaf", deepest)) return false;
      registry.CloseKey(deepest);
      if (registry.SetValue(key, "Number", RegType::kSz, std::to_string(number))) return false;
      if (write(ends_[1], &number, sizeof number) < 0) return false;
      if (registry.DeleteTree(key, "Tree")) return false;
    }
  }

  int ends_[2] = {-1, -1};
  std::optional<ChildProcess> process_;
};

TEST_F(PosixRegistry, AKillAtAnyMomentLosesNothingThatWasReportedAsWritten) {
  std::mt19937 random(7);
  for (int round = 0; round < 50; ++round) {
    const int told = Counter(folder_.path()).KillAfter(std::chrono::microseconds(random() % 8000));
    const auto registry = Open();
    const RegKey counting = OpenAt(*registry, "Counting");
    RegType type = RegType::kNone;
    std::string stored;
    ASSERT_EQ(registry->QueryValue(counting, "Number", type, stored), kErrorSuccess);
    ASSERT_GE(std::stoi(stored), told);
    ASSERT_LE(std::stoi(stored), told + 1);
    RegKey key = 0;
    if (registry->OpenKey(counting, "Tree", kKeyAllAccess, key) == kErrorSuccess) {
      ASSERT_EQ(registry->OpenKey(counting, "Tree\\Branch\\Leaf", kKeyAllAccess, key),
                kErrorSuccess);
    }
    ASSERT_EQ(WriteProblem(folder_.path()), "");
  }
}

TEST_F(PosixRegistry, OneAmongAHundredThousandSiblingsIsFoundAndListed) {
  FillRoutes();
  const auto registry = Open();
  RegKey key = 0;
  EXPECT_EQ(registry->OpenKey(kHKeyLocalMachine, "Routing\\00490", kKeyAllAccess, key),
            kErrorSuccess);
  EXPECT_EQ(registry->OpenKey(kHKeyLocalMachine, "Routing\\0049x", kKeyAllAccess, key),
            kErrorFileNotFound);
  const std::vector<std::string> names = Subkeys(*registry, OpenAt(*registry, "Routing"));
  ASSERT_EQ(names.size(), 100000U);
  EXPECT_EQ(names.front(), "00000");
  EXPECT_EQ(names.back(), "99999");
}

TEST_F(PosixRegistry, LookingUpAndListingGoThroughTheIndex) {
  SetNumber(*Open(), "Routing", "N", 0);
  Connection store(folder_ / "settings.db");
  for (const char* sql :
       {"EXPLAIN QUERY PLAN SELECT id FROM keys WHERE parent = ?1 AND folded = ?2",
        "EXPLAIN QUERY PLAN SELECT name, folded FROM keys WHERE parent = ?1 AND folded > ?2"
        " ORDER BY folded LIMIT 1"}) {
    Rows plan = store.Query(sql);
    ASSERT_TRUE(plan.Next());
    EXPECT_EQ(plan.Bytes(3).find("SEARCH keys USING"), 0U) << plan.Bytes(3);
    EXPECT_FALSE(plan.Next()) << plan.Bytes(3);  // no step for sorting
  }
}

TEST_F(PosixRegistry, ListingFollowsTheIndexWhenKeysComeAndGoInBetween) {
  const auto registry = Open();
  for (const char* name : {"a", "b", "c", "d"})
    SetNumber(*registry, std::string("R\\") + name, "N", 0);
  const RegKey key = OpenAt(*registry, "R");
  std::string name;
  EXPECT_EQ(registry->EnumKey(key, 1, 255, name), kErrorSuccess);
  EXPECT_EQ(name, "b");
  registry->DeleteKey(key, "a");
  EXPECT_EQ(registry->EnumKey(key, 2, 255, name), kErrorSuccess);
  EXPECT_EQ(name, "d");
  SetNumber(*Open(), "R\\A0", "N", 0);  // from elsewhere
  EXPECT_EQ(registry->EnumKey(key, 3, 255, name), kErrorSuccess);
  EXPECT_EQ(name, "d");
  EXPECT_EQ(registry->EnumKey(key, 4, 255, name), kErrorNoMoreItems);
}

TEST_F(PosixRegistry, DeletingFromTheFrontEmptiesAKey) {
  const auto registry = Open();
  for (int i = 0; i < 20; ++i) SetNumber(*registry, "R\\" + std::to_string(i), "N", i);
  const RegKey key = OpenAt(*registry, "R");
  std::string name;
  int deleted = 0;
  while (registry->EnumKey(key, 0, 255, name) == kErrorSuccess) {
    ASSERT_EQ(registry->DeleteKey(key, name), kErrorSuccess);
    ++deleted;
  }
  EXPECT_EQ(deleted, 20);
}

TEST_F(PosixRegistry, AKeyThatWasDeletedWhileOpenStaysDeleted) {
  const auto registry = Open();
  SetNumber(*registry, "R\\Sub", "N", 1);
  const RegKey sub = OpenAt(*registry, "R\\Sub");
  registry->DeleteTree(kHKeyLocalMachine, "R");
  SetNumber(*registry, "R\\Sub", "N", 2);
  RegType type = RegType::kNone;
  std::string data;
  RegKey key = 0;
  EXPECT_EQ(registry->EnumKey(sub, 0, 255, data), kErrorFileNotFound);
  EXPECT_EQ(registry->EnumValue(sub, 0, data), kErrorFileNotFound);
  EXPECT_EQ(registry->QueryValue(sub, "N", type, data), kErrorFileNotFound);
  EXPECT_EQ(registry->SetValue(sub, "N", RegType::kSz, "3"), kErrorFileNotFound);
  EXPECT_EQ(registry->OpenKey(sub, "", kKeyAllAccess, key), kErrorFileNotFound);
  EXPECT_EQ(registry->CreateKey(sub, "Leaf", key), kErrorFileNotFound);
}

TEST_F(PosixRegistry, DeletingATreeTakesItsValuesAndLeavesItsNeighbours) {
  const auto registry = Open();
  for (const char* path : {"R\\a\\b\\c", "R\\a\\d", "R\\aa\\b"}) SetNumber(*registry, path, "N", 1);
  EXPECT_EQ(registry->DeleteTree(kHKeyLocalMachine, "R\\A"), kErrorSuccess);
  const RegKey key = OpenAt(*registry, "R");
  EXPECT_EQ(Subkeys(*registry, key), std::vector<std::string>{"aa"});
  Connection store(folder_ / "settings.db");
  EXPECT_EQ(store.Value("SELECT count(*) FROM key_values"), 1);
  EXPECT_EQ(store.Value("SELECT count(*) FROM keys"), 4);  // the hive, R, aa, b
}

TEST_F(PosixRegistry, NamesAreReadableTextInTheFile) {
  SetNumber(*Open(), "Caf\xE9",
            "Stra\xDF"
            "e",
            1);
  Connection store(folder_ / "settings.db");
  Rows keys = store.Query("SELECT name FROM keys WHERE parent = 1");
  ASSERT_TRUE(keys.Next());
  EXPECT_EQ(keys.Bytes(0), "Caf\xC3\xA9");
  Rows values = store.Query("SELECT name FROM key_values");
  ASSERT_TRUE(values.Next());
  EXPECT_EQ(values.Bytes(0),
            "Stra\xC3\x9F"
            "e");
}

TEST_F(PosixRegistry, TheHiveIsOpenEvenWhereNothingIsStored) {
  const auto registry = Open();
  RegKey key = 0;
  EXPECT_EQ(registry->OpenKey(kHKeyLocalMachine, "", kKeyAllAccess, key), kErrorSuccess);
  EXPECT_EQ(SetNumber(*registry, "R", "N", 1), true);
  EXPECT_EQ(Subkeys(*registry, key), std::vector<std::string>{"R"});
  EXPECT_EQ(registry->DeleteTree(kHKeyLocalMachine, ""), kErrorInvalidParameter);
}

// --- changes as one ----------------------------------------------------------------------------

TEST_F(PosixRegistry, WhatIsReadInOneGoIsOneState) {
  const auto registry = Open();
  SetNumber(*registry, "Key", "N", 1);
  Connection writer(folder_ / "settings.db");
  writer.SetPatience(std::chrono::milliseconds(0));
  {
    const OneReading outer(*registry);
    const RegKey key = OpenAt(*registry, "Key");
    {
      const OneReading inner(*registry);
    }
    EXPECT_THROW(writer.Execute("DELETE FROM key_values"), SqliteError);
    EXPECT_EQ(NumberAt(*registry, key), "1");
  }
  writer.Execute("DELETE FROM key_values");
  EXPECT_EQ(NumberAt(*registry, OpenAt(*registry, "Key")), "");
}

TEST_F(PosixRegistry, ReadingInOneGoWhereNothingIsStoredMakesNoFile) {
  const auto registry = Open();
  const OneReading reading(*registry);
  EXPECT_EQ(OpenAt(*registry, "Key"), 0U);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "settings.db"));
}

TEST_F(PosixRegistry, ChangesTogetherAreSeenWhenAllAreMade) {
  const auto registry = Open();
  ChangeTwo(*registry, [this] { EXPECT_EQ(OpenAt(*Open(), "Key"), 0); });
  EXPECT_NE(OpenAt(*Open(), "Key\\Below"), 0);
}

TEST_F(PosixRegistry, ChangesTogetherThatFailLeaveNothing) {
  const auto registry = Open();
  EXPECT_THROW(ChangeTwo(*registry, [] { throw std::logic_error("half way"); }), std::logic_error);
  EXPECT_EQ(OpenAt(*registry, "Key"), 0);
  EXPECT_TRUE(SetNumber(*registry, "Key", "One", 1));
}

TEST_F(PosixRegistry, ChangesTogetherOfAKilledProcessLeaveNothing) {
  Open();
  ChildProcess([this] {
    ChangeTwo(*Open(), [] { raise(SIGKILL); });
    return true;
  }).Succeeded();
  EXPECT_EQ(OpenAt(*Open(), "Key"), 0);
}

}  // namespace
}  // namespace mvsms::posix
