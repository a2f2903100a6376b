#include "Platform/Statistics/MountInfoReader.h"

#include "Platform/Statistics/TextParsing.h"

namespace tarnel::platform {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

} // namespace

std::vector<MountEntry> MountInfoReader::read() const
{
    auto path = root_.resolve("/proc/self/mountinfo");
    return parse(SystemRoot::readRequiredText(path));
}

std::string MountInfoReader::decode(std::string_view field)
{
    std::string decoded;
    decoded.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) && isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            if (value <= 0xff) {
                decoded.push_back(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        decoded.push_back(field[i]);
    }
    return decoded;
}

std::vector<MountEntry> MountInfoReader::parse(std::string_view contents)
{
    std::vector<MountEntry> entries;
    for (auto line : text::lines(contents)) {
        // id parent major:minor root mount-point options [optional fields...] - type source super-options
        auto fields = text::fields(line);
        size_t separator = 6;
        while (separator < fields.size() && fields[separator] != "-")
            ++separator;
        if (fields.size() < 10 || separator + 3 > fields.size())
            continue;
        auto id = text::parseUnsigned(fields[0]);
        auto parent = text::parseUnsigned(fields[1]);
        auto colon = fields[2].find(':');
        if (!id || !parent || colon == std::string_view::npos)
            continue;
        auto major = text::parseUnsigned(fields[2].substr(0, colon));
        auto minor = text::parseUnsigned(fields[2].substr(colon + 1));
        if (!major || !minor || *major > 0xfffff || *minor > 0xfffff || *id > 0x7fffffff || *parent > 0x7fffffff)
            continue;
        MountEntry entry;
        entry.mountId = static_cast<int>(*id);
        entry.parentId = static_cast<int>(*parent);
        entry.major = static_cast<unsigned>(*major);
        entry.minor = static_cast<unsigned>(*minor);
        entry.root = decode(fields[3]);
        entry.mountPoint = decode(fields[4]);
        entry.options = std::string(fields[5]);
        entry.fileSystemType = decode(fields[separator + 1]);
        entry.source = decode(fields[separator + 2]);
        if (!entry.mountPoint.starts_with('/'))
            continue;
        entries.push_back(std::move(entry));
    }
    return entries;
}

} // namespace tarnel::platform
