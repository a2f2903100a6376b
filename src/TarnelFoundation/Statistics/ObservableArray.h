#pragma once

#include "TarnelFoundation/Codec/Date.h"

#include "QuendalFoundation/Runtime/Published.h"

#include <functional>
#include <memory>
#include <vector>

namespace tarnel {

// A published array of observable elements: a change of any element is a change of the
// array. `Element` is a shared pointer to a type with `quendal::Publisher<bool> changes()`.
// Meant for the main thread.
template <class Element>
class ObservableArray {
public:
    ObservableArray() = default;
    virtual ~ObservableArray() = default;

    const std::vector<Element>& items() const { return items_; }

    // Replaces the items and their subscriptions.
    void setItems(std::vector<Element> items)
    {
        cancellables_.clear();
        items_ = std::move(items);
        for (const auto& item : items_)
            item->changes().sink([this](bool) { notify(); }).store(cancellables_);
        notify();
    }

    // Each change of the array or of an element; the value counts changes.
    quendal::Publisher<std::uint64_t> changes() const { return revision_.publisher(); }
    std::size_t subscriptionCount() const { return cancellables_.size(); }

protected:
    virtual void didChange() {}

private:
    void notify()
    {
        didChange();
        revision_ = revision_.value() + 1;
    }

    std::vector<Element> items_;
    quendal::Cancellables cancellables_;
    quendal::Published<std::uint64_t> revision_{0};
};

// Records the time of the last change so a reader can detect change by comparing one number.
template <class Element>
class TimestampedObservableArray : public ObservableArray<Element> {
public:
    explicit TimestampedObservableArray(std::function<Date()> now = &Date::now) : now_(std::move(now)) {}
    double changeTimestamp() const { return changeTimestamp_; }

protected:
    void didChange() override { changeTimestamp_ = now_().secondsSinceReferenceDate; }

private:
    std::function<Date()> now_;
    double changeTimestamp_ = 0;
};

} // namespace tarnel
