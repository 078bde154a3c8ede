// See snpp.h.
#include "gateway/snpp.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <string_view>

#include "base/ansi.h"
#include "base/texts.h"
#include "dispatch/queue.h"

namespace mvsms::gateway {
namespace {

constexpr char kEnd[] = "\r\n";

std::string Upper(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return upper;
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

/// What a client sent, as UTF-8 without control characters. Old clients send Latin-1.
std::string Cleaned(std::string text) {
  std::replace_if(text.begin(), text.end(), IsControl, ' ');
  const auto characters = Utf8Characters(text);
  const bool is_utf8 =
      std::ranges::all_of(characters, [](const Utf8Character& c) { return c.point != kMalformed; });
  return is_utf8 ? text : Utf8FromAnsi(text);
}

std::string Line(const std::string& text) { return Cleaned(text) + kEnd; }

/// The service levels of a page (LEVEl), from the most urgent, as priorities of the queue. The
/// higher ones are a matter of each carrier.
constexpr std::array<int, 8> kPriorityOfLevel = {
    dispatch::kFirstPriority, dispatch::kUsualPriority, 5, 6, 7, 8, 9, dispatch::kLastPriority};

/// A whole number below `end`; nothing for anything else.
std::optional<int> SmallNumber(const std::string& text, int end) {
  if (text.empty() || text.size() > 2 || !AllDigits(text)) return std::nullopt;
  const int number = std::stoi(text);
  return number < end ? std::optional<int>(number) : std::nullopt;
}

/// Minutes of "+HHMM", "-HHMM"; of "+HH", too.
std::optional<int> Distance(const std::string& text) {
  const std::string digits = text.empty() ? "" : text.substr(1);
  const bool fits = (digits.size() == 2 || digits.size() == 4) && AllDigits(digits);
  if (!fits || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  const int minutes = digits.size() == 4 ? std::stoi(digits.substr(2)) : 0;
  const int distance = std::stoi(digits.substr(0, 2)) * 60 + minutes;
  return text[0] == '-' ? -distance : distance;
}

}  // namespace

std::optional<long long> ReadSnppMoment(const std::string& text) {
  const std::string digits = text.substr(0, text.find_first_of(" +-"));
  const std::string zone = Trim(text.substr(digits.size()));
  if (digits.size() != 12 || !AllDigits(digits)) return std::nullopt;
  const auto part = [&](std::size_t i) { return std::stoi(digits.substr(2 * i, 2)); };
  std::tm given{};
  given.tm_year = part(0) + 100;
  given.tm_mon = part(1) - 1;
  given.tm_mday = part(2);
  given.tm_hour = part(3);
  given.tm_min = part(4);
  given.tm_sec = part(5);
  given.tm_isdst = -1;
  std::tm found = given;
  const std::optional<int> distance = Distance(zone);
  if (!zone.empty() && !distance) return std::nullopt;
  const std::time_t moment = zone.empty() ? std::mktime(&found) : timegm(&found);
  const bool exists = found.tm_mon == given.tm_mon && found.tm_mday == given.tm_mday &&
                      found.tm_min == given.tm_min && found.tm_sec == given.tm_sec;
  if (!exists) return std::nullopt;
  return static_cast<long long>(moment) - 60LL * distance.value_or(0);
}

/// A command: its first four letters stand for it.
struct SnppSession::Word {
  const char* name;
  Reply (SnppSession::*run)(const std::string& rest);
  const char* help;
};

const SnppSession::Word SnppSession::kWords[] = {
    {"PAGER", &SnppSession::Page, "PAGEr <number, or name of a group>"},
    {"MESSAGE", &SnppSession::Mess, "MESSage <text>"},
    {"DATA", &SnppSession::BeginData, "DATA (a text of several lines)"},
    {"SEND", &SnppSession::Send, "SEND"},
    {"RESET", &SnppSession::Rese, "RESEt"},
    {"SUBJECT", &SnppSession::Subj, "SUBJect <text before the text>"},
    {"CALLERID", &SnppSession::Call, "CALLerid <sender>"},
    {"HOLDUNTIL", &SnppSession::Hold, "HOLDuntil <YYMMDDHHMMSS> [+-GMTdifference]"},
    {"LEVEL", &SnppSession::Leve, "LEVEl <0, the most urgent, to 7>"},
    {"PRIORITY", &SnppSession::Prio, "PRIOrity <0, the most urgent, to 9>"},
    {"ALERT", &SnppSession::Aler, "ALERt <0|1> (the pager decides)"},
    {"LOGIN", &SnppSession::Logi, "LOGIn <name> [token]"},
    {"HELP", &SnppSession::Help, "HELP"},
    {"QUIT", &SnppSession::Quit, "QUIT"},
};

SnppSession::SnppSession(SnppSink& sink, std::string (*fresh_id)())
    : sink_(sink), fresh_id_(fresh_id) {}

std::string SnppSession::Greeting() const { return Line("220 SNPP gateway ready"); }

std::string SnppSession::Farewell() { return Line("421 Gateway service is closing"); }

std::string SnppSession::Take(const std::string& line) {
  if (over_) return {};
  return data_ ? Data(*data_, line) : Command(line);
}

std::string SnppSession::Command(const std::string& line) {
  if (line.size() > kLongestLine) return Bad("500 Line too long");
  const std::size_t blank = std::min(line.find(' '), line.size());
  const std::string name = Upper(line.substr(0, blank));
  const std::string rest = Trim(Cleaned(line.substr(blank)));
  for (const Word& word : kWords) {
    const bool is_it = name.size() >= 4 && std::string_view(word.name).starts_with(name);
    if (is_it) return (this->*word.run)(rest);
  }
  if (line.find(" HTTP/") != line.npos) return SendBrowserAway();
  // RFC 1861's answer to every word that is no command here, those of two-way paging included.
  return Bad("500 Command not implemented");
}

/// A web page can have its browser send a form here, with our commands in it.
std::string SnppSession::SendBrowserAway() {
  over_ = true;
  return Line("421 This is no web server");
}

/// An error; who makes too many is sent away.
std::string SnppSession::Bad(const std::string& code_and_text) {
  if (++errors_ < kMostErrors) return Line(code_and_text);
  over_ = true;
  return Line("421 Too many errors, quitting");
}

std::string SnppSession::Page(const std::string& rest) {
  if (!logged_in_ && !sink_.IsOpen()) return Bad("550 Log in first");
  if (rest.empty()) return Bad("550 Error, no pager ID");
  if (page_.to.size() >= kMostRecipients) return Bad("552 Too many recipients");
  const auto [to, obstacle] = sink_.Find(rest);
  if (!obstacle.empty()) return Bad("550 Error, " + obstacle);
  page_.to.push_back(to);
  return Line("250 Pager ID accepted");
}

std::string SnppSession::Mess(const std::string& rest) {
  if (has_text_) return Bad("503 Error, message already entered");
  if (rest.empty()) return Bad("550 Error, the message is empty");
  page_.text = rest;
  has_text_ = true;
  return Line("250 Message OK");
}

std::string SnppSession::BeginData(const std::string&) {
  if (has_text_) return Bad("503 Error, message already entered");
  data_.emplace();
  data_is_too_long_ = false;
  return Line("354 Begin input; end with <CRLF>.<CRLF>");
}

/// A line that begins with a dot has had one put before it.
std::string SnppSession::Data(std::string& text, const std::string& line) {
  if (line == ".") return EndData(Trim(Cleaned(text)));
  const std::string more = line.starts_with('.') ? line.substr(1) : line;
  data_is_too_long_ = data_is_too_long_ || text.size() + more.size() >= kLongestText;
  if (!data_is_too_long_) text += more + " ";
  return {};
}

std::string SnppSession::EndData(const std::string& text) {
  data_.reset();
  if (data_is_too_long_) return Bad("550 Error, the message is too long");
  return Mess(text);
}

std::string SnppSession::Send(const std::string&) {
  if (page_.to.empty() || !has_text_) return Bad("503 Error, pager ID or message incomplete");
  PageRequest page = page_;
  if (!subject_.empty()) page.text = subject_ + ": " + page.text;
  if (page_.id.empty()) page_.id = fresh_id_();
  page.id = page_.id;
  page.fit = "yes";
  const auto [end, sentence] = sink_.Send(page);
  if (end == SnppSink::End::kRefused) return Bad("554 Message failed: " + sentence);
  if (end == SnppSink::End::kUnavailable) {
    over_ = true;
    return Line("421 Gateway service unavailable: " + sentence);
  }
  Rese("");
  return Line("250 Message queued, " + sentence);
}

std::string SnppSession::Rese(const std::string&) {
  page_ = {};
  subject_.clear();
  has_text_ = false;
  return Line("250 Reset OK");
}

std::string SnppSession::Quit(const std::string&) {
  over_ = true;
  return Line("221 OK, goodbye");
}

std::string SnppSession::Help(const std::string&) {
  std::string text;
  for (const Word& word : kWords) text += Line(std::string("214 ") + word.help);
  return text + Line("250 End of help information");
}

std::string SnppSession::Logi(const std::string& rest) {
  const std::size_t blank = std::min(rest.find(' '), rest.size());
  logged_in_ = sink_.LogIn(rest.substr(0, blank), Trim(rest.substr(blank)));
  if (!logged_in_) return Bad("550 Error, invalid login or token");
  return Line("250 Login accepted");
}

std::string SnppSession::Leve(const std::string& rest) {
  const auto level = SmallNumber(rest, static_cast<int>(kPriorityOfLevel.size()));
  if (!level) return Bad("550 Error, the service level must be 0 to 7");
  page_.priority = std::to_string(kPriorityOfLevel.at(static_cast<std::size_t>(*level)));
  return Line("250 OK, service level accepted");
}

std::string SnppSession::Prio(const std::string& rest) {
  const auto priority = SmallNumber(rest, dispatch::kLastPriority + 1);
  if (!priority) return Bad("550 Error, the priority must be 0 to 9");
  page_.priority = std::to_string(*priority);
  return Line("250 OK, priority accepted");
}

/// Clients give up a page whose ALERt is refused, so it is taken, though it changes nothing.
std::string SnppSession::Aler(const std::string& rest) {
  if (!SmallNumber(rest, 2)) return Bad("550 Error, ALERt takes 0 or 1");
  return Line("250 OK, but the pager alerts as it is set");
}

std::string SnppSession::Hold(const std::string& rest) {
  const auto moment = ReadSnppMoment(rest);
  if (!moment) return Bad("550 Error, invalid date or time");
  const std::time_t seconds = *moment;
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
  page_.not_before = text;
  return Line("250 Delayed messaging selected");
}

std::string SnppSession::Call(const std::string& rest) {
  const bool fits = !rest.empty() && rest.find('/') == rest.npos;
  if (!fits) return Bad("550 Error, invalid caller ID");
  page_.from = rest;
  return Line("250 Caller ID accepted");
}

std::string SnppSession::Subj(const std::string& rest) {
  subject_ = rest;
  return Line("250 Message subject accepted");
}

}  // namespace mvsms::gateway
