#include "TarnelXPC/ServiceEndpoint.h"

#include <cstdlib>
#include <unistd.h>

namespace tarnel::xpc {

ServiceEndpoint ServiceEndpoint::system(const std::string& serviceName)
{
    return {serviceName, std::filesystem::path("/run/tarnel") / (serviceName + ".sock"), Scope::system};
}

std::filesystem::path ServiceEndpoint::sessionDirectory()
{
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime)
        return std::filesystem::path(runtime) / "tarnel";
    return std::filesystem::path("/tmp") / ("tarnel-" + std::to_string(::getuid()));
}

ServiceEndpoint ServiceEndpoint::session(const std::string& serviceName)
{
    return {serviceName, sessionDirectory() / (serviceName + ".sock"), Scope::session};
}

ServiceEndpoint ServiceEndpoint::at(const std::string& serviceName, std::filesystem::path socketPath)
{
    return {serviceName, std::move(socketPath), Scope::custom};
}

} // namespace tarnel::xpc
