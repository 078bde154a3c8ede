// The whole state as one document: what `mvsms apply` reads and `mvsms apply --export` writes.
//
//   {"format": "mvsms state", "version": 1,
//    "modems": {NAME: {"kind": …, "device": …, …}},
//    "profiles": {NAME: {"settings": {NAME: VALUE}, "services": {NAME: {NAME: VALUE}},
//                        "routes": {PREFIX: SERVICE}}}}
//
// Every part may be missing. A value is a text or a whole number. Names are those of the settings
// table and of the options of `mvsms modem add`.
#pragma once

#include <vector>

#include "cli/context.h"

namespace mvsms::cli {

enum class Passwords { kLeftOut, kIncluded };

/// The state as it is. What nobody has set is left out.
Json StateDocument(Context& context, Passwords passwords);

/// Makes the state what the document says: what it names is added or changed, and stays as it is
/// otherwise; with `prune` what it does not name goes, where the document has a list of that kind.
/// A password that it does not name stays. A value that is stored already is not checked again, so
/// that an export can always be applied. Throws UsageError with the place, as a JSON pointer; then
/// part of the changes was made, and the caller takes them back.
void WriteState(Context& context, const Json& document, bool prune);

/// One value that two states differ in, by its JSON pointer.
struct Difference {
  std::string place;
  std::string before;  // as JSON; empty: there was none
  std::string after;
};

/// What is different in the second document, with passwords hidden.
std::vector<Difference> Differences(const Json& before, const Json& after);

}  // namespace mvsms::cli
