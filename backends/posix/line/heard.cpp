// Tables of what modems say, and the bits that prove a framing.
#include "backends/posix/line/heard.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "backends/posix/line/soft_parity.h"
#include "base/ansi.h"
#include "base/texts.h"

namespace mvsms::posix {
namespace {

constexpr char kIac = '\xFF', kSubnegotiation = '\xFA', kEndOfIt = '\xF0', kFirstVerb = '\xFB';

unsigned char Code(char c) { return static_cast<unsigned char>(c); }

bool IsHigh(char c) { return Code(c) > 0x7F; }

bool IsReadable(char c) {
  return (Code(c) >= ' ' && Code(c) < 0x7F) || c == '\r' || c == '\n' || c == '\t';
}

// WILL, WONT, DO or DONT, which an option follows.
bool IsVerb(char c) { return Code(c) >= Code(kFirstVerb) && c != kIac; }

struct Parity {
  char letter;
  std::uint8_t code;
};
constexpr Parity kParities[] = {{'E', 2}, {'O', 1}, {'M', 3}};

// How long the telnet command at the begin of `bytes` is.
std::size_t LengthOfCommand(std::string_view bytes) {
  if (bytes.size() < 2 || Code(bytes[1]) < Code(kSubnegotiation))
    return std::min(bytes.size(), std::size_t{2});
  if (bytes[1] != kSubnegotiation)
    return bytes[1] == kIac ? 2 : std::min(bytes.size(), std::size_t{3});
  const std::size_t end = bytes.find(std::string{kIac, kEndOfIt});
  return end == bytes.npos ? bytes.size() : end + 2;
}

const ResultCode* ResultIn(Heard& heard) {
  for (const std::string& line : LinesOf(heard.text)) {
    heard.result = ParseResultCode(line);
    heard.number = std::all_of(line.begin(), line.end(), IsDigit);
    if (heard.result) return &*heard.result;
  }
  return nullptr;
}

Reply Unanswered(const std::string& command, const Heard& heard) {
  if (heard.text.empty()) return Reply::kSilence;
  if (LinesOf(heard.text, command).empty()) return Reply::kEcho;
  const auto readable = std::count_if(heard.text.begin(), heard.text.end(), IsReadable);
  const bool text = static_cast<std::size_t>(readable) * 10 >= heard.text.size() * 9;
  return text && heard.text.size() > 3 ? Reply::kText : Reply::kNoise;
}

struct ConnectWord {
  std::string_view word;
  std::string ConnectText::* field;
  std::string_view meaning;
};
constexpr ConnectWord kConnectWords[] = {
    {"V21", &ConnectText::modulation, "V.21"},
    {"V22", &ConnectText::modulation, "V.22"},
    {"V22B", &ConnectText::modulation, "V.22bis"},
    {"V22BIS", &ConnectText::modulation, "V.22bis"},
    {"V23", &ConnectText::modulation, "V.23"},
    {"V32", &ConnectText::modulation, "V.32"},
    {"V32B", &ConnectText::modulation, "V.32bis"},
    {"V32BIS", &ConnectText::modulation, "V.32bis"},
    {"V34", &ConnectText::modulation, "V.34"},
    {"V90", &ConnectText::modulation, "V.90"},
    {"V92", &ConnectText::modulation, "V.92"},
    {"LAPM", &ConnectText::correction, "V.42"},
    {"V42", &ConnectText::correction, "V.42"},
    {"ARQ", &ConnectText::correction, "some"},
    {"REL", &ConnectText::correction, "some"},
    {"MNP", &ConnectText::correction, "MNP"},
    {"MNP2", &ConnectText::correction, "MNP 2"},
    {"MNP3", &ConnectText::correction, "MNP 3"},
    {"MNP4", &ConnectText::correction, "MNP 4"},
    {"NONE", &ConnectText::correction, "none"},
    {"NOEC", &ConnectText::correction, "none"},
    {"MNP5", &ConnectText::compression, "MNP 5"},
    {"V42BIS", &ConnectText::compression, "V.42bis"},
    {"V44", &ConnectText::compression, "V.44"},
};

void TakeWord(const std::string& word, ConnectText& said) {
  const bool speed = word.size() > 2 && std::all_of(word.begin(), word.end(), IsDigit);
  if (speed && said.speed.empty()) said.speed = word;
  for (const ConnectWord& known : kConnectWords) {
    if (known.word == word && (said.*known.field).empty()) said.*known.field = known.meaning;
  }
}

// "V.42BIS" and "V42bis" are one word.
std::vector<std::string> WordsOf(const std::string& line) {
  std::vector<std::string> words(1);
  for (const char c : line) {
    if (c == '.') continue;
    if (std::isalnum(Code(c)) != 0) {
      words.back() += static_cast<char>(std::toupper(Code(c)));
    } else {
      words.emplace_back();
    }
  }
  return words;
}

bool TellsOfCall(const std::string& line) {
  constexpr std::array<std::string_view, 8> kBegins = {
      "CONNECT", "CARRIER", "PROTOCOL", "+MCR", "+MRR", "+ER", "AUTOSTREAM", "COMPRESSION"};
  return std::any_of(kBegins.begin(), kBegins.end(),
                     [&](std::string_view begin) { return line.starts_with(begin); });
}

// How long the command at the begin of `rest` is.
std::size_t LengthOf(std::string_view rest) {
  if (rest[0] == '+') return std::min(rest.find(';'), rest.size());
  if (std::toupper(Code(rest[0])) == 'D') return rest.size();
  std::size_t length = std::isalpha(Code(rest[0])) != 0 ? 1 : std::min(rest.size(), std::size_t{2});
  while (length < rest.size() && std::isalpha(Code(rest[length])) == 0 &&
         (IsDigit(rest[length]) || rest[length] == '=' || rest[length] == '?')) {
    ++length;
  }
  return length;
}

// "X4" is X, and "&F0" is &F.
bool Is(const std::string& command, std::string_view name) {
  if (command.size() < name.size() || FoldCase(command.substr(0, name.size())) != FoldCase(name)) {
    return false;
  }
  return std::all_of(command.begin() + static_cast<std::ptrdiff_t>(name.size()), command.end(),
                     IsDigit);
}

bool Drop(std::vector<std::string>& commands, std::string_view name) {
  return std::erase_if(commands, [&](const std::string& c) { return Is(c, name); }) > 0;
}

}  // namespace

std::string Joined(const std::vector<Piece>& pieces) {
  std::string bytes;
  for (const Piece& piece : pieces) bytes += piece.bytes;
  return bytes;
}

char ShownParity(std::string_view bytes) {
  if (std::none_of(bytes.begin(), bytes.end(), IsHigh)) return 'N';
  for (const auto& [letter, code] : kParities) {
    const auto holds = [parity = code](char c) { return ParityHolds(c, parity); };
    if (std::all_of(bytes.begin(), bytes.end(), holds)) return letter;
  }
  return '?';
}

std::string SevenBits(std::string_view bytes) {
  std::string text(bytes);
  for (char& c : text) c = WithoutParity(c);
  return text;
}

bool HasTelnet(std::string_view bytes) {
  for (std::size_t iac = bytes.find(kIac); iac < bytes.size(); iac = bytes.find(kIac, iac + 1)) {
    if (iac + 2 < bytes.size() && IsVerb(bytes[iac + 1]) && Code(bytes[iac + 2]) < 64) return true;
  }
  return false;
}

std::string WithoutTelnet(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t iac = std::min(bytes.find(kIac), bytes.size());
    text += bytes.substr(0, iac);
    bytes.remove_prefix(iac);
    if (!bytes.empty()) bytes.remove_prefix(LengthOfCommand(bytes));
  }
  return text;
}

Heard ReadAnswer(const std::string& command, const std::string& bytes) {
  Heard heard;
  heard.bytes = bytes;
  heard.text = HasTelnet(bytes) ? WithoutTelnet(bytes) : bytes;
  std::erase(heard.text, '\0');
  const std::string raw = heard.text;
  heard.reply = Reply::kResult;
  if (ResultIn(heard) != nullptr) return heard;
  heard.text = SevenBits(raw);
  heard.parity = ShownParity(raw);
  if (ResultIn(heard) != nullptr && heard.parity != '?') return heard;
  heard.number = false;
  heard.result.reset();
  if (heard.parity == '?') heard.text = raw;
  heard.reply = Unanswered(command, heard);
  return heard;
}

bool SaysOk(const Heard& heard) {
  return heard.result && heard.result->kind == ResultCode::Kind::kOk;
}

std::vector<std::string> LinesOf(const std::string& text, const std::string& command) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    if (c == '\r' || c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  std::erase_if(lines, [&](const std::string& line) { return line.empty() || line == command; });
  return lines;
}

ConnectText ReadConnect(const std::string& text) {
  ConnectText said;
  for (const std::string& line : LinesOf(text)) {
    if (!TellsOfCall(line)) continue;
    for (const std::string& word : WordsOf(line)) TakeWord(word, said);
  }
  return said;
}

// STX, two digits, "/", five digits, "/", O or R, "/": no text of people looks so.
bool HasUcpFrame(std::string_view bytes) {
  constexpr std::string_view kForm = "##/#####/*/##/";
  const auto fits = [](char wanted, char c) {
    if (wanted == '#') return IsDigit(c);
    return wanted == '*' ? c == 'O' || c == 'R' : c == wanted;
  };
  for (std::size_t stx = bytes.find('\x02'); stx != bytes.npos; stx = bytes.find('\x02', stx + 1)) {
    const std::string_view frame = bytes.substr(stx + 1);
    if (frame.size() >= kForm.size() &&
        std::equal(kForm.begin(), kForm.end(), frame.begin(), fits)) {
      return true;
    }
  }
  return false;
}

std::vector<std::string> SplitCommands(const std::string& line) {
  std::vector<std::string> commands;
  std::string_view rest(line);
  rest.remove_prefix(std::min(rest.size(), std::size_t{2}));  // AT
  while (!rest.empty()) {
    const std::size_t length = LengthOf(rest);
    if (rest[0] != ' ' && rest[0] != ';') commands.emplace_back(rest.substr(0, length));
    rest.remove_prefix(rest[0] == ' ' || rest[0] == ';' ? 1 : length);
  }
  return commands;
}

std::string JoinCommands(const std::vector<std::string>& commands) {
  std::string line = "AT";
  bool divided = false;  // an extended command has no other end
  for (const std::string& command : commands) {
    line += (divided ? ";" : "") + command;
    divided = command.front() == '+';
  }
  return line;
}

std::string WithCommands(const std::string& line, const std::string& more) {
  std::vector<std::string> commands = SplitCommands(line);
  const bool stored = Drop(commands, "Z");
  const auto added = SplitCommands("AT" + more);
  for (const std::string& command : added) Drop(commands, command.substr(0, 1));
  const auto reset = std::find_if(commands.begin(), commands.end(),
                                  [](const std::string& command) { return Is(command, "&F"); });
  const bool has_reset = reset != commands.end();
  auto place =
      commands.insert(has_reset ? reset + 1 : commands.begin(), added.begin(), added.end());
  if (stored && !has_reset) commands.insert(place, "&F");
  return JoinCommands(commands);
}

}  // namespace mvsms::posix
