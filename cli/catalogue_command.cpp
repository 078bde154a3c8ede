// mvsms catalogue: a catalogue of one's own, for the machines of a company or the customers of a
// vendor: begun from what is set up here, and checked before it is handed out.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/json_file.h"
#include "cli/setting_rules.h"
#include "cli/store.h"
#include "engine/catalogue.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

constexpr std::size_t kWanted = catalogue::kPrefixes + 1;
constexpr std::size_t kMost = catalogue::kChecked + 1;

struct Fault {
  std::size_t line;
  std::size_t column;
  std::string what;
};

/// One line of a catalogue put to the rules.
class LineCheck {
 public:
  LineCheck(Context& context, ProfileStore& store, std::size_t number, const std::string& line)
      : context_(context), store_(store), number_(number), record_(Split(line, ',')) {}

  std::vector<Fault> Faults() {
    CheckCount();
    for (const auto& [field, name] :
         {std::pair{catalogue::kId, "the identifier"}, std::pair{catalogue::kName, "the name"},
          std::pair{catalogue::kProtocol, "the protocol"},
          std::pair{catalogue::kPhoneNumber, "the number"}}) {
      if (FieldOf(record_, field).empty()) Add(field, std::string(name) + " is missing");
    }
    for (const StoredField& stored : StoredFields()) CheckValue(stored);
    for (const std::string& prefix : RoutePrefixes(record_)) {
      Try(catalogue::kPrefixes, [&] { RoutePrefix(Utf8FromAnsi(prefix)); });
    }
    return faults_;
  }

  const CatalogueRecord& record() const { return record_; }

 private:
  void CheckCount() {
    if (record_.size() < kWanted) {
      Add(record_.size() - 1, "the line has " + std::to_string(record_.size()) + " fields, " +
                                  std::to_string(kWanted) + " or " + std::to_string(kMost) +
                                  " are wanted");
    } else if (record_.size() > kMost) {
      Add(kMost, "there is a comma too many; a field cannot have one in it");
    }
  }

  void CheckValue(const StoredField& stored) {
    std::string text = FieldOf(record_, stored.field);
    if (stored.info == setting::kModemSetting) {
      if (stored.field != catalogue::kDataBits) return;  // with which all of it is checked
      text += FieldOf(record_, catalogue::kParity) + FieldOf(record_, catalogue::kStopBits);
    }
    if (text.empty() && stored.info.kind == ValueKind::kText) return;
    Try(stored.field, [&] { CheckedValue(context_, store_, stored.info, Utf8FromAnsi(text)); });
  }

  template <typename Check>
  void Try(std::size_t field, Check check) try {
    check();
  } catch (const UsageError& error) {
    Add(field, error.what());
  }

  void Add(std::size_t field, const std::string& what) {
    std::size_t column = 1;
    for (std::size_t i = 0; i < field && i < record_.size(); ++i) column += record_[i].size() + 1;
    faults_.push_back({number_, column, what});
  }

  Context& context_;
  ProfileStore& store_;
  const std::size_t number_;
  const CatalogueRecord record_;
  std::vector<Fault> faults_;
};

/// The lines of a file with their numbers, the blank ones left out.
std::map<std::size_t, std::string> LinesOf(const std::string& text) {
  std::map<std::size_t, std::string> lines;
  std::size_t number = 0;
  for (std::string& line : Split(text, '\n')) {
    ++number;
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty()) lines[number] = line;
  }
  return lines;
}

std::vector<Fault> FaultsOf(Context& context, const std::map<std::size_t, std::string>& lines) {
  ProfileStore store(context);
  std::vector<Fault> faults;
  std::map<std::string, std::size_t> ids;
  for (const auto& [number, line] : lines) {
    LineCheck check(context, store, number, line);
    for (const Fault& fault : check.Faults()) faults.push_back(fault);
    const auto [first, is_new] = ids.emplace(FieldOf(check.record(), catalogue::kId), number);
    if (is_new) continue;
    faults.push_back({number, 1,
                      "the identifier stands in line " + std::to_string(first->second) +
                          " already; only the last one is found by it"});
  }
  return faults;
}

void CheckFile(Context& context, const std::string& path) {
  const auto lines = LinesOf(ReadDocument(context, path));
  const std::vector<Fault> faults = FaultsOf(context, lines);
  Json json = Json::array();
  for (const Fault& fault : faults) {
    json.push_back({{"line", fault.line}, {"column", fault.column}, {"fault", fault.what}});
    if (context.json) continue;
    context.out << Printable(path + ":" + std::to_string(fault.line) + ":" +
                             std::to_string(fault.column) + ": " + fault.what)
                << '\n';
  }
  if (context.json) {
    context.PrintJson(json);
  } else if (faults.empty()) {
    context.out << lines.size() << " service(s), nothing wrong with them\n";
  }
  if (!faults.empty()) context.exit_code = kExitFailed;
}

struct NewOptions {
  std::string group;
  bool show_passwords = false;
};

/// The prefixes that lead to the service, as a field has them.
std::string PrefixesTo(ProfileStore& store, const std::string& service) {
  std::string prefixes;
  for (const std::string& prefix : store.Routes()) {
    if (FoldCase(store.Get(store.Route(prefix), setting::kUseService)) != FoldCase(service))
      continue;
    prefixes += (prefixes.empty() ? "" : ";") + prefix;
  }
  return prefixes;
}

CatalogueRecord RecordOf(ProfileStore& store, const std::string& service, const std::string& id,
                         const NewOptions& options) {
  CatalogueRecord record(kWanted);
  record[catalogue::kId] = id;
  record[catalogue::kName] = service;
  record[catalogue::kGroup] = AnsiFromUtf8(options.group);
  for (const StoredField& stored : StoredFields()) {
    std::string text = store.Get(store.Service(service), stored.info);
    if (stored.info == setting::kModemSetting) {
      text.resize(3, ' ');
      text = text[stored.field - catalogue::kDataBits];
    }
    record[stored.field] = text;
  }
  if (!options.show_passwords) record[catalogue::kPassword].clear();
  record[catalogue::kPrefixes] = PrefixesTo(store, service);
  return record;
}

bool HasComma(const CatalogueRecord& record) {
  for (const std::string& field : record) {
    if (field.find(',') != std::string::npos) return true;
  }
  return false;
}

void PrintLine(Context& context, const CatalogueRecord& record) {
  std::string line;
  for (const std::string& field : record) line += (&field == record.data() ? "" : ",") + field;
  context.out << Utf8FromAnsi(line) << "\r\n";
}

/// The lines are in the code page in the file; a terminal shows them, and an editor saves them.
void New(Context& context, const NewOptions& options) {
  ProfileStore store = ExistingProfile(context);
  int passwords = 0;
  std::size_t id = 0;
  for (const std::string& service : store.Services()) {
    const bool has_password = !store.Get(store.Service(service), setting::kPassword).empty();
    const CatalogueRecord record = RecordOf(store, service, std::to_string(++id), options);
    if (HasComma(record)) {
      context.Warn("the service \"" + Printable(Utf8FromAnsi(service)) +
                   "\" is left out: a catalogue cannot hold a comma");
      continue;
    }
    if (has_password && !options.show_passwords) ++passwords;
    PrintLine(context, record);
  }
  if (id == 0) PrintLine(context, mvsms::BlankService("Name"));
  if (passwords > 0) {
    context.Warn(std::to_string(passwords) +
                 " password(s) left out; --show-passwords prints them too");
  }
}

}  // namespace

void AddCatalogueCommand(Command& app, Context& context) {
  Command* const group =
      AddGroup(app, "catalogue", "A catalogue of predefined services, for other machines");
  const auto path = std::make_shared<std::string>();
  Command* const check =
      AddCommand(*group, context, "check", "Check every field of a catalogue, with line and column",
                 "  mvsms catalogue check smstransports.inf");
  check->AddOption("FILE", *path, "The file; \"-\" is standard input")->Required()->Path();
  check->Callback([&context, path] { CheckFile(context, *path); });

  const auto options = std::make_shared<NewOptions>();
  Command* const fresh = AddCommand(
      *group, context, "new",
      "Print the profile's services as a catalogue; without any, a line to begin with",
      "  mvsms catalogue new --group Germany | iconv -f utf-8 -t windows-1252 > smstransports.inf");
  fresh->AddOption("--group", options->group, "The group that the services are listed under");
  fresh->AddFlag("--show-passwords", options->show_passwords, "Include the passwords");
  fresh->Callback([&context, options] { New(context, *options); });
}

}  // namespace mvsms::cli
