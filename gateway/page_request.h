// Pages as they are asked for from outside: what is wanted, in words that nobody has checked
// against the settings yet, and the reading of it from JSON.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "gateway/json_fwd.h"

namespace mvsms::gateway {

/// A page to one or several recipients. UTF-8; empty where nothing is said.
struct PageRequest {
  std::vector<std::string> to;  // numbers
  std::string text;
  std::string from;
  std::string service;
  std::string profile;
  std::string priority;
  std::string expires;     // minutes from now
  std::string not_before;  // a time from now on, "15m", or a date
  std::string id;          // with several recipients, each page's is this, "-" and its place
  /// Whether the text may be shortened and spelt anew: "yes", "no"; empty: as the settings have it.
  std::string fit;
};

/// What is wrong with one field.
struct FieldFault {
  std::string field;     // "text"; of one of several pages "pages[2].text"
  std::string sentence;  // why; "text is missing"
};

/// A request of which no page was put, because of these.
class WrongFields : public std::runtime_error {
 public:
  explicit WrongFields(std::vector<FieldFault> faults)
      : std::runtime_error(faults.front().sentence), faults_(std::move(faults)) {}
  WrongFields(const std::string& field, const std::string& sentence)
      : WrongFields(std::vector<FieldFault>{{field, sentence}}) {}
  /// At least one.
  const std::vector<FieldFault>& faults() const { return faults_; }

 private:
  std::vector<FieldFault> faults_;
};

/// The document in a text. Throws WrongFields, of the field "", when it is none, goes deeper than
/// any that is meant for us, or has an object of more members.
Json ParseJson(const std::string& text);

/// The pages of a document: an object that is one, or {"pages": [...]}. Throws WrongFields with all
/// faults when a field has another type, does not exist or holds control characters; when no page
/// or more than `most`, counted by recipients, are asked for.
std::vector<PageRequest> ReadPageRequests(const Json& document, std::size_t most);

}  // namespace mvsms::gateway
