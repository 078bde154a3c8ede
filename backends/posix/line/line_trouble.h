// What is known of the last call of a line. What went wrong, in words: the causes of a call are few
// and the same everywhere, while here it is known whether nobody listened, the host is unknown or
// the device was pulled out. And for a pool, which of its modems it went over.
#pragma once

#include <string>

namespace mvsms::posix {

/// Keeps a sentence (UTF-8) about the last call of a line of this process; "" forgets the one
/// before. `line` is the line's name. Any thread.
void NoteTrouble(const std::string& line, const std::string& sentence);

/// The sentence; empty when the last call had no trouble, or none that its cause does not tell.
std::string LastTrouble(const std::string& line);

/// Keeps whether the last call of a line failed before its number was dialled, because of the modem
/// or its line. Any thread.
void NoteNothingDialled(const std::string& line, bool nothing_dialled);

/// Whether it did; false before the first call.
bool NothingWasDialled(const std::string& line);

/// Keeps the name of the member that a pool's last call goes over, "" when none could dial. Any
/// thread.
void NoteMember(const std::string& pool, const std::string& member);

/// The member; empty for a line that is no pool, and before its first call.
std::string LastMember(const std::string& line);

}  // namespace mvsms::posix
