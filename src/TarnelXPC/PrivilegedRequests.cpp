#include "TarnelXPC/PrivilegedRequests.h"

#include "TarnelFoundation/Codec/Hex.h"

#include <array>

namespace tarnel::xpc {

namespace {

constexpr std::array reasonNames{"userConfirmedCleanup", "applicationUninstall", "legacyMigration"};

const Value& field(const Value& record, std::string_view key, const char* type)
{
    if (!record.asDictionary())
        throw XPCError::decodingError(fmt::format("Expected {} as a dictionary, found {}", type, kindName(record.kind())));
    const auto* v = record.find(key);
    if (!v)
        throw XPCError::decodingError(fmt::format("{}: the key \"{}\" is missing", type, key));
    return *v;
}

bool isUnreserved(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~' || c == '/';
}

} // namespace

const char* reasonName(PrivilegedFileDeleteRequest::Reason reason)
{
    return reasonNames.at(static_cast<std::size_t>(reason));
}

std::optional<PrivilegedFileDeleteRequest::Reason> reasonNamed(std::string_view name)
{
    for (std::size_t i = 0; i < reasonNames.size(); ++i)
        if (name == reasonNames[i])
            return static_cast<PrivilegedFileDeleteRequest::Reason>(i);
    return std::nullopt;
}

std::string fileURL(const std::filesystem::path& path)
{
    std::string url = "file://";
    for (unsigned char c : path.string()) {
        if (isUnreserved(c))
            url.push_back(static_cast<char>(c));
        else
            url += fmt::format("%{:02X}", c);
    }
    return url;
}

std::optional<std::filesystem::path> pathFromFileURL(std::string_view url)
{
    constexpr std::string_view scheme = "file://";
    if (url.substr(0, scheme.size()) != scheme)
        return std::nullopt;
    auto rest = url.substr(scheme.size());
    if (rest.substr(0, 9) == "localhost")
        rest.remove_prefix(9);
    if (rest.empty() || rest.front() != '/')
        return std::nullopt;
    std::string path;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] != '%') {
            path.push_back(rest[i]);
            continue;
        }
        if (i + 2 >= rest.size())
            return std::nullopt;
        int hi = hexDigitValue(rest[i + 1]), lo = hexDigitValue(rest[i + 2]);
        if (hi < 0 || lo < 0)
            return std::nullopt;
        path.push_back(static_cast<char>(hi * 16 + lo));
        i += 2;
    }
    if (path.find('\0') != std::string::npos)
        return std::nullopt;
    return std::filesystem::path(path);
}

LaunchItemMutationRequest LaunchItemMutationRequest::forPath(const std::filesystem::path& path, bool enabled)
{
    return {fileURL(path), enabled};
}

std::optional<std::filesystem::path> LaunchItemMutationRequest::path() const { return pathFromFileURL(url); }

Value WireCodec<PrivilegedFileDeleteRequest>::encode(const PrivilegedFileDeleteRequest& request)
{
    Value v = Value::dictionary();
    v.set("paths", WireCodec<std::vector<std::string>>::encode(request.paths));
    v.set("reason", reasonName(request.reason));
    return v;
}

PrivilegedFileDeleteRequest WireCodec<PrivilegedFileDeleteRequest>::decode(const Value& value)
{
    PrivilegedFileDeleteRequest request;
    request.paths = WireCodec<std::vector<std::string>>::decode(field(value, "paths", "PrivilegedFileDeleteRequest"));
    const auto& reason = WireCodec<std::string>::decode(field(value, "reason", "PrivilegedFileDeleteRequest"));
    auto parsed = reasonNamed(reason);
    if (!parsed)
        throw XPCError::decodingError(fmt::format("PrivilegedFileDeleteRequest: unknown reason \"{}\"", reason));
    request.reason = *parsed;
    return request;
}

Value WireCodec<LaunchItemMutationRequest>::encode(const LaunchItemMutationRequest& request)
{
    Value v = Value::dictionary();
    v.set("url", request.url);
    v.set("enabled", request.enabled);
    return v;
}

LaunchItemMutationRequest WireCodec<LaunchItemMutationRequest>::decode(const Value& value)
{
    return {WireCodec<std::string>::decode(field(value, "url", "LaunchItemMutationRequest")),
            WireCodec<bool>::decode(field(value, "enabled", "LaunchItemMutationRequest"))};
}

} // namespace tarnel::xpc
