// See reg_file.h. Whatever the file's encoding, it is read and made as UTF-8; only the bytes of
// hexadecimal texts differ between the two formats.
#include "cli/reg_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/errors.h"

namespace mvsms::cli {
namespace {

constexpr std::string_view kAnsiHead = "REGEDIT4";
constexpr std::string_view kUnicodeHead = "Windows Registry Editor Version 5.00";
constexpr std::string_view kMark8 = "\xEF\xBB\xBF";
constexpr std::string_view kMark16 = "\xFF\xFE";
constexpr std::string_view kMark16Swapped = "\xFE\xFF";
constexpr char32_t kByteOrderMark = 0xFEFF;

// --- Encodings.

void AppendUtf8(std::string& utf8, char32_t point) {
  const auto put = [&](char32_t bits) { utf8 += static_cast<char>(bits); };
  const auto tail = [&](int shift) { put(0x80U | ((point >> shift) & 0x3FU)); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0U | (point >> 6));
  } else if (point < 0x10000) {
    put(0xE0U | (point >> 12));
    tail(6);
  } else {
    put(0xF0U | (point >> 18));
    tail(12);
    tail(6);
  }
  tail(0);
}

std::string Utf8FromUtf16(std::string_view bytes) {
  const auto unit = [&](std::size_t i) {
    const auto low = static_cast<unsigned char>(bytes[i]);
    const auto high = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(low | (high << 8));
  };
  std::string utf8;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t point = unit(i);
    const bool leads = point >= 0xD800 && point < 0xDC00;
    const char32_t next = leads && i + 3 < bytes.size() ? unit(i + 2) : 0;
    if (next >= 0xDC00 && next < 0xE000) {
      point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
      i += 2;
    } else if (point >= 0xD800 && point < 0xE000) {
      point = kMalformed;
    }
    AppendUtf8(utf8, point);
  }
  return utf8;
}

std::string Utf16FromUtf8(std::string_view utf8) {
  std::string bytes;
  const auto put = [&](char32_t unit) {
    bytes += static_cast<char>(unit & 0xFFU);
    bytes += static_cast<char>(unit >> 8);
  };
  for (const Utf8Character& character : Utf8Characters(utf8)) {
    const char32_t point = character.point;
    if (point < 0x10000) {
      put(point);
    } else {
      put(0xD800 + ((point - 0x10000) >> 10));
      put(0xDC00 + ((point - 0x10000) & 0x3FFU));
    }
  }
  return bytes;
}

bool LooksLikeUtf16(std::string_view bytes) {
  return bytes.starts_with(kMark16) || (bytes.size() > 1 && bytes[0] == 'W' && bytes[1] == '\0');
}

/// The file in UTF-8, without byte order marks, wherever they are.
std::string DecodedText(std::string_view bytes) {
  if (bytes.starts_with(kMark16Swapped)) {
    throw UsageError(
        "line 1: the bytes of its characters are in the wrong order (UTF-16, big "
        "endian)");
  }
  const bool is_utf8 = bytes.starts_with(kMark8);
  std::string utf8 = LooksLikeUtf16(bytes) ? Utf8FromUtf16(bytes)
                     : is_utf8             ? std::string(bytes)
                                           : Utf8FromAnsi(bytes);
  std::string mark;
  AppendUtf8(mark, kByteOrderMark);
  return ReplaceAll(utf8, mark, "");
}

/// Whether the bytes of a value of this type are characters.
bool IsText(RegType type) {
  return type == RegType::kSz || type == RegType::kExpandSz || type == RegType::kMultiSz;
}

// --- Reading.

class Reader {
 public:
  explicit Reader(std::string_view bytes) : text_(DecodedText(bytes)) {}

  RegFile Read() {
    ReadHead();
    for (SkipBlankLines(); !AtEnd(); SkipBlankLines()) {
      Peek() == '[' ? ReadKey() : ReadValue();
    }
    return std::move(file_);
  }

 private:
  [[noreturn]] void Refuse(const std::string& why) const {
    const auto lines = std::count(text_.begin(), text_.begin() + Offset(), '\n');
    throw UsageError("line " + std::to_string(lines + 1) + ": " + why);
  }
  std::string::difference_type Offset() const {
    return static_cast<std::string::difference_type>(at_);
  }
  bool AtEnd() const { return at_ == text_.size(); }
  char Peek() const { return AtEnd() ? '\n' : text_[at_]; }
  char Take() {
    if (AtEnd()) Refuse("the file ends in the middle of this");
    return text_[at_++];
  }
  void SkipAll(std::string_view characters) {
    at_ = std::min(text_.find_first_not_of(characters, at_), text_.size());
  }
  void SkipBlanks() { SkipAll(" \t"); }
  void SkipBlankLines() {
    for (SkipAll(" \t\r\n"); Peek() == ';'; SkipAll(" \t\r\n")) TakeLine();
  }
  std::string TakeLine() {
    const std::size_t end = std::min(text_.find('\n', at_), text_.size());
    std::string line = text_.substr(at_, end - at_);
    at_ = end;
    return line.substr(0, line.find_last_not_of(" \t\r") + 1);
  }
  void Expect(char wanted) {
    if (Peek() != wanted) Refuse(std::string("a \"") + wanted + "\" is missing");
    ++at_;
  }
  void ExpectEndOfLine() {
    SkipAll(" \t\r");
    if (Peek() == ';') TakeLine();
    if (Peek() != '\n') Refuse("something stands behind the value");
  }

  void ReadHead() {
    const std::string head = TakeLine();
    wide_ = head == kUnicodeHead;
    if (!wide_ && head != kAnsiHead) Refuse("this is no file of the registry editor");
  }

  std::string Name(const std::string& utf8) const {
    if (!HasAnsiForm(utf8)) {
      Refuse("the name \"" + Printable(utf8) + "\" has characters outside Windows-1252");
    }
    return AnsiFromUtf8(utf8);
  }

  void ReadKey() {
    const std::string line = TakeLine();
    const bool deletes = line.starts_with("[-");
    const std::size_t begin = deletes ? 2 : 1;
    if (!line.ends_with(']') || line.size() <= begin + 1) Refuse("this is no key in brackets");
    key_ = Name(line.substr(begin, line.size() - begin - 1));
    while (key_.ends_with('\\')) key_.pop_back();
    Add({deletes ? RegStep::Kind::kDeleteKey : RegStep::Kind::kMakeKey, key_});
    if (deletes) key_.clear();
  }

  void ReadValue() {
    if (Peek() != '"' && Peek() != '@') Refuse("neither a key nor a value");
    if (key_.empty()) Refuse("this value stands under no key");
    const std::string name = Peek() == '@' ? std::string((++at_, "")) : Name(TakeQuoted());
    SkipBlanks();
    Expect('=');
    SkipBlanks();
    RegStep step{RegStep::Kind::kSetValue, key_, name};
    if (Peek() == '-') {
      ++at_;
      step.kind = RegStep::Kind::kDeleteValue;
    } else {
      step.value = TakeValue();
    }
    ExpectEndOfLine();
    Add(std::move(step));
  }

  void Add(RegStep step) { file_.steps.push_back(std::move(step)); }

  /// A text may have lines of its own.
  std::string TakeQuoted() {
    Expect('"');
    std::string utf8;
    for (char next = Take(); next != '"'; next = Take()) utf8 += next == '\\' ? Take() : next;
    return utf8;
  }

  std::string Ansi(const std::string& utf8) {
    if (!HasAnsiForm(utf8)) ++file_.lossy_texts;
    return AnsiFromUtf8(utf8);
  }

  RegistryValue TakeValue() {
    if (Peek() == '"') return TextValue(Ansi(TakeQuoted()));
    const std::size_t colon = text_.find(':', at_);
    const std::string kind = ToLower(text_.substr(at_, std::min(colon, at_ + 20) - at_));
    if (kind == "dword") {
      at_ = colon + 1;
      return NumberValue(TakeHex(8));
    }
    if (kind == "hex") {
      at_ = colon + 1;
      return {RegType::kBinary, TakeBytes()};
    }
    if (!kind.starts_with("hex(") || !kind.ends_with(')')) Refuse("this is no value");
    at_ += 4;
    const auto type = static_cast<RegType>(TakeHex(8));
    Expect(')');
    Expect(':');
    std::string bytes = TakeBytes();
    return {type, wide_ && IsText(type) ? NarrowBytes(bytes) : bytes};
  }

  static std::string ToLower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
  }

  std::string NarrowBytes(const std::string& bytes) {
    if (bytes.size() % 2 != 0) Refuse("a text of an odd number of bytes");
    return Ansi(Utf8FromUtf16(bytes));
  }

  std::uint32_t TakeHex(std::size_t longest) {
    std::uint32_t number = 0;
    const char* const begin = text_.data() + at_;
    const char* const end = begin + std::min(longest, text_.size() - at_);
    const auto [behind, error] = std::from_chars(begin, end, number, 16);
    if (error != std::errc{}) Refuse("a hexadecimal number is missing");
    at_ += static_cast<std::size_t>(behind - begin);
    return number;
  }

  /// "00,ff": with a backslash at its end a line goes on in the next one.
  std::string TakeBytes() {
    std::string bytes;
    for (SkipToByte(); std::isxdigit(static_cast<unsigned char>(Peek())) != 0; SkipToByte()) {
      bytes += static_cast<char>(TakeHex(2));
      SkipBlanks();
      if (Peek() != ',') break;
      ++at_;
    }
    return bytes;
  }

  void SkipToByte() {
    for (SkipBlanks(); Peek() == '\\'; SkipBlanks()) {
      ++at_;
      SkipAll(" \t\r");
      if (Take() != '\n') Refuse("a line goes on behind its last character");
    }
  }

  const std::string text_;
  std::size_t at_ = 0;
  bool wide_ = false;  // hexadecimal texts are in UTF-16
  std::string key_;
  RegFile file_;
};

// --- Writing.

class Writer {
 public:
  explicit Writer(RegFormat format) : wide_(format == RegFormat::kUnicode) {
    Line(std::string(wide_ ? kUnicodeHead : kAnsiHead));
  }

  void Write(const std::string& key, const RegistryTree& tree) {
    if (key.find_first_of("\r\n") != key.npos) {
      throw UsageError("the key " + Printable(Utf8FromAnsi(key)) +
                       " has a line end in its name, which such a file cannot hold; JSON can");
    }
    Line("");
    Line("[" + Utf8FromAnsi(key) + "]");
    for (const auto& [name, value] : tree.values) {
      Line((name.empty() ? "@" : Quoted(name)) + "=" + ValueText(value));
    }
    for (const RegistryBranch& branch : tree.keys) Write(key + "\\" + branch.name, branch.tree);
  }

  std::string Text() {
    Line("");
    return wide_ ? std::string(kMark16) + Utf16FromUtf8(utf8_) : AnsiFromUtf8(utf8_);
  }

 private:
  void Line(const std::string& line) { utf8_ += line + "\r\n"; }

  static std::string Quoted(const std::string& ansi) {
    const std::string escaped = ReplaceAll(ReplaceAll(ansi, "\\", "\\\\"), "\"", "\\\"");
    return '"' + Utf8FromAnsi(escaped) + '"';
  }

  /// Controls would steer the terminal that shows the file; they are written as numbers.
  static bool IsPlain(const std::string& ansi) {
    return Printable(Utf8FromAnsi(ansi)) == Utf8FromAnsi(ansi);
  }

  std::string ValueText(const RegistryValue& value) const {
    if (value.type == RegType::kSz) {
      const bool ends = value.data.ends_with('\0');
      const std::string text = value.data.substr(0, value.data.size() - (ends ? 1 : 0));
      if (IsPlain(text)) return Quoted(text);
    }
    if (value.type == RegType::kDword && value.data.size() == 4) {
      return "dword:" + Hex(value.data[3]) + Hex(value.data[2]) + Hex(value.data[1]) +
             Hex(value.data[0]);
    }
    const bool widens = wide_ && IsText(value.type);
    return Kind(value.type) + Row(widens ? Utf16FromUtf8(Utf8FromAnsi(value.data)) : value.data);
  }

  static std::string Kind(RegType type) {
    if (type == RegType::kBinary) return "hex:";
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "hex(%x):", static_cast<unsigned>(type));
    return text.data();
  }

  static std::string Hex(char byte) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte));
    return digits.data();
  }

  static std::string Row(const std::string& bytes) {
    constexpr std::size_t kInALine = 25;
    std::string row;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (i > 0) row += i % kInALine == 0 ? ",\\\r\n  " : ",";
      row += Hex(bytes[i]);
    }
    return row;
  }

  const bool wide_;
  std::string utf8_;
};

}  // namespace

bool IsRegFile(std::string_view bytes) {
  if (bytes.starts_with(kMark16) || bytes.starts_with(kMark16Swapped)) return true;
  if (bytes.starts_with(kMark8)) bytes.remove_prefix(kMark8.size());
  return bytes.starts_with(kAnsiHead) || bytes.starts_with("Windows Registry") ||
         LooksLikeUtf16(bytes);
}

RegFile ReadRegFile(std::string_view bytes) { return Reader(bytes).Read(); }

std::string RegFileText(const std::string& key, const RegistryTree& tree, RegFormat format) {
  Writer writer(format);
  writer.Write(key, tree);
  return writer.Text();
}

}  // namespace mvsms::cli
