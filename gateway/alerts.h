// Notifications of monitoring systems: the webhook of Prometheus Alertmanager, which Grafana's is
// alike in what matters here. The text of a page is made by a template, one for each receiver.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/http.h"
#include "gateway/json_fwd.h"
#include "gateway/page_request.h"

namespace ctemplate {
class Template;
}

namespace mvsms::gateway {

class AlertTemplates {
 public:
  /// The one that is built in.
  AlertTemplates();
  /// And those in a folder: NAME.tpl is for the receiver NAME, default.tpl for all others. Throws
  /// std::runtime_error with the file that cannot be used.
  explicit AlertTemplates(const std::string& folder);
  ~AlertTemplates();
  AlertTemplates(AlertTemplates&&) noexcept;
  AlertTemplates& operator=(AlertTemplates&&) noexcept;

  /// The text about these alerts of a notification, in one line. Of any thread.
  std::string Text(const Json& notification, const std::vector<Json>& alerts) const;

 private:
  void Add(const std::string& receiver, const std::string& text, const std::string& file);

  std::map<std::string, std::unique_ptr<ctemplate::Template>> templates_;
};

/// The pages of a notification, one for each recipient. The request's query says to whom (`to`, as
/// often as there are recipients), `service`, `from`, `profile` and `priority`; `each=yes` makes a
/// page of each alert instead of one of all; `resolved=yes` tells of what is over, too. The same
/// notification has the same ids. None when there is nothing to tell. Throws WrongFields when it is
/// no such notification, or nobody is to be told.
std::vector<PageRequest> PagesOfAlerts(const Json& notification, const HttpRequest& request,
                                       const AlertTemplates& templates);

}  // namespace mvsms::gateway
