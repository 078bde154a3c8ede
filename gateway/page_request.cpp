// See page_request.h. One table says what a page may consist of.
#include "gateway/page_request.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "gateway/json.h"

namespace mvsms::gateway {
namespace {

constexpr int kDeepest = 16;       // objects and lists in each other
constexpr int kMostMembers = 500;  // of an object: each name is compared with all before it

enum class Kind {
  kText,
  kLine,  // without control characters: it stands in frames, lists and logs
  kNumber,
  kSwitch,
};

struct Field {
  const char* name;
  std::string PageRequest::* value;
  Kind kind;
};

constexpr Field kFields[] = {
    {"text", &PageRequest::text, Kind::kText},
    {"from", &PageRequest::from, Kind::kLine},
    {"service", &PageRequest::service, Kind::kLine},
    {"profile", &PageRequest::profile, Kind::kLine},
    {"priority", &PageRequest::priority, Kind::kNumber},
    {"expires", &PageRequest::expires, Kind::kNumber},
    {"not_before", &PageRequest::not_before, Kind::kLine},
    {"id", &PageRequest::id, Kind::kLine},
    {"fit", &PageRequest::fit, Kind::kSwitch},
};

bool HasControls(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

/// The value as text, or what it must be instead.
std::string ValueOf(const Json& value, Kind kind, std::string& fault) {
  switch (kind) {
    case Kind::kNumber:
      if (value.is_number_integer()) return value.dump();
      fault = " must be a whole number";
      return {};
    case Kind::kSwitch:
      if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
      fault = " must be true or false";
      return {};
    default:
      break;
  }
  if (!value.is_string()) {
    fault = " must be a text";
    return {};
  }
  std::string text = value.get<std::string>();
  if (kind == Kind::kLine && HasControls(text)) fault = " must not have control characters";
  if (text.find('\0') != text.npos) fault = " must not have a zero character";
  return text;
}

class Reader {
 public:
  explicit Reader(std::size_t most) : most_(most) {}

  std::vector<PageRequest> Read(const Json& document) {
    const bool many = document.is_object() && document.contains("pages");
    many ? ReadMany(document) : ReadOne(document, "");
    if (recipients_ > most_) {
      Fault(many ? "pages" : "to", "at most " + std::to_string(most_) + " pages in one request");
    }
    if (!faults_.empty()) throw WrongFields(faults_);
    return std::move(requests_);
  }

 private:
  void Fault(const std::string& field, const std::string& sentence) {
    constexpr std::size_t kMostFaults = 20;
    if (faults_.size() < kMostFaults) faults_.push_back({field, sentence});
  }

  void ReadMany(const Json& document) {
    const Json& pages = document.at("pages");
    if (document.size() > 1) Fault("", "beside \"pages\" there must be nothing");
    if (!pages.is_array() || pages.empty()) return Fault("pages", "pages must be a list of pages");
    for (std::size_t i = 0; i < pages.size() && i <= most_; ++i) {
      ReadOne(pages.at(i), "pages[" + std::to_string(i) + "].");
    }
  }

  void ReadOne(const Json& page, const std::string& at) {
    if (!page.is_object()) return Fault(at.substr(0, at.find('.')), "a page must be an object");
    PageRequest request;
    for (const auto& [name, value] : page.items()) ReadField(request, name, value, at);
    if (!page.contains("to")) Fault(at + "to", "to is missing: a number, or a list of numbers");
    if (!page.contains("text")) Fault(at + "text", "text is missing");
    recipients_ += request.to.size();
    requests_.push_back(std::move(request));
  }

  void ReadField(PageRequest& request, const std::string& name, const Json& value,
                 const std::string& at) {
    if (name == "to") return ReadRecipients(request, value, at + "to");
    const auto field = std::find_if(std::begin(kFields), std::end(kFields),
                                    [&](const Field& one) { return one.name == name; });
    if (field == std::end(kFields)) return Fault(at + name, "a page has no field of this name");
    if (value.is_null()) return;
    std::string fault;
    request.*field->value = ValueOf(value, field->kind, fault);
    if (!fault.empty()) Fault(at + name, name + fault);
  }

  void ReadRecipients(PageRequest& request, const Json& value, const std::string& field) {
    const Json list = value.is_array() ? value : Json::array({value});
    if (list.empty()) Fault(field, "to is empty: a number, or a list of numbers");
    for (const Json& one : list) {
      std::string fault;
      request.to.push_back(ValueOf(one, Kind::kLine, fault));
      if (!fault.empty()) Fault(field, "to" + fault + ", or a list of such");
    }
  }

  const std::size_t most_;
  std::size_t recipients_ = 0;
  std::vector<PageRequest> requests_;
  std::vector<FieldFault> faults_;
};

}  // namespace

Json ParseJson(const std::string& text) {
  std::array<int, kDeepest + 2> members{};  // of the object that is open, by the depth in it
  const auto modest = [&](int depth, Json::parse_event_t event, Json&) {
    if (depth > kDeepest) throw WrongFields("", "the JSON is nested too deeply");
    const auto inside = static_cast<std::size_t>(depth);
    if (event == Json::parse_event_t::object_start) members.at(inside + 1) = 0;
    if (event == Json::parse_event_t::key && ++members.at(inside) > kMostMembers) {
      throw WrongFields("", "an object of the JSON has too many members");
    }
    return true;
  };
  try {
    return Json::parse(text, modest);
  } catch (const Json::exception& error) {
    const std::string_view said = error.what();
    throw WrongFields("", "this is no JSON: " + std::string(said.substr(said.find(']') + 2)));
  }
}

std::vector<PageRequest> ReadPageRequests(const Json& document, std::size_t most) {
  return Reader(most).Read(document);
}

}  // namespace mvsms::gateway
