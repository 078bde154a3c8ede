// See worker_file.h.
#include "cli/posix/worker_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "backends/posix/store/database_file.h"
#include "backends/posix/system/home.h"
#include "cli/json.h"

namespace mvsms::cli {
namespace {

constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// The name of a profile as a part of a file's name: what is no letter or digit by its code.
std::string InFileName(const std::string& profile) {
  std::string name;
  for (const char c : profile) {
    char code[4];
    std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(c));
    name += kPlain.find(c) == kPlain.npos ? std::string(code) : std::string(1, c);
  }
  return name;
}

}  // namespace

std::string SentenceOfUnserved(const std::string& service) {
  return "pages wait for the service \"" + service +
         "\", whose modem the worker does not have; see 'mvsms service show' and 'mvsms lines'";
}

std::string SentenceOfUnservedThere(const std::string& service) {
  return "pages at the hub wait for the service \"" + service +
         "\", which no machine has now; see 'mvsms hub status'";
}

WorkerFile::WorkerFile(const std::string& home, const std::string& profile)
    : lock_(home + "/worker-" + InFileName(profile) + ".lock"),
      status_(home + "/worker-" + InFileName(profile) + ".json") {}

bool WorkerFile::Take() {
  const std::string home = std::filesystem::path(lock_).parent_path();
  posix::MakeHome(home);
  fd_ = posix::UniqueFd(open(lock_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0660));
  if (!fd_)
    throw Failure("the worker's file " + lock_ + " cannot be used: " + std::strerror(errno));
  if (posix::IsShared(home)) fchmod(fd_.get(), 0660);
  return flock(fd_.get(), LOCK_EX | LOCK_NB) == 0;
}

bool WorkerFile::IsHeld() const {
  const posix::UniqueFd fd(open(lock_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  return fd && flock(fd.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

void WorkerFile::Write(const Json& status) const {
  const std::string draft = status_ + ".new";
  std::ofstream(draft) << JsonText(status, 2) << '\n';
  std::error_code error;
  std::filesystem::rename(draft, status_, error);
}

Json WorkerFile::Read() const {
  if (!IsHeld()) return nullptr;
  std::ifstream file(status_);
  return Json::parse(file, nullptr, false);
}

void WorkerFile::WarnOfUnserved(Context& context) const {
  const Json status = Read();
  if (!status.is_object()) return;
  for (const Json& service : status.value("unserved", Json::array())) {
    context.Warn(Printable(SentenceOfUnserved(service)));
  }
  const Json hub = status.value("hub", Json());
  if (!hub.is_object()) return;
  for (const Json& service : hub.value("unserved", Json::array())) {
    context.Warn(Printable(SentenceOfUnservedThere(service)));
  }
}

}  // namespace mvsms::cli
