// Error traps of the user interface: a procedure is a sequence of statements, and when one of them
// fails the user decides whether to execute it again, to skip it, or to leave the procedure.
//
//   RunProcedure(platform, "frmEditRoute", "FillServices", [&](Procedure& statement) {
//     statement([&] { cmbService.Clear(); });
//     const auto names = statement([&] { return ServiceNames(); });
//     for (const std::string& name : names) statement([&] { cmbService.AddItem(name); });
//   });
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <type_traits>

#include "base/guard.h"
#include "base/raised_error.h"
#include "diagnostics/baserrhandling.h"

namespace mvsms {

class Procedure {
 public:
  /// Thrown to leave the procedure; caught by RunProcedure, so that no handler ever sees it.
  struct Left {};

  Procedure(Platform& platform, const char* module, const char* name)
      : platform_(platform), module_(module), name_(name) {}

  /// Executes one statement and returns its result; one that is skipped gives a value of its type
  /// that was never set: empty, 0, false.
  template <class Statement>
  auto operator()(Statement statement) -> std::invoke_result_t<Statement> {
    using Result = std::invoke_result_t<Statement>;
    for (;;) {
      try {
        return statement();
      } catch (const Left&) {
        throw;  // from a statement within this one
      } catch (const RaisedError& error) {
        if (Ask(error.number(), error.description())) continue;
      } catch (const std::exception& error) {
        if (Ask(kErrUnnumbered, error.what())) continue;
      }
      if constexpr (std::is_void_v<Result>) {
        return;
      } else {
        return Result{};
      }
    }
  }

 private:
  /// True to retry, false to go on; throws Left otherwise.
  bool Ask(std::int32_t number, const std::string& description) {
    const auto answer =
        basErrHandling::GlobalErrorHandler(platform_, module_, name_, number, description, 0);
    if (answer == basErrHandling::kAbort) throw Left{};
    return answer == basErrHandling::kRetry;
  }

  Platform& platform_;
  const char* module_;
  const char* name_;
};

/// Runs a procedure whose statements go through the given Procedure object. Never throws.
template <class Body>
void RunProcedure(Platform& platform, const char* module, const char* name, Body body) {
  Procedure statement(platform, module, name);
  try {
    statement([&] { body(statement); });
  } catch (const Procedure::Left&) {
    // As the user wanted.
  }
}

/// Runs a statement of a procedure that ignores its errors and goes on.
template <class Statement>
void ResumeNext(Statement statement) {
  try {
    statement();
  } catch (const std::exception&) {
    // The next statement follows.
  }
}

}  // namespace mvsms
