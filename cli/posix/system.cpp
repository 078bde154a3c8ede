// The command on Linux: settings in a file, lines of its own, and the message centre.
#include "cli/system.h"

#include <fcntl.h>
#include <unistd.h>

#include "backends/posix/line/line_trouble.h"
#include "backends/posix/line/line_turn.h"
#include "backends/posix/posix_platform.h"
#include "backends/posix/store/backend.h"
#include "backends/posix/store/journal.h"
#include "backends/posix/store/line_store.h"
#include "backends/posix/store/store.h"
#include "backends/posix/system/home.h"
#include "backends/posix/system/system_log.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "cli/commands.h"
#include "cli/posix/centre_command.h"
#include "cli/posix/doors.h"
#include "cli/posix/state.h"
#include "engine/send_log.h"

namespace mvsms::cli {

std::unique_ptr<Platform> MakePlatform(const std::string& home) {
  return posix::MakePosixPlatform(home);
}

std::string StoreProblem(const std::string& home, bool& passes) {
  return posix::StoreProblem(home, &passes);
}
std::string WriteProblem(const std::string& home) { return posix::WriteProblem(home); }

bool ModemExists(Context& context, const std::string& modem) {
  return Lines(context).Find(modem).has_value();
}

std::string OnlyModem(Context& context) {
  const auto lines = Lines(context).List();
  return lines.size() == 1 ? lines.front().name : "";
}

std::string OtherState(const std::string& home) { return StateBeside(home, posix::kSystemHome); }

// Not by way of the ANSI code page, in which not every folder has a name.
std::string DefaultLog(Context& context) { return context.home + "/" + basCommon::kDefaultLogName; }

std::string LogPath(const std::string& utf8) { return AnsiFromUtf8(utf8); }

// Asked after a call: what the device is now, with the call over, may not be what it was.
std::string ModemInUse(Context&, const std::string& modem) { return posix::LastTrouble(modem); }

void WriteJournal(Context& context, const dispatch::JournalRow& row) {
  posix::Journal(context.home).Put(row);
}

bool WriteSystemLog(bool accepted, const std::string& line) {
  return posix::WriteSystemLog(accepted ? posix::Severity::kInfo : posix::Severity::kWarning, line);
}

std::string MemberUsed(Context&, const std::string& modem) { return posix::LastMember(modem); }

bool NoMemberDialled(Context& context, const std::string& modem) {
  const auto line = posix::LineStore(context.home).Find(modem);
  return line && line->kind == posix::LineKind::kPool && posix::LastMember(modem).empty();
}

// Settings that cannot be read just now are nothing to wait for: the send finds out, and says so.
ModemTurn TurnFor(Context& context, const std::string& modem) try {
  const auto turn = std::make_shared<posix::LineTurn>(context.home, modem);
  return [turn]() -> std::string {
    try {
      return turn->Look();
    } catch (const RaisedError&) {
      return "";
    }
  };
} catch (const RaisedError&) {
  return [] { return ""; };
}

bool ModemsHaveTurns() { return true; }

void WriteTogether(Context& context, const std::function<void()>& changes) {
  posix::WriteTogether(context.platform().registry(), changes);
}

bool MakePrivateFile(const std::filesystem::path& file) {
  constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const int opened = open(file.c_str(), kNew, 0600);
  return opened >= 0 && close(opened) == 0;
}

std::string FirstSteps(const std::string& home) {
  return "First steps:\n"
         "  mvsms modem add Modem1 --kind hayes --device /dev/ttyUSB0\n"
         "  mvsms service add Pager --set PhoneNumber=0123456789 --set Protocol=TAP\n"
         "  mvsms config set DefaultModem Modem1\n"
         "  mvsms config set DefaultService Pager\n"
         "  mvsms send --to 01711234567 \"Pump 3 has stopped\"\n"
         "No modem at hand: 'mvsms demo' shows messages travelling to the built-in centre.\n"
         "\n"
         "Exit codes of send: 0 accepted, 1 refused, 2 wrong usage, 65 text or recipient, 75 try\n"
         "again, 76 unknown (it may have been delivered), 78 settings. Others: 0, 1 failed, 2.\n"
         "State lies in " +
         home + "; MVSMS_HOME names another folder.";
}

void AddSystemCommands(Command& app, Context& context) {
  AddSetupCommand(app, context);
  AddGroupCommand(app, context);
  AddModemCommand(app, context);
  AddJournalCommand(app, context);
  AddQueueCommand(app, context);
  AddMailCommand(app, context, [](Context& c, MailOptions&) { BecomeGateway(c); });
  AddCheckCommand(app, context);
  AddHeartbeatCommand(app, context);
  AddWorkerCommand(app, context);
  AddServeCommand(app, context, [](Context& c, const ServeOptions&) { BecomeGateway(c); });
  AddLinesCommand(app, context);
  AddHubCommand(app, context);

  AddApplyCommand(app, context);
  AddCentreCommand(app, context.exit_code);
  AddDemoCommand(app, context);
}

}  // namespace mvsms::cli
