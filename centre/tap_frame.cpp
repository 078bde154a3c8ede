// The reader is a three-state machine over single characters; memory is bounded by the longest
// block, whatever the caller sends.
#include "centre/tap_frame.h"

#include <algorithm>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr std::size_t kLongestLine = 256;
constexpr std::size_t kUnlimitedBlock = 65536;
constexpr std::size_t kAroundContent = 1 + 1 + 3 + 1;  // STX, ETX, checksum, CR

std::string ResolveSub(std::string_view field) {
  std::string out;
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != kSub || i + 1 == field.size()) {
      out += field[i];
      continue;
    }
    const char c = field[++i];
    out += c >= 64 && c < 96 ? static_cast<char>(c - 64) : c;
  }
  return out;
}

std::vector<std::string_view> Fields(std::string_view contents) {
  std::vector<std::string_view> fields;
  while (!contents.empty()) {
    const std::size_t end = std::min(contents.find(kCr), contents.size());
    fields.push_back(contents.substr(0, end));
    contents.remove_prefix(std::min(end + 1, contents.size()));
  }
  return fields;
}

}  // namespace

std::string TapChecksum(std::string_view block) {
  unsigned sum = 0;
  for (const char c : block) sum += static_cast<unsigned char>(c) & 0x7Fu;
  std::string out;
  for (const unsigned shift : {8u, 4u, 0u}) out += static_cast<char>('0' + ((sum >> shift) & 15u));
  return out;
}

TapReader::TapReader(int max_block)
    : max_block_(max_block > 0 ? static_cast<std::size_t>(max_block) : kUnlimitedBlock) {}

std::vector<TapEvent> TapReader::Feed(std::string_view bytes) {
  std::vector<TapEvent> events;
  for (const char c : bytes) {
    if (c == kStx)
      StartBlock();
    else if (state_ == State::kOutside)
      Outside(c, events);
    else if (state_ == State::kContent)
      Content(c);
    else
      Checksum(c, events);
  }
  return events;
}

// An STX always starts afresh: in a text it would have come as a SUB pair, so the caller has given
// up the block before.
void TapReader::StartBlock() {
  state_ = State::kContent;
  block_ = {};
  checksum_.clear();
  line_.clear();
}

void TapReader::Outside(char c, std::vector<TapEvent>& events) {
  if (c == kCr) {
    events.push_back(TapLine{std::exchange(line_, {})});
  } else if (c != kLf) {
    if (line_.size() == kLongestLine) line_.clear();  // noise; the end of a line is what counts
    line_ += c;
  }
}

void TapReader::Content(char c) {
  if (c == kEtx || c == kEtb || c == kUs) {
    block_.end = c;
    state_ = State::kChecksum;
  } else {
    block_.too_long = block_.too_long || !Keep(block_.content, c);
  }
}

bool TapReader::Keep(std::string& where, char c) {
  if (where.size() + kAroundContent >= max_block_) return false;
  where += c;
  return true;
}

void TapReader::Checksum(char c, std::vector<TapEvent>& events) {
  if (c != kCr) {
    if (checksum_.size() <= 3) checksum_ += c;
    return;
  }
  block_.checksum_ok =
      !block_.too_long && checksum_ == TapChecksum(kStx + block_.content + block_.end);
  state_ = State::kOutside;
  events.push_back(std::exchange(block_, {}));
}

TapPage ReadTapPage(std::string_view contents) {
  const auto fields = Fields(contents);
  TapPage page;
  if (!fields.empty()) page.pager = ResolveSub(fields[0]);
  for (std::size_t i = 1; i < fields.size(); ++i)
    page.text += (i > 1 ? "\n" : "") + ResolveSub(fields[i]);
  page.complete = fields.size() > 1 && !page.pager.empty();
  return page;
}

}  // namespace mvsms::centre
