// What the database files in the folder of all state have in common: how their folder is made,
// which of them are read at all, and what is said when one cannot be used.
#pragma once

#include <cstdint>
#include <string>

namespace mvsms::posix {

class Connection;
class SqliteError;

/// Throws SqliteError with `code`, `what` and what errno says.
[[noreturn]] void FailWithErrno(int code, const std::string& what);

/// Makes the folder, its owner's alone, and the ones above it where they are missing.
void MakeHome(const std::string& home);

/// Whether the group may write into the folder, and so shares the files in it.
bool IsShared(const std::string& home);

/// True when the tables are there, false in a file that is still empty. Throws SqliteError for a
/// file of a version after `known`, which this program would misread.
bool HasTables(Connection& connection, std::int64_t known);

/// " (it belongs to A, and this runs as B)" when the file or folder, or the nearest folder above it
/// that can be seen, is another user's; else empty.
std::string Ownership(const std::string& path);

/// A sentence for the user about the file `path`, which is `what` in words: what the system said,
/// whose the file is where that matters, and how to go on. UTF-8.
std::string TroubleWith(const std::string& what, const std::string& path, const SqliteError& error);

}  // namespace mvsms::posix
