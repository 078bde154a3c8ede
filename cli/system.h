// What of the command differs between the systems it runs on. One of the folders beside this header
// implements it.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/options.h"
#include "dispatch/journal.h"

namespace mvsms::cli {

/// The services of this process's one thread; `home` as in Context.
std::unique_ptr<Platform> MakePlatform(const std::string& home);

/// Why the settings cannot be read, and why they cannot be changed, as a sentence; empty when they
/// can. `passes` is set when it ends by itself.
std::string StoreProblem(const std::string& home, bool& passes);
std::string WriteProblem(const std::string& home);

/// Whether there is a modem of this name (ANSI).
bool ModemExists(Context& context, const std::string& modem);

/// The modem of this machine when there is exactly one and somebody added it; else empty, also
/// where the system has modems by itself.
std::string OnlyModem(Context& context);

/// Where else settings lie, and whose they are, as the rest of a sentence that begins with "; ";
/// empty when there are none.
std::string OtherState(const std::string& home);

/// Where a send log lies when nobody says where, in UTF-8.
std::string DefaultLog(Context& context);

/// Such a place, UTF-8, as the sender takes it.
std::string LogPath(const std::string& utf8);

/// What went wrong with the modem in the last call, such as who held its device or that nothing
/// listens there, as a sentence; empty when nothing did or nobody can tell.
std::string ModemInUse(Context& context, const std::string& modem);

/// Writes the row of an attempt, or writes it again, where this system has a journal. Throws
/// RaisedError with a sentence that names the file.
void WriteJournal(Context& context, const dispatch::JournalRow& row);

/// Writes a line about a send, UTF-8, to the log of the whole system; false when nothing takes it.
/// Never waits.
bool WriteSystemLog(bool accepted, const std::string& line);

/// Which modem a call of the modem `modem` went over that stands for several; empty when it stands
/// for none but itself.
std::string MemberUsed(Context& context, const std::string& modem);

/// Whether the last call of such a modem was dialled by none of those that it stands for.
bool NoMemberDialled(Context& context, const std::string& modem);

/// A look at whether a modem is free for the next send of this process: the empty text, and it is
/// kept for that; else who is in the way, as a sentence. Whoever keeps looking is served in the
/// order of his first look; the place and the modem are given back with the object.
using ModemTurn = std::function<std::string()>;

/// Null on a system that does not know who waits for a modem.
ModemTurn TurnFor(Context& context, const std::string& modem);

/// Whether TurnFor gives one.
bool ModemsHaveTurns();

/// The end of the command's own help: the first steps, and where its state lies: in `home`, where
/// the system has such a folder.
std::string FirstSteps(const std::string& home);

/// Adds the sub-commands about the system's modems, and those that only this system has.
void AddSystemCommands(Command& app, Context& context);

/// The recipients that one stands for, all in UTF-8: of "@NAME", where the system has groups, the
/// numbers of the group; of anything else itself. What cannot be found out is warned of, and the
/// exit code of the context says so.
std::vector<std::string> RecipientsOf(Context& context, const std::string& to);

/// Runs changes of the settings as one where this system can: when it throws, or the process ends
/// meanwhile, none of them was made. Throws what `changes` throws, or why they could not be stored.
void WriteTogether(Context& context, const std::function<void()>& changes);

/// Makes an empty file that is its owner's alone; false, with errno set, also when there is
/// something of that name.
bool MakePrivateFile(const std::filesystem::path& file);

}  // namespace mvsms::cli
