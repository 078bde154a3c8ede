// Trying a modem without sending anything.
#pragma once

#include <string>

#include "backends/posix/store/line_store.h"
#include "cli/context.h"

namespace mvsms::cli {

/// Opens a hayes line as a call does, asks the modem for its answers to "AT" and the
/// initialisation, and returns the finding as a sentence. Throws Failure naming the device when it
/// cannot be opened, is in use, does not do the framing, or does not answer within three seconds.
/// A modem that answers rests no more.
std::string AskModem(Context& context, const posix::LineConfig& line);

/// What a test is to do, in UTF-8.
struct TestOrder {
  std::string number;   // to dial; empty: the service's
  std::string service;  // whose centre is called; empty: none
  bool fix = false;     // sets what was proved
};

/// Looks for what is wrong with a line, or with each modem of a pool, prints it, and sets the
/// context's exit code: 0 nothing, or all was set; 78 a setting is wrong; 75 it ends by itself, as
/// when the modem is in use or the number busy; 1 anything else.
void TestModem(Context& context, const posix::LineConfig& line, const TestOrder& order);

}  // namespace mvsms::cli
