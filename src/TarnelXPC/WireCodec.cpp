#include "TarnelXPC/WireCodec.h"

#include <fmt/format.h>

namespace tarnel::xpc {

void throwUnexpectedKind(const std::string& expected, Value::Kind found)
{
    throw XPCError::decodingError(fmt::format("Expected {}, found {}", expected, kindName(found)));
}

} // namespace tarnel::xpc
