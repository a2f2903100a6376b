#include "TestSupport.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace tarnel::testing {

TemporaryDirectory::TemporaryDirectory(const std::string& prefix)
{
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    // Tests may leave read-only folders behind; make them writable before removal.
    for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_directory(ignored) && !it->is_symlink(ignored))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                std::filesystem::perm_options::add, ignored);
    }
    std::filesystem::remove_all(path_, ignored);
}

static std::filesystem::path fromEnvironment(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
        throw std::runtime_error(std::string(name) + " is not set; run the tests through ctest");
    return value;
}

std::filesystem::path sourceDirectory() { return fromEnvironment("TARNEL_SOURCE_DIR"); }
std::filesystem::path binaryDirectory() { return fromEnvironment("TARNEL_BINARY_DIR"); }

void writeFile(const std::filesystem::path& path, const std::string& contents)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    if (!out)
        throw std::runtime_error("cannot write " + path.string());
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

} // namespace tarnel::testing
