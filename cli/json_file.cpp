// See json_file.h.
#include "cli/json_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <set>
#include <vector>

#include "cli/json.h"

namespace mvsms::cli {
namespace {

std::ifstream Open(const std::string& path) {
  if (is_directory(FilePath(path))) throw Failure("cannot read " + path + ": it is a folder");
  // Opening a pipe may wait for ever for somebody to write into it.
  if (exists(FilePath(path)) && !is_regular_file(FilePath(path))) {
    throw Failure("cannot read " + path + ": it is not a file; - reads standard input");
  }
  std::ifstream file(FilePath(path), std::ios::binary);
  if (!file) throw Failure("cannot read " + path + ": " + std::strerror(errno));
  return file;
}

// The library would take the last of two members with the same name, without a word.
class NamesSeen {
 public:
  bool operator()(int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) levels_.emplace_back();
    if (event == Json::parse_event_t::object_end) levels_.pop_back();
    if (event == Json::parse_event_t::key && !levels_.back().insert(parsed).second) {
      throw UsageError("the name " + Printable(parsed.dump()) + " stands twice in one object");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> levels_;
};

// "[json.exception.…] parse error at line 1, column 2: …; last read: '…'" without the library's own
// number, and without what it quotes: that may be a password.
std::string Reason(std::string what) {
  what.resize(std::min(what.size(), what.find("; last read: ")));
  const std::size_t end = what.find("] ");
  return end == std::string::npos ? what : what.substr(end + 2);
}

}  // namespace

std::string ReadDocument(Context& context, const std::string& path) {
  const auto whole = [](std::istream& in) {
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  if (path == "-") return whole(context.in);
  std::ifstream file = Open(path);
  return whole(file);
}

Json ParseJson(const std::string& path, const std::string& text) try {
  NamesSeen names;
  return Json::parse(text, [&names](int depth, Json::parse_event_t event, Json& parsed) {
    return names(depth, event, parsed);
  });
} catch (const Json::exception& error) {
  throw UsageError(path + " is not JSON: " + Printable(Reason(error.what())));
} catch (const UsageError& error) {
  throw UsageError(path + ": " + error.what());
}

Json ReadJson(Context& context, const std::string& path) {
  return ParseJson(path, ReadDocument(context, path));
}

}  // namespace mvsms::cli
