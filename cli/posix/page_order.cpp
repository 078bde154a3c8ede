// See page_order.h. What is known to fail is told at once, while somebody listens; the rest is the
// worker's.
#include "cli/posix/page_order.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <optional>
#include <utility>

#include "base/ansi.h"
#include "base/texts.h"
#include "cli/dry_run.h"
#include "cli/posix/since.h"
#include "cli/queue_send.h"
#include "dispatch/hand_over.h"
#include "dispatch/outcome.h"
#include "gateway/groups.h"

namespace mvsms::cli {
namespace {

using dispatch::Moment;
using dispatch::Page;
using gateway::PageRequest;

Moment InSeconds(std::int64_t seconds) { return Moment(std::chrono::seconds(seconds)); }

/// Reads a field by `read`, which is given its name; what is wrong with it is known by the field.
template <typename Read>
auto Checked(const std::string& field, FieldName name, Read read) try {
  return read(name(field));
} catch (const WrongField&) {
  throw;
} catch (const UsageError& error) {
  throw WrongField(field, error.what());
}

std::string CheckedId(const std::string& name, const std::string& id) {
  if (dispatch::IsPageId(id)) return id;
  throw UsageError(name + " must be at most " + std::to_string(dispatch::kLongestPageId) +
                   " letters, digits and - _ . : @ +, not \"" + Printable(id) + "\"");
}

bool IsControl(unsigned char c) { return c < ' ' || c == 0x7F; }

std::string CheckedOriginator(const std::string& name, const std::string& from) {
  if (from.find('/') != from.npos) {
    throw UsageError(name + " must not contain \"/\", which divides the fields of a UCP message");
  }
  if (std::ranges::any_of(from, IsControl)) {
    throw UsageError(name + " must not have control characters");
  }
  return AnsiFromUtf8(from);
}

/// The page without its recipient.
Page PageFor(const Context& context, const PageRequest& request, FieldName name) {
  using dispatch::kFirstPriority, dispatch::kLastPriority;
  const std::int64_t now = std::time(nullptr);
  Page page;
  page.profile = AnsiFromUtf8(context.profile);
  page.id =
      request.id.empty() ? dispatch::FreshId() : Checked("id", name, [&](const std::string& named) {
        return CheckedId(named, request.id);
      });
  page.originator = Checked("from", name, [&](const std::string& named) {
    return CheckedOriginator(named, request.from);
  });
  if (!request.priority.empty()) {
    page.priority = Checked("priority", name, [&](const std::string& named) {
      return static_cast<std::int32_t>(
          ParseNumber(named, request.priority, kFirstPriority, kLastPriority));
    });
  }
  if (!request.not_before.empty()) {
    page.not_before = Checked("not_before", name, [&](const std::string& named) {
      return InSeconds(ParseAhead(named, request.not_before, now));
    });
  }
  if (!request.expires.empty()) {
    page.expires = Checked("expires", name, [&](const std::string& named) {
      return InSeconds(now + 60 * ParseNumber(named, request.expires, 1, kLongestExpiry));
    });
  }
  if (page.expires <= page.not_before) {
    throw WrongField("expires", name("expires") + " is before " + name("not_before") +
                                    ": the page would never be sent");
  }
  return page;
}

/// The page to one recipient; nothing, and told why, when it cannot be sent.
std::optional<Page> PageTo(Context& context, Page page, const std::string& to,
                           const PageRequest& request, bool fits, bool quiet,
                           std::vector<Obstacle>& obstacles) {
  const DryRun run{to, request.from, request.service, request.text, fits, quiet};
  page.recipient = AnsiFromUtf8(to);
  page.service = AnsiFromUtf8(request.service);
  const auto found = dispatch::Complete(context.platform(), page, request.text, fits);
  const Way way = InWords(found.way, run);
  if (!way.obstacle.empty()) {
    obstacles.push_back({to, way.obstacle, static_cast<int>(way.exit)});
    return std::nullopt;
  }
  if (quiet) return page;
  if (!found.change.empty()) context.Warn("the text was fitted: " + found.change);
  if (!found.fallback.obstacle.empty()) {
    context.Warn(Printable("to " + to + ": every try goes through the first service, for " +
                           Utf8FromAnsi(found.way.fallback) +
                           " cannot take it: " + InWords(found.fallback, run).obstacle));
  }
  return page;
}

/// Whom a page goes to, and what its id has behind that of the request.
struct Addressee {
  std::string to;
  std::string mark;
  bool of_group = false;
};

/// A page to a member of a group has his number in its id: who is in the group may have changed
/// when the request is repeated.
void AddGroup(Context& context, const std::string& group, std::vector<Addressee>& addressees,
              std::vector<Obstacle>& obstacles) {
  const gateway::Groups groups(context.platform().registry(), AnsiFromUtf8(context.profile));
  const auto [numbers, faults] = groups.Find(AnsiFromUtf8(group));
  for (const std::string& number : numbers) {
    const std::string mark = "-" + KeepDigits(number);
    if (std::ranges::find(addressees, mark, &Addressee::mark) != addressees.end()) continue;
    addressees.push_back({Utf8FromAnsi(number), mark, true});
  }
  for (const std::string& fault : faults) {
    constexpr int kSettings = static_cast<int>(dispatch::Exit::kSettings);
    obstacles.push_back({group, Utf8FromAnsi(fault), kSettings, !numbers.empty()});
  }
}

std::vector<Addressee> AddresseesOf(Context& context, const PageRequest& request,
                                    std::vector<Obstacle>& obstacles) {
  std::vector<Addressee> addressees;
  for (std::size_t i = 0; i < request.to.size(); ++i) {
    if (gateway::IsGroup(request.to[i])) {
      AddGroup(context, request.to[i], addressees, obstacles);
    } else {
      const std::string mark = request.to.size() > 1 ? "-" + std::to_string(i + 1) : "";
      addressees.push_back({request.to[i], mark});
    }
  }
  return addressees;
}

}  // namespace

std::vector<Page> PagesOf(Context& context, const PageRequest& request, bool fits, bool quiet,
                          FieldName name, std::vector<Obstacle>& obstacles) {
  const Page page = PageFor(context, request, name);
  std::vector<Page> pages;
  for (const auto& [to, mark, of_group] : AddresseesOf(context, request, obstacles)) {
    auto one = PageTo(context, page, to, request, fits, quiet, obstacles);
    if (one) {
      one->id += mark;
      pages.push_back(std::move(*one));
    } else {
      obstacles.back().of_group = of_group;
    }
  }
  return pages;
}

}  // namespace mvsms::cli
