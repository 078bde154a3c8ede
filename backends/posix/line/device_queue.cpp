// Places appear locked or not at all: a file gets its name when it is locked.
#include "backends/posix/line/device_queue.h"

#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "backends/posix/line/lock_folder.h"
#include "base/texts.h"

namespace mvsms::posix {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kDigits = 20;

// Moments that all processes of the machine have in common; as many digits each, so that names
// stand in the order of time.
std::string Now() {
  std::array<char, kDigits + 1> digits{};
  const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
  std::snprintf(digits.data(), digits.size(), "%020lld",
                static_cast<long long>(std::chrono::nanoseconds(since_start).count()));
  return digits.data();
}

// Devices whose names begin alike have queues of their own.
bool IsPlace(const std::string& name, const std::string& prefix) {
  const std::size_t end = prefix.size() + kDigits;
  return name.starts_with(prefix) && name.size() > end && name[end] == '.' &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()),
                     name.begin() + static_cast<std::ptrdiff_t>(end), IsDigit);
}

std::vector<std::string> PlacesBefore(const std::string& own, const std::string& prefix) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(LockFolder(), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (IsPlace(name, prefix) && name < own) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string PathOf(const std::string& name) { return LockFolder() + "/" + name; }

}  // namespace

QueuePlace::QueuePlace(const std::string& device) : prefix_("LWAIT." + LockName(device) + ".") {
  const std::string process = std::to_string(getpid());
  const std::string draft = PathOf("LWTMP." + process);
  file_ = MakeNewFile(draft, process + "\n");
  if (!file_) return;
  name_ = prefix_ + Now() + "." + process;
  const bool placed =
      flock(file_.get(), LOCK_EX | LOCK_NB) == 0 && link(draft.c_str(), PathOf(name_).c_str()) == 0;
  unlink(draft.c_str());
  if (!placed) file_.Reset();
}

QueuePlace::~QueuePlace() {
  if (file_) unlink(PathOf(name_).c_str());
}

bool QueuePlace::IsFirst(Moment now) {
  if (!file_) return true;
  std::string first = FirstBefore();
  if (first != first_) {
    first_ = first;
    free_since_ = now;
  }
  if (first.empty()) return true;
  if (now - free_since_ >= kPatience) passed_over_.insert(first);
  return false;
}

// Those who left without a word are removed on the way, where that is allowed.
std::string QueuePlace::FirstBefore() const {
  for (const std::string& name : PlacesBefore(name_, prefix_)) {
    if (passed_over_.contains(name)) continue;
    if (Waits(name)) return name;
    unlink(PathOf(name).c_str());
  }
  return {};
}

// Nobody can lock a file that its owner keeps locked; what is no file is nobody's place.
bool QueuePlace::Waits(const std::string& name) const {
  struct stat status{};
  const UniqueFd file = OpenToLook(PathOf(name), status);
  return file && flock(file.get(), LOCK_SH | LOCK_NB) != 0;
}

}  // namespace mvsms::posix
