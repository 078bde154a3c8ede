// A modem by the options that `mvsms modem add` has for it.
#pragma once

#include <optional>
#include <string>

#include "backends/posix/store/line_store.h"
#include "cli/context.h"

namespace mvsms::cli {

/// Options of a modem, in UTF-8: what is not given stays as it was.
struct LineOptions {
  std::string name;
  std::optional<std::string> kind, device, init, dial, speed, framing, flow, members, rest;
  std::optional<std::string> ca, certificate, key, login, password_file;
  bool force = false;       // the device need not be there now
  bool or_replace = false;  // there may be a modem of this name
};

/// Throws UsageError when no modem can have this name.
void CheckModemName(const std::string& name);

/// The line with the options, or a UsageError that says which of them is wrong. The members of a
/// pool must be there.
posix::LineConfig WithOptions(Context& context, posix::LineConfig line, const LineOptions& options);

/// Stores `before` with the options, and returns it. A UsageError, too, for a member of a pool that
/// would be no hayes modem any more.
posix::LineConfig PutModem(Context& context, const LineOptions& options,
                           const posix::LineConfig& before);

/// Deletes a modem. A UsageError when it is a member of a pool.
void DeleteModem(Context& context, const std::string& name);

/// The options by their names, as a document has them.
Json ToJson(const posix::LineConfig& line);

}  // namespace mvsms::cli
