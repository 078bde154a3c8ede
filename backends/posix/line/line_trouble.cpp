// One note of each kind for each line, for the whole process.
#include "backends/posix/line/line_trouble.h"

#include <map>
#include <mutex>

namespace mvsms::posix {
namespace {

class Notes {
 public:
  void Put(const std::string& line, const std::string& note) {
    const std::lock_guard guard(mutex_);
    of_line_[line] = note;
  }
  std::string Of(const std::string& line) {
    const std::lock_guard guard(mutex_);
    return of_line_[line];
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> of_line_;
};

Notes& Troubles() {
  static Notes notes;
  return notes;
}

Notes& Failures() {
  static Notes notes;
  return notes;
}

Notes& Members() {
  static Notes notes;
  return notes;
}

}  // namespace

void NoteTrouble(const std::string& line, const std::string& sentence) {
  Troubles().Put(line, sentence);
}

std::string LastTrouble(const std::string& line) { return Troubles().Of(line); }

void NoteNothingDialled(const std::string& line, bool nothing_dialled) {
  Failures().Put(line, nothing_dialled ? "nothing dialled" : "");
}

bool NothingWasDialled(const std::string& line) { return !Failures().Of(line).empty(); }

void NoteMember(const std::string& pool, const std::string& member) { Members().Put(pool, member); }

std::string LastMember(const std::string& line) { return Members().Of(line); }

}  // namespace mvsms::posix
