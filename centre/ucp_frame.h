// UCP on the wire: bytes in, frames out, however the bytes were split; and what the characters of a
// frame's fields stand for. Knows no operation and no session.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mvsms::centre {

/// Sum modulo 256, in two uppercase hexadecimal digits, of `text`: the characters from the first
/// one of TRN through the last "/".
std::string UcpChecksum(std::string_view text);

class UcpReader {
 public:
  /// The frames that `bytes` complete, each without its STX and ETX. Anything outside a frame is
  /// noise; an STX within one starts afresh; a frame of more than 8192 characters is dropped.
  std::vector<std::string> Feed(std::string_view bytes);

 private:
  std::optional<std::string> frame_;  // nothing: waiting for STX
};

/// A frame taken apart; of a malformed one, as much as could be read.
struct UcpFrame {
  std::string trn = "00";
  char kind = 'O';               // 'O' operation, 'R' result
  std::string operation = "00";  // two digits
  std::vector<std::string> fields;
  bool checksum_ok = false;
  bool well_formed = false;  // TRN, LEN, kind and operation are what they must be
};

UcpFrame ParseUcpFrame(std::string_view frame);

/// A whole frame of a kind ('O', 'R'), with STX and ETX, length and checksum.
std::string BuildUcpFrame(std::string_view trn, char kind, std::string_view operation,
                          const std::vector<std::string>& fields);

/// A whole result frame.
std::string BuildUcpResult(std::string_view trn, std::string_view operation,
                           const std::vector<std::string>& fields);

/// What a transparent message is, by the data coding scheme of GSM 03.38.
enum class Coding { kBinary, kGsm, kUcs2 };
Coding CodingOf(unsigned char scheme);

/// The extra services (XSer) of a message, as far as they say how it is to be read.
struct ExtraServices {
  std::string header;                   // user data header, its length octet first; empty: none
  std::optional<unsigned char> scheme;  // data coding scheme
};

/// Reads pairs of digits that are type, length and data of one service after another. Nothing if
/// they are not.
std::optional<ExtraServices> ParseExtraServices(std::string_view digits);

/// The octets as pairs of hexadecimal digits.
std::string EncodeHex(std::string_view octets);

/// The bytes that pairs of hexadecimal digits stand for; nothing if they are not such pairs.
std::optional<std::string> DecodeHex(std::string_view digits);

/// Codes packed seven bits each, the form of alphanumeric addresses: a pair of digits for the
/// number of useful half-octets, then the octets. Nothing if it is not of that form.
std::optional<std::string> DecodePackedAddress(std::string_view digits);

}  // namespace mvsms::centre
