// Everything about single operations, fields and codes stands in tables; the functions below them
// take a frame apart.
#include "dispatch/explain_ucp.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "base/numbers.h"
#include "base/texts.h"
#include "dispatch/notation.h"
#include "dispatch/reader.h"
#include "protocols/basucp.h"
#include "protocols/char_tables.h"
#include "protocols/control_codes.h"

namespace mvsms::dispatch {
namespace {

// --- Fields of a frame, by name. What a name means is the same in every operation.

struct FieldInfo {
  std::string_view name;
  std::string_view words;
};
constexpr FieldInfo kFieldInfos[] = {
    {"TRN", "transaction reference"},
    {"LEN", "length from TRN through the checksum"},
    {"O/R", "kind"},
    {"OT", "operation"},
    {"AdC", "recipient"},
    {"OAdC", "originator"},
    {"OAC", "authentication code of the originator"},
    {"AC", "authentication code of the originator"},
    {"NRq", "notification wanted"},
    {"NAd", "address of the notification"},
    {"NAdC", "address of the notification"},
    {"NT", "kind of notification"},
    {"NPID", "way of the notification"},
    {"LRq", "last resort wanted"},
    {"LRAd", "address of last resort"},
    {"LPID", "way of last resort"},
    {"PID", "way to the recipient"},
    {"DD", "deferred delivery"},
    {"DDT", "time of delivery"},
    {"VP", "validity"},
    {"RPID", "replace by"},
    {"SCTS", "time stamp of the centre"},
    {"Dst", "delivery status"},
    {"Rsn", "reason"},
    {"DSCTS", "time stamp of the delivery"},
    {"MT", "message type"},
    {"NB", "bits of a transparent message"},
    {"Msg", "message"},
    {"AMsg", "message"},
    {"MMS", "more messages to send"},
    {"PR", "priority"},
    {"DCs", "data coding"},
    {"MCLs", "message class"},
    {"RPI", "reply path"},
    {"CPg", "reserved"},
    {"RPLy", "reserved"},
    {"OTOA", "type of the originator"},
    {"HPLMN", "home network"},
    {"XSer", "extra services"},
    {"RES1", "reserved"},
    {"RES4", "reserved"},
    {"RES5", "reserved"},
    {"OTON", "type of number"},
    {"ONPI", "numbering plan"},
    {"STYP", "kind of session operation"},
    {"PWD", "password"},
    {"NPWD", "new password"},
    {"VERS", "version"},
    {"LAdC", "list address"},
    {"LTON", "type of the list's number"},
    {"LNPI", "numbering plan of the list"},
    {"OPID", "originator's way"},
    {"A/N", "answer"},
    {"MVP", "modified validity"},
    {"EC", "error code"},
    {"SM", "system message"},
    {"checksum", "sum of the codes from TRN through the last separator"},
};

constexpr std::string_view kSecrets[] = {"OAC", "AC", "PWD", "NPWD"};

// --- Operations.

constexpr std::string_view kCallInput[] = {"AdC", "OAdC", "OAC", "MT", "Msg"};
constexpr std::string_view kTransfer[] = {"AdC",  "OAdC", "OAC", "NRq", "NAd",
                                          "NPID", "DD",   "DDT", "VP",  "AMsg"};
constexpr std::string_view kAlert[] = {"AdC", "PID"};
constexpr std::string_view kSubmit[] = {
    "AdC", "OAdC", "AC",   "NRq",  "NAdC", "NT",   "NPID",  "LRq",   "LRAd", "LPID", "DD",
    "DDT", "VP",   "RPID", "SCTS", "Dst",  "Rsn",  "DSCTS", "MT",    "NB",   "Msg",  "MMS",
    "PR",  "DCs",  "MCLs", "RPI",  "CPg",  "RPLy", "OTOA",  "HPLMN", "XSer", "RES4", "RES5"};
static_assert(std::size(kSubmit) == 33);
constexpr std::string_view kSession[] = {"OAdC", "OTON", "ONPI", "STYP", "PWD",  "NPWD",
                                         "VERS", "LAdC", "LTON", "LNPI", "OPID", "RES1"};
constexpr std::string_view kAccepted[] = {"A/N", "SM"};
constexpr std::string_view kAcceptedUntil[] = {"A/N", "MVP", "SM"};
constexpr std::string_view kRefused[] = {"A/N", "EC", "SM"};

using Names = std::span<const std::string_view>;

struct Operation {
  std::string_view code;
  std::string_view words;
  Names request;
  Names accepted;
};
constexpr Operation kOperations[] = {
    {"01", "call input", kCallInput, kAccepted},
    {"30", "message transfer", kTransfer, kAcceptedUntil},
    {"31", "alert", kAlert, kAccepted},
    {"51", "submit a short message", kSubmit, kAcceptedUntil},
    {"52", "deliver a short message", kSubmit, kAcceptedUntil},
    {"53", "deliver a notification", kSubmit, kAcceptedUntil},
    {"54", "modify a message", kSubmit, kAcceptedUntil},
    {"55", "inquire about messages", kSubmit, kAcceptedUntil},
    {"56", "delete messages", kSubmit, kAcceptedUntil},
    {"60", "session management", kSession, kAccepted},
};

const Operation* FindOperation(std::string_view code) {
  const auto* found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                   [=](const Operation& o) { return o.code == code; });
  return found == std::end(kOperations) ? nullptr : found;
}

// --- Values that stand for something, by the field that they are in.

struct ValueInfo {
  std::string_view field;
  std::string_view value;
  std::string_view words;
};
constexpr ValueInfo kValueInfos[] = {
    {"O/R", "O", "a request"},
    {"O/R", "R", "a result"},
    {"A/N", "A", "accepted"},
    {"A/N", "N", "refused"},
    {"MT", "1", "tone only"},
    {"MT", "2", "numeric"},
    {"MT", "3", "alphanumeric"},
    {"MT", "4", "transparent"},
    {"NRq", "0", "no"},
    {"NRq", "1", "yes"},
    {"LRq", "0", "no"},
    {"LRq", "1", "yes"},
    {"DD", "0", "no"},
    {"DD", "1", "yes"},
    {"Dst", "0", "delivered"},
    {"Dst", "1", "buffered"},
    {"Dst", "2", "not delivered"},
    {"PID", "0100", "mobile station"},
    {"PID", "0122", "fax"},
    {"PID", "0138", "menu over the telephone network"},
    {"PID", "0139", "computer over the telephone network"},
    {"PID", "0339", "computer over X.25"},
    {"PID", "0439", "computer over ISDN"},
    {"PID", "0539", "computer over TCP/IP"},
    {"OTON", "1", "international"},
    {"OTON", "2", "national"},
    {"OTON", "6", "short number"},
    {"ONPI", "1", "telephone"},
    {"ONPI", "3", "X.121"},
    {"ONPI", "5", "of the centre"},
    {"STYP", "1", "open a session"},
    {"STYP", "2", "close the session"},
    {"STYP", "3", "change the password"},
    {"STYP", "4", "open a provisioning session"},
    {"OTOA", "1139", "an international number"},
    {"OTOA", "5039", "a name"},
};

struct ErrorInfo {
  std::string_view code;
  std::string_view words;
};
constexpr ErrorInfo kErrors[] = {
    {"01", "checksum error"},
    {"02", "syntax error"},
    {"03", "operation not supported by the centre"},
    {"04", "operation not allowed"},
    {"05", "call barring is active"},
    {"06", "recipient (AdC) not valid"},
    {"07", "authentication failed"},
    {"08", "legitimisation code for all calls failed"},
    {"09", "group address not valid"},
    {"10", "repetition not allowed"},
    {"11", "legitimisation code for a repetition failed"},
    {"12", "priority call not allowed"},
    {"13", "legitimisation code for a priority call failed"},
    {"14", "urgent message not allowed"},
    {"15", "legitimisation code for an urgent message failed"},
    {"16", "reverse charging not allowed"},
    {"17", "legitimisation code for reverse charging failed"},
    {"18", "deferred delivery not allowed"},
    {"19", "new authentication code not valid"},
    {"20", "new legitimisation code not valid"},
    {"21", "standard text not valid"},
    {"22", "time period not valid"},
    {"23", "message type not supported by the centre"},
    {"24", "message too long"},
    {"25", "requested standard text not valid"},
    {"26", "message type not valid for this pager"},
    {"27", "message not found in the centre"},
    {"30", "subscriber has hung up"},
    {"31", "fax group not supported"},
    {"32", "type of fax message not supported"},
    {"33", "address is in the list already"},
    {"34", "address is not in the list"},
    {"35", "list is full"},
    {"36", "replacement (RPID) already in use"},
    {"37", "delivery in progress"},
    {"38", "message was forwarded"},
    {"50", "low network status"},
    {"51", "not allowed at low network status"},
    {"52", "not allowed at high network status"},
};

template <class Range, class Value>
bool Contains(const Range& range, const Value& value) {
  return std::find(std::begin(range), std::end(range), value) != std::end(range);
}

std::string_view WordsOf(std::string_view field) {
  const auto* found = std::find_if(std::begin(kFieldInfos), std::end(kFieldInfos),
                                   [=](const FieldInfo& info) { return info.name == field; });
  return found == std::end(kFieldInfos) ? std::string_view() : found->words;
}

std::string CodedValue(std::string_view field, std::string_view value) {
  const std::string_view kind = field.ends_with("PID") && field != "RPID" ? "PID" : field;
  for (const ValueInfo& info : kValueInfos) {
    if (info.field == kind && info.value == value) return std::string(info.words);
  }
  return {};
}

std::string ErrorWords(std::string_view code) {
  const auto* found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                   [=](const ErrorInfo& error) { return error.code == code; });
  std::string words(found == std::end(kErrors) ? "a code of this centre's own" : found->words);
  const bool is_number = !code.empty() && code.size() <= 2 && AllDigits(code);
  if (is_number && basUCP::IsWorthRetry(ToLong(code))) words += "; a later attempt may work";
  return words;
}

// --- Values that are worked out.

/// DDMMYYhhmm with or without seconds as "26.11.22 03:12:05".
std::string TimeWords(std::string_view digits) {
  if (!AllDigits(digits) || (digits.size() != 10 && digits.size() != 12)) return {};
  const auto pair = [&](std::size_t at) { return std::string(digits.substr(at, 2)); };
  const std::string seconds = digits.size() == 12 ? ":" + pair(10) : "";
  return pair(0) + "." + pair(2) + "." + pair(4) + " " + pair(6) + ":" + pair(8) + seconds;
}

/// "recipient:time", the form that most centres give to what they accepted.
std::string SystemMessageWords(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == text.npos) return NotationOf(text);
  const std::string time = TimeWords(text.substr(colon + 1));
  return time.empty() ? NotationOf(text) : NotationOf(text.substr(0, colon)) + " at " + time;
}

/// Letters packed seven bits each: a pair of digits for the number of half-octets, then the octets.
std::optional<std::string> PackedName(std::string_view digits) {
  const auto octets = BytesOfHex(digits);
  if (!octets || octets->empty()) return std::nullopt;
  const std::size_t count = CodeOf(octets->front()) * 4 / 7;
  std::string codes;
  unsigned bits = 0, held = 0;
  for (const char octet : octets->substr(1)) {
    bits |= static_cast<unsigned>(CodeOf(octet)) << held;
    for (held += 8; held >= 7 && codes.size() < count; held -= 7, bits >>= 7)
      codes += static_cast<char>(bits & 127);
  }
  return codes;
}

// --- A frame taken apart.

class Frame {
 public:
  explicit Frame(std::string_view bytes) : bytes_(bytes) {}

  Explanation Explain() {
    Take();
    NameFields();
    for (Piece& piece : pieces_) ExplainPiece(piece);
    CheckFrame();
    AddFields();
    out_.what = What();
    return std::move(out_);
  }

 private:
  /// A field with its separator, if that has come.
  struct Piece {
    std::string_view bytes;
    std::string name{};
    std::string meaning{};
    std::string_view value() const {
      return bytes.ends_with('/') ? bytes.substr(0, bytes.size() - 1) : bytes;
    }
  };

  static constexpr std::size_t kHead = 4;  // TRN, LEN, O/R, OT

  void Take() {
    has_start_ = bytes_.starts_with(kSTX);
    body_ = bytes_.substr(has_start_ ? 1 : 0);
    has_end_ = body_.ends_with(kETX);
    if (has_end_) body_.remove_suffix(1);
    std::string_view rest = body_;
    do {
      const std::size_t slash = rest.find('/');
      const std::size_t size = slash == rest.npos ? rest.size() : slash + 1;
      pieces_.push_back({rest.substr(0, size)});
      rest.remove_prefix(size);
    } while (!rest.empty() || (has_end_ && pieces_.back().bytes.ends_with('/')));
    operation_ = FindOperation(Value(3));
    is_result_ = Value(2) == "R";
  }

  std::string_view Value(std::size_t index) const {
    return index < pieces_.size() ? pieces_[index].value() : std::string_view();
  }
  std::string_view Value(std::string_view name) const {
    for (const Piece& piece : pieces_) {
      if (piece.name == name) return piece.value();
    }
    return {};
  }

  Names DataNames() const {
    if (is_result_ && Value(kHead) == "N") return kRefused;
    if (is_result_) return operation_ == nullptr ? Names(kAccepted) : operation_->accepted;
    return operation_ == nullptr ? Names() : operation_->request;
  }

  /// The last piece of a frame is its checksum, wherever it stands: a field too few or too many
  /// must not hide it.
  void NameFields() {
    constexpr std::string_view kHeadNames[kHead] = {"TRN", "LEN", "O/R", "OT"};
    const Names data = DataNames();
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
      std::string& name = pieces_[i].name;
      const bool last = i + 1 == pieces_.size();
      if (i < kHead) {
        name = kHeadNames[i];
      } else if (last && (has_end_ || i == kHead + data.size())) {
        name = "checksum";
      } else if (i - kHead < data.size()) {
        name = data[i - kHead];
      } else {
        name = "field " + std::to_string(i + 1);
      }
    }
  }

  void ExplainPiece(Piece& piece) {
    piece.meaning = WordsOf(piece.name);
    const std::string value = Meaning(piece);
    if (value.empty()) return;
    if (!piece.meaning.empty()) piece.meaning += ": ";
    piece.meaning += value;
  }

  std::string Meaning(const Piece& piece) {
    const std::string_view name = piece.name, value = piece.value();
    if (name == "LEN") return LengthWords(value);
    if (name == "checksum") return ChecksumWords(value);
    if (value.empty()) return {};
    if (name == "OT") return std::string(operation_ == nullptr ? "unknown" : operation_->words);
    if (name == "Msg" || name == "AMsg") return MessageWords(value);
    if (name == "EC") return ErrorWords(value);
    if (name == "SM") return SystemMessageWords(value);
    if (name == "OAdC") return OriginatorWords(value);
    const std::string coded = CodedValue(name, value);
    return coded.empty() ? TimeWords(value) : coded;
  }

  std::string LengthWords(std::string_view value) {
    if (!has_end_) return {};
    const std::string right = basUCP::ZeroPad(static_cast<std::int32_t>(body_.size()), 5);
    if (value == right) return "right";
    Fault("the length should be " + right + ", not " + NotationOf(value));
    return "wrong";
  }

  std::string ChecksumWords(std::string_view value) {
    std::string right = basUCP::CalcUCPCheckSum(body_.substr(0, body_.size() - value.size()));
    if (right.size() == 1) right.insert(0, 1, '0');
    if (value == right) return RightChecksum(value);
    Fault("the checksum should be " + right + ", not " + NotationOf(value));
    return "wrong";
  }

  std::string RightChecksum(std::string_view value) const {
    if (!is_result_ || !value.starts_with('0')) return "right";
    return "right, but with a leading zero: the result is False for such an answer";
  }

  std::string MessageWords(std::string_view value) {
    const std::string_view type = Value("MT");
    if (type == "2") return NotationOf(value);
    const auto codes = BytesOfHex(value);
    if (!codes) {
      Fault("the message is not made of pairs of hexadecimal digits");
      return "unreadable";
    }
    if (type == "4") return std::to_string(codes->size()) + " bytes of data";
    return "\"" + PhoneText(*codes) + "\"";
  }

  std::string OriginatorWords(std::string_view value) const {
    if (Value("OTOA") != "5039") return {};
    const auto name = PackedName(value);
    return name ? "\"" + PhoneText(*name) + "\"" : "";
  }

  void Fault(std::string sentence) { out_.faults.push_back(std::move(sentence)); }

  void CheckFrame() {
    if (!has_start_) Fault("there is no STX before it");
    if (!has_end_) {
      Fault("it ends after " + std::to_string(bytes_.size()) +
            " bytes, within or after the field " + pieces_.back().name + ", without ETX");
    }
    if (pieces_.size() <= kHead) return;
    if (!AllDigits(Value(0)) || Value(0).size() != 2) Fault("TRN must have two digits");
    if (!is_result_ && Value(2) != "O") Fault("the third field must be O or R");
    CheckCount();
  }

  void CheckCount() {
    const std::size_t expected = DataNames().size();
    if (!has_end_ || expected == 0) return;
    const std::size_t count = pieces_.size() - kHead - 1;
    if (count == expected) return;
    Fault("it has " + std::to_string(count) + " fields between OT and the checksum, not " +
          std::to_string(expected));
  }

  void AddFields() {
    if (has_start_) out_.fields.push_back({{kSTX}, "STX", "begin of the frame"});
    for (const Piece& piece : pieces_) {
      if (piece.bytes.empty() && piece.meaning.empty()) continue;
      const bool secret = Contains(kSecrets, piece.name) && !piece.value().empty();
      out_.fields.push_back({std::string(piece.bytes), piece.name, piece.meaning, secret});
    }
    if (has_end_) out_.fields.push_back({{kETX}, "ETX", "end of the frame"});
  }

  std::string What() const {
    std::string what = is_result_ ? "UCP result" : "UCP request";
    if (!Value(3).empty()) what += " " + NotationOf(Value(3));
    if (operation_ != nullptr) what.append(" (").append(operation_->words).append(")");
    if (!is_result_) return what;
    if (Value(kHead) == "A") return what + ": accepted";
    if (Value(kHead) != "N") return what;
    what += ": refused";
    return Value("EC").empty()
               ? what
               : what + ", " + NotationOf(Value("EC")) + " " + ErrorWords(Value("EC"));
  }

  const std::string_view bytes_;
  std::string_view body_;  // between STX and ETX
  bool has_start_ = false;
  bool has_end_ = false;
  bool is_result_ = false;
  const Operation* operation_ = nullptr;
  std::vector<Piece> pieces_;
  Explanation out_;
};

}  // namespace

bool LooksLikeUcp(std::string_view bytes) {
  const bool has_start = bytes.starts_with(kSTX);
  if (has_start) bytes.remove_prefix(1);
  const std::size_t slash = bytes.find('/');
  if (slash > 2 || !AllDigits(bytes.substr(0, slash))) return false;
  // Without its STX a frame must show more of itself to be told from a text.
  return has_start || (bytes.size() > 10 && slash == 2 && AllDigits(bytes.substr(3, 5)) &&
                       (bytes.substr(8, 2) == "/O" || bytes.substr(8, 2) == "/R"));
}

Explanation ExplainUcp(std::string_view frame) { return Frame(frame).Explain(); }

}  // namespace mvsms::dispatch
