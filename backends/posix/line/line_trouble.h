// What last went wrong on a line, in words: the causes of a call are few and the same everywhere,
// while here it is known whether nobody listened, the host is unknown or the device was pulled out.
#pragma once

#include <string>

namespace mvsms::posix {

/// Keeps a sentence (UTF-8) about the last call of a line of this process; "" forgets the one
/// before. `line` is the line's name. Any thread.
void NoteTrouble(const std::string& line, const std::string& sentence);

/// The sentence; empty when the last call had no trouble, or none that its cause does not tell.
std::string LastTrouble(const std::string& line);

}  // namespace mvsms::posix
