// See mistyped.h.
#include "cli/mistyped.h"

#include <algorithm>
#include <numeric>

#include "base/ansi.h"
#include "cli/store.h"
#include "cli/system.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

constexpr std::size_t kNear = 2;

// Letters to insert, delete or replace in order to get from one text to the other.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string Quoted(const std::string& ansi) { return "\"" + Printable(Utf8FromAnsi(ansi)) + "\""; }

std::string Place(Context& context) { return context.home.empty() ? "" : " in " + context.home; }

std::string ProfileList(Context& context) {
  const std::vector<std::string> names = ProfileNames(context);
  if (names.empty()) return "nothing is set up there";
  std::string text = "profiles there:";
  for (const std::string& name : names) text += " " + Quoted(name);
  return text;
}

// Something else wrote it, for the command does not.
std::string NoNumber(ProfileStore& store) {
  for (const ValueInfo& info : kGlobalValues) {
    const std::string text = store.Get(info);
    if (info.type == RegType::kDword && !IsWholeNumber(text) && !text.empty()) {
      return std::string(info.name) + " holds the text " + Quoted(text) +
             " where a number belongs: 'mvsms config set " + info.name + " " + info.initial + "'";
    }
  }
  return "";
}

}  // namespace

std::string Nearest(const std::string& name, const std::vector<std::string>& names) {
  std::string nearest;
  std::size_t least = std::min(kNear, name.size() / 2) + 1;
  for (const std::string& other : names) {
    const std::size_t distance = Distance(FoldCase(name), FoldCase(other));
    if (distance >= least) continue;
    least = distance;
    nearest = other;
  }
  return nearest;
}

std::string DidYouMean(const std::string& name, const std::vector<std::string>& names) {
  const std::string nearest = Nearest(name, names);
  return nearest.empty() ? "" : " (did you mean " + Quoted(nearest) + "?)";
}

std::string NoProfile(Context& context) {
  const std::string profile = AnsiFromUtf8(context.profile);
  return "there is no profile " + Quoted(profile) + Place(context) +
         DidYouMean(profile, ProfileNames(context)) + "; " + ProfileList(context) +
         OtherState(context.home);
}

void WarnOfNewProfile(Context& context) {
  if (ProfileStore(context).Exists()) return;
  const std::string profile = AnsiFromUtf8(context.profile);
  const std::string meant = DidYouMean(profile, ProfileNames(context));
  if (!meant.empty()) context.Warn("a new profile " + Quoted(profile) + " begins" + meant);
}

std::string ProfileGaps(Context& context) {
  ProfileStore store(context);
  if (const std::string text = NoNumber(store); !text.empty()) return text;
  const bool modem = !store.Get(setting::kDefaultModem).empty();
  const bool service = !store.Get(setting::kDefaultService).empty();
  if (modem && service) return "";
  std::string profile = AnsiFromUtf8(context.profile);
  BaseKey(profile);
  return std::string("set ") + (modem || service ? "it" : "both") + ": the profile " +
         Quoted(profile) + Place(context) + " has no " +
         (modem ? setting::kDefaultService.name : setting::kDefaultModem.name) +
         (modem || service ? "" : std::string(" and no ") + setting::kDefaultService.name) + "; " +
         ProfileList(context) + OtherState(context.home);
}

}  // namespace mvsms::cli
