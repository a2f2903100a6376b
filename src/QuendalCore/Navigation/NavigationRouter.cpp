#include "QuendalCore/Navigation/NavigationRouter.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <cxxabi.h>

#include <cstdlib>

namespace quendal {

namespace {

// "tarnel::OnboardingRoute" rather than the mangled name.
std::string readableName(std::type_index type)
{
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(type.name());
}

} // namespace

void NavigationRouter::add(std::type_index type, Kind kind, Factory make)
{
    const auto name = readableName(type);
    factories_[type] = Destination{kind, std::move(make)};
    AppLogger::debug(kind == Kind::view ? "Registered View destination for " + name
                                        : "Registered ViewController destination for " + name);
}

std::shared_ptr<SheetContent> NavigationRouter::resolve(const AnyRoute& route) const
{
    auto found = factories_.find(route.type());
    if (found == factories_.end())
        return nullptr;
    auto content = found->second.make(route);
    if (found->second.kind == Kind::view && hosting_ && content)
        return hosting_(std::move(content));
    return content;
}

} // namespace quendal
