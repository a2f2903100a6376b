#pragma once

#include "QuendalFoundation/Logging/LogRecord.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quendal {

struct PredicateSyntaxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The predicate texts the logger builds, evaluated against records: terms
// `<field> == "<value>"` and `<field> BEGINSWITH "<value>"` over subsystem, process and
// category, `eventType == logEvent` for everything, with OR, AND and parentheses.
class LogPredicate {
public:
    // Throws PredicateSyntaxError.
    static LogPredicate parse(std::string_view text);
    bool matches(const LogRecord& record) const;

    struct Node;

private:
    explicit LogPredicate(std::shared_ptr<const Node> root) : root_(std::move(root)) {}
    std::shared_ptr<const Node> root_;
};

} // namespace quendal
