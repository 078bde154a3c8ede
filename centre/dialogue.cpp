// One row per word of the language, with the parser of its argument.
#include "centre/dialogue.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>

#include "centre/notation.h"
#include "centre/settings.h"

namespace mvsms::centre {
namespace {

using Kind = DialogueStep::Kind;

struct Sentence {
  std::string_view word;
  std::string_view argument;
};

void NeedsNothing(const Sentence& sentence) {
  if (!sentence.argument.empty())
    throw std::invalid_argument("nothing can follow \"" + std::string(sentence.word) + "\"");
}

std::string Bytes(const Sentence& sentence) {
  if (sentence.argument.empty())
    throw std::invalid_argument("bytes must follow \"" + std::string(sentence.word) + "\"");
  return FromNotation(sentence.argument);
}

void Expect(Dialogue& out, const Sentence& s) { out.steps.push_back({Kind::kExpect, Bytes(s)}); }
void Reply(Dialogue& out, const Sentence& s) { out.steps.push_back({Kind::kReply, Bytes(s)}); }

void Any(Dialogue& out, const Sentence& s) {
  out.steps.push_back({Kind::kAny, s.argument.empty() ? "\r" : Bytes(s)});
}

void After(Dialogue& out, const Sentence& s) {
  int delay = 0;
  const auto end = s.argument.data() + s.argument.size();
  const auto read = std::from_chars(s.argument.data(), end, delay);
  if (read.ec != std::errc() || read.ptr != end || delay < 0)
    throw std::invalid_argument("milliseconds must follow \"after\"");
  out.steps.push_back({Kind::kAfter, {}, Millis{delay}});
}

void Discard(Dialogue& out, const Sentence& s) {
  NeedsNothing(s);
  out.steps.push_back({Kind::kDiscard, {}});
}

void HangUp(Dialogue& out, const Sentence& s) {
  NeedsNothing(s);
  out.steps.push_back({Kind::kHangUp, {}});
}

void Protocol(Dialogue& out, const Sentence& s) {
  if (s.argument != "tap" && s.argument != "ucp")
    throw std::invalid_argument("\"tap\" or \"ucp\" must follow \"protocol\"");
  out.protocol = s.argument;
}

void Setting(Dialogue& out, const Sentence& s) {
  Settings trial;
  Set(trial, s.argument);
  out.settings.emplace_back(s.argument);
}

struct Word {
  std::string_view word;
  void (*add)(Dialogue&, const Sentence&);
};
constexpr Word kWords[] = {{"expect", Expect},     {"any", Any},         {"reply", Reply},
                           {"after", After},       {"discard", Discard}, {"hangup", HangUp},
                           {"protocol", Protocol}, {"set", Setting}};

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

void AddLine(Dialogue& out, std::string_view line) {
  const std::size_t blank = std::min(line.find_first_of(" \t"), line.size());
  const Sentence sentence{line.substr(0, blank), Trim(line.substr(blank))};
  for (const Word& word : kWords)
    if (word.word == sentence.word) return word.add(out, sentence);
  throw std::invalid_argument("unknown word \"" + std::string(sentence.word) + "\"");
}

}  // namespace

Dialogue ParseDialogue(std::string_view text, const std::string& name) {
  Dialogue out;
  out.name = name;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = Trim(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() || line.front() == '#') continue;
    try {
      const std::size_t before = out.steps.size();
      AddLine(out, line);
      if (out.steps.size() > before) out.steps.back().line = number;
    } catch (const std::exception& error) {
      throw DialogueError(name + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return out;
}

Dialogue LoadDialogue(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw DialogueError(path + ": cannot be read");
  std::ostringstream text;
  text << file.rdbuf();
  return ParseDialogue(text.str(), path);
}

}  // namespace mvsms::centre
