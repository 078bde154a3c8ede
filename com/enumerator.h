// The COM enumerators of the server: a snapshot of values behind Next, Skip, Reset and Clone.
#pragma once

#include <utility>
#include <vector>

#include "com/com_object.h"

namespace mvsms::com {

/// `Policy` says how an item is kept, and how it is given to a caller (with a reference of its
/// own).
template <typename Interface, const IID& kIid, typename Item, typename Policy>
class Enumerator final
    : public ComObject<Enumerator<Interface, kIid, Item, Policy>, Implements<Interface, kIid>> {
 public:
  using Kept = typename Policy::Kept;
  explicit Enumerator(std::vector<Kept> items, std::size_t next = 0)
      : items_(std::move(items)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG wanted, Item* items, ULONG* fetched) override {
    if (!items || (!fetched && wanted != 1)) return E_POINTER;
    ULONG count = 0;
    while (count < wanted && next_ < items_.size()) items[count++] = Policy::Give(items_[next_++]);
    if (fetched) *fetched = count;
    return count == wanted ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    const std::size_t left = items_.size() - next_;
    next_ += count < left ? count : left;
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    next_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(Interface** clone) override {
    if (!clone) return E_POINTER;
    *clone = nullptr;
    return AsHresult(kIid, [&] {
      *clone = new Enumerator(items_, next_);
      return S_OK;
    });
  }

 private:
  friend class ComObject<Enumerator, Implements<Interface, kIid>>;
  ~Enumerator() = default;

  std::vector<Kept> items_;
  std::size_t next_;
};

}  // namespace mvsms::com
