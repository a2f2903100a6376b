#include "QuendalCore/Navigation/QueueNavigator.h"

#include <algorithm>

namespace quendal {

void QueueNavigator::enqueue(const AnyRoute& route)
{
    enqueue(std::vector<AnyRoute>{route});
}

void QueueNavigator::enqueue(const std::vector<AnyRoute>& added)
{
    auto queue = routes.value();
    const auto before = queue.size();
    for (const auto& route : added)
        if (std::find(queue.begin(), queue.end(), route) == queue.end())
            queue.push_back(route);
    if (queue.size() != before)
        routes.set(std::move(queue));
}

std::optional<AnyRoute> QueueNavigator::dequeue()
{
    auto queue = routes.value();
    if (queue.empty())
        return std::nullopt;
    auto head = queue.front();
    queue.erase(queue.begin());
    routes.set(std::move(queue));
    return head;
}

std::optional<AnyRoute> QueueNavigator::current() const
{
    auto queue = routes.value();
    if (queue.empty())
        return std::nullopt;
    return queue.front();
}

void QueueNavigator::remove(const AnyRoute& route)
{
    auto queue = routes.value();
    auto found = std::find(queue.begin(), queue.end(), route);
    if (found == queue.end())
        return;
    queue.erase(found);
    routes.set(std::move(queue));
}

Publisher<std::optional<AnyRoute>> QueueNavigator::currentPublisher() const
{
    return routes.publisher()
        .map([](const std::vector<AnyRoute>& queue) -> std::optional<AnyRoute> {
            if (queue.empty())
                return std::nullopt;
            return queue.front();
        })
        .removeDuplicates();
}

} // namespace quendal
