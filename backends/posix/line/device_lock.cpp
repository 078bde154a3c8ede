// Lock files appear complete or not at all: they are written under another name and linked to
// their own, so that nobody reads one without a process number in it and takes it for stale.
#include "backends/posix/line/device_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

#include "backends/posix/line/lock_folder.h"
#include "backends/posix/system/unique_fd.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"

namespace mvsms::posix {
namespace {

namespace fs = std::filesystem;

// What this process holds. Lock files cannot tell its threads from each other, nor its own locks
// from those of a dead predecessor with the same number, as is common in containers.
struct HeldLocks {
  std::mutex mutex;
  std::set<std::string> files;
  std::map<std::string, DeviceLock*> reserved;  // of these, by their files
};
HeldLocks& Held() {
  static HeldLocks held;
  return held;
}

std::string LockFile(const std::string& device) {
  return LockFolder() + "/LCK.." + LockName(device);
}

bool IsAlive(pid_t process) { return kill(process, 0) == 0 || errno == EPERM; }

// What was found where a lock file lies.
struct LockText {
  std::string content;  // as much as a process number can need
  std::time_t written = 0;
};

std::optional<LockText> ReadLock(const std::string& file) {
  struct stat status{};
  const UniqueFd fd = OpenToLook(file, status);
  if (!fd) return std::nullopt;
  char start[64];
  const ssize_t count = read(fd.get(), start, sizeof start);
  if (count < 0) return std::nullopt;
  return LockText{std::string(start, static_cast<std::size_t>(count)), status.st_mtime};
}

// Others make the file first and write into it afterwards, so a fresh one without a number is the
// lock of somebody who is about to.
constexpr std::time_t kTimeToWrite = 10;  // seconds
bool IsFresh(const LockText& lock) {
  return std::abs(std::time(nullptr) - lock.written) < kTimeToWrite;
}

bool IsText(char c) { return IsDigit(c) || c == ' ' || c == '\n'; }

// The process number in a lock file: decimal text, or four bytes as some programs write it. 0 when
// there is none.
pid_t NumberIn(const std::string& content) {
  std::int32_t binary = 0;
  if (content.size() == sizeof binary && !std::all_of(content.begin(), content.end(), IsText)) {
    std::memcpy(&binary, content.data(), sizeof binary);
    return std::max(binary, 0);
  }
  long long number = 0;
  std::istringstream(content) >> number;
  return number > 0 && number <= INT_MAX ? static_cast<pid_t>(number) : 0;
}

constexpr pid_t kUnknownProcess = -1;

// The live owner of a lock file, 0 when there is none. Asked for files that this process does not
// hold, so its own number in one means nothing.
pid_t LiveOwner(const std::string& file) {
  const auto lock = ReadLock(file);
  if (!lock) return 0;
  const pid_t process = NumberIn(lock->content);
  if (process == 0) return IsFresh(*lock) ? kUnknownProcess : 0;
  return process != getpid() && IsAlive(process) ? process : 0;
}

std::string Owner(pid_t process) {
  if (process == kUnknownProcess) return "another program";
  std::string program;
  std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), program);
  const std::string number = "process " + std::to_string(process);
  return program.empty() ? number : program + " (" + number + ")";
}

std::string InUseBy(const std::string& device, pid_t process) {
  return "The device " + device + " is in use by " + Owner(process);
}

std::string InUseHere(const std::string& device) {
  return "The device " + device + " is in use by another call of this program";
}

bool HasOpen(const fs::path& process, dev_t device) {
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
       entry.increment(error)) {
    struct stat status{};
    if (stat(entry->path().c_str(), &status) == 0 && S_ISCHR(status.st_mode) &&
        status.st_rdev == device) {
      return true;
    }
  }
  return false;
}

// Another process that has the device open, 0 when none is visible to this user.
pid_t FindOpener(dev_t device) {
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
       entry.increment(error)) {
    const auto process = static_cast<pid_t>(std::atoi(entry->path().filename().c_str()));
    if (process > 0 && process != getpid() && HasOpen(entry->path(), device)) return process;
  }
  return 0;
}

// Of several that found the same stale lock only one may remove it, or the last would remove the
// new lock of the first; so each looks again while it has the file to itself. False when another
// one has it.
bool RemoveStale(const std::string& file) {
  struct stat held{};
  struct stat present{};
  const UniqueFd fd = OpenToLook(file, held);
  if (!fd) return true;
  if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return false;
  if (lstat(file.c_str(), &present) != 0 || present.st_ino != held.st_ino) return true;
  if (LiveOwner(file) == 0) unlink(file.c_str());
  return true;
}

// Who removes a stale lock, or looks whether a device is free, needs a moment; who keeps it locked
// for longer is not waited for.
constexpr int kAttempts = 20;
constexpr std::chrono::milliseconds kMoment{10};

// Gives the draft the name of the lock. Returns the live process that has it instead, 0 when there
// is none; `made` tells whether it could be given.
pid_t Link(const std::string& draft, const std::string& file, bool& made) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    made = link(draft.c_str(), file.c_str()) == 0;
    if (made) return 0;
    if (const pid_t owner = LiveOwner(file)) return owner;
    if (!RemoveStale(file)) std::this_thread::sleep_for(kMoment);
  }
  return 0;
}

// Makes the lock file. Returns the live process that has it instead, 0 when there is none; `made`
// tells whether the file could be made.
pid_t Claim(const std::string& file, bool& made) {
  char line[16];
  std::snprintf(line, sizeof line, "%10d\n", static_cast<int>(getpid()));
  const std::string draft = LockFolder() + "/LTMP." + std::to_string(getpid());
  made = false;
  if (!MakeNewFile(draft, line)) return LiveOwner(file);
  const pid_t owner = Link(draft, file, made);
  unlink(draft.c_str());
  return owner;
}

[[noreturn]] void Refuse(const std::string& sentence) {
  throw RaisedError(EBUSY, "DeviceLock", AnsiFromUtf8(sentence));
}

}  // namespace

DeviceLock::DeviceLock(const std::string& device) {
  const std::string file = LockFile(device);
  const std::lock_guard guard(Held().mutex);
  if (const auto reserved = Held().reserved.extract(file)) {
    *this = std::move(*reserved.mapped());
    return;
  }
  if (Held().files.contains(file)) Refuse(InUseHere(device));
  if (const pid_t owner = Claim(file, has_file_)) Refuse(InUseBy(device, owner));
  Held().files.insert(file);
  file_ = file;
}

DeviceLock::DeviceLock(DeviceLock&& other) noexcept
    : file_(std::exchange(other.file_, {})), has_file_(std::exchange(other.has_file_, false)) {}

DeviceLock& DeviceLock::operator=(DeviceLock&& other) noexcept {
  std::swap(file_, other.file_);
  std::swap(has_file_, other.has_file_);
  return *this;
}

DeviceLock::~DeviceLock() { Release(); }

void DeviceLock::Release() {
  if (file_.empty()) return;
  const std::lock_guard guard(Held().mutex);
  if (has_file_) unlink(file_.c_str());
  Held().files.erase(file_);
  file_.clear();
}

DeviceReservation::DeviceReservation(const std::string& device) {
  if (IsReserved(device)) Refuse(InUseHere(device));
  lock_ = DeviceLock(device);
  const std::lock_guard guard(Held().mutex);
  Held().reserved[LockFile(device)] = &lock_;
}

DeviceReservation::~DeviceReservation() {
  const std::lock_guard guard(Held().mutex);
  std::erase_if(Held().reserved, [this](const auto& entry) { return entry.second == &lock_; });
}

bool IsReserved(const std::string& device) {
  const std::lock_guard guard(Held().mutex);
  return Held().reserved.contains(LockFile(device));
}

std::string DeviceInUse(const std::string& device) {
  const std::string file = LockFile(device);
  {
    const std::lock_guard guard(Held().mutex);
    const bool reserved = Held().reserved.contains(file);
    if (Held().files.contains(file) && !reserved) return InUseHere(device);
  }
  if (const pid_t owner = LiveOwner(file)) return InUseBy(device, owner);
  const UniqueFd fd(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  const bool busy = fd ? IsHeldExclusively(fd.get()) || !TakeFileLock(fd.get()) : errno == EBUSY;
  return busy ? DescribeBusyDevice(device) : std::string();
}

std::string DescribeBusyDevice(const std::string& device) {
  struct stat status{};
  const pid_t owner = stat(device.c_str(), &status) == 0 ? FindOpener(status.st_rdev) : 0;
  if (owner != 0) return InUseBy(device, owner);
  return "The device " + device +
         " is in use by another program (one that looks for cellular modems lets go some ten "
         "seconds after the modem was plugged in)";
}

bool TakeFileLock(int fd) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return true;
    std::this_thread::sleep_for(kMoment);
  }
  return false;
}

bool IsHeldExclusively(int fd) {
  int exclusive = 0;
  struct stat status{};
  // A pseudo-terminal stays in exclusive mode when its user was killed, so the mode alone says
  // nothing.
  return ioctl(fd, TIOCGEXCL, &exclusive) == 0 && exclusive != 0 && fstat(fd, &status) == 0 &&
         FindOpener(status.st_rdev) != 0;
}

}  // namespace mvsms::posix
