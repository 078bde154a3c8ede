// Reading and looking up catalogue records.
#include "engine/catalogue.h"

#include <algorithm>
#include <unordered_set>

#include "base/texts.h"
#include "engine/component_file.h"

namespace mvsms {

const std::string& FieldOf(const CatalogueRecord& record, catalogue::Field field) {
  static const std::string kMissing;
  return field < record.size() ? record[field] : kMissing;
}

CatalogueRecord BlankService(const std::string& name) {
  return Split("1," + name + ",,TAP,,,,160,1,,Auto,7,E,1,2000,3,,", ',');
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
  using namespace catalogue;
  const auto field = [&](Field number) { return FieldOf(record, number); };
  return {{"CountryCode", field(kCountryCode)},
          {"Protocol", field(kProtocol)},
          {"PhoneNumber", field(kPhoneNumber)},
          {"Password", field(kPassword)},
          {"MaxLength", field(kMaxLength)},
          {"MaxMessages", field(kMaxMessages)},
          {"UCPCommand", field(kUcpCommand)},
          {"MessageType", field(kMessageType)},
          {"TimeOut", field(kTimeOut)},
          {"BaudRate", field(kBaudRate)},
          {"ModemSetting", field(kDataBits) + field(kParity) + field(kStopBits)},
          {"ModemName", ""}};
}

std::vector<std::string> RoutePrefixes(const CatalogueRecord& record) {
  std::vector<std::string> prefixes = Split(FieldOf(record, catalogue::kPrefixes), ';');
  std::erase(prefixes, "");
  return prefixes;
}

}  // namespace mvsms
