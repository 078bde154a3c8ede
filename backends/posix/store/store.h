// The settings file `settings.db` in the home folder: opened late, made with its tables on the
// first write, shared by the registry tree, the user settings and the lines.
//
// It is a SQLite database with a rollback journal and full synchronisation: each write is one
// transaction, on stable storage when it returns, whoever else writes or is killed. It holds
// passwords, so the file and its journal have mode 0600. Names are kept as UTF-8 text for whoever
// looks into the file, and in folded form (see FoldCase) to be compared and ordered by.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace mvsms::posix {

class Connection;
class SqliteError;

class Store {
 public:
  /// Touches nothing yet.
  explicit Store(std::string home);
  ~Store();

  /// The database, opened when needed; null when nothing has been stored yet, and then nothing is
  /// created. Throws SqliteError. Valid until the next Read or Write.
  Connection* Read();
  /// The database, made with its folder when missing. Throws SqliteError. Valid until the next
  /// Read or Write.
  Connection& Write();
  /// Changes when another file has taken the place of the one that was open (a backup was put
  /// back): row ids from before then mean nothing. To be asked after Read or Write.
  std::uint64_t generation() const { return generation_; }

 private:
  bool OpenExisting();

  std::string home_;
  std::unique_ptr<Connection> connection_;
  bool has_tables_ = false;
  std::uint64_t generation_ = 0;
};

/// A sentence for the user about a failure of the store in the folder `home`: the file, what the
/// system said, and how to go on. UTF-8.
std::string ProblemSentence(const std::string& home, const SqliteError& error);

/// Why the settings in the folder `home` cannot be read, as such a sentence. Empty when all is
/// well, also when nothing has been stored yet. Reads the whole file and writes nothing: a message
/// that says "disk full" must go out. `passes`, where given, is told whether it is another
/// program's lock, which ends.
std::string StoreProblem(const std::string& home, bool* passes = nullptr);
/// Stands for what is in their file: another one when it may have been written to, or replaced.
using StoreMark = std::array<std::int64_t, 4>;
StoreMark MarkOfStore(const std::string& home);
/// Why they cannot be read or changed. Tries a write too, and takes it back.
std::string WriteProblem(const std::string& home);

}  // namespace mvsms::posix
