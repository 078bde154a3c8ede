// See http_frame.h. A reader stricter than the parser behind it.
#include "gateway/http_frame.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace mvsms::gateway {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

struct Refusal {
  int status;
  std::string sentence;
};

bool Is(std::string_view name, std::string_view small) {
  return std::equal(name.begin(), name.end(), small.begin(), small.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == b;
  });
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string_view("!#$%&'*+-.^_`|~").find(static_cast<char>(c)) != std::string_view::npos;
  });
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

/// What is said in the head of a request.
class Head {
 public:
  /// `lines` without the blank line that ends them. Throws Refusal.
  explicit Head(std::string_view lines) {
    ReadRequestLine(Next(lines));
    while (!lines.empty()) ReadHeader(Next(lines));
  }

  void Check(std::size_t longest_body) const {
    if (length_ > longest_body) {
      throw Refusal{413, "the body has more than " + std::to_string(longest_body) + " bytes"};
    }
    if (length_ > 0 && !json_) {
      throw Refusal{415, "the body must be JSON: Content-Type: application/json"};
    }
    if (hosts_ > 1 || (hosts_ == 0 && needs_host_)) {
      throw Refusal{400, "there must be one Host header"};
    }
  }

  std::size_t length() const { return length_; }
  bool expects() const { return expects_; }

 private:
  static std::string_view Next(std::string_view& lines) {
    const std::size_t end = std::min(lines.find(kLineEnd), lines.size());
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(std::min(end + kLineEnd.size(), lines.size()));
    return line;
  }

  void ReadRequestLine(std::string_view line) {
    const std::size_t method = std::min(line.find(' '), line.size());
    const std::size_t version = line.rfind(' ');
    if (HasControls(line) || !IsToken(line.substr(0, method)) || version <= method + 1 ||
        version == line.npos) {
      throw Refusal{400, "the first line is no HTTP request"};
    }
    const std::string_view target = line.substr(method + 1, version - method - 1);
    if (target.size() > kLongestTarget) throw Refusal{414, "the address is too long"};
    if (target.front() != '/' || target.find(' ') != target.npos) {
      throw Refusal{400, "the address must begin with \"/\""};
    }
    const std::string_view spoken = line.substr(version + 1);
    if (spoken != "HTTP/1.1" && spoken != "HTTP/1.0") throw Refusal{505, "speak HTTP/1.1"};
    needs_host_ = spoken == "HTTP/1.1";
  }

  void ReadHeader(std::string_view line) {
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::string_view name = line.substr(0, colon);
    if (colon == line.size() || !IsToken(name) || HasControls(line)) {
      throw Refusal{400, "a header cannot be read"};
    }
    Take(name, Trimmed(line.substr(colon + 1)));
  }

  void Take(std::string_view name, std::string_view value) {
    if (Is(name, "content-length")) ReadLength(value);
    if (Is(name, "transfer-encoding")) throw Refusal{411, "say the length: Content-Length"};
    if (Is(name, "content-encoding") && !Is(value, "identity")) {
      throw Refusal{415, "the body must not be compressed"};
    }
    if (Is(name, "content-type")) {
      json_ = Is(Trimmed(value.substr(0, value.find(';'))), "application/json");
    }
    if (Is(name, "expect")) expects_ = Is(value, "100-continue");
    if (Is(name, "host")) ++hosts_;
  }

  void ReadLength(std::string_view value) {
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), length);
    if (has_length_ || error != std::errc{} || end != value.data() + value.size()) {
      // A number that is too large for the type is one of a body that is too large.
      const bool huge = error == std::errc::result_out_of_range;
      throw Refusal{huge ? 413 : 400, huge ? "the body is too large" : "Content-Length is wrong"};
    }
    has_length_ = true;
    length_ = length;
  }

  std::size_t length_ = 0;
  bool has_length_ = false;
  bool json_ = false;
  bool expects_ = false;
  bool needs_host_ = true;
  int hosts_ = 0;
};

HttpFrame Measured(std::string_view bytes, std::size_t longest_body) {
  const std::size_t end = bytes.substr(0, kLongestHead).find("\r\n\r\n");
  if (end == bytes.npos) {
    if (bytes.size() >= kLongestHead) throw Refusal{431, "the headers are too long"};
    return {};
  }
  const Head head(bytes.substr(0, end));
  head.Check(longest_body);
  const std::size_t size = end + 4 + head.length();
  if (bytes.size() >= size) return {.kind = HttpFrame::Kind::kWhole, .size = size};
  return {.size = size, .awaits_go_ahead = head.expects() && bytes.size() == end + 4};
}

}  // namespace

HttpFrame FrameOf(std::string_view bytes, std::size_t longest_body) try {
  return Measured(bytes, longest_body);
} catch (const Refusal& refusal) {
  return {
      .kind = HttpFrame::Kind::kRefused, .status = refusal.status, .sentence = refusal.sentence};
}

}  // namespace mvsms::gateway
