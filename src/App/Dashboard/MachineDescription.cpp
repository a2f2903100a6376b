#include "App/Dashboard/MachineDescription.h"

#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>

namespace tarnel::machine {

namespace {

std::string unknown()
{
    return localized("general_unknown");
}

void replaceAll(std::string& text, std::string_view from, std::string_view to)
{
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

bool nonEmpty(const std::optional<std::string>& s)
{
    return s && !s->empty();
}

std::string capitalised(std::string_view text)
{
    std::string out(text);
    bool start = true;
    for (auto& c : out) {
        const auto u = static_cast<unsigned char>(c);
        c = static_cast<char>(start ? std::toupper(u) : std::tolower(u));
        start = std::isspace(u) != 0;
    }
    return out;
}

std::string trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

struct OriginRow {
    const char* key;
    std::array<const char*, 4> codes;
};

// In the order they are tried; China comes last.
const OriginRow originTable[] = {
    {"system_info_origin_fountain_colorado", {"FC"}},
    {"system_info_origin_fremont_california", {"F", "D2", "F3"}},
    {"system_info_origin_austin_texas", {"F5"}},
    {"system_info_origin_usa", {"XA", "XB", "QP", "G8"}},
    {"system_info_origin_mexico", {"RN"}},
    {"system_info_origin_cork", {"CK", "DG"}},
    {"system_info_origin_foxconn_pardubice", {"VM"}},
    {"system_info_origin_singapore", {"SG", "E"}},
    {"system_info_origin_malaysia", {"MB"}},
    {"system_info_origin_korea", {"PT", "CY"}},
    {"system_info_origin_taiwan", {"EE", "QT", "UV"}},
    {"system_info_origin_foxconn_zhengzhou", {"FK", "F1", "F2", "FV"}},
    {"system_info_origin_shanghai", {"W8"}},
    {"system_info_origin_foxconn_china", {"DL", "DM"}},
    {"system_info_origin_foxconn_chengdu", {"DN"}},
    {"system_info_origin_honhai_foxconn", {"YM", "7J"}},
    {"system_info_origin_techcom_quanta", {"C0"}},
    {"system_info_origin_foxconn_shenzhen", {"C3", "C4", "C6", "7J"}},
    {"system_info_origin_pentragon_shanghai", {"C7"}},
    {"system_info_origin_refurbished", {"RM"}},
};

constexpr std::array<std::string_view, 33> chinaCodes{"C1", "C2", "C8", "17", "1C", "1G", "2C", "2Z", "32", "3K", "4J",
                                                      "4H", "4R", "4X", "5K", "5U", "6C", "6F", "6U", "WQ", "F7", "7K",
                                                      "7L", "7T", "8B", "8H", "8K", "8L", "9C", "9E", "9G", "DX", "DY"};

std::optional<int> digit(char c)
{
    if (c < '0' || c > '9')
        return std::nullopt;
    return c - '0';
}

const char* monthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                            "July",    "August",   "September", "October", "November", "December"};

} // namespace

std::string displayName(const SystemInventorySnapshot& inventory)
{
    const auto& m = inventory.machine;
    if (nonEmpty(m.appleProductName))
        return *m.appleProductName;
    if (nonEmpty(m.modelIdentifier))
        return *m.modelIdentifier;
    if (nonEmpty(inventory.operatingSystem.computerName))
        return *inventory.operatingSystem.computerName;
    return unknown();
}

std::string subtitle(const SystemOSInventory& os)
{
    std::string text = os.versionString;
    if (text.empty()) {
        text = fmt::format("Linux {}.{}", os.majorVersion, os.minorVersion);
        if (os.patchVersion != 0)
            text += fmt::format(".{}", os.patchVersion);
    }
    if (nonEmpty(os.buildString))
        text += " (" + *os.buildString + ")";
    return text;
}

std::optional<std::string> modelYear(std::string_view name)
{
    const auto open = name.find('(');
    if (open == std::string_view::npos)
        return std::nullopt;
    const auto close = name.find(')', open);
    if (close == std::string_view::npos)
        return std::nullopt;
    std::stringstream parts(std::string(name.substr(open + 1, close - open - 1)));
    std::string part;
    while (std::getline(parts, part, ',')) {
        std::stringstream words(part);
        std::string word;
        while (words >> word) {
            if (word.size() == 4 && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; })) {
                const int year = std::stoi(word);
                if (year >= 2001 && year <= 2199)
                    return capitalised(trimmed(part));
            }
        }
    }
    return std::nullopt;
}

std::string cleanedProcessorName(const std::optional<std::string>& name)
{
    std::string text = nonEmpty(name) ? *name : unknown();
    replaceAll(text, "(R)", "");
    replaceAll(text, "(TM)", "");
    replaceAll(text, "CPU ", "");
    replaceAll(text, "GHz", " GHz");
    replaceAll(text, "-", " ");
    replaceAll(text, "@ ", "");
    return text;
}

std::optional<std::string> mainGraphicsName(const HardwareCatalogSnapshot& catalog)
{
    for (const auto& gpu : catalog.gpus)
        if (!gpu.isRemovable && !gpu.isLowPower)
            return gpu.name;
    for (const auto& gpu : catalog.gpus)
        if (!gpu.isRemovable)
            return gpu.name;
    if (!catalog.gpus.empty())
        return catalog.gpus.front().name;
    return std::nullopt;
}

std::string origin(std::string_view serial)
{
    if (serial.size() < 2)
        return unknown();
    const auto code = serial.substr(0, 2);
    for (const auto& row : originTable)
        for (const char* c : row.codes)
            if (c && code == c)
                return localized(row.key);
    for (auto c : chinaCodes)
        if (code == c)
            return localized("system_info_origin_china");
    return unknown();
}

std::string weekDateText(int yearForWeek, int weekOfYear, int days)
{
    using namespace std::chrono;
    const sys_days firstOfJanuary = year_month_day{year{yearForWeek}, January, day{1}};
    // Week 1 is the week (Sunday to Saturday) that holds 1 January.
    const sys_days weekOneSunday = firstOfJanuary - (weekday{firstOfJanuary} - Sunday);
    const sys_days date = weekOneSunday + std::chrono::days{7 * (weekOfYear - 1) + days};
    const year_month_day ymd{date};
    return fmt::format("{:02} {}, {}", static_cast<unsigned>(ymd.day()), monthNames[static_cast<unsigned>(ymd.month()) - 1],
                       static_cast<int>(ymd.year()));
}

Manufacture decodeManufacture(const SystemMachineInventory& m, std::optional<int> releaseYear)
{
    const std::string serial = m.serialNumber.value_or("");
    const std::string board = m.mlbSerialNumber.value_or("");
    if (serial.size() >= 6 && serial.size() != 10) {
        Manufacture result{unknown(), origin(serial)};
        static constexpr std::string_view years = "CDFGHJKLMNPQRSTVWXYZ";
        static constexpr std::string_view weeks = "123456789CDFGHJKLMNPQRTVWXY";
        const auto y = years.find(serial[3]);
        const auto w = weeks.find(serial[4]);
        if (y != std::string_view::npos && w != std::string_view::npos) {
            int yearNumber = 2010 + static_cast<int>(y / 2);
            const int week = static_cast<int>(w) + (y % 2 == 1 ? 26 : 0);
            while (yearNumber < releaseYear.value_or(2010))
                yearNumber += 10;
            result.date = weekDateText(yearNumber, week, 7);
        }
        return result;
    }
    if (board.size() == 17) {
        Manufacture result{unknown(), origin(board)};
        const auto yearDigit = digit(board[3]);
        const auto weekTens = digit(board[4]);
        const auto weekOnes = digit(board[5]);
        if (yearDigit && weekTens && weekOnes) {
            const int offset = std::clamp(*weekOnes, 1, 7);
            result.date = weekDateText(2020 + *yearDigit, *weekTens * 10 + *weekOnes, offset);
        }
        return result;
    }
    return {unknown(), unknown()};
}

std::vector<InfoRow> infoTable(const SystemInventorySnapshot& inventory, const HardwareCatalogSnapshot& catalog)
{
    const auto& m = inventory.machine;
    auto orUnknown = [](const std::optional<std::string>& v) { return nonEmpty(v) ? *v : unknown(); };
    const auto made = decodeManufacture(m);
    std::uint64_t internal = 0;
    for (const auto& drive : catalog.storage.physicalDrives())
        if (drive.isInternal && drive.sizeBytes)
            internal += *drive.sizeBytes;
    const auto bytes = [&](std::uint64_t count) {
        return count == 0 ? unknown() : quendal::ByteCountFormatter::string(static_cast<std::int64_t>(count));
    };
    return {
        {localized("dashboard_info_model"), orUnknown(m.modelIdentifier)},
        {localized("dashboard_info_serial"), orUnknown(m.serialNumber)},
        {localized("dashboard_info_release_date"), localized("system_info_release_date_unknown")},
        {localized("dashboard_info_manufacture_date"), made.date},
        {localized("dashboard_info_origin"), made.origin},
        {localized("dashboard_info_identifier"), orUnknown(m.modelIdentifier)},
        {localized("dashboard_info_processor"), cleanedProcessorName(inventory.cpu.name)},
        {localized("dashboard_info_graphics"), orUnknown(mainGraphicsName(catalog))},
        {localized("dashboard_info_memory"), bytes(inventory.memory.totalBytes)},
        {localized("dashboard_info_storage"), bytes(internal)},
    };
}

LargeEntityHeaderModel header(const SystemInventorySnapshot& inventory, const HardwareCatalogSnapshot& catalog)
{
    LargeEntityHeaderModel model;
    model.title = displayName(inventory);
    model.subtitle = subtitle(inventory.operatingSystem);
    model.image = "computer";
    model.sizeTitle = modelYear(model.title);
    model.infoTable = infoTable(inventory, catalog);
    return model;
}

} // namespace tarnel::machine
