// mvsms explain: frames and answers out of any log, field by field.
#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <iterator>
#include <memory>
#include <span>
#include <string>

#include "base/texts.h"
#include "cli/commands.h"
#include "cli/explanation.h"
#include "cli/json.h"
#include "dispatch/notation.h"

namespace mvsms::cli {
namespace {

using dispatch::ExplainedField;
using dispatch::Explanation;

std::string Shown(const ExplainedField& field) {
  return field.secret ? kHiddenPassword : dispatch::NotationOf(field.bytes);
}

bool IsEmptyField(const ExplainedField& field) { return field.bytes == "/"; }

/// Fields that belong in one line: those that are empty, up to the next one that is not.
std::size_t LineLength(std::span<const ExplainedField> fields) {
  const auto end = std::find_if_not(fields.begin(), fields.end(), IsEmptyField);
  return std::max<std::size_t>(1, static_cast<std::size_t>(end - fields.begin()));
}

void PrintLine(Context& context, std::size_t at, const std::string& name, const std::string& bytes,
               const std::string& meaning) {
  context.out << std::right << std::setw(6) << at << "  " << std::left << std::setw(12) << name
              << ' ' << std::setw(14) << bytes;
  if (!meaning.empty()) context.out << "  " << Printable(meaning);
  context.out << std::right << '\n';
}

void PrintFields(Context& context, std::span<const ExplainedField> fields, std::size_t& at) {
  while (!fields.empty()) {
    const std::size_t count = LineLength(fields);
    const ExplainedField& first = fields.front();
    if (count == 1) {
      PrintLine(context, at, first.name, Shown(first), first.meaning);
    } else {
      PrintLine(context, at, first.name + "-" + fields[count - 1].name, std::string(count, '/'),
                std::to_string(count) + " empty fields");
    }
    for (const ExplainedField& field : fields.first(count)) at += field.bytes.size();
    fields = fields.subspan(count);
  }
}

Json FieldAsJson(const ExplainedField& field, std::size_t at) {
  return {{"at", at}, {"bytes", Shown(field)}, {"name", field.name}, {"meaning", field.meaning}};
}

/// The standard input line by line: a log, or a frame alone.
std::vector<std::string> ReadLines(std::istream& in) {
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  return Split(text, '\n');
}

void Run(Context& context, const std::string& frame) {
  const std::vector<std::string> lines =
      frame == "-" ? ReadLines(context.in) : std::vector<std::string>{frame};
  std::vector<Explanation> parts;
  for (const std::string& line : lines) {
    for (Explanation& part : dispatch::Explain(dispatch::BytesInLog(line)))
      parts.push_back(std::move(part));
  }
  if (parts.empty()) throw UsageError("there is no frame to explain");
  if (context.json) return context.PrintJson({{"parts", ExplanationsAsJson(parts)}});
  PrintExplanations(context, parts);
}

}  // namespace

void PrintExplanations(Context& context, const std::vector<Explanation>& parts) {
  std::size_t at = 0;
  for (const Explanation& part : parts) {
    context.out << part.what << '\n';
    PrintFields(context, part.fields, at);
    for (const std::string& fault : part.faults) context.out << "     !  " << fault << '\n';
  }
}

Json ExplanationsAsJson(const std::vector<Explanation>& parts) {
  Json list = Json::array();
  std::size_t at = 0;
  for (const Explanation& part : parts) {
    Json fields = Json::array();
    for (const ExplainedField& field : part.fields) {
      fields.push_back(FieldAsJson(field, at));
      at += field.bytes.size();
    }
    list.push_back({{"what", part.what}, {"fields", fields}, {"faults", part.faults}});
  }
  return list;
}

void AddExplainCommand(Command& app, Context& context) {
  auto frame = std::make_shared<std::string>();
  Command* const command =
      AddCommand(app, context, "explain", "Explain a frame or an answer of TAP or UCP",
                 "  mvsms explain '<STX>00/00033/R/01/N/06/AdC invalid/F5<ETX>'\n"
                 "  mvsms explain '511 Unknown pager<CR><RS><CR>' --json\n"
                 "  mvsms log | grep 'Response received' | mvsms explain -\n"
                 "Control characters are written <STX>, <CR> or <1B>, as in the log.");
  command->AddOption("FRAME", *frame, "The bytes, or a line of a log; \"-\" reads lines")
      ->Required();
  command->Callback([&context, frame] { Run(context, *frame); });
}

}  // namespace mvsms::cli
