// Files of the Windows registry editor: what is read from them, in whatever encoding and form, what
// is refused and where, what is written, and that a profile goes out and comes back unchanged.
#include "cli/reg_file.h"

#include <fstream>
#include <iterator>

#include "cli/errors.h"
#include "engine/settings.h"
#include "tests/cli/command_test.h"

namespace mvsms::cli {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Kind = RegStep::Kind;

const std::string kKey = "HKEY_LOCAL_MACHINE\\Software";

/// Ends every line as those files do.
std::string Lines(const std::string& text) {
  std::string lines;
  for (const char c : text) lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return lines;
}

/// Characters below U+0100 only.
std::string Utf16(const std::string& latin1) {
  std::string bytes = "\xFF\xFE";
  for (const char c : latin1) bytes += std::string(1, c) + '\0';
  return bytes;
}

const std::string kHead4 = "REGEDIT4\n\n[" + kKey + "]\n";
const std::string kHead5 = "Windows Registry Editor Version 5.00\n\n[" + kKey + "]\n";

std::vector<RegStep> Steps4(const std::string& lines) {
  return ReadRegFile(Lines(kHead4 + lines)).steps;
}
std::vector<RegStep> Steps5(const std::string& lines) {
  return ReadRegFile(Utf16(Lines(kHead5 + lines))).steps;
}
RegistryValue Value4(const std::string& value) {
  return Steps4("\"N\"=" + value + "\n").at(1).value;
}
RegistryValue Value5(const std::string& value) {
  return Steps5("\"N\"=" + value + "\n").at(1).value;
}

TEST(RegFile, KeysAndValuesComeInTheirOrder) {
  EXPECT_THAT(
      Steps4("\"A\"=\"1\"\n\"B\"=-\n\n[-" + kKey + "\\Old]\n\n[" + kKey + "\\New]\n@=\"x\"\n"),
      ElementsAre(RegStep{Kind::kMakeKey, kKey},
                  RegStep{Kind::kSetValue, kKey, "A", TextValue("1")},
                  RegStep{Kind::kDeleteValue, kKey, "B"}, RegStep{Kind::kDeleteKey, kKey + "\\Old"},
                  RegStep{Kind::kMakeKey, kKey + "\\New"},
                  RegStep{Kind::kSetValue, kKey + "\\New", "", TextValue("x")}));
}

TEST(RegFile, EveryTypeOfValueIsRead) {
  EXPECT_EQ(Value4("\"a \\\"b\\\" c:\\\\d\""), TextValue("a \"b\" c:\\d"));
  EXPECT_EQ(Value4("\"two\nlines\""), TextValue("two\r\nlines"));
  EXPECT_EQ(Value4("dword:0000000a"), NumberValue(10));
  EXPECT_EQ(Value4("DWORD:FFFFFFFF"), NumberValue(0xFFFFFFFF));
  EXPECT_EQ(Value4("hex:00,ff"), (RegistryValue{RegType::kBinary, std::string("\0\xFF", 2)}));
  EXPECT_EQ(Value4("hex:"), (RegistryValue{RegType::kBinary, ""}));
  EXPECT_EQ(Value4("hex(0):01"), (RegistryValue{RegType::kNone, "\x01"}));
  EXPECT_EQ(Value4("hex(b):01,02,03,04,05,06,07,08"),
            (RegistryValue{RegType::kQword, "\x01\x02\x03\x04\x05\x06\x07\x08"}));
  EXPECT_EQ(Value4("hex(4d):01"), (RegistryValue{static_cast<RegType>(77), "\x01"}));
}

TEST(RegFile, BytesMayGoOnInTheNextLine) {
  EXPECT_EQ(Value4("hex:61,\\\n  62,\\\n  63"), (RegistryValue{RegType::kBinary, "abc"}));
}

TEST(RegFile, TextsInBytesAreNarrowInTheOneFormatAndWideInTheOther) {
  const RegistryValue expand{RegType::kExpandSz, std::string("\xFC%\0", 3)};
  EXPECT_EQ(Value4("hex(2):fc,25,00"), expand);
  EXPECT_EQ(Value5("hex(2):fc,00,25,00,00,00"), expand);
  EXPECT_EQ(Value5("hex(7):61,00,00,00,00,00"),
            (RegistryValue{RegType::kMultiSz, std::string("a\0\0", 3)}));
  EXPECT_EQ(Value5("hex:61,00"), (RegistryValue{RegType::kBinary, std::string("a\0", 2)}));
}

TEST(RegFile, ItsTextsAreInTheCodePageOrInUnicode) {
  EXPECT_EQ(Value4("\"M\xFCller \x80\""), TextValue("M\xFCller \x80"));
  EXPECT_EQ(Value5("\"M\xFCller\""), TextValue("M\xFCller"));
  const std::string utf8 = "\xEF\xBB\xBF" + Lines(kHead5 + "\"N\"=\"Müller €\"\n");
  EXPECT_EQ(ReadRegFile(utf8).steps.at(1).value, TextValue("M\xFCller \x80"));
  EXPECT_EQ(ReadRegFile(Utf16(Lines(kHead5)).substr(2)).steps.size(), 1U) << "without its mark";
}

TEST(RegFile, AStrayByteOrderMarkIsNothing) {
  std::string file = Utf16(Lines(kHead5)) + Utf16(Lines("\"N\"=\"x\"\n"));
  EXPECT_EQ(ReadRegFile(file).steps.at(1).value, TextValue("x"));
}

TEST(RegFile, ACharacterOutsideTheCodePageIsCounted) {
  const std::string file = Utf16(Lines(kHead5 + "\"N\"=\"")) + std::string("\x2D\x4E", 2) +
                           Utf16(Lines("\"\n")).substr(2);
  const RegFile read = ReadRegFile(file);
  EXPECT_EQ(read.steps.at(1).value, TextValue("?"));
  EXPECT_EQ(read.lossy_texts, 1);
}

TEST(RegFile, CommentsAndBlankLinesAreNothing) {
  EXPECT_THAT(Steps4("; a comment\n\n   \n\"A\"=dword:1 ; behind it\n;\n"), SizeIs(2));
}

TEST(RegFile, WhatIsNoneIsRefusedWithItsLine) {
  const auto refusal = [](const std::string& file) {
    try {
      ReadRegFile(Lines(file));
    } catch (const UsageError& error) {
      return std::string(error.what());
    }
    return std::string("taken");
  };
  EXPECT_EQ(refusal("REGEDIT5\n"), "line 1: this is no file of the registry editor");
  EXPECT_EQ(refusal("REGEDIT4\n\"A\"=\"1\"\n"), "line 2: this value stands under no key");
  EXPECT_EQ(refusal("REGEDIT4\n\n[HKEY\n"), "line 3: this is no key in brackets");
  EXPECT_EQ(refusal("REGEDIT4\n\n[-" + kKey + "]\n\"A\"=\"1\"\n"),
            "line 4: this value stands under no key");
  const auto value = [&](const std::string& line) { return refusal(kHead4 + line); };
  EXPECT_EQ(value("A=1\n"), "line 4: neither a key nor a value");
  EXPECT_EQ(value("\"A\" \"1\"\n"), "line 4: a \"=\" is missing");
  EXPECT_EQ(value("\"A\"=1\n"), "line 4: this is no value");
  EXPECT_EQ(value("\"A\"=dword:x\n"), "line 4: a hexadecimal number is missing");
  EXPECT_EQ(value("\"A\"=dword:123456789\n"), "line 4: something stands behind the value");
  EXPECT_EQ(value("\"A\"=hex(2:00\n"), "line 4: this is no value");
  EXPECT_EQ(value("\"A\"=hex:00,gg\n"), "line 4: something stands behind the value");
  EXPECT_EQ(value("\"A\"=\"1\" x\n"), "line 4: something stands behind the value");
  EXPECT_EQ(value("\"A\"=\"half a te"), "line 4: the file ends in the middle of this");
  EXPECT_EQ(value("\"A\"=hex:00,\\"), "line 4: the file ends in the middle of this");
  EXPECT_EQ(refusal("\xEF\xBB\xBF" + kHead5 + "\"中\"=\"1\"\n"),
            "line 4: the name \"中\" has characters outside Windows-1252");
  EXPECT_THAT(refusal("\xFE\xFF"), HasSubstr("big endian"));
  EXPECT_THROW(ReadRegFile(Utf16(Lines(kHead5 + "\"N\"=hex(2):61\n"))), UsageError);
}

TEST(RegFile, IsToldFromOtherFiles) {
  EXPECT_TRUE(IsRegFile("REGEDIT4\r\n"));
  EXPECT_TRUE(IsRegFile("\xEF\xBB\xBFREGEDIT4\r\n"));
  EXPECT_TRUE(IsRegFile(Utf16("Windows Registry Editor")));
  EXPECT_TRUE(IsRegFile("Windows Registry Editor Version 5.00"));
  EXPECT_FALSE(IsRegFile("{}"));
  EXPECT_FALSE(IsRegFile(""));
}

TEST(RegFile, IsWrittenAsTheEditorWritesIt) {
  RegistryTree tree;
  tree.values = {{"", TextValue("x")},
                 {"A \"B\"", TextValue(std::string("c:\\M\xFCller\0", 10))},
                 {"Count", NumberValue(10)},
                 {"Raw", {RegType::kBinary, "abc"}},
                 {"Path", {RegType::kExpandSz, std::string("%\0", 2)}},
                 {"Lines", TextValue("a\nb")}};
  tree.keys = {{"Sub", {}}};
  EXPECT_EQ(RegFileText(kKey, tree, RegFormat::kAnsi),
            Lines("REGEDIT4\n\n[" + kKey +
                  "]\n@=\"x\"\n\"A \\\"B\\\"\"=\"c:\\\\M\xFCller\"\n\"Count\"=dword:0000000a\n"
                  "\"Raw\"=hex:61,62,63\n\"Path\"=hex(2):25,00\n\"Lines\"=hex(1):61,0a,62\n\n[" +
                  kKey + "\\Sub]\n\n"));
  EXPECT_EQ(RegFileText(kKey, {.values = {{"P", {RegType::kExpandSz, "%"}}}, .keys = {}},
                        RegFormat::kUnicode),
            Utf16(Lines(kHead5 + "\"P\"=hex(2):25,00\n\n")));
}

TEST(RegFile, LongRowsOfBytesAreBroken) {
  const RegistryTree tree{.values = {{"A", {RegType::kBinary, std::string(60, 'a')}}}, .keys = {}};
  const std::string text = RegFileText(kKey, tree, RegFormat::kAnsi);
  EXPECT_THAT(text, HasSubstr("61,\\\r\n  61"));
  EXPECT_EQ(ReadRegFile(text).steps.at(1).value.data, std::string(60, 'a'));
}

class RegFileCommand : public CommandTest {
 protected:
  RegFileCommand() {
    AddModem("Modem");
    Do({"service", "add", "Müller & Söhne", "PhoneNumber=1", "Password=Geheim7"});
    Do({"config", "set", "Retries", "7"});
    Do({"route", "add", "0049", "Müller & Söhne"});
  }
  static std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string Exported() { return Do({"registry", "export", "--show-passwords"}); }
};

TEST_F(RegFileCommand, AProfileGoesOutAndComesBackUnchanged) {
  const std::string before = Exported();
  for (const char* format : {"reg", "reg4"}) {
    Do({"registry", "export", "--show-passwords", "--format", format, Path("out.reg")});
    Do({"registry", "import", "-"},
       Lines("REGEDIT4\n\n[-HKEY_LOCAL_MACHINE\\" + std::string(kRootKey) + "]\n"));
    EXPECT_THAT(Ask({"service", "list"}), IsEmpty());
    Do({"registry", "import", Path("out.reg")});
    EXPECT_EQ(Exported(), before);
  }
}

TEST_F(RegFileCommand, TheNameOfAFileSaysItsFormat) {
  Run({"registry", "export", Path("a.REG")});
  EXPECT_THAT(Contents(Path("a.REG")), StartsWith(std::string("\xFF\xFEW\0i\0", 6)));
  Run({"registry", "export", Path("a.json")});
  EXPECT_THAT(Contents(Path("a.json")), StartsWith("{"));
}

TEST_F(RegFileCommand, PasswordsAreLeftOutUnlessAskedFor) {
  const Outcome outcome = Run({"registry", "export", "--format", "reg4"});
  EXPECT_THAT(outcome.out, AllOf(StartsWith("REGEDIT4"), Not(HasSubstr("Geheim7"))));
  EXPECT_THAT(outcome.err, HasSubstr("1 password(s) left out"));
}

TEST_F(RegFileCommand, AFileOfThe32BitProgramsOfA64BitWindowsIsTaken) {
  Do({"registry", "import", "-"},
     Lines("REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Wow6432Node" +
           std::string(kRootKey).substr(8) + "\\Standard]\n\"Retries\"=dword:00000009\n"));
  EXPECT_EQ(Do({"config", "get", "Retries"}), "9\n");
}

TEST_F(RegFileCommand, OtherProgramsKeysAreLeftOutAndTold) {
  const Outcome outcome =
      Run({"registry", "import", "-"},
          Lines("REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Other]\n\"A\"=\"1\"\n"
                "[HKEY_LOCAL_MACHINE\\" +
                std::string(kRootKey) + "2]\n"));
  EXPECT_EQ(outcome.exit_code, kExitAccepted);
  EXPECT_THAT(outcome.err, HasSubstr("3 line(s) left out"));
}

TEST_F(RegFileCommand, WhatIsNoSuchFileIsToldSo) {
  for (const char* text : {"", "hello", "[1]"}) {
    std::ofstream(Path("other.txt")) << text;
    Refuse({"registry", "import", Path("other.txt")},
           "other.txt is neither a file of 'mvsms registry export' nor one of the Windows");
  }
}

TEST_F(RegFileCommand, HalfAFileChangesNothing) {
  const std::string before = Exported();
  std::ofstream(Path("half.reg")) << Lines("REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\" +
                                           std::string(kRootKey) +
                                           "\\Standard]\n\"Retries\"=dword:1\n\"Country\"=\"00");
  Refuse({"registry", "import", Path("half.reg")},
         "half.reg, line 5: the file ends in the middle of this");
  EXPECT_EQ(Exported(), before);
}

}  // namespace
}  // namespace mvsms::cli
