// The settings as a file: lossless for every type and byte, and never half read.
#include "cli/registry_tree.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <random>

#include "backends/memory/registry.h"
#include "backends/posix/posix_platform.h"
#include "engine/settings.h"
#include "tests/cli/command_test.h"
#include "tests/support/profile.h"

namespace mvsms::cli {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class RandomTree {
 public:
  explicit RandomTree(unsigned seed) : random_(seed) {}

  RegistryTree Make(int depth = 3) {
    RegistryTree tree;
    for (unsigned i = Number(4); i > 0; --i) tree.values.emplace_back(Name(i), Value());
    if (depth == 0) return tree;
    for (unsigned i = Number(4); i > 0; --i) tree.keys.push_back({Name(i), Make(depth - 1)});
    return tree;
  }

 private:
  unsigned Number(unsigned below) { return static_cast<unsigned>(random_() % below); }
  // Different for every `index`, with any code but the backslash.
  std::string Name(unsigned index) {
    std::string name = std::to_string(index);
    for (unsigned i = Number(6); i > 0; --i) {
      const unsigned code = 1 + Number(255);
      if (code != '\\') name += static_cast<char>(code);
    }
    return name;
  }
  std::string Bytes() {
    std::string bytes;
    for (unsigned i = Number(9); i > 0; --i) bytes += static_cast<char>(Number(256));
    return bytes;
  }
  RegistryValue Value() {
    static constexpr RegType kTypes[] = {
        RegType::kNone,  RegType::kSz,      RegType::kExpandSz,      RegType::kBinary,
        RegType::kDword, RegType::kMultiSz, static_cast<RegType>(77)};
    if (Number(3) == 0) return NumberValue(static_cast<std::uint32_t>(random_()));
    return {kTypes[Number(std::size(kTypes))], Bytes()};
  }

  std::mt19937 random_;
};

// A store that takes every write and keeps none, as one does that is not the user's to change.
class ForgetfulRegistry : public memory::MemoryRegistry {
 public:
  using MemoryRegistry::MemoryRegistry;
  RegStatus SetValue(RegKey, const std::string&, RegType, const std::string&) override {
    return kErrorSuccess;
  }
};

TEST(RegistryTree, AValueThatDoesNotArriveIsAFailure) {
  memory::MemoryPlatform platform;
  memory::Machine machine(platform);
  ForgetfulRegistry registry(machine);
  RegistryTree tree;
  tree.values.emplace_back("Retries", NumberValue(3));
  try {
    WriteTree(registry, "Software", tree);
    FAIL() << "said to be written";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("\"Retries\" of the key \"Software\""));
  }
}

TEST(RegistryTree, EveryTreeSurvivesItsJson) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    const RegistryTree tree = RandomTree(seed).Make();
    const std::string text = ToJson(tree).dump();
    EXPECT_EQ(TreeFromJson(Json::parse(text)), tree) << text;
  }
}

TEST(RegistryTree, JsonIsWhatAReaderExpects) {
  const RegistryTree tree{{{"Name", TextValue("M\xFCller")},
                           {"Zero", {RegType::kSz, std::string("x\0", 2)}},
                           {"Count", NumberValue(7)},
                           {"Odd", {RegType::kDword, "abc"}},
                           {"Raw", {RegType::kBinary, "\x01\xFF"}}},
                          {}};
  EXPECT_EQ(ToJson(tree), Json::parse(R"({"values": {"Name": "Müller", "Zero": "x\u0000",
      "Count": 7, "Odd": {"type": 4, "hex": "616263"}, "Raw": {"type": 3, "hex": "01ff"}}})"));
}

TEST(RegistryTree, WhatIsNoTreeIsRefused) {
  for (const char* text :
       {"[]", "7", R"({"values": []})", R"({"keys": 1})", R"({"values": {"A": true}})",
        R"({"values": {"A": -1}})", R"({"values": {"A": 4294967296}})", R"({"values": {"A": 1.5}})",
        R"({"values": {"A": {"type": 3}}})", R"({"values": {"A": {"type": 3, "hex": "0"}}})",
        R"({"values": {"A": {"type": 3, "hex": "0g"}}})",
        R"({"values": {"A": {"type": -3, "hex": "00"}}})", R"({"keys": {"": {}}})",
        R"({"keys": {"a\\b": {}}})"}) {
    EXPECT_THROW(TreeFromJson(Json::parse(text)), UsageError) << text;
  }
}

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class RegistryCommand : public CommandTest {
 protected:
  void FillStore() {
    const auto platform = posix::MakePosixPlatform(home_.string());
    WriteTree(platform->registry(), kRootKey, tree_);
  }
  RegistryTree tree_ = RandomTree(4711).Make();
};

TEST_F(RegistryCommand, ExportAndImportCarryEverythingToAnotherHome) {
  FillStore();
  Do({"registry", "export", "--show-passwords", Path("all.json")});
  const std::string before = State();
  std::filesystem::remove(Path("settings.db"));
  EXPECT_NE(State(), before);
  Do({"registry", "import", Path("all.json")});
  EXPECT_EQ(State(), before);
}

// A look at the file, too, shows it to a terminal.
TEST_F(RegistryCommand, ExportHasNoControlCharacters) {
  test::Profile(posix::MakePosixPlatform(home_.string())->registry()).Set("Country", "\x9B\x90");
  Do({"registry", "export", Path("all.json")});
  for (const std::string& text : {Contents(Path("all.json")), Do({"registry", "export"})}) {
    EXPECT_THAT(text, HasSubstr("\"Country\": \"\\u203a\\u0090\""));
  }
}

TEST_F(RegistryCommand, ImportReadsStandardInput) {
  AddService("Pager");
  const std::string exported = Do({"registry", "export"});
  Run({"service", "delete", "Pager"});
  Do({"registry", "import", "-"}, exported);
  EXPECT_EQ(Do({"service", "get", "Pager", "TimeOut"}), "2000\n");
}

TEST_F(RegistryCommand, PasswordsAreLeftOutWithAWarning) {
  Do({"service", "add", "Pager", "PhoneNumber=1", "Password=Geheim7"});
  AddService("Open");
  const Outcome outcome = Run({"registry", "export"});
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_THAT(outcome.out, Not(HasSubstr("Geheim7")));
  EXPECT_THAT(outcome.err, HasSubstr("1 password(s) left out"));
  EXPECT_THAT(Do({"registry", "export", "--show-passwords"}), HasSubstr("Geheim7"));
}

TEST_F(RegistryCommand, AnImportWithoutPasswordsKeepsTheOnesThatAreThere) {
  Do({"service", "add", "Pager", "PhoneNumber=1", "Password=Geheim7"});
  const std::string exported = Run({"registry", "export"}).out;
  Do({"registry", "import", "-"}, exported);
  EXPECT_EQ(Do({"service", "get", "Pager", "Password", "--show-passwords"}), "Geheim7\n");
}

TEST_F(RegistryCommand, AFileThatIsNoExportChangesNothing) {
  AddService("Pager");
  Refuse({"registry", "import", Path("none.json")}, "none.json: No such file or directory",
         kExitFailed);
  Refuse({"registry", "import", home_.string()}, "it is a folder", kExitFailed);
  for (const char* text :
       {"{}", R"({"format": "mvsms registry", "version": 2, "tree": {}})",
        R"({"format": "other", "version": 1, "tree": {}})", R"({"format": 1, "version": "1"})"}) {
    std::ofstream(Path("bad.json")) << text;
    Refuse({"registry", "import", Path("bad.json")}, "is not a file of 'mvsms registry export'");
  }
  std::ofstream(Path("bad.json")) << "{";
  Refuse({"registry", "import", Path("bad.json")}, "bad.json is not JSON: parse error at line 1");
  std::ofstream(Path("bad.json")) << R"({"format": "mvsms registry", "version": 1, "tree":
      {"keys": {"Standard": {"values": {"Retries": 9, "Broken": true}}}}})";
  Refuse({"registry", "import", Path("bad.json")}, "\"Broken\"");
}

TEST_F(RegistryCommand, ANameThatNoListWouldShowIsRefused) {
  const auto file = [](std::size_t length) {
    return R"({"format": "mvsms registry", "version": 1, "tree": {"keys": {")" +
           std::string(length, 'x') + R"(": {}}}})";
  };
  Do({"registry", "import", "-"}, file(254));
  const std::string before = State();
  EXPECT_EQ(Run({"registry", "import", "-"}, file(255)).exit_code, kExitUsage);
  EXPECT_EQ(State(), before);
}

TEST_F(RegistryCommand, KeysMayBeNestedAsDeepAsOnWindowsAndNoDeeper) {
  const auto file = [](int levels) {
    std::string text = R"({"format": "mvsms registry", "version": 1, "tree": )";
    for (int i = 1; i < levels; ++i) text += R"({"keys":{"a":)";
    text += "{}";
    for (int i = 1; i < levels; ++i) text += "}}";
    return text + "}";
  };
  Do({"registry", "import", "-"}, file(512));
  for (const int levels : {513, 20000}) {
    const Outcome outcome = Run({"registry", "import", "-"}, file(levels));
    EXPECT_EQ(outcome.exit_code, kExitUsage);
    EXPECT_THAT(outcome.err, HasSubstr("nested more than 512 levels deep"));
  }
}

// Root's limits are its own to raise again; the data is past what the file may grow to.
TEST_F(RegistryCommand, AnImportThatTheDiskHasNoRoomForLeavesNothingAndSaysWhy) {
  AddService("Pager");
  const std::string before = State();
  std::string keys;
  for (int i = 0; i < 400; ++i) {
    keys += (i > 0 ? "," : "") + ("\"S" + std::to_string(i)) + R"(":{"values":{"Text":")" +
            std::string(1000, 'x') + "\"}}";
  }
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit tight{200'000, usual.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &tight);
  const Outcome outcome =
      Run({"registry", "import", "-"},
          R"({"format": "mvsms registry", "version": 1, "tree": {"keys": {)" + keys + "}}}");
  setrlimit(RLIMIT_FSIZE, &usual);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(outcome.exit_code, kExitFailed);
  EXPECT_THAT(outcome.err, HasSubstr("The settings file " + Path("settings.db")));
  EXPECT_EQ(State(), before);
}

// Opening a pipe waits for its other end.
TEST_F(RegistryCommand, APipeIsReadFromStandardInputOnly) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  Refuse({"registry", "import", Path("pipe")}, "it is not a file", kExitFailed);
}

TEST_F(RegistryCommand, AnExportsDraftFollowsNoLink) {
  std::ofstream(Path("victim")) << "precious";
  std::filesystem::create_symlink(Path("victim"), Path("all.json.new"));
  Do({"registry", "export", Path("all.json")});
  EXPECT_EQ(Contents(Path("victim")), "precious");
}

TEST_F(RegistryCommand, AnExportThatCannotBeWrittenSaysWhereAndWhy) {
  Refuse({"registry", "export", Path("no/such/folder.json")},
         "no/such/folder.json: No such file or directory", kExitFailed);
  std::filesystem::create_directory(Path("folder"));
  Refuse({"registry", "export", Path("folder")}, "folder: Is a directory", kExitFailed);
  Refuse({"registry", "export", "/dev/full"}, "/dev/full: No space left on device", kExitFailed);
}

TEST_F(RegistryCommand, AnExportThatFailsLeavesTheEarlierOne) {
  Do({"registry", "export", Path("kept.json")});
  const std::string earlier = Contents(Path("kept.json"));
  AddService("Pager");
  std::filesystem::create_directory(Path("kept.json.new"));
  Refuse({"registry", "export", Path("kept.json")}, "kept.json: File exists", kExitFailed);
  EXPECT_EQ(Contents(Path("kept.json")), earlier);
  EXPECT_TRUE(std::filesystem::is_directory(Path("kept.json.new")));
}

TEST_F(RegistryCommand, AnExportIsForItsOwnerAlone) {
  std::ofstream(Path("all.json")) << "earlier";
  std::filesystem::permissions(Path("all.json"), std::filesystem::perms::all);
  Do({"registry", "export", "--show-passwords", Path("all.json")});
  EXPECT_EQ(std::filesystem::status(Path("all.json")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(RegistryCommand, AnExportFollowsALinkAndGoesThroughAPipe) {
  std::ofstream(Path("real.json")) << "earlier";
  std::filesystem::create_symlink("real.json", Path("link.json"));
  Do({"registry", "export", Path("link.json")});
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link.json")));
  EXPECT_EQ(Contents(Path("real.json")), Do({"registry", "export"}));
  Do({"registry", "export", "/dev/null"});
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

}  // namespace
}  // namespace mvsms::cli
