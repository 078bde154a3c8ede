// See alerts.h. The engine of the templates is ctemplate: it has values and sections and nothing
// that could run.
#include "gateway/alerts.h"

#include <ctemplate/template.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "gateway/digest.h"
#include "gateway/json.h"

namespace mvsms::gateway {
namespace {

using ctemplate::TemplateDictionary;

constexpr char kEveryReceiver[] = "default";
constexpr char kResolved[] = "resolved";
constexpr char kTemplateEnd[] = ".tpl";
constexpr std::size_t kMostAlerts = 1000;
constexpr std::size_t kLongestText = 2000;  // bytes, before it is fitted to a service

constexpr char kBuiltIn[] =
    "{{#IF_RESOLVED}}OK: {{/IF_RESOLVED}}{{TITLE}}"
    "{{#ALERT}} {{LABEL_instance}}{{#IF_SUMMARY}} {{ANNOTATION_summary}}{{/IF_SUMMARY}}"
    "{{#ALERT_separator}},{{/ALERT_separator}}{{/ALERT}}";

std::string TextOf(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

Json ObjectOf(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_object() ? *found : Json::object();
}

/// A marker of templates consists of letters, digits and "_".
std::string Marker(const std::string& prefix, const std::string& name) {
  std::string marker = prefix + name;
  std::replace_if(
      marker.begin(), marker.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return marker;
}

void SetAll(TemplateDictionary& dictionary, const std::string& prefix, const Json& values) {
  for (const auto& [name, value] : values.items()) {
    const std::string text = value.is_string() ? value.get<std::string>() : JsonText(value);
    dictionary.SetValue(Marker(prefix, name), text);
  }
}

bool IsResolved(const Json& object) { return TextOf(object, "status") == kResolved; }

void SetStatus(TemplateDictionary& dictionary, const Json& object) {
  dictionary.SetValue("STATUS", TextOf(object, "status"));
  dictionary.ShowSection(IsResolved(object) ? "IF_RESOLVED" : "IF_FIRING");
}

void AddAlert(TemplateDictionary& whole, const Json& alert) {
  TemplateDictionary& dictionary = *whole.AddSectionDictionary("ALERT");
  const Json annotations = ObjectOf(alert, "annotations");
  SetStatus(dictionary, alert);
  SetAll(dictionary, "LABEL_", ObjectOf(alert, "labels"));
  SetAll(dictionary, "ANNOTATION_", annotations);
  dictionary.SetValue("STARTS", TextOf(alert, "startsAt"));
  if (!TextOf(annotations, "summary").empty()) dictionary.ShowSection("IF_SUMMARY");
}

std::string TitleOf(const Json& notification, const Json& alert) {
  for (const Json& labels : {ObjectOf(notification, "commonLabels"), ObjectOf(alert, "labels")}) {
    if (const std::string name = TextOf(labels, "alertname"); !name.empty()) return name;
  }
  const std::string title = TextOf(notification, "title");
  return title.empty() ? "alert" : title;
}

/// In one line, without the blanks that templates and annotations are laid out with.
std::string InOneLine(const std::string& text) {
  std::istringstream words(text);
  std::string line, word;
  while (words >> word && line.size() < kLongestText) line += (line.empty() ? "" : " ") + word;
  if (line.size() <= kLongestText) return line;
  std::size_t end = kLongestText;  // not within a character
  while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;
  return line.substr(0, end);
}

std::string HexOf(const Digest& digest, std::size_t bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (std::size_t i = 0; i < bytes; ++i) {
    hex += {kDigits[digest.at(i) >> 4], kDigits[digest.at(i) & 0xF]};
  }
  return hex;
}

/// What distinguishes these alerts, in this state, for this recipient, from all others.
std::string IdOf(const Json& notification, const std::vector<Json>& alerts,
                 const PageRequest& page) {
  std::string all = TextOf(notification, "receiver") + '\n' + TextOf(notification, "groupKey") +
                    '\n' + page.to.front() + '\n' + page.profile + '\n' + page.service + '\n' +
                    page.text + '\n';
  for (const Json& alert : alerts) {
    all += TextOf(alert, "fingerprint") + TextOf(alert, "status") + TextOf(alert, "startsAt") +
           TextOf(alert, "endsAt") + '\n';
  }
  return "alert-" + HexOf(DigestOf(all), 12);
}

bool Yes(const HttpRequest& request, const char* name) {
  const std::string value = request.Query(name);
  if (!value.empty() && value != "yes" && value != "no") {
    throw WrongFields(name, std::string(name) + " must be yes or no");
  }
  return value == "yes";
}

std::vector<Json> AlertsOf(const Json& notification, bool resolved) {
  const auto found = notification.is_object() ? notification.find("alerts") : notification.end();
  if (!notification.is_object() || found == notification.end() || !found->is_array()) {
    throw WrongFields("alerts", "alerts is missing: a list of alerts");
  }
  if (found->size() > kMostAlerts) throw WrongFields("alerts", "there are too many alerts");
  std::vector<Json> alerts;
  for (const Json& alert : *found) {
    if (!alert.is_object()) throw WrongFields("alerts", "an alert must be an object");
    if (resolved || !IsResolved(alert)) alerts.push_back(alert);
  }
  return alerts;
}

/// The page without recipient, text and id.
PageRequest PageFor(const HttpRequest& request) {
  return {.to = {},
          .text = {},
          .from = request.Query("from"),
          .service = request.Query("service"),
          .profile = request.Query("profile"),
          .priority = request.Query("priority"),
          .expires = request.Query("expires"),
          .not_before = {},
          .id = {},
          .fit = "yes"};
}

}  // namespace

AlertTemplates::AlertTemplates() { Add(kEveryReceiver, kBuiltIn, ""); }

AlertTemplates::AlertTemplates(const std::string& folder) : AlertTemplates() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::filesystem::path& path = entry.path();
    if (path.extension() != kTemplateEnd) continue;
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) throw std::runtime_error("the template " + path.string() + " cannot be read");
    Add(path.stem().string(), text.str(), path.string());
  }
  if (error) throw std::runtime_error("the templates in " + folder + ": " + error.message());
}

AlertTemplates::~AlertTemplates() = default;
AlertTemplates::AlertTemplates(AlertTemplates&&) noexcept = default;
AlertTemplates& AlertTemplates::operator=(AlertTemplates&&) noexcept = default;

void AlertTemplates::Add(const std::string& receiver, const std::string& text,
                         const std::string& file) {
  std::unique_ptr<ctemplate::Template> made(
      ctemplate::Template::StringToTemplate(text, ctemplate::DO_NOT_STRIP));
  if (!made) throw std::runtime_error("the template " + file + " is wrong: see the line above");
  templates_.insert_or_assign(receiver, std::move(made));
}

std::string AlertTemplates::Text(const Json& notification, const std::vector<Json>& alerts) const {
  const std::string receiver = TextOf(notification, "receiver");
  const auto own = templates_.find(receiver);
  const auto& chosen = own != templates_.end() ? own->second : templates_.at(kEveryReceiver);
  const auto resolved = std::ranges::count_if(alerts, IsResolved);
  TemplateDictionary dictionary("notification");
  SetStatus(dictionary, std::cmp_equal(resolved, alerts.size()) ? Json{{"status", kResolved}}
                                                                : Json{{"status", "firing"}});
  dictionary.SetValue("RECEIVER", receiver);
  dictionary.SetValue("TITLE", TitleOf(notification, alerts.front()));
  dictionary.SetValue("MESSAGE", TextOf(notification, "message"));
  dictionary.SetIntValue("ALERTS", static_cast<long>(alerts.size()));
  dictionary.SetIntValue("RESOLVED", static_cast<long>(resolved));
  dictionary.SetIntValue("FIRING", static_cast<long>(alerts.size()) - static_cast<long>(resolved));
  SetAll(dictionary, "LABEL_", ObjectOf(notification, "commonLabels"));
  SetAll(dictionary, "ANNOTATION_", ObjectOf(notification, "commonAnnotations"));
  SetAll(dictionary, "GROUP_", ObjectOf(notification, "groupLabels"));
  for (const Json& alert : alerts) AddAlert(dictionary, alert);
  std::string text;
  chosen->Expand(&text, &dictionary);
  return InOneLine(text);
}

std::vector<PageRequest> PagesOfAlerts(const Json& notification, const HttpRequest& request,
                                       const AlertTemplates& templates) {
  const auto [first, last] = request.query.equal_range("to");
  if (first == last) throw WrongFields("to", "to is missing: ?to=NUMBER");
  const bool each = Yes(request, "each");
  const std::vector<Json> alerts = AlertsOf(notification, Yes(request, "resolved"));
  std::vector<std::vector<Json>> groups;
  for (const Json& alert : alerts) {
    if (each || groups.empty()) groups.emplace_back();
    groups.back().push_back(alert);
  }
  std::vector<PageRequest> pages;
  for (const std::vector<Json>& group : groups) {
    PageRequest page = PageFor(request);
    page.text = templates.Text(notification, group);
    for (auto to = first; to != last; ++to) {
      page.to = {to->second};
      page.id = IdOf(notification, group, page);
      pages.push_back(page);
    }
  }
  return pages;
}

}  // namespace mvsms::gateway
