// How a character is spelt where it cannot go out itself: with letters and signs that every pager
// and every phone shows.
#pragma once

#include <string_view>

namespace mvsms::dispatch {

/// A character in UTF-8, and what stands for it.
struct Spelling {
  std::string_view character;
  std::string_view letters;
};

/// What a pager or a phone lacks of the code page, by its meaning in a message.
inline constexpr Spelling kCodePageSpellings[] = {
    {"\n", " "},    {"\r", ""},    {"\t", " "},         {"$", "USD"}, {"@", "(at)"}, {"[", "("},
    {"]", ")"},     {"{", "("},    {"}", ")"},          {"\\", "/"},  {"|", "/"},    {"^", "**"},
    {"_", "-"},     {"`", "'"},    {"~", "-"},          {"€", "EUR"}, {"£", "GBP"},  {"¥", "JPY"},
    {"¢", "ct"},    {"ƒ", "f"},    {"‚", "'"},          {"„", "\""},  {"…", "..."},  {"†", "+"},
    {"‡", "+"},     {"ˆ", "'"},    {"‰", " per mille"}, {"‹", "<"},   {"›", ">"},    {"‘", "'"},
    {"’", "'"},     {"“", "\""},   {"”", "\""},         {"•", "*"},   {"–", "-"},    {"—", "-"},
    {"˜", "-"},     {"™", "(TM)"}, {"\u00A0", " "},     {"¡", "!"},   {"¤", "*"},    {"¦", "/"},
    {"§", "Par."},  {"¨", "\""},   {"©", "(C)"},        {"ª", "a"},   {"«", "\""},   {"¬", "-"},
    {"\u00AD", ""}, {"®", "(R)"},  {"¯", "-"},          {"°", "deg"}, {"±", "+/-"},  {"²", "2"},
    {"³", "3"},     {"´", "'"},    {"µ", "u"},          {"¶", "P"},   {"·", "."},    {"¸", ","},
    {"¹", "1"},     {"º", "o"},    {"»", "\""},         {"¼", "1/4"}, {"½", "1/2"},  {"¾", "3/4"},
    {"¿", "?"},     {"×", "x"},    {"÷", ":"}};

/// Letters that are more than a basic one with an accent.
inline constexpr Spelling kLetterSpellings[] = {
    {"Ä", "Ae"}, {"Ö", "Oe"}, {"Ü", "Ue"}, {"ä", "ae"}, {"ö", "oe"}, {"ü", "ue"}, {"ß", "ss"},
    {"ẞ", "SS"}, {"Å", "Aa"}, {"å", "aa"}, {"Æ", "Ae"}, {"æ", "ae"}, {"Ø", "Oe"}, {"ø", "oe"},
    {"Œ", "Oe"}, {"œ", "oe"}, {"Ð", "D"},  {"ð", "d"},  {"Þ", "Th"}, {"þ", "th"}, {"Đ", "D"},
    {"đ", "d"},  {"Ħ", "H"},  {"ħ", "h"},  {"ı", "i"},  {"Ĳ", "IJ"}, {"ĳ", "ij"}, {"ĸ", "k"},
    {"Ŀ", "L"},  {"ŀ", "l"},  {"Ł", "L"},  {"ł", "l"},  {"ŉ", "'n"}, {"Ŋ", "Ng"}, {"ŋ", "ng"},
    {"Ŧ", "T"},  {"ŧ", "t"},  {"Ə", "E"},  {"ə", "e"},  {"ﬀ", "ff"}, {"ﬁ", "fi"}, {"ﬂ", "fl"}};

/// Signs from outside the code page that alarms and word processors hold.
inline constexpr Spelling kSignSpellings[] = {
    {"‐", "-"},    {"‑", "-"},      {"‒", "-"},      {"―", "-"},        {"‛", "'"},
    {"‟", "\""},   {"′", "'"},      {"″", "\""},     {"⁄", "/"},        {"−", "-"},
    {"∕", "/"},    {"∙", "."},      {"√", "root "},  {"∞", "infinity"}, {"≈", "ca. "},
    {"≠", "<>"},   {"≤", "<="},     {"≥", ">="},     {"←", "<-"},       {"↑", "up"},
    {"→", "->"},   {"↓", "down"},   {"↔", "<->"},    {"⇒", "=>"},       {"Ω", "Ohm"},
    {"Ω", "Ohm"},  {"μ", "u"},      {"Δ", "Delta"},  {"№", "No."},      {"℃", "degC"},
    {"℉", "degF"}, {"✓", "ok"},     {"✔", "ok"},     {"✗", "x"},        {"✘", "x"},
    {"⚠", "!"},    {"■", "*"},      {"□", "*"},      {"▪", "*"},        {"●", "*"},
    {"○", "o"},    {"\u2028", " "}, {"\u2029", " "}, {"\u202F", " "},   {"\u3000", " "},
    {"\uFEFF", ""}};

/// Letters with one basic letter each, from a code point on; "?" for one that has none.
struct LetterRun {
  char32_t first;
  std::string_view letters;
};
inline constexpr LetterRun kRuns[] = {
    {0xC0,
     "AAAAAA?CEEEEIIII?NOOOOO??UUUUY??aaaaaa?ceeeeiiii?nooooo??uuuuy?y"
     "AaAaAaCcCcCcCcDd??EeEeEeEeEeGgGgGgGgHh??IiIiIiIiI???JjKk?LlLlLl?"
     "???NnNnNn???OoOoOo??RrRrRrSsSsSsSsTtTt??UuUuUuUuUuUuWwYyYZzZzZzs"},
    {0x1CD,
     "AaIiOoUuUuUuUuUu?AaAa????GgKkOoOo??j???Gg??NnAa????"
     "AaAaEeEeIiIiOoOoRrRrUuUuSsTt??Hh??????AaEeOoOoOoOoYy"},
    {0x1E00,
     "AaBbBbBbCcDdDdDdDdDdEeEeEeEeEeFfGgHhHhHhHhHhIiIiKkKkKkLlLlLlLlMm"
     "MmMmNnNnNnNnOoOoOoOoPpPpRrRrRrRrSsSsSsSsSsTtTtTtTtUuUuUuUuUuVvVv"
     "WwWwWwWwWwXxXxYyZzZzZzhtwy?s????AaAaAaAaAaAaAaAaAaAaAaAaEeEeEeEe"
     "EeEeEeEeIiIiOoOoOoOoOoOoOoOoOoOoOoOoUuUuUuUuUuUuUuYyYyYyYy"},
    {0x2000, "           "},  // the blanks of typesetting
};

/// Characters that only say how their neighbours look.
struct Range {
  char32_t first;
  char32_t last;
};
inline constexpr Range kUnseen[] = {
    {0x300, 0x36F}, {0x200B, 0x200F}, {0x2060, 0x2064}, {0xFE00, 0xFE0F}};

}  // namespace mvsms::dispatch
