#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace tarnel::ui {

// The widget module's door to the "Localizable" table. The program that links the module
// installs its translator (the application its text table, the Monitor app the same files);
// without one the English text shows. Each key is translated once and kept.
class LocalizedText {
public:
    using Translator = std::function<std::string(std::string_view key, std::string_view english)>;

    static LocalizedText& shared();

    // Replaces the translator and forgets the texts kept so far.
    void setTranslator(Translator translator);
    std::string text(std::string_view key, std::string_view english);

private:
    std::mutex mutex_;
    Translator translator_;
    std::map<std::string, std::string, std::less<>> kept_;
};

inline std::string localized(std::string_view key, std::string_view english)
{
    return LocalizedText::shared().text(key, english);
}

} // namespace tarnel::ui
