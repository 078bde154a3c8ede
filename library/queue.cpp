// The C functions of the library over the queue of this machine. Settings are read afresh for each
// page. Texts change between UTF-8 and the ANSI code page here.
#include "backends/posix/store/queue.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <string>

#include "backends/posix/posix_platform.h"
#include "backends/posix/store/store.h"
#include "backends/posix/system/home.h"
#include "base/ansi.h"
#include "base/raised_error.h"
#include "dispatch/hand_over.h"
#include "engine/profile.h"
#include "include/mvsms/mvsms.h"

/// What a caller holds. Texts are UTF-8.
struct mvsms_queue {
  mvsms_queue(const std::string& home_of, const std::string& profile_of)
      : home(home_of.empty() ? mvsms::posix::DefaultHome() : home_of),
        profile(profile_of),
        pages(home) {}

  std::string home;
  std::string profile;
  mvsms::posix::PageQueue pages;
  std::int32_t priority = mvsms::dispatch::kUsualPriority;
  std::chrono::minutes expiry{0};  // 0: never
  std::chrono::seconds not_before{0};
  std::string id;
  std::string reason;
  std::string error;
};

namespace mvsms {
namespace {

using dispatch::Moment;
using dispatch::Page;

constexpr std::int32_t kLongestExpiry = 525600;  // minutes: a year

std::string Text(const char* text) { return text == nullptr ? "" : text; }

mvsms_result Fail(mvsms_queue& queue, mvsms_result result, const std::string& why) {
  queue.error = why;
  return result;
}

/// Runs a call, and turns what it throws into a result: `failed`, when the queue cannot be used.
template <typename Result, typename Call>
Result Guarded(mvsms_queue& queue, Result failed, Call call) try {
  queue.error.clear();
  return call();
} catch (const RaisedError& error) {
  queue.error = Utf8FromAnsi(error.description());
  return failed;
} catch (const std::exception& error) {
  queue.error = error.what();
  return failed;
}

/// What is wrong with the call itself; empty when nothing is.
std::string Misuse(const mvsms_queue& queue, const std::string& id, const std::string& originator,
                   const std::string& service) {
  if (!id.empty() && !dispatch::IsPageId(id)) {
    return "an id has at most " + std::to_string(dispatch::kLongestPageId) +
           " letters, digits and - _ . : @ +";
  }
  if (!HasAnsiForm(queue.profile)) return "the profile's name has characters outside Windows-1252";
  if (!HasAnsiForm(service)) return "the service's name has characters outside Windows-1252";
  if (originator.find('/') == std::string::npos) return "";
  return "the originator must not contain \"/\", which divides the fields of a message";
}

Moment InMinutes(std::chrono::minutes minutes) {
  return minutes == std::chrono::minutes(0) ? dispatch::kNever : posix::SystemNow() + minutes;
}

bool Fits(Platform& platform, std::string profile) {
  const Profile settings(platform.registry(), BaseKey(profile));
  return ToText(settings.GetOrInitial(setting::kFit)) == "1";
}

mvsms_result Put(mvsms_queue& queue, Page page, const std::string& message) {
  if (page.expires <= page.not_before) {
    return Fail(queue, MVSMS_MISUSE, "the page would expire before it may be sent");
  }
  if (const std::string problem = posix::StoreProblem(queue.home); !problem.empty()) {
    return Fail(queue, MVSMS_SETTINGS, problem);
  }
  const auto platform = posix::MakePosixPlatform(queue.home);
  const bool fits = Fits(*platform, page.profile);
  const dispatch::Way way = dispatch::Complete(*platform, page, message, fits).way;
  if (!way.obstacle.empty()) {
    return Fail(queue, static_cast<mvsms_result>(way.exit), Utf8FromAnsi(way.obstacle));
  }
  queue.pages.Put({&page, 1});
  return MVSMS_ACCEPTED;
}

}  // namespace
}  // namespace mvsms

mvsms_queue* mvsms_queue_new(const char* home, const char* profile) try {
  return std::make_unique<mvsms_queue>(mvsms::Text(home), mvsms::Text(profile)).release();
} catch (const std::bad_alloc&) {
  return nullptr;
}

void mvsms_queue_free(mvsms_queue* queue) { delete queue; }

mvsms_result mvsms_queue_set_priority(mvsms_queue* queue, int32_t priority) {
  if (queue == nullptr) return MVSMS_MISUSE;
  if (priority < mvsms::dispatch::kFirstPriority || priority > mvsms::dispatch::kLastPriority) {
    return mvsms::Fail(*queue, MVSMS_MISUSE, "a priority is 0 to 9");
  }
  queue->priority = priority;
  return MVSMS_ACCEPTED;
}

mvsms_result mvsms_queue_set_expiry(mvsms_queue* queue, int32_t minutes) {
  if (queue == nullptr) return MVSMS_MISUSE;
  if (minutes < 0 || minutes > mvsms::kLongestExpiry) {
    return mvsms::Fail(*queue, MVSMS_MISUSE, "a page expires after a year at the latest");
  }
  queue->expiry = std::chrono::minutes(minutes);
  return MVSMS_ACCEPTED;
}

mvsms_result mvsms_queue_set_not_before(mvsms_queue* queue, int64_t seconds) {
  constexpr std::int64_t kYear9999 = 253'402'300'799;
  if (queue == nullptr) return MVSMS_MISUSE;
  if (seconds < 0 || seconds > kYear9999) {
    return mvsms::Fail(*queue, MVSMS_MISUSE, "a moment lies between 1970 and the year 9999");
  }
  queue->not_before = std::chrono::seconds(seconds);
  return MVSMS_ACCEPTED;
}

mvsms_result mvsms_queue_put(mvsms_queue* queue, const char* id, const char* recipient,
                             const char* originator, const char* message, const char* service) {
  if (queue == nullptr) return MVSMS_MISUSE;
  return mvsms::Guarded(*queue, MVSMS_RETRY, [&] {
    queue->id.clear();
    const std::string name = mvsms::Text(id), from = mvsms::Text(originator),
                      through = mvsms::Text(service);
    const std::string misuse = mvsms::Misuse(*queue, name, from, through);
    if (!misuse.empty()) return mvsms::Fail(*queue, MVSMS_MISUSE, misuse);
    mvsms::Page page;
    page.id = name.empty() ? mvsms::dispatch::FreshId() : name;
    page.profile = mvsms::AnsiFromUtf8(queue->profile);
    if (page.profile.empty()) page.profile = mvsms::kStandardProfile;
    page.recipient = mvsms::AnsiFromUtf8(mvsms::Text(recipient));
    page.originator = mvsms::AnsiFromUtf8(from);
    page.service = mvsms::AnsiFromUtf8(through);
    page.priority = queue->priority;
    page.not_before = mvsms::Moment(queue->not_before);
    page.expires = mvsms::InMinutes(queue->expiry);
    queue->id = page.id;
    return mvsms::Put(*queue, page, mvsms::Text(message));
  });
}

const char* mvsms_queue_id(const mvsms_queue* queue) { return queue->id.c_str(); }

mvsms_page_state mvsms_queue_state(mvsms_queue* queue, const char* id) {
  if (queue == nullptr) return MVSMS_PAGE_ERROR;
  return mvsms::Guarded(*queue, MVSMS_PAGE_ERROR, [&] {
    queue->reason.clear();
    const auto found = queue->pages.Find(mvsms::AnsiFromUtf8(mvsms::Text(id)));
    if (!found) return MVSMS_PAGE_NONE;
    if (found->result) queue->reason = mvsms::Utf8FromAnsi(found->result->reason);
    return static_cast<mvsms_page_state>(static_cast<int>(found->state) + MVSMS_PAGE_READY);
  });
}

const char* mvsms_queue_reason(const mvsms_queue* queue) { return queue->reason.c_str(); }

mvsms_result mvsms_queue_cancel(mvsms_queue* queue, const char* id) {
  if (queue == nullptr) return MVSMS_MISUSE;
  return mvsms::Guarded(*queue, MVSMS_RETRY, [&] {
    const std::string page = mvsms::AnsiFromUtf8(mvsms::Text(id));
    if (queue->pages.Operate(page, mvsms::dispatch::kCancelPage)) return MVSMS_ACCEPTED;
    const auto found = queue->pages.Find(page);
    if (!found) return mvsms::Fail(*queue, MVSMS_MISUSE, "there is no such page");
    return mvsms::Fail(*queue, MVSMS_REFUSED,
                       "the page is " + std::string(NameOf(found->state)) + " already");
  });
}

const char* mvsms_queue_error(const mvsms_queue* queue) { return queue->error.c_str(); }
