// See repeats.h.
#include "dispatch/repeats.h"

#include <algorithm>
#include <cstddef>

#include "base/ansi.h"
#include "base/texts.h"
#include "dispatch/fit.h"

namespace mvsms::dispatch {

std::string TellRepeats(const std::string& text, std::int32_t more, const ServiceRecord& service) {
  if (more < 1 || service.MaxLength < 1) return text;
  const std::string words = "(+" + std::to_string(more) + " more)";
  const auto piece = static_cast<std::size_t>(service.MaxLength);
  const std::size_t room = std::max<std::size_t>((text.size() + piece - 1) / piece, 1) * piece;
  const bool carried = Fit(Utf8FromAnsi(words), service).text == words;
  if (!carried || room < 2 * words.size()) return text;
  return Trim(text.substr(0, room - words.size() - 1)) + ' ' + words;
}

}  // namespace mvsms::dispatch
