// A mark is the number of a process and the moment of its start, as /proc has it.
#include "backends/posix/system/process.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace mvsms::posix {
namespace {

constexpr std::size_t kStart = 19;  // among the fields behind the name; the first is the state

std::vector<std::string> FieldsOf(pid_t process) {
  std::string line;
  std::getline(std::ifstream("/proc/" + std::to_string(process) + "/stat"), line);
  // The name, in brackets, may hold anything.
  std::istringstream rest(line.substr(line.find_last_of(')') + 1));
  return {std::istream_iterator<std::string>(rest), {}};
}

/// Empty when the system does not tell.
std::string StartOf(pid_t process) {
  const auto fields = FieldsOf(process);
  if (fields.size() <= kStart) return "";
  const bool ended = fields[0] == "Z" || fields[0] == "X";
  return ended ? "ended" : fields[kStart];
}

bool IsThere(pid_t process) { return process > 0 && (kill(process, 0) == 0 || errno == EPERM); }

}  // namespace

std::string ProcessMark() { return std::to_string(getpid()) + ' ' + StartOf(getpid()); }

bool StillRuns(const std::string& mark) {
  std::istringstream words(mark);
  pid_t process = 0;
  std::string start;
  words >> process >> start;
  if (!IsThere(process)) return false;
  const std::string now = StartOf(process);
  return now.empty() || start.empty() || now == start;
}

}  // namespace mvsms::posix
