// Parsing is total: every frame gives a UcpFrame, whose two flags say what it is worth.
#include "centre/ucp_frame.h"

#include <algorithm>
#include <utility>

namespace mvsms::centre {
namespace {

constexpr char kStartOfText = 2, kEndOfText = 3;
constexpr std::size_t kLongestFrame = 8192;
constexpr std::string_view kDigits = "0123456789ABCDEF";

bool AllDigits(std::string_view text, std::size_t width) {
  return text.size() == width && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::vector<std::string_view> Split(std::string_view text) {
  std::vector<std::string_view> parts;
  for (std::size_t slash = text.find('/'); slash != std::string_view::npos;
       slash = text.find('/')) {
    parts.push_back(text.substr(0, slash));
    text.remove_prefix(slash + 1);
  }
  parts.push_back(text);
  return parts;
}

std::string Padded(std::size_t value, std::size_t width) {
  std::string digits = std::to_string(value);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return out;
}

}  // namespace

std::string UcpChecksum(std::string_view text) {
  unsigned sum = 0;
  for (const char c : text) sum += static_cast<unsigned char>(c);
  return {kDigits[(sum >> 4) & 15], kDigits[sum & 15]};
}

std::vector<std::string> UcpReader::Feed(std::string_view bytes) {
  std::vector<std::string> frames;
  for (const char c : bytes) {
    if (c == kStartOfText) {
      frame_.emplace();
    } else if (!frame_) {
      continue;
    } else if (c == kEndOfText) {
      frames.push_back(std::move(*frame_));
      frame_.reset();
    } else if (frame_->size() == kLongestFrame) {
      frame_.reset();
    } else {
      *frame_ += c;
    }
  }
  return frames;
}

UcpFrame ParseUcpFrame(std::string_view frame) {
  const auto parts = Split(frame);
  UcpFrame out;
  const std::size_t checked = frame.size() - parts.back().size();
  out.checksum_ok = Upper(parts.back()) == UcpChecksum(frame.substr(0, checked));
  if (parts.size() < 5) return out;
  const bool trn_ok = AllDigits(parts[0], 2);
  const bool operation_ok = AllDigits(parts[3], 2);
  if (trn_ok) out.trn = parts[0];
  if (operation_ok) out.operation = parts[3];
  if (parts[2] == "R") out.kind = 'R';
  out.fields.assign(parts.begin() + 4, parts.end() - 1);
  out.well_formed = trn_ok && operation_ok && (parts[2] == "O" || parts[2] == "R") &&
                    parts[1] == Padded(frame.size(), 5);
  return out;
}

std::string BuildUcpFrame(std::string_view trn, char kind, std::string_view operation,
                          const std::vector<std::string>& fields) {
  std::string tail = std::string("/") + kind + "/" + std::string(operation) + "/";
  for (const std::string& field : fields) tail += field + "/";
  const std::string head = std::string(trn) + "/";
  const std::string body = head + Padded(head.size() + 5 + tail.size() + 2, 5) + tail;
  return kStartOfText + body + UcpChecksum(body) + kEndOfText;
}

std::string BuildUcpResult(std::string_view trn, std::string_view operation,
                           const std::vector<std::string>& fields) {
  return BuildUcpFrame(trn, 'R', operation, fields);
}

Coding CodingOf(unsigned char scheme) {
  constexpr Coding kGeneral[] = {Coding::kGsm, Coding::kBinary, Coding::kUcs2, Coding::kGsm};
  const unsigned group = scheme >> 4U;
  if (group < 8) return kGeneral[scheme >> 2U & 3U];
  if (group == 14) return Coding::kUcs2;  // a message is waiting
  return group == 15 && (scheme & 4U) != 0 ? Coding::kBinary : Coding::kGsm;
}

std::optional<ExtraServices> ParseExtraServices(std::string_view digits) {
  constexpr char kHeader = 1, kScheme = 2;
  const auto octets = DecodeHex(digits);
  if (!octets) return std::nullopt;
  ExtraServices services;
  std::string_view rest = *octets;
  while (!rest.empty()) {
    if (rest.size() < 2) return std::nullopt;
    const std::size_t length = static_cast<unsigned char>(rest[1]);
    if (length > rest.size() - 2) return std::nullopt;
    const std::string_view data = rest.substr(2, length);
    if (rest[0] == kHeader) services.header += data;
    if (rest[0] == kScheme && length == 1) services.scheme = static_cast<unsigned char>(data[0]);
    rest.remove_prefix(2 + length);
  }
  return services;
}

std::string EncodeHex(std::string_view octets) {
  std::string digits;
  for (const char c : octets) {
    digits += kDigits[static_cast<unsigned char>(c) >> 4U];
    digits += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return digits;
}

std::optional<std::string> DecodeHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string out;
  const std::string upper = Upper(digits);
  for (std::size_t i = 0; i < upper.size(); i += 2) {
    const std::size_t high = kDigits.find(upper[i]), low = kDigits.find(upper[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    out += static_cast<char>(high * 16 + low);
  }
  return out;
}

std::optional<std::string> DecodePackedAddress(std::string_view digits) {
  const auto octets = DecodeHex(digits);
  if (!octets || octets->empty()) return std::nullopt;
  const std::size_t half_octets = static_cast<unsigned char>(octets->front());
  if ((half_octets + 1) / 2 != octets->size() - 1) return std::nullopt;
  const std::size_t count = half_octets * 4 / 7;
  std::string out;
  unsigned bits = 0, held = 0;
  for (std::size_t i = 1; i < octets->size() && out.size() < count; ++i) {
    bits |= static_cast<unsigned>(static_cast<unsigned char>((*octets)[i])) << held;
    for (held += 8; held >= 7 && out.size() < count; held -= 7, bits >>= 7)
      out += static_cast<char>(bits & 0x7F);
  }
  return out;
}

}  // namespace mvsms::centre
