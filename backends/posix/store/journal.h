// The journal of this machine's sends, `journal.db` in the folder of all state.
//
// A SQLite database with a write-ahead log, so that whoever reads does not hold up who writes. It
// keeps who was paged and with what text: owner and group may read it, and the group may write it
// where it may write into the folder, for a folder that several users share. It is made under
// another name and appears whole.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "backends/posix/store/sqlite.h"
#include "dispatch/journal.h"

namespace mvsms::posix {

/// A row as it lies there. One that nobody closed has the outcome and the reason that its process
/// gives it now: open, or unknown.
struct JournalEntry {
  std::int64_t number = 0;  // in the order of the sends' beginnings; never used again
  std::int64_t begun = 0;   // seconds since 1970, UTC
  std::int64_t ended = 0;   // 0 when nobody closed it
  std::uint32_t user = 0;   // the number of who sent it
  dispatch::JournalRow row;

  bool IsOpen() const { return row.outcome == dispatch::kOutcomeOpen; }
};

/// So long a page may be held up before its call for the sake of its row.
inline constexpr std::chrono::milliseconds kPatience{3000};

/// Every failure is thrown as RaisedError with a sentence that names the file (ANSI code page, as
/// all texts here). A file of a newer version is left as it is.
class Journal {
 public:
  /// `home` is the folder of all state, UTF-8; `patience` how long a write waits for others who
  /// write. Touches nothing yet.
  explicit Journal(const std::string& home, std::chrono::milliseconds patience = kPatience);

  /// Its path, UTF-8.
  const std::string& file() const { return file_; }
  bool Exists() const;

  /// Writes the row, or replaces the one of the same id; with its time, its user and its process.
  /// On stable storage when it returns.
  void Put(const dispatch::JournalRow& row);

  /// The entries with a higher number than `after` that began at `since` (seconds since 1970) or
  /// later, in their order. None when there is no file.
  std::vector<JournalEntry> Read(std::int64_t since, std::int64_t after);
  /// The entries that began at `since` or later, the newest first, until `take` wants no more.
  void ReadNewest(std::int64_t since, const std::function<bool(const JournalEntry&)>& take);
  /// The entry of a row with this id.
  std::optional<JournalEntry> Find(const std::string& id);
  /// Its row, when it began in the second of `since` or later; nothing either where the journal
  /// cannot be read: whoever asks is in doubt then.
  std::optional<dispatch::JournalRow> Known(const std::string& id,
                                            std::chrono::system_clock::time_point since);

  /// Deletes the entries that began before that moment, beyond recovery, and says how many.
  std::int64_t Prune(std::int64_t before);

 private:
  void Select(const char* sql, std::initializer_list<Parameter> parameters,
              const std::function<bool(const JournalEntry&)>& take);

  std::string home_;
  std::string file_;
  std::chrono::milliseconds patience_;
};

}  // namespace mvsms::posix
