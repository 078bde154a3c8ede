// Two steps that know nothing of each other: spelling, character by character, and layout, which
// only counts.
#include "dispatch/fit.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/ansi.h"
#include "base/texts.h"
#include "dispatch/notation.h"
#include "dispatch/reader.h"
#include "dispatch/spellings.h"

namespace mvsms::dispatch {
namespace {

// --- Spelling.

constexpr std::string_view kUnknown = "?";

std::string_view SpeltByRun(char32_t point) {
  for (const LetterRun& run : kRuns) {
    if (point >= run.first && point - run.first < run.letters.size()) {
      return run.letters.substr(point - run.first, 1);
    }
  }
  return kUnknown;
}

std::optional<std::string_view> SpeltByList(std::string_view character) {
  for (const auto& list :
       {std::span<const Spelling>(kCodePageSpellings), std::span<const Spelling>(kLetterSpellings),
        std::span<const Spelling>(kSignSpellings)}) {
    const auto found = std::find_if(list.begin(), list.end(), [&](const Spelling& spelling) {
      return spelling.character == character;
    });
    if (found != list.end()) return found->letters;
  }
  return std::nullopt;
}

std::string_view Spelt(const Utf8Character& character) {
  if (const auto letters = SpeltByList(character.bytes)) return *letters;
  for (const Range& unseen : kUnseen) {
    if (character.point >= unseen.first && character.point <= unseen.last) return {};
  }
  // A control character of the code page does nothing on a display but leave a gap.
  return character.point < 0xA0 ? " " : SpeltByRun(character.point);
}

/// A text as it is sent, and the spellings in it, each once.
struct Spelled {
  std::string text;
  std::vector<Spelling> spellings;
};

/// Whether the reader sees the character itself; `ansi` is its form in the code page, if any.
bool IsCarried(std::string_view character, std::string_view ansi, const ServiceRecord& service) {
  return Utf8FromAnsi(ansi) == character && AsRead(ansi, service) == character;
}

void Note(std::vector<Spelling>& spellings, const Spelling& spelling) {
  const bool known = std::any_of(spellings.begin(), spellings.end(), [&](const Spelling& s) {
    return s.character == spelling.character;
  });
  if (!known) spellings.push_back(spelling);
}

Spelled Spell(std::string_view utf8, const ServiceRecord& service) {
  Spelled spelled;
  for (const Utf8Character& character : Utf8Characters(utf8)) {
    const std::string ansi = AnsiFromUtf8(character.bytes);
    if (IsCarried(character.bytes, ansi, service)) {
      spelled.text += ansi;
      continue;
    }
    const std::string_view letters = Spelt(character);
    spelled.text += letters;
    Note(spelled.spellings, {character.bytes, letters});
  }
  spelled.text = Trim(spelled.text);
  return spelled;
}

// --- Layout.

/// The room that a service has: pieces of so many characters, and so many of them.
struct Room {
  std::size_t length;
  std::size_t pieces;
  std::size_t All() const {
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    return length > kMost / pieces ? kMost : length * pieces;
  }
};

struct LaidOut {
  std::string text;
  std::string change;
};

std::string Prefix(std::size_t number, std::size_t count) {
  return std::to_string(number) + "/" + std::to_string(count) + " ";
}

/// Numbers are worth it only where they leave more room than they take.
bool CanBeNumbered(std::size_t length, std::size_t count) {
  return count > 1 && Prefix(count, count).size() * 2 <= length;
}

std::size_t NumberedLength(std::size_t size, std::size_t count) {
  for (std::size_t number = 1; number <= count; ++number) size += Prefix(number, count).size();
  return size;
}

/// How many numbered pieces a text of `size` takes, or 0 when it takes more than there may be. More
/// pieces need longer numbers, so that the count is approached from below.
std::size_t PiecesFor(std::size_t size, const Room& room) {
  const auto pieces_of = [&](std::size_t characters) {
    return (characters + room.length - 1) / room.length;
  };
  std::size_t count = pieces_of(size);
  while (count <= room.pieces && CanBeNumbered(room.length, count)) {
    const std::size_t needed = pieces_of(NumberedLength(size, count));
    if (needed == count) return count;
    count = needed;
  }
  return 0;
}

bool IsNumbered(std::string_view text, const Room& room) {
  const std::size_t count = (text.size() + room.length - 1) / room.length;
  for (std::size_t number = 1; number <= count; ++number) {
    if (!text.substr((number - 1) * room.length).starts_with(Prefix(number, count))) return false;
  }
  return true;
}

/// The text in `count` pieces, each behind its number, as far as they hold it.
std::string Numbered(std::string_view text, std::size_t length, std::size_t count) {
  std::string numbered;
  for (std::size_t number = 1; number <= count; ++number) {
    const std::string prefix = Prefix(number, count);
    const std::size_t taken = std::min(length - prefix.size(), text.size());
    numbered.append(prefix).append(text.substr(0, taken));
    text.remove_prefix(taken);
  }
  return numbered;
}

/// Puts the mark in place of the end, where there is room for both.
std::string Marked(std::string text) {
  if (text.size() > kCutMark.size()) {
    text.replace(text.size() - kCutMark.size(), kCutMark.size(), kCutMark);
  }
  return Trim(text);
}

std::string NumberNote(std::size_t count) {
  return "numbered 1/" + std::to_string(count) + " to " + std::to_string(count) + "/" +
         std::to_string(count);
}

LaidOut Cut(std::string_view text, const Room& room) {
  const std::string note = "cut, " + std::to_string(text.size()) + " characters do not fit in " +
                           std::to_string(room.All());
  if (!CanBeNumbered(room.length, room.pieces)) {
    return {Marked(std::string(text.substr(0, room.All()))), note};
  }
  return {Marked(Numbered(text, room.length, room.pieces)), note + "; " + NumberNote(room.pieces)};
}

/// The fewest losses win: whole and numbered, else whole, else cut.
LaidOut LayOut(std::string_view text, const Room& room) {
  const std::string whole(text);
  if (text.size() <= room.length) return {whole, {}};
  if (text.size() <= room.All() && IsNumbered(text, room)) return {whole, {}};
  if (const std::size_t count = PiecesFor(text.size(), room)) {
    return {Numbered(text, room.length, count), NumberNote(count)};
  }
  return text.size() <= room.All() ? LaidOut{whole, {}} : Cut(text, room);
}

LaidOut LayOutDigits(const std::string& digits, const Room& room) {
  if (digits.size() <= room.All()) return {digits, {}};
  return {digits.substr(0, room.All()), "cut after " + std::to_string(room.All()) + " digits"};
}

// --- The line that tells.

constexpr std::size_t kSpellingsTold = 6;

void Append(std::string& line, std::string_view note) {
  if (note.empty()) return;
  if (!line.empty()) line += "; ";
  line += note;
}

/// What steers a terminal, and what is no character, in notation.
std::string Quoted(std::string_view character) {
  const char32_t point = character.empty() ? U' ' : Utf8Characters(character).front().point;
  const bool readable = point >= 0xA0 ? point != kMalformed : point >= ' ' && point < 0x7F;
  return "\"" + (readable ? std::string(character) : NotationOf(character)) + "\"";
}

std::string SpellingNote(const std::vector<Spelling>& spellings) {
  std::string note;
  const std::size_t told = std::min(spellings.size(), kSpellingsTold);
  for (const Spelling& spelling : std::span(spellings).first(told)) {
    if (!note.empty()) note += ", ";
    note += Quoted(spelling.character) + " as " + Quoted(spelling.letters);
  }
  if (spellings.size() > told) {
    note += " and " + std::to_string(spellings.size() - told) + " more";
  }
  return note;
}

Fitted FitDigits(std::string_view utf8, const Room& room) {
  const std::string text = Trim(utf8);
  const std::string digits = KeepDigits(text);
  LaidOut laid_out = LayOutDigits(digits, room);
  std::string change = digits == text ? "" : "only the digits, for a numeric service";
  Append(change, laid_out.change);
  return {std::move(laid_out.text), std::move(change)};
}

bool KnowsItsWay(const ServiceRecord& service) {
  const bool protocol = service.Protocol == "TAP" || service.Protocol == "UCP";
  return protocol && service.MaxLength > 0 && service.MaxMessages > 0;
}

}  // namespace

Fitted Fit(std::string_view utf8, const ServiceRecord& service) {
  if (!KnowsItsWay(service)) return {Trim(AnsiFromUtf8(utf8)), {}};
  const Room room{static_cast<std::size_t>(service.MaxLength),
                  static_cast<std::size_t>(service.MaxMessages)};
  if (service.MessageType == kMessageTypeNumeric) return FitDigits(utf8, room);
  if (service.MessageType != kMessageTypeAlphanumeric) return {Trim(AnsiFromUtf8(utf8)), {}};
  const Spelled spelled = Spell(utf8, service);
  LaidOut laid_out = LayOut(spelled.text, room);
  std::string change = SpellingNote(spelled.spellings);
  Append(change, laid_out.change);
  return {std::move(laid_out.text), std::move(change)};
}

}  // namespace mvsms::dispatch
