// The settings file: its modes, what survives, and what the user is told when it cannot be used.
#include "backends/posix/store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/sqlite.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

using testing::AllOf;
using testing::HasSubstr;

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

RegStatus Set(Registry& registry, const std::string& path, const std::string& text) {
  RegKey key = 0;
  if (const RegStatus status = registry.CreateKey(kHKeyLocalMachine, path, key)) return status;
  const RegStatus status = registry.SetValue(key, "Value", RegType::kSz, text);
  registry.CloseKey(key);
  return status;
}

std::string Get(Registry& registry, const std::string& path) {
  RegKey key = 0;
  if (registry.OpenKey(kHKeyLocalMachine, path, kKeyAllAccess, key)) return "no key";
  RegType type = RegType::kNone;
  std::string text = "no value";
  registry.QueryValue(key, "Value", type, text);
  registry.CloseKey(key);
  return text;
}

class PosixStore : public testing::Test {
 protected:
  std::unique_ptr<Registry> Open() const { return MakeRegistry(home_); }
  RegStatus Set(const std::string& path, const std::string& text) {
    return posix::Set(*Open(), path, text);
  }
  std::string Get(const std::string& path) { return posix::Get(*Open(), path); }
  /// Runs one statement of SQL on the file, as somebody with another tool would.
  void Tamper(const char* sql) { Connection(file_).Execute(sql); }
  /// Fills all but the first page with rubbish.
  void Damage() {
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(file_));
    std::fstream file(file_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(size - 4096, '\xFF');
  }

  TempFolder folder_;
  std::string home_ = folder_ / "state";
  std::string file_ = home_ + "/settings.db";
};

TEST_F(PosixStore, ReadingCreatesNothing) {
  const auto registry = Open();
  RegKey key = 0;
  std::string name;
  EXPECT_EQ(registry->OpenKey(kHKeyLocalMachine, "Software", kKeyAllAccess, key),
            kErrorFileNotFound);
  EXPECT_EQ(registry->EnumKey(kHKeyLocalMachine, 0, 255, name), kErrorNoMoreItems);
  EXPECT_EQ(registry->DeleteTree(kHKeyLocalMachine, "Software"), kErrorFileNotFound);
  EXPECT_EQ(MakeUserSettings(home_)->GetSetting("mvSMS", "Test", "Sender", "none"), "none");
  EXPECT_EQ(WriteProblem(home_), "");
  EXPECT_FALSE(std::filesystem::exists(home_));
}

TEST_F(PosixStore, OnlyTheOwnerMayReadFolderFileAndJournal) {
  umask(0);
  EXPECT_EQ(Set("Software", "secret"), kErrorSuccess);
  EXPECT_EQ(ModeOf(home_), 0700U);
  EXPECT_EQ(ModeOf(file_), 0600U);
  EXPECT_EQ(ModeOf(file_ + "-journal"), 0600U);
}

TEST_F(PosixStore, AFolderThatTheGroupMayWriteHasAFileThatItMayWrite) {
  umask(077);
  std::filesystem::create_directories(home_);
  chmod(home_.c_str(), 02770);
  EXPECT_EQ(Set("Software", "shared"), kErrorSuccess);
  EXPECT_EQ(ModeOf(file_), 0660U);
  EXPECT_EQ(ModeOf(file_ + "-journal"), 0660U);
}

TEST_F(PosixStore, AHomeWithATrailingSlashIsMadeWithTheSameMode) {
  EXPECT_EQ(posix::Set(*MakeRegistry(home_ + "/"), "Software", "x"), kErrorSuccess);
  EXPECT_EQ(ModeOf(home_), 0700U);
}

TEST_F(PosixStore, MissingFoldersAboveTheHomeAreMade) {
  home_ = folder_ / "a/b/state";
  EXPECT_EQ(Set("Software", "x"), kErrorSuccess);
  EXPECT_EQ(Get("Software"), "x");
}

TEST_F(PosixStore, ValuesSurviveReopening) {
  Set("Software\\Profile", "kept");
  EXPECT_EQ(Get("software\\PROFILE"), "kept");
}

TEST_F(PosixStore, AnotherPlatformOfTheSameHomeSeesAWriteAtOnce) {
  const auto reader = Open();
  EXPECT_EQ(posix::Get(*reader, "Software"), "no key");
  Set("Software", "one");
  EXPECT_EQ(posix::Get(*reader, "Software"), "one");
  Set("Software", "two");
  EXPECT_EQ(posix::Get(*reader, "Software"), "two");
}

TEST_F(PosixStore, AnEmptyFileLeftByAKillCountsAsNothingStored) {
  std::filesystem::create_directory(home_);
  std::ofstream(file_).close();
  EXPECT_EQ(Get("Software"), "no key");
  EXPECT_EQ(WriteProblem(home_), "");
  EXPECT_EQ(Set("Software", "x"), kErrorSuccess);
  EXPECT_EQ(Get("Software"), "x");
}

TEST_F(PosixStore, AFilePutInPlaceOfTheOpenOneIsTakenUp) {
  Set("Software", "backup");
  std::filesystem::copy_file(file_, folder_ / "backup.db");
  const auto registry = Open();
  posix::Set(*registry, "Software", "later");
  RegKey stale = 0;
  registry->OpenKey(kHKeyLocalMachine, "Software", kKeyAllAccess, stale);

  std::filesystem::rename(folder_ / "backup.db", file_);
  EXPECT_EQ(posix::Get(*registry, "Software"), "backup");
  RegKey key = 0;
  EXPECT_EQ(registry->SetValue(stale, "Value", RegType::kSz, "lost"), kErrorFileNotFound);
  EXPECT_EQ(registry->CreateKey(stale, "Sub", key), kErrorFileNotFound);
  EXPECT_EQ(posix::Set(*registry, "Software", "again"), kErrorSuccess);
  EXPECT_EQ(Get("Software"), "again");
}

TEST_F(PosixStore, ARemovedFileIsMadeAgainByTheNextWrite) {
  const auto registry = Open();
  posix::Set(*registry, "Software", "x");
  std::filesystem::remove_all(home_);
  EXPECT_EQ(posix::Get(*registry, "Software"), "no key");
  EXPECT_EQ(posix::Set(*registry, "Software", "y"), kErrorSuccess);
  EXPECT_EQ(Get("Software"), "y");
}

TEST_F(PosixStore, ProbingForProblemsChangesNothing) {
  Set("Software", "x");
  EXPECT_EQ(WriteProblem(home_), "");
  EXPECT_EQ(WriteProblem(home_), "");
  EXPECT_EQ(Get("Software"), "x");
}

TEST_F(PosixStore, AFileThatIsNoDatabaseIsReportedAndLeftAlone) {
  std::filesystem::create_directory(home_);
  std::ofstream(file_) << std::string(5000, 'x');
  EXPECT_EQ(Set("Software", "y"), kErrorWriteFault);
  EXPECT_EQ(Get("Software"), "no key");
  EXPECT_THAT(StoreProblem(home_),
              AllOf(HasSubstr(file_), HasSubstr("file is not a database"), HasSubstr("backup")));
  EXPECT_EQ(std::filesystem::file_size(file_), 5000U);
}

TEST_F(PosixStore, DamagedPagesAreReported) {
  Set("Software", "x");
  Damage();
  EXPECT_NE(Set("Software\\Sub", "y"), kErrorSuccess);
  EXPECT_THAT(StoreProblem(home_), AllOf(HasSubstr(file_), HasSubstr("backup")));
}

TEST_F(PosixStore, AFileOfANewerProgramIsRefusedUntouched) {
  Set("Software", "x");
  Tamper("PRAGMA user_version = 2");
  EXPECT_NE(Set("Software", "y"), kErrorSuccess);
  EXPECT_EQ(Get("Software"), "no key");
  EXPECT_THAT(StoreProblem(home_),
              AllOf(HasSubstr(file_), HasSubstr("has format 2"), HasSubstr("newer version")));
  Tamper("PRAGMA user_version = 1");
  EXPECT_EQ(Get("Software"), "x");
}

TEST_F(PosixStore, AFileInPlaceOfTheHomeIsReported) {
  std::ofstream(home_).close();
  EXPECT_EQ(Set("Software", "x"), kErrorAccessDenied);
  for (const std::string& problem : {StoreProblem(home_), WriteProblem(home_)}) {
    EXPECT_THAT(problem, AllOf(HasSubstr(file_), HasSubstr("Check that you may write")));
  }
}

TEST_F(PosixStore, AFolderThatCannotBeWrittenIsReported) {
  Set("Software", "x");
  chmod(folder_.path().c_str(), 0755);
  chmod(home_.c_str(), 0755);
  chmod(file_.c_str(), 0444);
  EXPECT_TRUE(SucceedsUnprivileged([&] {
    return Get("Software") == "x" && Set("Software", "y") == kErrorAccessDenied &&
           StoreProblem(home_).empty() &&
           WriteProblem(home_).find("readonly database") != std::string::npos;
  }));
  EXPECT_EQ(Get("Software"), "x");
}

TEST_F(PosixStore, AHomeThatCannotBeMadeIsReportedBeforeAnythingIsLost) {
  chmod(folder_.path().c_str(), 0555);
  EXPECT_TRUE(SucceedsUnprivileged([&] {
    return Set("Software", "y") == kErrorAccessDenied && StoreProblem(home_).empty() &&
           WriteProblem(home_).find("Permission denied") != std::string::npos;
  }));
}

TEST_F(PosixStore, AFullDiskIsAnErrorAndKeepsWhatWasStored) {
  Set("Software", "x");
  EXPECT_TRUE(ChildProcess([&] {
                signal(SIGXFSZ, SIG_IGN);
                const rlim_t size = std::filesystem::file_size(file_);
                const rlimit limit = {size, size};
                return setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
                       Set("Software", std::string(100000, 'y')) == kErrorWriteFault &&
                       Get("Software") == "x" && StoreProblem(home_).empty();
              }).Succeeded());
  EXPECT_EQ(Get("Software"), "x");
  EXPECT_EQ(WriteProblem(home_), "");
}

}  // namespace
}  // namespace mvsms::posix
