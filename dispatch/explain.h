// Explaining what goes over the line: each byte of a frame or an answer with the field that it
// belongs to, in words. Damaged and cut-off frames are explained as far as they go.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mvsms::dispatch {

/// Bytes that belong together.
struct ExplainedField {
  std::string bytes;    // as they came, the separator behind a field included
  std::string name;     // "STX", "AdC", "message"
  std::string meaning;  // in UTF-8; a text as its reader sees it may hold line ends
  bool secret = false;  // holds a password: whoever shows the field hides it
};

/// A frame, or what stands between two frames.
struct Explanation {
  std::string what;                    // in one line
  std::vector<ExplainedField> fields;  // in their order, without gap
  std::vector<std::string> faults;     // what is wrong with it, a sentence each
};

/// Explains any bytes. The bytes of all fields of all parts, one after the other, are `bytes`.
std::vector<Explanation> Explain(std::string_view bytes);

/// The bytes that a line of a send log shows, or any text in its notation: "<STX>", "<1B>". What
/// the log puts before a frame or an answer is left out; a login gets back the control characters
/// that it has on the line.
std::string BytesInLog(std::string_view text);

}  // namespace mvsms::dispatch
