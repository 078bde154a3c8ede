// Settings by name: one parser and one printer per type, one row per setting.
#include "centre/settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "centre/notation.h"

namespace mvsms::centre {
namespace {

// Words of an enumeration, in the order of its values.
template <typename Enum>
constexpr std::array<std::string_view, 0> kWords{};
template <>
constexpr std::array<std::string_view, 6> kWords<CallOutcome>{
    "connect", "busy", "no-answer", "no-carrier", "no-dialtone", "error"};
template <>
constexpr std::array<std::string_view, 4> kWords<TapAnswer>{"ack", "nak", "rs", "end"};
template <>
constexpr std::array<std::string_view, 6> kWords<SilentAt>{"never",    "prompt",  "login",
                                                           "go-ahead", "message", "logout"};
template <>
constexpr std::array<std::string_view, 4> kWords<Delivery>{"delivered", "buffered", "failed",
                                                           "none"};
template <>
constexpr std::array<std::string_view, 3> kWords<Alphabet>{"ascii", "german", "gsm"};
template <>
constexpr std::array<std::string_view, 2> kWords<bool>{"off", "on"};

template <typename Word>
std::string Values(const Word&) {
  std::string out;
  for (const std::string_view word : kWords<Word>) out.append(out.empty() ? "" : "|").append(word);
  return out;
}
std::string Values(int) { return "number or all"; }
std::string Values(Millis) { return "milliseconds"; }
std::string Values(const std::string&) { return "text"; }

template <typename Word>
bool Parse(std::string_view text, Word& value) {
  const auto found = std::find(kWords<Word>.begin(), kWords<Word>.end(), text);
  if (found == kWords<Word>.end()) return false;
  value = static_cast<Word>(found - kWords<Word>.begin());
  return true;
}

bool Parse(std::string_view text, int& value) {
  if (text == "all") {
    value = kAll;
    return true;
  }
  int number = 0;
  const auto end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number < 0) return false;
  value = number;
  return true;
}

bool Parse(std::string_view text, Millis& value) {
  int number = 0;
  if (text == "all" || !Parse(text, number)) return false;
  value = Millis{number};
  return true;
}

bool Parse(std::string_view text, std::string& value) {
  try {
    value = FromNotation(text);
    return true;
  } catch (const std::invalid_argument&) {
    return false;
  }
}

template <typename Word>
std::string Format(const Word& value) {
  return std::string(kWords<Word>[static_cast<std::size_t>(value)]);
}
std::string Format(int value) { return value == kAll ? "all" : std::to_string(value); }
std::string Format(Millis value) { return std::to_string(value.count()); }
std::string Format(const std::string& value) { return ToNotation(value); }

struct Row {
  std::string_view group;
  std::string_view member;
  std::string_view help;
  bool (*parse)(std::string_view, Settings&);
  std::string (*format)(const Settings&);
  std::string (*values)(const Settings&);
};

constexpr Row kRows[] = {
#define GROUP(title) {title, {}, {}, nullptr, nullptr, nullptr},
#define SETTING(type, name, value, help)                                       \
  {{},                                                                         \
   #name,                                                                      \
   help,                                                                       \
   [](std::string_view text, Settings& all) { return Parse(text, all.name); }, \
   [](const Settings& all) { return Format(all.name); },                       \
   [](const Settings& all) { return Values(all.name); }},
#include "centre/settings.def"
#undef SETTING
#undef GROUP
};

std::string Name(std::string_view member) {
  std::string name(member);
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

const Row& FindRow(std::string_view name) {
  const auto found = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& row) {
    return row.parse != nullptr && Name(row.member) == name;
  });
  if (found == std::end(kRows))
    throw SettingError("there is no setting \"" + std::string(name) + "\"");
  return *found;
}

}  // namespace

void Set(Settings& settings, std::string_view assignment) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string_view::npos)
    throw SettingError("\"" + std::string(assignment) + "\" is not NAME=VALUE");
  const std::string_view name = assignment.substr(0, equals);
  const std::string_view value = assignment.substr(equals + 1);
  const Row& row = FindRow(name);
  if (!row.parse(value, settings))
    throw SettingError("\"" + std::string(value) + "\" is no value for " + std::string(name) +
                       " (" + row.values(settings) + ")");
}

std::vector<SettingInfo> ListSettings(const Settings& settings) {
  std::vector<SettingInfo> out;
  std::string group;
  for (const Row& row : kRows) {
    if (row.parse == nullptr)
      group = row.group;
    else
      out.push_back({group, Name(row.member), row.format(settings), row.values(settings),
                     std::string(row.help)});
  }
  return out;
}

}  // namespace mvsms::centre
