#pragma once

#include "QuendalCore/Navigation/AnyRoute.h"

#include "QuendalFoundation/Runtime/Published.h"

#include <optional>
#include <vector>

namespace quendal {

// A queue of distinct routes; its head is what is shown. Main actor only.
class QueueNavigator {
public:
    Published<std::vector<AnyRoute>> routes;

    // Appends each route no equal route is queued for; the others are skipped.
    void enqueue(const AnyRoute& route);
    void enqueue(const std::vector<AnyRoute>& routes);
    std::optional<AnyRoute> dequeue();
    std::optional<AnyRoute> current() const;
    void remove(const AnyRoute& route);
    // The head of the queue, published each time it may have changed.
    Publisher<std::optional<AnyRoute>> currentPublisher() const;
};

} // namespace quendal
