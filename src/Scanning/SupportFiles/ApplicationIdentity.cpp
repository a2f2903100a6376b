#include "Scanning/SupportFiles/ApplicationIdentity.h"

#include <algorithm>

namespace tarnel {

namespace {

std::string withoutSuffix(const std::string& text, const std::string& suffix)
{
    if (text.size() > suffix.size() && text.ends_with(suffix))
        return text.substr(0, text.size() - suffix.size());
    return text;
}

void addUnique(std::vector<std::string>& list, std::string value)
{
    if (!value.empty() && std::find(list.begin(), list.end(), value) == list.end())
        list.push_back(std::move(value));
}

} // namespace

bool isReverseDomainName(const std::string& id)
{
    int parts = 1;
    for (std::size_t i = 0; i < id.size(); ++i) {
        if (id[i] != '.')
            continue;
        if (i == 0 || i + 1 == id.size() || id[i + 1] == '.')
            return false;
        ++parts;
    }
    return parts >= 3;
}

std::vector<std::string> ApplicationIdentity::names() const
{
    std::vector<std::string> result;
    addUnique(result, displayName);
    addUnique(result, execProgram.substr(execProgram.rfind('/') + 1));
    addUnique(result, startupWMClass);
    addUnique(result, owningPackage);
    for (const auto& id : {withoutSuffix(desktopFileId, ".desktop"), sandboxId})
        if (!isReverseDomainName(id))
            addUnique(result, id);
    return result;
}

std::vector<std::string> ApplicationIdentity::identifiers() const
{
    std::vector<std::string> result;
    for (const auto& id : {withoutSuffix(desktopFileId, ".desktop"), sandboxId})
        if (isReverseDomainName(id))
            addUnique(result, id);
    return result;
}

} // namespace tarnel
