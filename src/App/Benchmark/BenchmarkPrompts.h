#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tarnel {

// The questions the run button may have to ask; the toolkit answers them modally.
class BenchmarkPrompts {
public:
    virtual ~BenchmarkPrompts() = default;
    // A warning with two buttons; true when the first was chosen.
    virtual bool confirm(const std::string& title, const std::string& message, const std::string& accept,
                         const std::string& cancel) = 0;
    // A picker of one directory; nullopt when dismissed.
    virtual std::optional<std::filesystem::path> chooseDirectory(const std::string& title,
                                                                 const std::filesystem::path& start) = 0;
    virtual void showError(const std::string& informativeText, const std::string& message) = 0;
};

} // namespace tarnel
