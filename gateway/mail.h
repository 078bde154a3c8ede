// A mail as something to page: what its header and its text say, whatever character set, encoding
// and form they come in.
#pragma once

#include <string>

namespace mvsms::gateway {

/// UTF-8, each in one line and without control characters.
struct Mail {
  std::string subject{};
  std::string sender{};  // the address of who wrote it
  std::string text{};    // without the signature; of a mail in HTML alone what can be read in it
  std::string message_id{};  // empty when it has none
};

/// Any bytes are a mail; what is no header field is text. At most the first megabyte of a text
/// counts.
Mail ReadMail(const std::string& bytes);

/// The text of a page, by a template: "{{SUBJECT}}", "{{TEXT}}" and "{{FROM}}" stand for what the
/// mail has, and "{{#SUBJECT_SECTION}}...{{/SUBJECT_SECTION}}" for something that is there only
/// with a subject. Throws std::runtime_error when it is no template.
std::string PageText(const Mail& mail, const std::string& text_template);

inline constexpr char kMailTemplate[] =
    "{{#SUBJECT_SECTION}}{{SUBJECT}}: {{/SUBJECT_SECTION}}{{TEXT}}";

/// The id of the page of a mail to a recipient: the same mail is the same page, when the mail
/// system brings it again.
std::string PageIdOf(const Mail& mail, const std::string& bytes, const std::string& recipient);

}  // namespace mvsms::gateway
