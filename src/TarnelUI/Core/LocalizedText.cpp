#include "TarnelUI/Core/LocalizedText.h"

namespace tarnel::ui {

LocalizedText& LocalizedText::shared()
{
    static LocalizedText instance;
    return instance;
}

void LocalizedText::setTranslator(Translator translator)
{
    std::lock_guard lock(mutex_);
    translator_ = std::move(translator);
    kept_.clear();
}

std::string LocalizedText::text(std::string_view key, std::string_view english)
{
    std::lock_guard lock(mutex_);
    if (auto found = kept_.find(key); found != kept_.end())
        return found->second;
    std::string value = translator_ ? translator_(key, english) : std::string(english);
    if (value.empty())
        value = english;
    kept_.emplace(std::string(key), value);
    return value;
}

} // namespace tarnel::ui
