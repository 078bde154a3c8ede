// See wire.h. The plug-in is never unloaded: wires may be in use until the program ends.
#include "backends/posix/hub/wire.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "base/ansi.h"
#include "base/raised_error.h"

namespace mvsms::posix {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kFileNotFound = 53;
constexpr char kPlugin[] = "mvsms-hub.so";

[[noreturn]] void Fail(const std::string& utf8) {
  throw RaisedError(kFileNotFound, "HubWire", AnsiFromUtf8(utf8));
}

/// Beside the program, where it was built; else where its package puts it.
std::string PluginFile() {
  std::error_code error;
  const fs::path programs = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const fs::path& folder : {programs, programs.parent_path() / "libexec" / "mvsms"}) {
    if (fs::exists(folder / kPlugin, error)) return folder / kPlugin;
  }
  Fail(
      "A hub is set, and the part of this program that speaks to it is not here: install the "
      "package mvsms-hub.");
}

}  // namespace

HubAnswer SharedWire::Ask(const std::string& sql, const std::vector<std::string>& values) {
  const std::uint64_t silences = silences_;
  const std::lock_guard guard(mutex_);
  if (silences_ != silences) return silence_;
  HubAnswer answer = wire_->Ask(sql, values);
  if (!answer.done && answer.code.empty()) {
    silence_ = answer;
    ++silences_;
  }
  return answer;
}

std::unique_ptr<HubWire> MakeHubWire(const std::string& where, const std::string& password_file,
                                     std::chrono::milliseconds deadline) {
  const std::string file = PluginFile();
  void* const plugin = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const maker = plugin != nullptr ? dlsym(plugin, kHubWireMaker) : nullptr;
  if (maker == nullptr) Fail("The hub's part " + file + " cannot be used: " + dlerror());
  std::string trouble;
  HubWire* const wire = reinterpret_cast<HubWireMaker*>(maker)(where.c_str(), password_file.c_str(),
                                                               deadline, &trouble);
  if (wire == nullptr) Fail("The setting Hub cannot be read: " + trouble + ".");
  return std::unique_ptr<HubWire>(wire);
}

}  // namespace mvsms::posix
