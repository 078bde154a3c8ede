// The catalogue of services with anything in it, from the file to the settings of the service that
// the user picks: one byte for the group, one for the row, then the file.
#include "base/texts.h"
#include "engine/component_file.h"
#include "fuzz/fuzz.h"
#include "tests/support/desktop.h"
#include "ui/frmconfig.h"

namespace mvsms::fuzz {
namespace {

std::string Join(const CatalogueRecord& record) {
  std::string line;
  for (const std::string& field : record) line += (&field == &record[0] ? "" : ",") + field;
  return line;
}

/// Every line that holds anything is one record, and nothing of it is lost.
void CheckRecords(const Catalogue& catalogue, const std::string& file) {
  std::size_t record = 0;
  for (std::string& line : Split(file, '\n')) {
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty()) continue;
    Require(record < catalogue.Records().size(), "a record for every line");
    Require(Join(catalogue.Records()[record++]) == line, "a record has all that its line has");
  }
  Require(record == catalogue.Records().size(), "no record without a line");
}

bool IsInGroup(const ListView::Row& row, const std::string& group) {
  return row.sub_items.at(1) == group;
}

/// The filter shows the records of its group, and only those.
void CheckFilter(frmNewService& dialog, std::size_t choice) {
  dialog.cmbLanguage.SetListIndex(0);
  const auto all = dialog.lsServices.Rows();
  const std::size_t index = choice % dialog.cmbLanguage.List().size();
  dialog.cmbLanguage.SetListIndex(static_cast<int>(index));
  if (index == 0) return;
  const std::string group = dialog.cmbLanguage.Text();
  const auto belongs = [&](const ListView::Row& row) { return IsInGroup(row, group); };
  const auto& shown = dialog.lsServices.Rows();
  Require(!shown.empty() && std::all_of(shown.begin(), shown.end(), belongs), "the group alone");
  Require(std::count_if(all.begin(), all.end(), belongs) == std::ssize(shown), "the whole group");
}

/// Texts that the settings store keeps as they stand: without a zero byte.
bool IsStored(const std::string& text) { return text.find('\0') == text.npos; }
/// Names that are one key: not empty, not too long, without a backslash.
bool IsKey(const std::string& name) {
  return !name.empty() && name.size() < 200 && IsStored(name) && name.find('\\') == name.npos;
}

void CheckService(test::Desktop& desk, const CatalogueRecord& record) {
  const std::string& name = FieldOf(record, catalogue::kName);
  if (!IsKey(name)) return;
  for (const ServiceValue& value : ServiceValues(record)) {
    Require(!IsStored(value.text) ||
                desk.Text(ServiceKey(desk.profile.base_key(), name), value.info.name) == value.text,
            "a value as the catalogue has it");
  }
  for (const std::string& prefix : RoutePrefixes(record)) {
    Require(!IsKey(prefix) || desk.Text(RouteKey(desk.profile.base_key(), prefix),
                                        setting::kUseService.name) == name,
            "a route for each prefix");
  }
}

void Run(Input input) {
  const std::size_t group = input.Byte();
  const std::size_t row = input.Byte();
  const std::string file = input.Rest();
  test::Desktop desk;
  Apartment apartment(desk.platform);
  desk.platform.files[ComponentFile(desk.platform.locale(), kCatalogueFile)] = file;
  Catalogue catalogue;
  Require(catalogue.Load(desk.platform), "the file is found");
  CheckRecords(catalogue, file);

  CatalogueRecord picked;
  desk.When<frmNewService>("frmNewService", [&](frmNewService& dialog) {
    CheckFilter(dialog, group);
    const std::size_t rows = dialog.lsServices.Rows().size();
    if (rows == 0) return dialog.CancelButton.Click();
    dialog.Option1[1].SetValue(true);
    dialog.lsServices.Select(static_cast<int>(row % rows));
    dialog.OKButton.Click();
    picked = dialog.Result();
    Require(picked == *catalogue.Find(dialog.lsServices.SelectedText()), "the record of the row");
  });
  {
    const auto config = std::make_shared<frmConfig>(apartment);
    config->LoadValues();
    config->cmdSrvAdd.Click();
    CheckService(desk, picked);
  }
  Require(desk.platform.open_keys() == 0, "no key of the store left open");
  Require(desk.platform.open_windows() == 0, "no window left open");
}

}  // namespace
}  // namespace mvsms::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4096) mvsms::fuzz::Run({data, size});
  return 0;
}
