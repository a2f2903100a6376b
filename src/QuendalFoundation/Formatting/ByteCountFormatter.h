#pragma once

#include <cstdint>
#include <string>

namespace quendal {

// Byte counts as the platform's well-known formatter writes them: every unit allowed, adaptive
// precision (none for bytes and KB, one digit for MB, two from GB on, trailing zeros dropped),
// "Zero KB" for nothing, "1 byte" and "<n> bytes" below a kilobyte.
class ByteCountFormatter {
public:
    enum class CountStyle { decimal, binary };

    static std::string string(std::int64_t bytes, CountStyle style = CountStyle::decimal);
};

} // namespace quendal
