#include "TarnelKit/Benchmark/DiskBenchmarkError.h"

namespace tarnel {

namespace {

std::string message(DiskBenchmarkError::Code code, std::error_code cause)
{
    std::string text(describe(code));
    if (cause)
        text += ": " + cause.message();
    return text;
}

} // namespace

std::string_view describe(DiskBenchmarkError::Code code)
{
    switch (code) {
    case DiskBenchmarkError::Code::invalidFileDescriptor:
        return "The benchmark file could not be opened";
    case DiskBenchmarkError::Code::unableToConfigureFileDescriptor:
        return "The benchmark file could not be set up to bypass the page cache";
    case DiskBenchmarkError::Code::unableToReadData:
        return "Reading the benchmark file failed";
    case DiskBenchmarkError::Code::unableToWriteData:
        return "Writing the benchmark file failed";
    case DiskBenchmarkError::Code::fileSystem:
        return "The benchmark folder could not be made or removed";
    }
    return "The benchmark failed";
}

DiskBenchmarkError::DiskBenchmarkError(Code code, std::error_code cause)
    : std::runtime_error(message(code, cause)), code_(code), cause_(cause)
{
}

DiskBenchmarkError::DiskBenchmarkError(std::string text, std::error_code cause)
    : std::runtime_error(cause ? text + ": " + cause.message() : text), code_(Code::fileSystem), cause_(cause)
{
}

} // namespace tarnel
