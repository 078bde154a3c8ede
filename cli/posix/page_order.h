// From a page as somebody asks for it to the pages of the queue: options checked, recipients
// routed, texts fitted. The one place for it, whichever door the page comes in by.
#pragma once

#include <string>
#include <vector>

#include "cli/context.h"
#include "dispatch/queue.h"
#include "gateway/page_request.h"

namespace mvsms::cli {

/// What is wrong with a field of a request ("not_before"), in a sentence that begins with its name.
class WrongField : public UsageError {
 public:
  WrongField(const std::string& field, const std::string& sentence)
      : UsageError(sentence), field_(field) {}
  const std::string& field() const { return field_; }

 private:
  std::string field_;
};

/// What a field is called in the sentences: on a command line by its option.
using FieldName = std::string (*)(const std::string& field);

/// Why nothing can be sent to one of the recipients, or to a part of a group.
struct Obstacle {
  std::string recipient;
  std::string reason;  // UTF-8
  int exit_code = kExitAccepted;
  /// The others of the group are paged all the same, whatever the door does otherwise.
  bool of_group = false;
};

/// The pages of a request, in the context's profile, with a page for each number of a group; those
/// that cannot be sent are obstacles instead. `fits` is whether the texts are shortened and spelt
/// anew; what was changed is told on the error stream unless `quiet`. That the settings can be read
/// is for the caller to have checked: here a setting that cannot is none. Throws WrongField.
std::vector<dispatch::Page> PagesOf(Context& context, const gateway::PageRequest& request,
                                    bool fits, bool quiet, FieldName name,
                                    std::vector<Obstacle>& obstacles);

}  // namespace mvsms::cli
