// mvsms registry: the settings of one profile or of all, as a file to keep, to read and to carry to
// another machine.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/json_file.h"
#include "cli/registry_tree.h"
#include "cli/store.h"
#include "cli/system.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

constexpr char kFormat[] = "mvsms registry";

struct ExportOptions {
  std::string file;
  bool show_passwords = false;
};

bool IsSecret(const std::string& name) {
  return std::any_of(kServiceValues.begin(), kServiceValues.end(), [&](const ValueInfo& info) {
    return info.secret && FoldCase(info.name) == FoldCase(name);
  });
}

// Takes every password out of the services of all profiles and returns how many there were.
int RemovePasswords(RegistryTree& tree) {
  int removed = 0;
  for (auto value = tree.values.begin(); value != tree.values.end();) {
    const bool password = IsSecret(value->first) && !value->second.data.empty();
    removed += password ? 1 : 0;
    value = password ? tree.values.erase(value) : value + 1;
  }
  for (auto& [name, subtree] : tree.keys) removed += RemovePasswords(subtree);
  return removed;
}

void Write(const std::filesystem::path& file, const std::string& text) {
  errno = 0;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  stream.close();
  if (!stream) throw std::system_error(errno, std::generic_category());
}

// An export takes the place of an earlier one only when it is whole, and only its owner may read
// it: it may hold passwords, as the store does. What is no ordinary file (a pipe, a terminal) is
// written to as it stands.
void Replace(const std::filesystem::path& file, const std::string& text) {
  if (exists(file) && !is_regular_file(file)) return Write(file, text);
  const auto target = std::filesystem::weakly_canonical(file);
  auto fresh = target;
  fresh += ".new";
  std::error_code none_there;
  if (!is_directory(fresh)) remove(fresh, none_there);  // of an export that was killed
  if (!MakePrivateFile(fresh)) throw std::system_error(errno, std::generic_category());
  try {
    Write(fresh, text);
    rename(fresh, target);
  } catch (const std::system_error&) {
    std::error_code told_already;
    remove(fresh, told_already);
    throw;
  }
}

void Save(Context& context, const std::string& path, const Json& json) {
  if (path.empty() || path == "-") return context.PrintJson(json);
  try {
    Replace(FilePath(path), JsonText(json, 2) + "\n");
  } catch (const std::system_error& error) {
    throw Failure("cannot write " + path + ": " + error.code().message());
  }
}

void Export(Context& context, const ExportOptions& options) {
  CheckReadable(context);
  RegistryTree tree = ReadTree(context.platform().registry(), kRootKey);
  const int removed = options.show_passwords ? 0 : RemovePasswords(tree);
  Save(context, options.file,
       {{"format", kFormat}, {"version", 1}, {"key", kRootKey}, {"tree", ToJson(tree)}});
  if (removed > 0) {
    context.Warn(std::to_string(removed) +
                 " password(s) left out; --show-passwords exports them too");
  }
}

Json Load(Context& context, const std::string& path) {
  Json json = ReadJson(context, path);
  if (!json.is_object() || !json.contains("tree") || json.value("format", Json()) != kFormat ||
      json.value("version", Json()) != 1) {
    throw UsageError(path + " is not a file of 'mvsms registry export'");
  }
  return json;
}

void Import(Context& context, const std::string& path) {
  const RegistryTree tree = TreeFromJson(Load(context, path)["tree"]);
  CheckWritable(context);
  WriteTogether(context, [&] { WriteTree(context.platform().registry(), kRootKey, tree); });
}

void AddExportCommand(Command& group, Context& context) {
  auto options = std::make_shared<ExportOptions>();
  Command* const command =
      AddCommand(group, context, "export",
                 "Write the settings of all profiles as JSON. Modems belong to the machine and are "
                 "left out; so are passwords, with a warning, unless asked for",
                 "  mvsms registry export settings.json\n"
                 "  mvsms registry export --show-passwords > settings.json");
  command->AddOption("FILE", options->file, "Where to (default: standard output)")->Path();
  command->AddFlag("--show-passwords", options->show_passwords, "Include the passwords");
  command->Callback([&context, options] { Export(context, *options); });
}

void AddImportCommand(Command& group, Context& context) {
  auto path = std::make_shared<std::string>();
  Command* const command =
      AddCommand(group, context, "import",
                 "Read settings that 'mvsms registry export' wrote; what the file does not name "
                 "stays as it is",
                 "  mvsms registry import settings.json");
  command->AddOption("FILE", *path, "The file; \"-\" is standard input")->Required()->Path();
  command->Callback([&context, path] { Import(context, *path); });
}

}  // namespace

void AddRegistryCommand(Command& app, Context& context) {
  Command* const group = AddGroup(app, "registry", "Save and load the settings");
  AddExportCommand(*group, context);
  AddImportCommand(*group, context);
}

}  // namespace mvsms::cli
