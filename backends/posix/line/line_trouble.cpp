// One sentence for each line, for the whole process.
#include "backends/posix/line/line_trouble.h"

#include <map>
#include <mutex>

namespace mvsms::posix {
namespace {

struct Troubles {
  std::mutex mutex;
  std::map<std::string, std::string> of_line;
};
Troubles& Noted() {
  static Troubles noted;
  return noted;
}

}  // namespace

void NoteTrouble(const std::string& line, const std::string& sentence) {
  const std::lock_guard guard(Noted().mutex);
  Noted().of_line[line] = sentence;
}

std::string LastTrouble(const std::string& line) {
  const std::lock_guard guard(Noted().mutex);
  return Noted().of_line[line];
}

}  // namespace mvsms::posix
