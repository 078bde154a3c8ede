// What the database files in the folder of all state have in common: how their folder is made,
// which of them are read at all, and what is said when one cannot be used.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "backends/posix/store/sqlite.h"

namespace mvsms::posix {

/// Throws SqliteError with `code`, `what` and what errno says.
[[noreturn]] void FailWithErrno(int code, const std::string& what);

/// Makes the folder, its owner's alone, and the ones above it where they are missing.
void MakeHome(const std::string& home);

/// Makes the database `file` in `home`, which is made when it is not there, for its owner and
/// group, with what `make_tables` puts into it. It has another name until it is whole: two who
/// begin at the same time, or one who is killed, leave no half a file to the others.
void MakeWhole(const std::string& home, const std::string& file,
               const std::function<void(Connection&)>& make_tables);

/// The formats that a file has had, from the first on, each as the statements that make it out of
/// the one before, the last of which sets its number: user_version, 0 in a file without tables. A
/// format that was released does not change any more: another one follows it.
using Formats = std::span<const std::span<const char* const>>;

/// Brings the file to the newest format, in one transaction. Nothing happens where it is there.
void MakeNewest(Connection& connection, Formats formats);

/// The same for a file that several processes use, with a write-ahead log.
void MakeTables(Connection& connection, Formats formats);

/// True when the tables are there, in the newest format from now on; false in a file that is still
/// empty. Throws SqliteError for a file of a format that this program does not know.
bool HasTables(Connection& connection, Formats formats);

/// " (it belongs to A, and this runs as B)" when the file or folder, or the nearest folder above it
/// that can be seen, is another user's; else empty.
std::string Ownership(const std::string& path);

/// A sentence for the user about the file `path`, which is `what` in words: what the system said,
/// whose the file is where that matters, and how to go on. UTF-8.
std::string TroubleWith(const std::string& what, const std::string& path, const SqliteError& error);

/// Throws that sentence as RaisedError from `source`, with the number that hosts know as "Path/File
/// access error".
[[noreturn]] void RaiseTrouble(const char* source, const std::string& what, const std::string& path,
                               const SqliteError& error);

/// Runs an operation on a file, turning its failure into a RaisedError about it.
template <typename Operation>
auto WithTrouble(const char* source, const std::string& what, const std::string& path,
                 Operation operation) {
  try {
    return operation();
  } catch (const SqliteError& error) {
    RaiseTrouble(source, what, path, error);
  }
}

}  // namespace mvsms::posix
