// TAP on the wire: bytes in, lines and blocks out, however the bytes were split, and what a block
// means. Knows no session: the centre decides what a line or block is worth when it comes.
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mvsms::centre {

inline constexpr char kStx = 2, kEtx = 3, kEot = 4, kLf = 10, kCr = 13, kEtb = 23, kSub = 26,
                      kEsc = 27, kUs = 31;

/// Three characters from "0" to "?": the 7-bit sum of `block`, from STX through ETX, ETB or US; its
/// low twelve bits.
std::string TapChecksum(std::string_view block);

/// What came before a CR outside of a block, possibly nothing.
struct TapLine {
  std::string text;
};

struct TapBlock {
  std::string content;  // between STX and `end`
  char end = kEtx;      // kEtx: the page is complete; kEtb, kUs: it goes on in the next block
  bool checksum_ok = false;
  bool too_long = false;  // then `content` is cut
};

using TapEvent = std::variant<TapLine, TapBlock>;

class TapReader {
 public:
  /// `max_block` is the longest block from STX to its last CR; 0: 65536.
  explicit TapReader(int max_block);
  std::vector<TapEvent> Feed(std::string_view bytes);

 private:
  enum class State { kOutside, kContent, kChecksum };
  void Outside(char c, std::vector<TapEvent>& events);
  void Content(char c);
  void Checksum(char c, std::vector<TapEvent>& events);
  void StartBlock();
  bool Keep(std::string& where, char c);

  std::size_t max_block_;
  State state_ = State::kOutside;
  std::string line_;
  std::string checksum_;
  TapBlock block_;
};

/// A page put together from the contents of its blocks.
struct TapPage {
  std::string pager;
  std::string text;  // codes of the pager's alphabet, SUB pairs resolved; further fields after LF
  bool complete = false;  // has both a pager ID and a message field
};

/// Continuation needs no marks: US leaves a field open, ETB comes after the CR that closed it.
TapPage ReadTapPage(std::string_view contents);

}  // namespace mvsms::centre
