// See put_batch.h. Who finds nobody writing writes for all who wait by then.
#include "gateway/put_batch.h"

#include <algorithm>
#include <map>
#include <utility>

namespace mvsms::gateway {
namespace {

using dispatch::Page;

/// Whether somebody who puts `page` means that one. The service is that of today's routes, and the
/// moments are counted from the request: both may differ when it is repeated.
/// A text that is not kept for longer than it is needed is taken for the same.
bool IsSame(const Page& there, const Page& page) {
  return there.profile == page.profile && there.recipient == page.recipient &&
         (there.text.empty() || there.text == page.text) && there.originator == page.originator;
}

/// What an id stands for.
struct Known {
  Page page;
  dispatch::PageState state = dispatch::PageState::kReady;
};

}  // namespace

std::vector<PutPage> PutBatch::Put(const std::vector<Page>& pages) {
  Waiting mine{pages};
  std::unique_lock lock(mutex_);
  waiting_.push_back(&mine);
  while (!mine.done) {
    if (writing_) {
      written_.wait(lock);
      continue;
    }
    writing_ = true;
    const std::vector<Waiting*> batch = std::exchange(waiting_, {});
    lock.unlock();
    Write(batch);
    lock.lock();
    writing_ = false;
    for (Waiting* const one : batch) one->done = true;
    written_.notify_all();
  }
  if (mine.failure) std::rethrow_exception(mine.failure);
  return std::move(mine.result);
}

void PutBatch::Write(const std::vector<Waiting*>& batch) try { WriteAll(batch); } catch (...) {
  for (Waiting* const one : batch) one->failure = std::current_exception();
}

void PutBatch::WriteAll(const std::vector<Waiting*>& batch) {
  std::vector<Page> fresh;
  std::map<std::string, Known> known;
  for (Waiting* const one : batch) {
    std::vector<Page> own;
    one->result.clear();
    for (const Page& page : one->pages) {
      const auto [entry, first] = known.try_emplace(page.id, Known{page});
      const auto there = first ? queue_.Find(page.id) : std::nullopt;
      if (there) entry->second = {there->page, there->state};
      const bool is_new = first && !there;
      if (is_new) own.push_back(page);
      one->result.push_back({is_new, entry->second.state, IsSame(entry->second.page, page)});
    }
    if (std::ranges::all_of(one->result, &PutPage::is_same)) {
      fresh.insert(fresh.end(), own.begin(), own.end());
    } else {
      for (const Page& page : own) known.erase(page.id);
    }
  }
  queue_.Put(fresh);
  for (Waiting* const one : batch) LookAtJoined(*one);
}

/// A page that was put may have joined another one at once.
void PutBatch::LookAtJoined(Waiting& one) {
  for (std::size_t i = 0; i < one.pages.size(); ++i) {
    PutPage& put = one.result[i];
    if (!put.is_new || one.pages[i].joins.count() == 0) continue;
    const auto there = queue_.Find(one.pages[i].id);
    if (there) put.state = there->state;
  }
}

}  // namespace mvsms::gateway
