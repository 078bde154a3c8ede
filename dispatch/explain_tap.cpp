// Blocks go by their separators, everything else by what a line or a control character begins with.
#include "dispatch/explain_tap.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "base/texts.h"
#include "dispatch/notation.h"
#include "dispatch/reader.h"
#include "protocols/bastap.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

constexpr std::size_t kChecksumSize = 3;
constexpr std::size_t kLongestBlock = 256;

struct BlockEnd {
  char code;
  std::string_view name;
  std::string_view words;
};
constexpr BlockEnd kBlockEnds[] = {
    {kETX, "ETX", "the last block of its page"},
    {kETB, "ETB", "the page goes on in the next block"},
    {kUS, "US", "page and field go on in the next block"},
};

const BlockEnd* FindBlockEnd(char code) {
  const auto* found = std::find_if(std::begin(kBlockEnds), std::end(kBlockEnds),
                                   [=](const BlockEnd& end) { return end.code == code; });
  return found == std::end(kBlockEnds) ? nullptr : found;
}

/// The content of a block: from behind STX to its end code, the next STX, or as far as it goes.
std::string_view ContentOf(std::string_view block) {
  constexpr char kEnds[] = {kETX, kETB, kUS, kSTX};
  block.remove_prefix(1);
  return block.substr(0, block.find_first_of(std::string_view(kEnds, std::size(kEnds))));
}

/// A control character in a text goes as SUB and the character 64 above it.
std::string WithoutTransparency(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool pair = text[i] == kSUB && i + 1 < text.size();
    plain += pair ? static_cast<char>(text[++i] - 64) : text[i];
  }
  return plain;
}

std::string ChecksumOf(std::string_view block) {
  std::string seven_bits(block);
  for (char& c : seven_bits) c = static_cast<char>(c & 127);
  std::string error;
  return basTAP::CalcTAPCheckSum(seven_bits, error);
}

ExplainedField BlockField(std::size_t number, std::string_view bytes) {
  const std::string_view value = bytes.ends_with(kCR) ? bytes.substr(0, bytes.size() - 1) : bytes;
  const std::string text = PagerText(WithoutTransparency(value));
  if (number == 1) return {std::string(bytes), "pager", "recipient: " + text};
  if (number == 2) return {std::string(bytes), "message", "\"" + text + "\""};
  return {std::string(bytes), "field " + std::to_string(number), "\"" + text + "\""};
}

void AddBlockFields(Explanation& out, std::string_view content) {
  for (std::size_t number = 1; !content.empty(); ++number) {
    const std::size_t end = std::min(content.find(kCR), content.size() - 1);
    out.fields.push_back(BlockField(number, content.substr(0, end + 1)));
    content.remove_prefix(end + 1);
  }
}

std::string AfterBytes(std::string_view block) {
  return "it ends after " + std::to_string(block.size()) + " bytes, ";
}

void AddChecksum(Explanation& out, std::string_view block, std::size_t position) {
  const std::string_view checksum = block.substr(position, kChecksumSize);
  const std::string right = ChecksumOf(block.substr(0, position));
  const bool whole = checksum.size() == kChecksumSize;
  if (!whole) out.faults.push_back(AfterBytes(block) + "before or within the checksum " + right);
  if (whole && checksum != right) {
    out.faults.push_back("the checksum should be " + right + ", not " + NotationOf(checksum));
  }
  if (checksum.empty()) return;
  out.fields.push_back({std::string(checksum), "checksum",
                        checksum == right ? "right"
                        : whole           ? "wrong"
                                          : "incomplete"});
}

void AddLineEnd(Explanation& out, std::string_view block, std::size_t position) {
  if (position < block.size()) {
    out.fields.push_back({std::string(block.substr(position)), "CR", "end of the block"});
  } else if (block.size() == position) {
    out.faults.push_back("the CR behind the checksum is missing");
  }
}

// --- Outside of blocks.

/// What a code or a text says, and how much that says about the whole: of several, the first of
/// this list names it.
struct Sign {
  std::string_view bytes;
  std::string_view name;
  std::string_view meaning;
  std::string_view what;
};
constexpr Sign kSigns[] = {
    {"\x1B\x04", "ESC EOT", "the centre ends the call", "TAP answer: the centre ends the call"},
    {"\x1B[p", "go-ahead", "the centre takes messages now", "TAP answer: logged in, go ahead"},
    {"\x1B", "ESC", "begin of the login", "TAP login"},
    {"\x1E", "RS", "page refused: give it up, go on with the next", "TAP answer: page refused"},
    {"\x15", "NAK", "not taken: send it again", "TAP answer: not taken, send it again"},
    {"\x06", "ACK", "accepted", "TAP answer: accepted"},
    {"ID=", "prompt", "the centre asks who is calling", "TAP prompt"},
    {"\x04", "EOT", "end of the pages, log-off", "TAP log-off"},
    {"\r", "CR", "end of the line", "line end"},
    {"\n", "LF", "new line", "line end"},
};

struct CodeInfo {
  std::string_view code;
  std::string_view words;
};
/// Longer codes go before the class that they belong to.
constexpr CodeInfo kCodes[] = {
    {"110", "version of TAP that the centre speaks"},
    {"211", "page accepted"},
    {"212", "page accepted, the text was cut"},
    {"213", "page accepted, to be delivered later"},
    {"214", "page accepted, the text was cut"},
    {"510", "character not allowed in the pager's number"},
    {"511", "pager not known"},
    {"512", "cannot be delivered for the time being"},
    {"514", "checksum error"},
    {"517", "message too long"},
    {"1", "about the session"},
    {"2", "page accepted"},
    {"5", "page refused"},
};

std::string CodeWords(std::string_view line) {
  const bool code =
      line.size() >= 3 && AllDigits(line.substr(0, 3)) && (line.size() == 3 || !IsDigit(line[3]));
  if (!code) return {};
  for (const CodeInfo& info : kCodes) {
    if (line.starts_with(info.code)) return std::string(info.words);
  }
  return {};
}

class Talk {
 public:
  explicit Talk(std::string_view bytes) : rest_(bytes) {}

  Explanation Explain() {
    while (!rest_.empty()) TakeNext();
    out_.what = first_ == nullptr ? "text outside of a frame" : std::string(first_->what);
    return std::move(out_);
  }

 private:
  void TakeNext() {
    const auto* sign = std::find_if(std::begin(kSigns), std::end(kSigns),
                                    [this](const Sign& s) { return rest_.starts_with(s.bytes); });
    if (sign == std::end(kSigns)) return TakeText();
    Add(sign->bytes.size(), sign->name, std::string(sign->meaning));
    if (first_ == nullptr || sign < first_) first_ = sign;
    if (sign->name == "ESC") TakeLogin();
  }

  void Add(std::size_t size, std::string_view name, std::string meaning, bool secret = false) {
    if (size == 0) return;
    out_.fields.push_back(
        {std::string(rest_.substr(0, size)), std::string(name), std::move(meaning), secret});
    rest_.remove_prefix(size);
  }

  std::size_t UpToControl() const {
    const auto* end =
        std::find_if(rest_.begin(), rest_.end(), [](char c) { return CodeOf(c) < 32; });
    return static_cast<std::size_t>(end - rest_.begin());
  }

  /// "PG1" stands for the service, automatic, and the type of the terminal; a password follows. A
  /// centre may have its own identifiers: one that does not begin so is all password.
  void TakeLogin() {
    const std::size_t size = UpToControl();
    const std::size_t identifier = rest_.starts_with("PG") ? std::min<std::size_t>(size, 3) : 0;
    Add(identifier, "identifier", "service and type of the caller");
    Add(size - identifier, "password", "of the caller", true);
  }

  void TakeText() {
    const std::size_t size = UpToControl();
    if (size == 0) return Add(1, "control", "a control character without meaning here");
    const std::string_view text = rest_.substr(0, size);
    const std::size_t prompt = text.find("ID=");
    if (prompt != text.npos) {
      out_.faults.push_back("the prompt stands behind other text: a caller may not see it");
      return Add(prompt, "text", "\"" + PagerText(text.substr(0, prompt)) + "\"");
    }
    const std::string code = CodeWords(text);
    Add(size, code.empty() ? "text" : "code", code.empty() ? "\"" + PagerText(text) + "\"" : code);
  }

  std::string_view rest_;
  const Sign* first_ = nullptr;
  Explanation out_;
};

}  // namespace

std::size_t LengthOfTapBlock(std::string_view bytes) {
  std::size_t length = 1 + ContentOf(bytes).size();
  if (length == bytes.size() || bytes[length] == kSTX) return length;
  ++length;
  for (std::size_t i = 0; i < kChecksumSize && length < bytes.size(); ++i) {
    if (CodeOf(bytes[length]) < 32) return length + (bytes[length] == kCR ? 1 : 0);
    ++length;
  }
  return length + (length < bytes.size() && bytes[length] == kCR ? 1 : 0);
}

Explanation ExplainTapBlock(std::string_view block) {
  Explanation out;
  const std::string_view content = ContentOf(block);
  out.fields.push_back({{kSTX}, "STX", "begin of the block"});
  AddBlockFields(out, content);
  const std::size_t end = 1 + content.size();
  if (end == block.size()) {
    out.what = "TAP block, cut off";
    out.faults.push_back(AfterBytes(block) + "without ETX, ETB or US");
    return out;
  }
  const BlockEnd* const mark = FindBlockEnd(block[end]);
  out.what = "TAP block, " + std::string(mark->words);
  out.fields.push_back({{block[end]}, std::string(mark->name), std::string(mark->words)});
  if (!content.ends_with(kCR) && mark->code != kUS) {
    out.faults.push_back("the last field does not end in CR");
  }
  std::string_view tail = block.substr(end + 1, kChecksumSize);
  tail = tail.substr(0, tail.find(kCR));
  AddChecksum(out, block.substr(0, end + 1 + tail.size()), end + 1);
  AddLineEnd(out, block, end + 1 + tail.size());
  if (block.size() > kLongestBlock) out.faults.push_back("it is longer than 256 characters");
  return out;
}

Explanation ExplainTapTalk(std::string_view talk) { return Talk(talk).Explain(); }

}  // namespace mvsms::dispatch
