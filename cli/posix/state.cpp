// See state.h.
#include "cli/posix/state.h"

#include <filesystem>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/database_file.h"
#include "backends/posix/store/store.h"

namespace mvsms::cli {

posix::LineStore Lines(Context& context) {
  return posix::LineStore(context.home, posix::StoreOf(context.platform().registry()));
}

std::string StateBeside(const std::string& home, const std::string& other) {
  std::error_code error;
  if (!std::filesystem::exists(other, error) || std::filesystem::equivalent(home, other, error)) {
    return "";
  }
  const bool readable = std::filesystem::exists(other + "/settings.db", error);
  if (!readable && !error) return "";  // an empty folder
  const std::string problem = readable ? posix::StoreProblem(other) : posix::Ownership(other);
  if (problem.empty()) return "; MVSMS_HOME=" + other + " takes the settings of the system";
  return "; settings of the system lie in " + other + ", which cannot be read" +
         posix::Ownership(other);
}

}  // namespace mvsms::cli
