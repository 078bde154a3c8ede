// Appending to files: paths in the ANSI code page, modes, and two writers at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "backends/posix/system/backend.h"
#include "backends/posix/system/unique_fd.h"
#include "tests/backends/posix/child_process.h"
#include "tests/support/temp_folder.h"

namespace mvsms::posix {
namespace {

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  stat(path.c_str(), &status);
  return status.st_mode & 0777;
}

class PosixTextFile : public testing::Test {
 protected:
  TempFolder folder_;
  std::unique_ptr<TextFile> files_ = MakeTextFile(folder_ / "home");
};

TEST_F(PosixTextFile, AppendsTheBytesAsTheyStand) {
  const std::string path = folder_ / "SMSLog.txt";
  EXPECT_TRUE(files_->Append(path, "one \xE4\r\n"));
  EXPECT_TRUE(files_->Append(path, std::string("tw\0o", 4)));
  EXPECT_TRUE(files_->Append(path, ""));
  EXPECT_EQ(Read(path), std::string("one \xE4\r\ntw\0o", 11));
}

TEST_F(PosixTextFile, ANewFileIsForItsOwnerAndGroup) {
  umask(022);
  files_->Append(folder_ / "SMSLog.txt", "x");
  EXPECT_EQ(ModeOf(folder_ / "SMSLog.txt"), 0640U);
}

TEST_F(PosixTextFile, ANewFileInAHomeThatTheGroupSharesIsTheGroupsToo) {
  umask(077);
  std::filesystem::create_directory(folder_ / "home");
  chmod((folder_ / "home").c_str(), 02770);
  files_->Append(folder_ / "home/SMSLog.txt", "x");
  EXPECT_EQ(ModeOf(folder_ / "home/SMSLog.txt"), 0660U);
  files_->Append(folder_ / "SMSLog.txt", "x");
  EXPECT_EQ(ModeOf(folder_ / "SMSLog.txt"), 0600U) << "outside";
}

TEST_F(PosixTextFile, AFileThatIsThereKeepsItsMode) {
  std::filesystem::create_directory(folder_ / "home");
  chmod((folder_ / "home").c_str(), 02770);
  const std::string path = folder_ / "home/SMSLog.txt";
  files_->Append(path, "x");
  chmod(path.c_str(), 0600);
  files_->Append(path, "y");
  EXPECT_EQ(ModeOf(path), 0600U);
}

TEST_F(PosixTextFile, PathsAreInTheAnsiCodePage) {
  EXPECT_TRUE(files_->Append(folder_ / "B\xFCro.txt", "x"));
  EXPECT_EQ(Read(folder_ / "B\xC3\xBCro.txt"), "x");
}

TEST_F(PosixTextFile, AHomeWithCharactersBeyondTheCodePageIsReached) {
  const std::string home = folder_ / "\xE4\xB8\xAD";
  std::filesystem::create_directory(home);
  const std::string path = MakeLocale(home)->ComponentFolder() + "/SMSLog\xE4.txt";
  EXPECT_TRUE(MakeTextFile(home)->Append(path, "x"));
  EXPECT_EQ(Read(home + "/SMSLog\xC3\xA4.txt"), "x");
}

TEST_F(PosixTextFile, WhatIsThereAndCannotBeReadIsAnError) {
  std::string text = "before";
  try {
    files_->Read(folder_.path(), text);
    FAIL();
  } catch (const RaisedError& error) {
    EXPECT_EQ(error.number(), 75);
    EXPECT_EQ(error.description(), "Path/File access error: " + folder_.path());
  }
  EXPECT_EQ(text, "before");
}

TEST_F(PosixTextFile, AFolderThatIsMissingFailsAndIsNotMade) {
  EXPECT_FALSE(files_->Append(folder_ / "missing/SMSLog.txt", "x"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "missing"));
}

TEST_F(PosixTextFile, AFolderInPlaceOfTheFileFails) {
  EXPECT_FALSE(files_->Append(folder_.path(), "x"));
}

TEST_F(PosixTextFile, ADeviceThatIsFullFails) { EXPECT_FALSE(files_->Append("/dev/full", "x")); }

// Opening one waits for its other end, and a message must not wait for its log.
TEST_F(PosixTextFile, AFifoThatNobodyReadsFails) {
  const std::string path = folder_ / "SMSLog.txt";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_FALSE(files_->Append(path, "x"));
}

TEST_F(PosixTextFile, AFifoWhoseReaderHasStoppedFailsWhenItIsFull) {
  const std::string path = folder_ / "SMSLog.txt";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const UniqueFd reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_TRUE(files_->Append(path, "x"));
  EXPECT_FALSE(files_->Append(path, std::string(1'000'000, 'x')));
}

TEST_F(PosixTextFile, OnlyFilesAreRead) {
  const std::string fifo = folder_ / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string text = "before";
  EXPECT_THROW(files_->Read(fifo, text), RaisedError);
  EXPECT_THROW(files_->Read("/dev/zero", text), RaisedError);
  EXPECT_EQ(text, "before");
}

TEST_F(PosixTextFile, AFileDeletedBetweenTwoLinesIsMadeAgain) {
  const std::string path = folder_ / "SMSLog.txt";
  files_->Append(path, "one");
  std::filesystem::remove(path);
  files_->Append(path, "two");
  EXPECT_EQ(Read(path), "two");
}

TEST_F(PosixTextFile, LinesOfTwoProcessesDoNotMix) {
  const std::string path = folder_ / "SMSLog.txt";
  const auto append = [&](char letter) {
    bool written = true;
    for (int i = 0; i < 300; ++i) written &= files_->Append(path, std::string(500, letter) + "\n");
    return written;
  };
  ChildProcess other([&] { return append('b'); });
  EXPECT_TRUE(append('a'));
  EXPECT_TRUE(other.Succeeded());
  std::ifstream file(path);
  std::multiset<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.insert(line);
  EXPECT_EQ(lines.count(std::string(500, 'a')), 300U);
  EXPECT_EQ(lines.count(std::string(500, 'b')), 300U);
  EXPECT_EQ(lines.size(), 600U);
}

}  // namespace
}  // namespace mvsms::posix
