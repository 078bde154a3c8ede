// The catalogue of predefined services: a text file beside the component, one service a line, with
// fields split at commas and no quoting.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "engine/settings.h"
#include "platform/platform.h"

namespace mvsms {

inline constexpr char kCatalogueFile[] = "smstransports.inf";

/// Numbers of the fields of a record.
namespace catalogue {
enum Field : std::size_t {
  kId = 0,
  kName = 1,
  kGroup = 2,  // country or language; what the list is filtered by
  kProtocol = 3,
  kPassword = 4,
  kUcpCommand = 5,
  kPhoneNumber = 6,
  kMaxLength = 7,
  kMaxMessages = 8,
  kCountryCode = 9,
  kBaudRate = 10,
  kDataBits = 11,
  kParity = 12,
  kStopBits = 13,
  kTimeOut = 14,
  kMessageType = 15,
  kPrefixes = 16,  // routing prefixes, separated by ";"
  kChecked = 17,   // when the maintainers last tried the entry; not stored with a service
};
}  // namespace catalogue

/// One service: the fields of a line, as many as it has.
using CatalogueRecord = std::vector<std::string>;

/// A field of a record, "" beyond its end.
const std::string& FieldOf(const CatalogueRecord& record, catalogue::Field field);

/// The record of a service that is not from the catalogue: default settings under this name.
CatalogueRecord BlankService(const std::string& name);

class Catalogue {
 public:
  /// Reads the file in the component's folder. False, and an empty catalogue, when there is none;
  /// throws RaisedError when there is one that cannot be read. Blank lines are left out; any other
  /// is kept as it is, however few fields it has.
  bool Load(Platform& platform);

  /// The services, in the file's order.
  const std::vector<CatalogueRecord>& Records() const { return records_; }
  /// The distinct groups, in the order of their first appearance.
  const std::vector<std::string>& Groups() const { return groups_; }
  /// The service with this identifier, the last one of several; null without one.
  const CatalogueRecord* Find(const std::string& id) const;

 private:
  void Add(const std::string& line);

  std::vector<CatalogueRecord> records_;
  std::vector<std::string> groups_;
};

/// A field that a service stores, and the value that it becomes, or a part of it: the characters of
/// ModemSetting stand in a field each.
struct StoredField {
  catalogue::Field field;
  ValueInfo info;
};
/// In the order of a record.
std::span<const StoredField> StoredFields();

/// A value of a new service, and what the record has for it.
struct ServiceValue {
  ValueInfo info;
  std::string text;
};
/// What a new service made from `record` has in the settings store, in the order of writing. The
/// modem is the default one.
std::vector<ServiceValue> ServiceValues(const CatalogueRecord& record);

/// The routing prefixes that a record brings: its service takes them, also from another one.
std::vector<std::string> RoutePrefixes(const CatalogueRecord& record);

}  // namespace mvsms
