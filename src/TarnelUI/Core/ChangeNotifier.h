#pragma once

#include "QuendalFoundation/Runtime/Published.h"

#include <cstdint>

namespace tarnel::ui {

// The change signal of an observable model object. Subscribers hear of changes made after
// they subscribed, never of the state they found.
class ChangeNotifier {
public:
    quendal::Publisher<bool> changes() const
    {
        return revision_.publisher().dropFirst().map([](std::uint64_t) { return true; });
    }
    void notifyChange() { revision_ = revision_.value() + 1; }

private:
    quendal::Published<std::uint64_t> revision_{0};
};

} // namespace tarnel::ui
