#include "QuendalFoundation/Logging/LogCollection.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Runtime/Runtime.h"

namespace quendal {

asio::awaitable<std::vector<std::string>> collectLogsInBackground(std::string predicate, int lastHours,
                                                                  std::optional<std::size_t> maxEntries)
{
    // Named first: g++ 12 destroys a temporary argument of a call inside co_await twice.
    auto read = [predicate = std::move(predicate), lastHours, maxEntries] {
        return AppLogger::collectLogs(predicate, lastHours, maxEntries);
    };
    auto lines = co_await inBackground(std::move(read));
    co_return lines;
}

} // namespace quendal
