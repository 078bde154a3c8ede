// The rules, one function each, and the table that gives every setting its own.
#include "cli/setting_rules.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>

#include "base/ansi.h"
#include "cli/system.h"
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
    throw UsageError(std::string(info.name) + " must be " + expected + ", not \"" +
                     Printable(value) + "\"");
  }
};

void OneOf(const Subject& subject, std::initializer_list<const char*> choices,
           const char* expected) {
  if (std::find(choices.begin(), choices.end(), subject.value) == choices.end()) {
    subject.Refuse(expected);
  }
}

bool AllDigits(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos;
}

void CheckCountry(Subject& subject) {
  if (!AllDigits(subject.value)) subject.Refuse("digits, as a number is dialled");
}

void CheckProtocol(Subject& subject) { OneOf(subject, {"TAP", "UCP"}, "TAP or UCP"); }

void CheckUcpCommand(Subject& subject) { OneOf(subject, {"", "01", "51"}, "01 or 51, or empty"); }

void CheckMessageType(Subject& subject) {
  OneOf(subject, {"2", "3"}, "2 (numeric) or 3 (alphanumeric)");
}

void CheckBaudRate(Subject& subject) {
  if (subject.value == "Auto" || subject.value == "ISDN") return;
  if (subject.value.empty() || !AllDigits(subject.value) || subject.value.size() > 6 ||
      !IsBaudRate(std::stoi(subject.value))) {
    subject.Refuse("Auto, ISDN or a rate of serial ports in bit/s, such as 9600 or 19200");
  }
}

void CheckModemSetting(Subject& subject) {
  const std::string& value = subject.value;
  const auto any_of = [](char c, std::string_view set) {
    return set.find(c) != std::string_view::npos;
  };
  if (value.size() != 3 || !any_of(value[0], "45678") || !any_of(value[1], "NEOMS") ||
      !any_of(value[2], "12")) {
    subject.Refuse("three characters: data bits, parity letter, stop bits, such as 8N1");
  }
}

void CheckModem(Subject& subject) {
  if (subject.value.empty()) return;
  if (!ModemExists(subject.context, AnsiFromUtf8(subject.value))) {
    throw UsageError("there is no modem \"" + subject.value + "\"; see 'mvsms modem list'");
  }
}

// The two names of the default modem are stored as the empty text, as the dialogs do.
void CheckServiceModem(Subject& subject) {
  if (NamesDefaultModem(subject.value)) subject.value.clear();
  CheckModem(subject);
}

void CheckService(Subject& subject) {
  if (!subject.value.empty()) ExistingService(subject.store, subject.value);
}

void CheckAtLeastOne(Subject& subject) {
  ParseNumber(subject.info.name, subject.value, 1, kMaxLong);
}

struct Rule {
  std::string_view name;
  void (*check)(Subject&);
};

constexpr std::array<Rule, 11> kRules{{
    {"Country", CheckCountry},
    {"DefaultModem", CheckModem},
    {"DefaultService", CheckService},
    {"Protocol", CheckProtocol},
    {"MaxLength", CheckAtLeastOne},
    {"MaxMessages", CheckAtLeastOne},
    {"UCPCommand", CheckUcpCommand},
    {"MessageType", CheckMessageType},
    {"BaudRate", CheckBaudRate},
    {"ModemSetting", CheckModemSetting},
    {"ModemName", CheckServiceModem},
}};

// What every value of its kind must be.
void CheckKind(const Subject& subject) {
  if (subject.info.kind == ValueKind::kSwitch) OneOf(subject, {"0", "1"}, "0 or 1");
  if (subject.info.kind == ValueKind::kNumber) {
    ParseNumber(subject.info.name, subject.value, 0, kMaxLong);
  }
  // A control character would end an AT command or a frame in the middle.
  if (Printable(subject.value) != subject.value) subject.Refuse("one line of text");
}

RegistryValue Encode(const ValueInfo& info, const std::string& utf8) {
  if (info.type == RegType::kSz) return TextValue(AnsiFromUtf8(utf8));
  return NumberValue(static_cast<std::uint32_t>(std::stoul(utf8)));
}

}  // namespace

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
  for (const Rule& rule : kRules) {
    if (rule.name == info.name) rule.check(subject);
  }
  return Encode(info, subject.value);
}

RegistryValue InitialValue(const ValueInfo& info) { return Encode(info, info.initial); }

}  // namespace mvsms::cli
