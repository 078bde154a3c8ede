// One attempt of `mvsms send`: the progress as it comes, and in the end what became of the message:
// an exit code, one sentence, or a JSON object.
#pragma once

#include <optional>
#include <string>

#include "cli/context.h"

namespace mvsms::cli {

/// What a command line asks for; UTF-8.
struct SendOptions {
  std::string to;
  std::string from;
  std::string service;
  std::string log;
  std::string text;
  std::string timeout;  // seconds; empty: none
  std::string wait;     // seconds, for a modem in use; empty: not at all
  bool quiet = false;
  bool one_of_several = false;  // what is said of it names the recipient
  int* signal = nullptr;        // that ended a send of this command, for those that follow; 0: none
  bool dry_run = false;
  std::optional<bool> fit;  // as asked for; nothing: as the settings have it
};

/// Whether an exit code is better news than another one: 0, 75, 76, 1, 65, 78, the end by a signal.
bool ByWeight(int exit_code, int other);

/// Sends `options.text`, when its turn has come, prints its progress and its end, and returns the
/// exit code. Throws UsageError when the options contradict themselves, before anything is sent.
int SendOnce(Context& context, const SendOptions& options);

}  // namespace mvsms::cli
