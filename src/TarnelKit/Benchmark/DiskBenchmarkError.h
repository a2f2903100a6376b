#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tarnel {

// Why a run failed: one of the engine's own cases, or the error of the file system.
class DiskBenchmarkError : public std::runtime_error {
public:
    enum class Code : std::uint8_t {
        invalidFileDescriptor,
        unableToConfigureFileDescriptor,
        unableToReadData,
        unableToWriteData,
        // Making or removing the run's folder failed; `systemError()` says why.
        fileSystem,
    };

    DiskBenchmarkError(Code code, std::error_code cause = {});
    DiskBenchmarkError(std::string message, std::error_code cause);

    Code code() const { return code_; }
    // The errno behind the failure, when there was one.
    std::error_code systemError() const { return cause_; }

    friend bool operator==(const DiskBenchmarkError& a, const DiskBenchmarkError& b)
    {
        return a.code_ == b.code_ && a.cause_ == b.cause_;
    }

private:
    Code code_;
    std::error_code cause_;
};

std::string_view describe(DiskBenchmarkError::Code code);

} // namespace tarnel
