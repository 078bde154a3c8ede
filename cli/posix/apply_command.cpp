// mvsms apply: makes the whole state what one document says, and writes that document.
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/json.h"
#include "cli/json_file.h"
#include "cli/posix/state_document.h"
#include "cli/store.h"

namespace mvsms::cli {
namespace {

constexpr int kExitWouldChange = 3;

struct ApplyOptions {
  std::string file;
  bool dry_run = false;
  bool prune = false;
  bool to_export = false;
  bool show_passwords = false;
};

// Takes back what was written so far.
class TakenBack : public std::exception {};

Json AsJson(const std::string& value) { return value.empty() ? Json() : Json::parse(value); }

void PrintAsJson(Context& context, const std::vector<Difference>& differences, bool dry_run) {
  Json changes = Json::array();
  for (const Difference& difference : differences) {
    changes.push_back({{"place", difference.place},
                       {"before", AsJson(difference.before)},
                       {"after", AsJson(difference.after)}});
  }
  context.PrintJson(
      {{"changed", !differences.empty()}, {"dry_run", dry_run}, {"changes", changes}});
}

std::string Line(const Difference& difference) {
  if (difference.before.empty()) return "+ " + difference.place + " " + difference.after;
  if (difference.after.empty()) return "- " + difference.place + " " + difference.before;
  return "~ " + difference.place + " " + difference.before + " -> " + difference.after;
}

void PrintDifferences(Context& context, const std::vector<Difference>& differences, bool dry_run) {
  if (context.json) return PrintAsJson(context, differences, dry_run);
  for (const Difference& difference : differences) {
    context.out << Printable(Line(difference)) << '\n';
  }
  if (differences.empty()) context.out << "nothing to change\n";
  context.out.flush();
}

void Apply(Context& context, const ApplyOptions& options) {
  const Json document = ReadJson(context, options.file);
  const Json before = StateDocument(context, Passwords::kIncluded);
  try {
    ProfileStore(context).Together([&] {
      WriteState(context, document, options.prune);
      const auto differences = Differences(before, StateDocument(context, Passwords::kIncluded));
      PrintDifferences(context, differences, options.dry_run);
      if (options.dry_run && !differences.empty()) context.exit_code = kExitWouldChange;
      if (options.dry_run || differences.empty()) throw TakenBack();
    });
  } catch (const TakenBack&) {
    // Nothing was stored, as it should be.
  }
}

void Run(Context& context, const ApplyOptions& options) {
  if (options.to_export) {
    return context.PrintJson(StateDocument(
        context, options.show_passwords ? Passwords::kIncluded : Passwords::kLeftOut));
  }
  if (options.file.empty()) throw UsageError("name the FILE to apply; - reads standard input");
  Apply(context, options);
}

}  // namespace

void AddApplyCommand(Command& app, Context& context) {
  auto options = std::make_shared<ApplyOptions>();
  Command* const command = AddCommand(
      app, context, "apply", "Make modems, profiles, services and routes what a file says",
      "  mvsms apply --export > state.json\n"
      "  mvsms apply state.json\n"
      "  mvsms apply --dry-run --prune state.json\n"
      "The difference is shown, and all of it is stored or nothing; given again, the same file\n"
      "changes nothing. What the file does not name stays, also a password; --prune takes it\n"
      "away, where the file has a list of its kind (modems, profiles; settings, services, "
      "routes).\n"
      "The file names the profiles: --profile is not asked.\n"
      "Exit code: 0; 3 when --dry-run would have changed something; 2 for a mistake in the file,\n"
      "which is told with its place.");
  command->AddOption("FILE", options->file, "The file; \"-\" is standard input")->Path();
  Option* const to_export =
      command->AddFlag("--export", options->to_export, "Print the state as it is, as such a file");
  command->AddFlag("-n,--dry-run", options->dry_run, "Show the difference and store nothing")
      ->Excludes(to_export);
  command->AddFlag("--prune", options->prune, "Delete what the file does not name")
      ->Excludes(to_export);
  command->AddFlag("--show-passwords", options->show_passwords, "Export the passwords, too")
      ->Needs(to_export);
  command->Callback([&context, options] { Run(context, *options); });
}

}  // namespace mvsms::cli
