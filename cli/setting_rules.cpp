// The rules of the settings table, put to a value.
#include "cli/setting_rules.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/system.h"
#include "dispatch/decision.h"
#include "media/dwdcb.h"

namespace mvsms::cli {
namespace {

constexpr long long kMaxLong = std::numeric_limits<std::int32_t>::max();

struct Subject {
  Context& context;
  ProfileStore& store;
  const ValueInfo& info;
  std::string value;  // UTF-8

  [[noreturn]] void Refuse(const std::string& expected) const {
    const std::string given = info.secret ? "" : ", not \"" + Printable(value) + "\"";
    throw UsageError(std::string(info.name) + " must be " + expected + given);
  }
};

bool IsChoice(const Subject& subject) {
  const auto& choices = subject.info.choices;
  return std::any_of(choices.begin(), choices.end(), [&](const char* choice) {
    return choice != nullptr && subject.value == choice;
  });
}

bool IsOneOfEach(const Subject& subject) {
  const auto& choices = subject.info.choices;
  return std::equal(
      choices.begin(), choices.end(), subject.value.begin(), subject.value.end(),
      [](std::string_view set, char c) { return set.find(c) != std::string_view::npos; });
}

bool IsSpeed(const std::string& text) {
  return !text.empty() && text.size() <= 6 && AllDigits(text) && IsBaudRate(std::stoi(text));
}

bool IsPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && AllDigits(text) && std::stoi(text) >= 1 &&
         std::stoi(text) <= 65535;
}

bool IsHostAndPort(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  return colon != std::string::npos && colon > 0 && IsPort(text.substr(colon + 1)) &&
         text.find(' ') == std::string::npos;
}

// A host, and perhaps a port and a folder; neither a password nor a query, which nobody would send.
bool IsWebAddress(const std::string& text) {
  const std::size_t scheme = text.starts_with("https://") ? 8 : 7;
  return (scheme == 8 || text.starts_with("http://")) && text.size() > scheme &&
         text[scheme] != '/' && text[scheme] != ':' &&
         text.find_first_of(" @?#\"<>\\") == std::string::npos;
}

// A password would stand in every listing.
void CheckServer(const Subject& subject) {
  if (HoldsPassword(subject.value)) {
    throw UsageError(std::string(subject.info.name) +
                     " is shown to everybody and holds no password: it belongs into a file; see " +
                     setting::kHubPasswordFile.name);
  }
  if (!subject.value.empty() && !IsServer(subject.value)) subject.Refuse(subject.info.expected);
}

// Digits, what modems and telephones have beside them, and what people write between them.
bool IsDialled(const std::string& text) {
  constexpr char kDialled[] = "0123456789*#ABCDabcd+,;TPWtpw!@$&()-./ ";
  return text.find_first_not_of(kDialled) == std::string::npos && !KeepDigits(text).empty();
}

void CheckModem(const Subject& subject) {
  if (subject.value.empty()) return;
  if (!ModemExists(subject.context, AnsiFromUtf8(subject.value))) {
    throw UsageError("there is no modem \"" + subject.value + "\"; see 'mvsms modem list'");
  }
}

void CheckNumber(const Subject& subject) {
  const ValueInfo& info = subject.info;
  const long long number = ParseNumber(info.name, subject.value, info.least, kMaxLong);
  if (number >= info.usual_least && number <= info.usual_most) return;
  const std::string bound = number < info.usual_least
                                ? "less than " + std::to_string(info.usual_least)
                                : "more than " + std::to_string(info.usual_most);
  subject.context.Warn(std::string(info.name) + "=" + subject.value + " (" + info.meaning +
                       ") is " + bound + ", which is hardly meant");
}

// What every value of its kind must be.
void CheckKind(const Subject& subject) {
  const bool is_switch = subject.info.kind == ValueKind::kSwitch;
  if (is_switch && subject.value != "0" && subject.value != "1") subject.Refuse("0 or 1");
  if (subject.info.kind == ValueKind::kNumber) CheckNumber(subject);
  if (!HasAnsiForm(subject.value)) subject.Refuse("a text in Windows-1252");
  // A control character would end an AT command or a frame in the middle.
  if (Printable(subject.value) != subject.value) subject.Refuse("one line of text");
}

void CheckRule(Subject& subject) {
  const auto require = [&](bool fits) {
    if (!fits) subject.Refuse(subject.info.expected);
  };
  switch (subject.info.rule) {
    case ValueRule::kNone:
      return;
    case ValueRule::kDigits:
      return require(AllDigits(subject.value));
    case ValueRule::kChoice:
      return require(IsChoice(subject));
    case ValueRule::kOneOfEach:
      return require(IsOneOfEach(subject));
    case ValueRule::kBaudRate:
      return require(IsChoice(subject) || IsSpeed(subject.value));
    case ValueRule::kDialled:
      return require(subject.value.empty() || IsDialled(subject.value) ||
                     IsHostAndPort(subject.value));
    case ValueRule::kModemOrDefault:
      if (NamesDefaultModem(subject.value)) subject.value.clear();
      return CheckModem(subject);
    case ValueRule::kModem:
      return CheckModem(subject);
    case ValueRule::kService:
      if (!subject.value.empty()) ExistingService(subject.store, subject.value);
      return;
    case ValueRule::kPauses:
      return require(dispatch::ReadPauses(subject.value).has_value());
    case ValueRule::kWebAddress:
      return require(subject.value.empty() || IsWebAddress(subject.value));
    case ValueRule::kServer:
      return CheckServer(subject);
  }
}

RegistryValue Encode(const ValueInfo& info, const std::string& utf8) {
  if (info.type == RegType::kSz) return TextValue(AnsiFromUtf8(utf8));
  return NumberValue(static_cast<std::uint32_t>(std::stoul(utf8)));
}

}  // namespace

bool IsServer(const std::string& text) {
  return text.find('=') != std::string::npos && text.find("://") == std::string::npos;
}

bool HoldsPassword(const std::string& text) {
  return FoldCase(text).find(FoldCase("password")) != std::string::npos;
}

const ValueInfo& FindValue(std::span<const ValueInfo> values, const std::string& name) {
  std::string names;
  for (const ValueInfo& info : values) {
    if (FoldCase(info.name) == FoldCase(AnsiFromUtf8(name))) return info;
    names += (names.empty() ? "" : ", ") + std::string(info.name);
  }
  throw UsageError("there is no setting \"" + name + "\"; there are " + names);
}

RegistryValue CheckedValue(Context& context, ProfileStore& store, const ValueInfo& info,
                           const std::string& utf8) {
  Subject subject{context, store, info, utf8};
  CheckKind(subject);
  CheckRule(subject);
  return Encode(info, subject.value);
}

RegistryValue InitialValue(const ValueInfo& info) { return Encode(info, info.initial); }

}  // namespace mvsms::cli
