// A little language for the dialogue of one call, seen from the answering side:
//
//     # a centre that takes its time
//     expect <CR>
//     after 2000
//     reply ID=
//     expect <ESC>PG1<CR>
//     hangup
//
//   expect BYTES   exactly these bytes come next
//   any [BYTES]    anything comes, up to and including BYTES (a CR if none are given)
//   reply BYTES    send them
//   after MS       let so many milliseconds pass
//   discard        forget what has come so far
//   hangup         end the call
//   protocol NAME  tap or ucp: a real centre of this protocol holds the same dialogue ...
//   set NAME=VALUE ... with this setting
//
// Bytes are in the notation of control characters; blanks around them are ignored (write <SP>). The
// last two lines are not played: they let one file serve as a script and as a check of the centre.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "centre/line.h"

namespace mvsms::centre {

struct DialogueStep {
  enum class Kind { kExpect, kAny, kReply, kAfter, kDiscard, kHangUp };
  Kind kind;
  std::string bytes;
  Millis delay{0};
  int line = 0;  // in the file, from 1
};

struct Dialogue {
  std::string name;  // of the file
  std::string protocol;
  std::vector<std::string> settings;  // as centre::Set takes them
  std::vector<DialogueStep> steps;
};

/// Something in a dialogue file that cannot be read: "NAME:LINE: what is wrong".
class DialogueError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Reads a dialogue; `name` is the file's, for errors. Throws DialogueError.
Dialogue ParseDialogue(std::string_view text, const std::string& name);

/// Reads a dialogue file. Throws DialogueError, also when the file cannot be read.
Dialogue LoadDialogue(const std::string& path);

}  // namespace mvsms::centre
