// See hub_access.h.
#include "cli/posix/hub_access.h"

#include <algorithm>

#include "backends/posix/system/machine.h"
#include "base/ansi.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/settings.h"

namespace mvsms::cli {

namespace {

/// Every user sees the command lines of all programs.
void CheckServerWords(const std::string& where) {
  if (IsServer(where) && !HoldsPassword(where)) return;
  throw UsageError(
      "--at is words such as host=a,b dbname=mvsms, and holds no password: it belongs into "
      "~/.pgpass, or the file that PGPASSFILE names");
}

}  // namespace

bool HasHub(Context& context) { return !SettingOrInitial(context, setting::kHub).empty(); }

std::unique_ptr<posix::HubWire> HubWireOf(Context& context, const std::string& where) {
  const std::string set = Utf8FromAnsi(SettingOrInitial(context, setting::kHub));
  if (where.empty() && set.empty()) {
    throw UsageError("no hub is set; see 'mvsms config set Hub \"host=... dbname=...\"'");
  }
  if (!where.empty()) {
    CheckServerWords(where);
    return posix::MakeHubWire(where, "");
  }
  return posix::MakeHubWire(set,
                            Utf8FromAnsi(SettingOrInitial(context, setting::kHubPasswordFile)));
}

std::string HubNameOf(Context& context) {
  std::string name = SettingOrInitial(context, setting::kHubName);
  if (name.empty()) {
    name = posix::HostName();
  }
  std::ranges::replace(name, '/', '-');  // which stands behind it in the ids of its pages
  return name.empty() ? "machine" : name;
}

}  // namespace mvsms::cli
