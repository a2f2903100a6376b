#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace tarnel {

// A bounded history: every insertion adds first, then drops the oldest elements beyond
// `maxCount` from the front and hands them back.
template <class Element>
class CappedCollection {
public:
    explicit CappedCollection(std::size_t maxCount) : maxCount_(maxCount) {}

    std::optional<Element> append(Element element)
    {
        elements_.push_back(std::move(element));
        auto evicted = trim();
        if (evicted.empty())
            return std::nullopt;
        return std::move(evicted.front());
    }
    std::vector<Element> append(const std::vector<Element>& more)
    {
        elements_.insert(elements_.end(), more.begin(), more.end());
        return trim();
    }
    std::optional<Element> insert(Element element, std::size_t at)
    {
        elements_.insert(elements_.begin() + static_cast<std::ptrdiff_t>(std::min(at, elements_.size())), std::move(element));
        auto evicted = trim();
        if (evicted.empty())
            return std::nullopt;
        return std::move(evicted.front());
    }
    std::vector<Element> insert(const std::vector<Element>& more, std::size_t at)
    {
        elements_.insert(elements_.begin() + static_cast<std::ptrdiff_t>(std::min(at, elements_.size())), more.begin(),
                         more.end());
        return trim();
    }

    const std::vector<Element>& elements() const { return elements_; }
    std::size_t maxCount() const { return maxCount_; }
    std::size_t size() const { return elements_.size(); }
    bool empty() const { return elements_.empty(); }
    const Element& operator[](std::size_t i) const { return elements_[i]; }
    auto begin() const { return elements_.begin(); }
    auto end() const { return elements_.end(); }

private:
    std::vector<Element> trim()
    {
        std::vector<Element> evicted;
        if (elements_.size() > maxCount_) {
            const auto surplus = static_cast<std::ptrdiff_t>(elements_.size() - maxCount_);
            evicted.assign(std::make_move_iterator(elements_.begin()), std::make_move_iterator(elements_.begin() + surplus));
            elements_.erase(elements_.begin(), elements_.begin() + surplus);
        }
        return evicted;
    }

    std::size_t maxCount_;
    std::vector<Element> elements_;
};

} // namespace tarnel
