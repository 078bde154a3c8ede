// See mail.h.
#include "gateway/mail.h"

#include <ctemplate/template.h>
#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "base/ansi.h"
#include "base/sha256.h"
#include "base/texts.h"

namespace mvsms::gateway {
namespace {

constexpr std::size_t kLongestText = std::size_t{1} << 20;

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unref>;

void Begin() {
  static std::once_flag once;
  std::call_once(once, g_mime_init);
}

/// In one line: whatever divides words is one blank.
std::string OneLine(std::string_view text) {
  std::string line;
  for (const Utf8Character& character : Utf8Characters(text.substr(0, kLongestText))) {
    const bool divides = character.point <= ' ' || character.point == 0xA0 ||
                         (character.point >= 0x7F && character.point < 0xA0);
    if (!divides) {
      line += character.point == kMalformed ? "?" : character.bytes;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  return Trim(line);
}

/// What stands before the signature.
std::string_view WithoutSignature(std::string_view text) {
  for (const std::string_view mark : {"\n-- \n", "\n-- \r\n"})
    text = text.substr(0, text.find(mark));
  return text;
}

struct Entity {
  std::string_view name;
  const char* text;
};
constexpr std::array<Entity, 5> kEntities = {
    {{"&amp;", "&"}, {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&nbsp;", " "}}};

bool BeginsWithTag(std::string_view html, std::string_view name) {
  return html.size() > name.size() &&
         std::ranges::equal(name, html.substr(1, name.size()), [](char a, char b) {
           return a == std::tolower(static_cast<unsigned char>(b));
         });
}

/// How much of what begins with "<" shows nothing: the tag, and of some all up to their end.
std::size_t LengthOfTag(std::string_view html) {
  for (const std::string_view hidden : {"style", "script", "head"}) {
    if (!BeginsWithTag(html, hidden)) continue;
    const std::size_t end = html.find("</", 1);
    if (end != html.npos) return std::min(html.find('>', end), html.size() - 1) + 1;
  }
  return std::min(html.find('>'), html.size() - 1) + 1;
}

/// What a reader sees of a page, as far as a pager is concerned.
std::string Readable(std::string_view html) {
  std::string text;
  while (!html.empty()) {
    const auto entity = std::ranges::find_if(
        kEntities, [&](const Entity& one) { return html.starts_with(one.name); });
    if (entity != kEntities.end()) {
      text += entity->text;
      html.remove_prefix(entity->name.size());
    } else if (html.front() == '<') {
      text += ' ';
      html.remove_prefix(LengthOfTag(html));
    } else {
      text += html.front();
      html.remove_prefix(1);
    }
  }
  return text;
}

/// The texts of the parts that are to be read, by their form.
struct Bodies {
  std::string plain;
  std::string html;
};

void TakePart(GMimeObject*, GMimeObject* part, gpointer data) {
  if (!GMIME_IS_TEXT_PART(part) || g_mime_part_is_attachment(GMIME_PART(part))) return;
  GMimeContentType* const type = g_mime_object_get_content_type(part);
  auto& bodies = *static_cast<Bodies*>(data);
  std::string& body =
      g_mime_content_type_is_type(type, "text", "html") ? bodies.html : bodies.plain;
  char* const text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
  if (text != nullptr && body.empty()) body = text;
  g_free(text);
}

std::string TextOf(GMimeMessage* message) {
  Bodies bodies;
  g_mime_message_foreach(message, TakePart, &bodies);
  if (OneLine(bodies.plain).empty()) return OneLine(Readable(bodies.html));
  return OneLine(WithoutSignature(bodies.plain));
}

std::string SenderOf(GMimeMessage* message) {
  InternetAddressList* const from = g_mime_message_get_from(message);
  if (from == nullptr || internet_address_list_length(from) == 0) return {};
  InternetAddress* const first = internet_address_list_get_address(from, 0);
  if (!INTERNET_ADDRESS_IS_MAILBOX(first)) return {};
  const char* const address = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(first));
  return OneLine(address == nullptr ? "" : address);
}

std::string Text(const char* text) { return OneLine(text == nullptr ? "" : text); }

}  // namespace

Mail ReadMail(const std::string& bytes) {
  Begin();
  const Owned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  const Owned<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  if (!message) return {.subject = {}, .sender = {}, .text = OneLine(bytes), .message_id = {}};
  return {.subject = Text(g_mime_message_get_subject(message.get())),
          .sender = SenderOf(message.get()),
          .text = TextOf(message.get()),
          .message_id = Text(g_mime_message_get_message_id(message.get()))};
}

std::string PageText(const Mail& mail, const std::string& text_template) {
  const std::unique_ptr<ctemplate::Template> parsed(
      ctemplate::Template::StringToTemplate(text_template, ctemplate::DO_NOT_STRIP));
  if (!parsed) throw std::runtime_error("the template cannot be used: " + text_template);
  ctemplate::TemplateDictionary values("page");
  values.SetValue("SUBJECT", mail.subject);
  if (!mail.subject.empty()) values.ShowSection("SUBJECT_SECTION");
  values.SetValue("TEXT", mail.text);
  values.SetValue("FROM", mail.sender);
  std::string text;
  parsed->Expand(&text, &values);
  return OneLine(text);
}

std::string PageIdOf(const Mail& mail, const std::string& bytes, const std::string& recipient) {
  const std::string& mark = mail.message_id.empty() ? bytes : mail.message_id;
  return "mail-" + Sha256(mark + "\n" + recipient).substr(0, 32);
}

}  // namespace mvsms::gateway
