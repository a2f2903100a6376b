#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace tarnel {

// The application's text table: every user-visible text has a key and an English default.
// A translation is a JSON object of key → text in `<data dir>/tarnel/locale/<language>.json`;
// a key it lacks falls back to English.
class Localizable {
public:
    static Localizable& shared();

    // The text for `key`; the English default when no translation has it.
    std::string text(std::string_view key) const;
    // Registers the English default of a key the table does not know yet, and returns the text.
    std::string text(std::string_view key, std::string_view englishDefault);
    // Loads a translation, replacing the one before; false when the file is unreadable or malformed.
    bool loadTranslation(const std::filesystem::path& file);
    bool hasKey(std::string_view key) const;

private:
    Localizable();
    mutable std::mutex mutex_;
    std::map<std::string, std::string, std::less<>> english_;
    std::map<std::string, std::string, std::less<>> translation_;
};

// Shorthand for the shared table.
inline std::string localized(std::string_view key)
{
    return Localizable::shared().text(key);
}

} // namespace tarnel
