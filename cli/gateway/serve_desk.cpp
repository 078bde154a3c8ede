// See serve_desk.h.
#include "cli/gateway/serve_desk.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "backends/posix/store/backend.h"
#include "backends/posix/store/journal.h"
#include "backends/posix/store/store.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "base/texts.h"
#include "cli/gateway/serve_watch.h"
#include "cli/json.h"
#include "cli/posix/since.h"
#include "cli/posix/views.h"
#include "cli/posix/worker_file.h"
#include "cli/store.h"
#include "cli/system.h"
#include "engine/settings.h"
#include "gateway/events.h"

namespace mvsms::cli {
namespace {

using dispatch::QueuedPage;
using gateway::FieldFault;
using gateway::Operated;
using gateway::PageRequest;
using gateway::Unavailable;
using gateway::WrongFields;
using posix::JournalEntry;

std::string SameName(const std::string& field) { return field; }

/// The settings as they are at one moment. Outside, each of the many that a page is routed by would
/// ask the disk whether they have changed.
class SettingsAtOnce {
 public:
  explicit SettingsAtOnce(Context& context) {
    posix::Store* const store = posix::StoreOf(context.platform().registry());
    posix::Connection* const connection = store != nullptr ? store->Read() : nullptr;
    if (connection != nullptr) reading_.emplace(*connection, posix::Transaction::Kind::kRead);
  }

 private:
  std::optional<posix::Transaction> reading_;
};

/// The field that an obstacle lies in, as far as its words tell.
std::string FieldOf(const std::string& reason) {
  if (reason.starts_with("the text")) return "text";
  return reason.starts_with("there is no service") ? "service" : "to";
}

/// What fails here is no fault of the request.
template <typename Operation>
auto Available(Operation operation) try {
  return operation();
} catch (const RaisedError& error) {
  throw Unavailable(Utf8FromAnsi(error.description()));
} catch (const posix::SqliteError& error) {
  throw Unavailable(error.what());
} catch (const Failure& error) {
  throw Unavailable(error.what());
}

dispatch::Moment SinceOf(const std::string& since) try {
  if (since.empty()) return {};
  return dispatch::Moment(std::chrono::seconds(ParseSince("since", since, std::time(nullptr))));
} catch (const UsageError& error) {
  throw WrongFields("since", error.what());
}

constexpr std::int64_t kQuarter = 900;  // seconds
constexpr std::int64_t kQuarters = 96;  // a day

/// The seconds since 1970 of what LocalMoment gave.
std::int64_t SecondsIn(const std::string& moment) {
  return ParseSince("the moment", moment.substr(0, 19), std::time(nullptr));
}

gateway::HubFigures HubFiguresIn(const Json& hub) {
  gateway::HubFigures figures{.answers = hub.at("away_since").is_null(),
                              .held = !hub.at("held").get<std::string>().empty()};
  for (const Json& machine : hub.at("machines")) {
    figures.machines.push_back({.name = machine.at("name"),
                                .seen = SecondsIn(machine.at("seen")),
                                .modems = machine.at("modems"),
                                .free = machine.at("free"),
                                .at_hub = machine.at("pages_at_hub")});
  }
  return figures;
}

/// `folded` as FoldCase gives it.
bool Says(const dispatch::JournalRow& row, const std::string& folded) {
  const std::string* const texts[] = {&row.id,      &row.recipient, &row.text,  &row.service,
                                      &row.outcome, &row.reason,    &row.modem, &row.profile};
  return std::ranges::any_of(texts, [&](const std::string* text) {
    return FoldCase(*text).find(folded) != std::string::npos;
  });
}

/// Those of the profile's services.
std::vector<std::string> PasswordsOf(Context& context, const std::string& profile) {
  ProfileStore store(context, Utf8FromAnsi(profile));
  std::vector<std::string> passwords;
  for (const std::string& service : store.Services()) {
    const std::string password = store.Get(store.Service(service), setting::kPassword);
    if (!password.empty()) passwords.push_back(password);
  }
  return passwords;
}

/// A log has the logins of the lines as well; who may see a dialogue may not see those.
std::string WithoutSecrets(std::string line, const std::vector<std::string>& passwords) {
  for (const std::string& password : passwords) line = ReplaceAll(line, password, kHiddenPassword);
  return line;
}

/// What the send log has of the time of an attempt, if there is one: null where texts are not kept,
/// for they stand in it. Of several lines at work at once it has them all.
Json DialogueOf(Context& context, const JournalEntry& entry) {
  constexpr std::streamoff kLookedAt = std::streamoff{4} << 20;  // bytes at the end of the log
  std::ifstream log(FilePath(DefaultLog(context)), std::ios::binary | std::ios::ate);
  if (!log || entry.row.text.empty() || entry.ended == 0) return nullptr;
  log.seekg(std::max(std::streamoff{0}, std::streamoff{log.tellg()} - kLookedAt));
  const auto stamp = [](std::int64_t moment) {
    std::string text = LocalMoment(moment).substr(0, 19);
    text[10] = ' ';
    return text;
  };
  const std::string first = stamp(entry.begun), last = stamp(entry.ended);
  const std::vector<std::string> passwords = PasswordsOf(context, entry.row.profile);
  Json lines = Json::array();
  bool within = false;
  for (std::string line; std::getline(log, line);) {
    if (line.ends_with('\r')) line.pop_back();
    const std::string_view at = std::string_view(line).substr(0, 19);
    if (line.find('\t') == at.size()) within = first <= at && at <= last;
    if (within) lines.push_back(Printable(Utf8FromAnsi(WithoutSecrets(line, passwords))));
  }
  return lines;
}

}  // namespace

std::string EventOf(const QueuedPage& page) {
  return gateway::PageEvent(PageJson(page), page.changed.time_since_epoch().count());
}

ServeDesk::ServeDesk(const std::string& home, const std::string& profile, gateway::PutBatch& batch,
                     AttemptTally& tally)
    : context_(home, no_input_, no_output_, no_output_),
      profile_(profile),
      queue_(home),
      batch_(batch),
      tally_(tally) {}

/// The check reads the whole file, so it is made when that has changed.
void ServeDesk::CheckSettings() {
  const posix::StoreMark mark = posix::MarkOfStore(context_.home);
  if (mark == checked_) return;
  CheckReadable(context_);
  checked_ = mark;
}

std::vector<dispatch::Page> ServeDesk::Ordered(const std::vector<PageRequest>& requests,
                                               std::vector<Obstacle>& skipped) {
  CheckSettings();
  const SettingsAtOnce settings(context_);
  std::vector<dispatch::Page> pages;
  std::vector<FieldFault> faults;
  for (std::size_t i = 0; i < requests.size(); ++i) {
    const PageRequest& request = requests[i];
    const std::string at = requests.size() > 1 ? "pages[" + std::to_string(i) + "]." : "";
    const std::size_t before = pages.size();
    std::vector<Obstacle> obstacles;
    context_.profile = request.profile.empty() ? profile_ : request.profile;
    try {
      const bool fits = request.fit.empty() ? SettingOrInitial(context_, setting::kFit) == "1"
                                            : request.fit == "yes";
      auto own = PagesOf(context_, request, fits, true, SameName, obstacles);
      std::move(own.begin(), own.end(), std::back_inserter(pages));
    } catch (const WrongField& wrong) {
      faults.push_back({at + wrong.field(), wrong.what()});
    }
    for (const Obstacle& obstacle : obstacles) {
      if (obstacle.of_group && pages.size() > before) {
        skipped.push_back(obstacle);
      } else {
        faults.push_back(
            {at + FieldOf(obstacle.reason), obstacle.recipient + ": " + obstacle.reason});
      }
    }
  }
  if (!faults.empty()) throw WrongFields(faults);
  return pages;
}

Json ServeDesk::Put(const std::vector<PageRequest>& requests) {
  return Available([&] {
    std::vector<Obstacle> skipped;
    const std::vector<dispatch::Page> pages = Ordered(requests, skipped);
    const auto put = batch_.Put(pages);
    Json taken = {{"pages", Json::array()}};
    for (const auto& [recipient, reason, exit_code, of_group] : skipped) {
      taken["skipped"].push_back({{"recipient", recipient}, {"reason", reason}});
    }
    for (std::size_t i = 0; i < pages.size(); ++i) {
      const dispatch::Page& page = pages[i];
      if (!put[i].is_same) {
        throw WrongFields("id", "id " + page.id + " is that of another page");
      }
      taken["pages"].push_back({{"id", Utf8FromAnsi(page.id)},
                                {"state", NameOf(put[i].state)},
                                {"new", put[i].is_new},
                                {"recipient", Utf8FromAnsi(page.recipient)},
                                {"service", Utf8FromAnsi(page.service)},
                                {"priority", page.priority}});
    }
    return taken;
  });
}

Json ServeDesk::Page(const std::string& id) {
  return Available([&] {
    const auto found = queue_.Find(AnsiFromUtf8(id));
    if (!found) return Json(nullptr);
    Json page = PageJson(*found);
    page["tries"] = TriesJson(context_.home, *found);
    return page;
  });
}

Json ServeDesk::Pages(const gateway::ListQuery& query) {
  const dispatch::PageFilter filter{.states = query.states,
                                    .most = query.most,
                                    .changed_since = SinceOf(query.since),
                                    .newest_first = true};
  return Available([&] {
    Json pages = Json::array();
    for (const QueuedPage& page : queue_.List(filter)) pages.push_back(PageJson(page));
    return pages;
  });
}

Operated ServeDesk::Operate(const std::string& id, const dispatch::OperatorAction& action) {
  return Available([&] {
    const std::string ansi = AnsiFromUtf8(id);
    if (queue_.Operate(ansi, action)) return Operated::kDone;
    return queue_.Find(ansi) ? Operated::kOtherState : Operated::kNoSuchPage;
  });
}

Json ServeDesk::Stats() {
  return Available([&] {
    Json stats = StatsJson(queue_.Stats());
    stats["worker"] = WorkerFile(context_.home, profile_).IsHeld();
    return stats;
  });
}

Json ServeDesk::Lines() {
  context_.profile = profile_;
  return Available([&] { return LinesJson(context_); });
}

Json ServeDesk::Hub() {
  return Available([&] {
    const Json status = WorkerFile(context_.home, profile_).Read();
    return status.is_object() ? status.value("hub", Json()) : Json();
  });
}

Json ServeDesk::Attempts(const gateway::ListQuery& query) {
  const std::string wanted = FoldCase(AnsiFromUtf8(query.search));
  const auto since = std::chrono::floor<std::chrono::seconds>(SinceOf(query.since));
  return Available([&] {
    Json attempts = Json::array();
    posix::Journal(context_.home)
        .ReadNewest(since.time_since_epoch().count(), [&](const JournalEntry& entry) {
          if (Says(entry.row, wanted)) attempts.push_back(AttemptJson(entry));
          return attempts.size() < query.most;
        });
    return attempts;
  });
}

Json ServeDesk::Attempt(const std::string& id) {
  return Available([&] {
    const auto entry = posix::Journal(context_.home).Find(AnsiFromUtf8(id));
    if (!entry) return Json(nullptr);
    Json attempt = AttemptJson(*entry);
    attempt["dialogue"] = DialogueOf(context_, *entry);
    return attempt;
  });
}

Json ServeDesk::History() {
  const std::int64_t end = (std::time(nullptr) / kQuarter + 1) * kQuarter;
  const std::int64_t begin = end - kQuarters * kQuarter;
  std::vector<std::int64_t> accepted(kQuarters), failed(kQuarters);
  return Available([&] {
    for (const JournalEntry& entry : posix::Journal(context_.home).Read(begin, 0)) {
      if (entry.IsOpen() || entry.begun >= end) continue;
      const bool well = entry.row.outcome == NameOf(dispatch::Outcome::kAccepted);
      ++(well ? accepted : failed).at(static_cast<std::size_t>((entry.begun - begin) / kQuarter));
    }
    return Json{{"from", LocalMoment(begin)},
                {"seconds", kQuarter},
                {"accepted", accepted},
                {"failed", failed}};
  });
}

std::string ServeDesk::EventsSince(std::int64_t since) {
  constexpr std::size_t kMostReplayed = 1000;
  const dispatch::Moment begin{std::chrono::milliseconds(since)};
  return Available([&] {
    const auto pages = ChangedSince(queue_, begin - kLateChange, kMostReplayed + 1);
    if (pages.size() > kMostReplayed) return gateway::ReloadEvent();
    std::string events;
    for (const QueuedPage& page : pages) events += EventOf(page);
    return events;
  });
}

gateway::Figures ServeDesk::Measure() {
  return Available([&] {
    gateway::Figures figures;
    figures.queue = queue_.Stats();
    figures.attempts = tally_.Look();
    figures.worker_runs = WorkerFile(context_.home, profile_).IsHeld();
    figures.now = std::time(nullptr);
    for (const Json& line : Lines()) {
      const Json& success = line.at("last_success");
      figures.lines.push_back({line.at("name"), line.at("state"),
                               success.is_string() ? SecondsIn(success.get<std::string>()) : 0});
    }
    const Json hub = Hub();
    if (hub.is_object()) figures.hub = HubFiguresIn(hub);
    return figures;
  });
}

void ServeDesk::CheckReady() {
  constexpr std::uint64_t kLeastFree = std::uint64_t{16} << 20;  // bytes
  Available([&] {
    queue_.Put({});
    struct statvfs facts{};
    if (statvfs(context_.home.c_str(), &facts) == 0 &&
        std::uint64_t{facts.f_bavail} * facts.f_frsize < kLeastFree) {
      throw Failure("the disk of " + context_.home + " is full");
    }
  });
}

}  // namespace mvsms::cli
