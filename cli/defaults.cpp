// See defaults.h.
#include "cli/defaults.h"

#include <ostream>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "cli/setting_rules.h"
#include "cli/system.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

// Takes `only` for the default, when there is one and it is not the default already; says so.
std::string Fill(ProfileStore& store, const ValueInfo& info, const std::string& only,
                 const std::string& what) {
  if (only.empty() || FoldCase(store.Get(info)) == FoldCase(only)) return "";
  store.Set(info, TextValue(only));
  return "\"" + Printable(Utf8FromAnsi(only)) + "\" is the default " + what + " now; ";
}

}  // namespace

void FillDefaults(Context& context, ProfileStore& store) {
  const std::vector<std::string> services = store.Services();
  std::string done = Fill(store, setting::kDefaultService,
                          services.size() == 1 ? services.front() : "", "service") +
                     Fill(store, setting::kDefaultModem, OnlyModem(context), "modem");
  if (done.empty()) return;
  if (store.Get(setting::kReplacePlus).empty()) {
    store.Set(setting::kReplacePlus, InitialValue(setting::kReplacePlus));
    done += "a leading \"+\" is sent as \"00\"; ";
  }
  if (!context.json) context.out << Printable(done.substr(0, done.size() - 2)) << '\n';
}

}  // namespace mvsms::cli
