// The command on Windows: the registry, and the modems that Windows itself knows.
#include "cli/system.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>

#include "backends/win32/path.h"
#include "backends/win32/win32_platform.h"
#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/store.h"
#include "engine/modem_list.h"
#include "engine/send_log.h"

namespace mvsms::cli {
namespace {

void ListModems(Context& context) {
  ProfileStore store(context);
  const std::string preferred = store.Get(setting::kDefaultModem);
  Json json = Json::array();
  std::vector<std::vector<std::string>> rows{{"NAME", "DEFAULT"}};
  for (const std::string& modem : ModemNames(context.platform())) {
    rows.push_back({Utf8FromAnsi(modem), modem == preferred ? "yes" : ""});
    json.push_back({{"name", rows.back()[0]}, {"default", modem == preferred}});
  }
  context.json ? context.PrintJson(json) : context.PrintTable(rows);
}

}  // namespace

std::unique_ptr<Platform> MakePlatform(const std::string&) { return win32::MakeWin32Platform(); }

std::string StoreProblem(const std::string&, bool&) { return ""; }
// Rights are those of each key: whatever is refused is reported by the access itself.
std::string WriteProblem(const std::string&) { return ""; }

bool ModemExists(Context& context, const std::string& modem) {
  const auto modems = ModemNames(context.platform());
  return std::find(modems.begin(), modems.end(), modem) != modems.end();
}

std::string OnlyModem(Context&) { return ""; }

std::string OtherState(const std::string&) { return ""; }

std::string DefaultLog(Context& context) {
  return win32::Utf8FromPath(basCommon::DefaultLogPath(context.platform().locale()));
}

std::string LogPath(const std::string& utf8) { return win32::PathFromUtf8(utf8); }

std::string ModemInUse(Context&, const std::string&) { return ""; }
std::string MemberUsed(Context&, const std::string&) { return ""; }
bool NoMemberDialled(Context&, const std::string&) { return false; }

ModemTurn TurnFor(Context&, const std::string&) { return nullptr; }
bool ModemsHaveTurns() { return false; }

std::string FirstSteps(const std::string&) {
  return "First steps (or, in a dialog: mvsms dialog):\n"
         "  mvsms modem list\n"
         "  mvsms service add Pager --set PhoneNumber=0123456789 --set Protocol=TAP\n"
         "  mvsms config set DefaultModem \"Name of the modem\"\n"
         "  mvsms config set DefaultService Pager\n"
         "  mvsms send --to 01711234567 \"Pump 3 has stopped\"\n"
         "\n"
         "Exit codes of send: 0 accepted, 1 refused, 2 wrong usage, 65 text or recipient, 75 try\n"
         "again, 76 unknown (it may have been delivered), 78 settings. Others: 0, 1 failed, 2.\n"
         "Settings lie in the registry, under HKEY_LOCAL_MACHINE\\Software\\MIRVALEN\\PAGOREX.";
}

void AddSystemCommands(Command& app, Context& context) {
  Command* const group = AddGroup(app, "modem", "The modems of Windows");
  AddCommand(*group, context, "list", "List the modems that can dial a message centre",
             "  mvsms modem list")
      ->Callback([&context] { ListModems(context); });
  AddDialogCommand(app, context);
}

std::vector<std::string> RecipientsOf(Context&, const std::string& to) { return {to}; }

void WriteJournal(Context&, const dispatch::JournalRow&) {}

bool WriteSystemLog(bool, const std::string&) { return false; }

void WriteTogether(Context&, const std::function<void()>& changes) { changes(); }

bool MakePrivateFile(const std::filesystem::path& file) {
  const int opened =
      _wopen(file.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
  return opened >= 0 && _close(opened) == 0;
}

}  // namespace mvsms::cli
