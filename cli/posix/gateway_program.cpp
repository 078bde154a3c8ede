// How `mvsms` goes on as mvsms-gateway, which stands beside it in a build, and where programs that
// only programs start belong in an installation.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "cli/posix/doors.h"

namespace mvsms::cli {
namespace {

constexpr char kName[] = "mvsms-gateway";

std::filesystem::path FindGateway() {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  for (const auto& path : {folder / kName, folder / "../libexec/mvsms" / kName}) {
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  throw Failure(std::string("this needs ") + kName +
                ", which is a package of its own: it is not in " +
                (folder / "../libexec/mvsms").lexically_normal().string());
}

}  // namespace

void BecomeGateway(Context& context) {
  const std::string program = FindGateway().string();
  std::vector<char*> arguments = {const_cast<char*>("mvsms")};
  for (std::string& argument : context.arguments) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  context.out.flush();
  context.err.flush();
  execv(program.c_str(), arguments.data());
  throw Failure(program + " cannot be started: " + std::strerror(errno));
}

}  // namespace mvsms::cli
