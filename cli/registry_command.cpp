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
#include <string_view>
#include <system_error>

#include "base/ansi.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/json_file.h"
#include "cli/reg_file.h"
#include "cli/registry_tree.h"
#include "cli/store.h"
#include "cli/system.h"
#include "engine/settings.h"

namespace mvsms::cli {
namespace {

constexpr char kFormat[] = "mvsms registry";
constexpr char kHive[] = "HKEY_LOCAL_MACHINE\\";

// The forms of a file: our own, and those of the Windows registry editor.
constexpr char kJson[] = "json";
constexpr char kReg[] = "reg";
constexpr char kReg4[] = "reg4";

struct ExportOptions {
  std::string file;
  std::string format;  // as asked for; empty: what the file's name says
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

void Save(Context& context, const std::string& path, const std::string& text) {
  if (path.empty() || path == "-") {
    context.out << text;
    return;
  }
  try {
    Replace(FilePath(path), text);
  } catch (const std::system_error& error) {
    throw Failure("cannot write " + path + ": " + error.code().message());
  }
}

std::string FormatOf(const ExportOptions& options) {
  if (!options.format.empty()) return options.format;
  return FoldCase(options.file).ends_with(FoldCase(".reg")) ? kReg : kJson;
}

std::string TextOf(const RegistryTree& tree, const std::string& format) {
  const std::string key = std::string(kHive) + kRootKey;
  if (format == kReg) return RegFileText(key, tree, RegFormat::kUnicode);
  if (format == kReg4) return RegFileText(key, tree, RegFormat::kAnsi);
  const Json json = {
      {"format", kFormat}, {"version", 1}, {"key", kRootKey}, {"tree", ToJson(tree)}};
  return JsonText(json, 2) + "\n";
}

void Export(Context& context, const ExportOptions& options) {
  CheckReadable(context);
  RegistryTree tree = ReadTree(context.platform().registry(), kRootKey);
  const int removed = options.show_passwords ? 0 : RemovePasswords(tree);
  Save(context, options.file, TextOf(tree, FormatOf(options)));
  if (removed > 0) {
    context.Warn(std::to_string(removed) +
                 " password(s) left out; --show-passwords exports them too");
  }
}

Json Load(const std::string& path, const std::string& text) {
  Json json = ParseJson(path, text);
  if (!json.is_object() || !json.contains("tree") || json.value("format", Json()) != kFormat ||
      json.value("version", Json()) != 1) {
    throw UsageError(path + " is not a file of 'mvsms registry export'");
  }
  return json;
}

void ImportJson(Context& context, const std::string& path, const std::string& text) {
  const RegistryTree tree = TreeFromJson(Load(path, text)["tree"]);
  CheckWritable(context);
  WriteTogether(context, [&] { WriteTree(context.platform().registry(), kRootKey, tree); });
}

/// The key's path below the hive, when it is ours; empty for any other. On a 64-bit Windows what
/// 32-bit programs had for themselves lies in a key of its own.
std::string OwnKey(const std::string& key) {
  constexpr std::string_view kSoftware = "Software\\";
  constexpr std::string_view kOf32Bits = "Wow6432Node\\";
  std::string_view path = key;
  const auto skip = [&path](std::string_view head) {
    const bool begins = FoldCase(path.substr(0, head.size())) == FoldCase(head);
    if (begins) path.remove_prefix(head.size());
    return begins;
  };
  if (!skip(kHive) || !skip(kSoftware)) return {};
  skip(kOf32Bits);
  const std::string own = std::string(kSoftware) + std::string(path);
  const std::string root = kRootKey;
  const bool below = FoldCase(own.substr(0, root.size())) == FoldCase(root) &&
                     (own.size() == root.size() || own[root.size()] == '\\');
  return below ? root + own.substr(root.size()) : "";
}

void Take(Registry& registry, const std::string& path, const RegStep& step) {
  switch (step.kind) {
    case RegStep::Kind::kMakeKey:
      return WriteTree(registry, path, {});
    case RegStep::Kind::kDeleteKey:
      return DeleteKey(registry, path);
    case RegStep::Kind::kSetValue:
      return WriteTree(registry, path, {.values = {{step.name, step.value}}, .keys = {}});
    case RegStep::Kind::kDeleteValue:
      return DeleteValue(registry, path, step.name);
  }
}

RegFile LoadReg(const std::string& path, const std::string& text) try {
  return ReadRegFile(text);
} catch (const UsageError& error) {
  throw UsageError(path + ", " + error.what());
}

void ImportReg(Context& context, const std::string& path, const std::string& text) {
  const RegFile file = LoadReg(path, text);
  const auto others = std::ranges::count_if(
      file.steps, [](const RegStep& step) { return OwnKey(step.key).empty(); });
  CheckWritable(context);
  WriteTogether(context, [&] {
    for (const RegStep& step : file.steps) {
      const std::string key = OwnKey(step.key);
      if (!key.empty()) Take(context.platform().registry(), key, step);
    }
  });
  if (others > 0) {
    context.Warn(std::to_string(others) + " line(s) left out, which are about other keys than " +
                 kHive + kRootKey);
  }
  if (file.lossy_texts > 0) {
    context.Warn(std::to_string(file.lossy_texts) +
                 " text(s) have characters outside Windows-1252, which are \"?\" now");
  }
}

void Import(Context& context, const std::string& path) {
  const std::string text = ReadDocument(context, path);
  if (!IsRegFile(text) && text.find('{') == text.npos) {
    throw UsageError(path +
                     " is neither a file of 'mvsms registry export' nor one of the Windows "
                     "registry editor");
  }
  IsRegFile(text) ? ImportReg(context, path, text) : ImportJson(context, path, text);
}

void AddExportCommand(Command& group, Context& context) {
  auto options = std::make_shared<ExportOptions>();
  Command* const command =
      AddCommand(group, context, "export",
                 "Write the settings of all profiles, as JSON or as a file of the Windows registry "
                 "editor. Modems belong to the machine and are "
                 "left out; so are passwords, with a warning, unless asked for",
                 "  mvsms registry export settings.json\n"
                 "  mvsms registry export settings.reg\n"
                 "  mvsms registry export --show-passwords > settings.json");
  command->AddOption("FILE", options->file, "Where to (default: standard output)")->Path();
  command
      ->AddOption("--format", options->format,
                  "json, reg (for Windows 2000 and later) or reg4 (REGEDIT4); without it what the "
                  "file's name says")
      ->OneOf({kJson, kReg, kReg4});
  command->AddFlag("--show-passwords", options->show_passwords, "Include the passwords");
  command->Callback([&context, options] { Export(context, *options); });
}

void AddImportCommand(Command& group, Context& context) {
  auto path = std::make_shared<std::string>();
  Command* const command =
      AddCommand(group, context, "import",
                 "Read settings that 'mvsms registry export' or the Windows registry editor wrote; "
                 "what the file does not name stays as it is",
                 "  mvsms registry import settings.json\n"
                 "  mvsms registry import settings.reg");
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
