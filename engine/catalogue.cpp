// Reading and looking up catalogue records.
#include "engine/catalogue.h"

#include <algorithm>
#include <unordered_set>

#include "base/texts.h"
#include "engine/component_file.h"

namespace mvsms {
namespace {

constexpr StoredField kStoredFields[] = {
    {catalogue::kProtocol, setting::kProtocol},
    {catalogue::kPassword, setting::kPassword},
    {catalogue::kUcpCommand, setting::kUCPCommand},
    {catalogue::kPhoneNumber, setting::kPhoneNumber},
    {catalogue::kMaxLength, setting::kMaxLength},
    {catalogue::kMaxMessages, setting::kMaxMessages},
    {catalogue::kCountryCode, setting::kCountryCode},
    {catalogue::kBaudRate, setting::kBaudRate},
    {catalogue::kDataBits, setting::kModemSetting},
    {catalogue::kParity, setting::kModemSetting},
    {catalogue::kStopBits, setting::kModemSetting},
    {catalogue::kTimeOut, setting::kTimeOut},
    {catalogue::kMessageType, setting::kMessageType},
};

std::string InitialOf(const StoredField& stored) {
  if (stored.info != setting::kModemSetting) return stored.info.initial;
  return {stored.info.initial[stored.field - catalogue::kDataBits]};
}

std::string TextFor(const ValueInfo& info, const CatalogueRecord& record) {
  std::string text;
  for (const StoredField& stored : kStoredFields) {
    if (stored.info == info) text += FieldOf(record, stored.field);
  }
  return text;
}

}  // namespace

std::span<const StoredField> StoredFields() { return kStoredFields; }

const std::string& FieldOf(const CatalogueRecord& record, catalogue::Field field) {
  static const std::string kMissing;
  return field < record.size() ? record[field] : kMissing;
}

CatalogueRecord BlankService(const std::string& name) {
  std::string line = "1," + name + ",";
  for (const StoredField& stored : kStoredFields) line += "," + InitialOf(stored);
  return Split(line + ",,", ',');
}

bool Catalogue::Load(Platform& platform) {
  records_.clear();
  groups_.clear();
  std::string text;
  if (!platform.text_file().Read(ComponentFile(platform.locale(), kCatalogueFile), text)) {
    return false;
  }
  for (std::string& line : Split(text, '\n')) {
    if (line.ends_with('\r')) line.pop_back();
    Add(line);
  }
  std::unordered_set<std::string> known;
  for (const CatalogueRecord& record : records_) {
    const std::string& group = FieldOf(record, catalogue::kGroup);
    if (known.insert(group).second) groups_.push_back(group);
  }
  return true;
}

void Catalogue::Add(const std::string& line) {
  CatalogueRecord record = Split(line, ',');
  if (!record.empty()) records_.push_back(std::move(record));
}

const CatalogueRecord* Catalogue::Find(const std::string& id) const {
  const auto found = std::find_if(
      records_.rbegin(), records_.rend(),
      [&](const CatalogueRecord& record) { return FieldOf(record, catalogue::kId) == id; });
  return found == records_.rend() ? nullptr : &*found;
}

std::vector<ServiceValue> ServiceValues(const CatalogueRecord& record) {
  std::vector<ServiceValue> values;
  for (const ValueInfo& info : kServiceValues) values.push_back({info, TextFor(info, record)});
  return values;
}

std::vector<std::string> RoutePrefixes(const CatalogueRecord& record) {
  std::vector<std::string> prefixes = Split(FieldOf(record, catalogue::kPrefixes), ';');
  std::erase(prefixes, "");
  return prefixes;
}

}  // namespace mvsms
