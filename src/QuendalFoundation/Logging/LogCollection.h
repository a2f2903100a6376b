#pragma once

#include <asio/awaitable.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quendal {

// AppLogger::collectLogs on the background pool, so a read of a large log never holds the
// caller's executor (the main actor above all).
asio::awaitable<std::vector<std::string>> collectLogsInBackground(std::string predicate, int lastHours,
                                                                  std::optional<std::size_t> maxEntries);

} // namespace quendal
