#include "App/Localization/Localizable.h"

#include "QuendalFoundation/Logging/AppLogger.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace tarnel {

namespace {

// Keys with their English text, for every screen of the application.
const std::pair<const char*, const char*> englishTable[] = {
    {"dashboard_title", "Dashboard"},
    {"monitor_title", "Monitor"},
    {"clean_title", "Clean"},
    {"trim_title", "Trim"},
    {"optimizer_title", "Optimize"},
    {"uninstaller_title", "Uninstaller"},
    {"storage_title", "Storage"},
    {"battery_title", "Battery"},
    {"graphics_title", "Graphics"},
    {"cooling_title", "Cooling"},
    {"settings_title", "Settings"},
    {"utilities_section", "Utilities"},
    {"hardware_section", "Hardware"},
    {"general_move_to_applications", "Install Tarnel"},
    {"general_move_to_applications_message",
     "Tarnel can not run from a mounted disk image. Please install Tarnel with your package manager or its installer."},
    {"app_menu_open_website", "Open Website"},
    {"app_menu_report_problem", "Report A Problem"},
    {"app_menu_about", "About %1"},
    {"app_menu_open_website_failed", "No web browser could be opened."},
    {"app_menu_open_website_address", "Open this address in your browser: %1"},
    {"about_version_format", "Version %1 (build %2)"},
    {"about_summary", "Tarnel shows how your computer is doing, and keeps it clean and healthy."},
    {"general_ok", "OK"},
    {"app_menu_zoom", "Maximize"},
    {"settings_appearance_title", "Appearance"},
    {"settings_theme_title", "Theme"},
    {"settings_theme_system", "System"},
    {"settings_theme_light", "Light"},
    {"settings_theme_dark", "Dark"},
    {"settings_temperature_title", "Temperature unit"},
    {"settings_temperature_system", "System"},
    {"settings_temperature_celsius", "Celsius"},
    {"settings_temperature_fahrenheit", "Fahrenheit"},
    {"settings_temperature_kelvin", "Kelvin"},
    {"settings_monitor_run_at_login", "Run Tarnel Monitor on Login"},
    {"settings_monitor_run_at_login_note",
     "Tarnel Monitor starts with Tarnel. Enable this to also run the panel monitor when you log in."},
    {"general_coming_soon", "This screen is coming soon."},
    {"onboarding_install_title", "Enable Tarnel Background Service"},
    {"onboarding_install_text",
     "Tarnel needs to enable a background service to provide realtime system performance statistics while the app is running."},
    {"onboarding_install_button", "Enable Now"},
    {"onboarding_approval_title", "Approve Background Service"},
    {"onboarding_approval_text",
     "An administrator must approve the Tarnel background service. Enter your password in the prompt that opens to enable it."},
    {"onboarding_approval_button", "Approve Now"},
    {"onboarding_completed_title", "All done!"},
    {"onboarding_completed_text", "Tarnel is now monitoring performance in real-time."},
    {"onboarding_error_program_missing",
     "The Tarnel background service is not installed on this computer. Reinstall Tarnel, then choose Enable Now again."},
    {"onboarding_error_not_started",
     "The Tarnel background service could not be started. If a password prompt was closed, choose Enable Now to try again."},
    {"onboarding_error_not_answering",
     "The Tarnel background service started but does not answer yet. Tarnel keeps trying; you can also choose Enable Now."},
    {"onboarding_error_incompatible",
     "The background service that answered does not belong to this version of Tarnel. Choose Enable Now to replace it."},
    {"onboarding_error_unknown",
     "The Tarnel background service could not be enabled. Help ▸ Report A Problem saves the details for us."},
    {"onboarding_quit_button", "Quit Tarnel"},
    {"app_menu_report_problem_message",
     "If you are experiencing a problem with Tarnel, please save a copy of its log files and send them to us together with a "
     "description of your issue."},
    {"app_menu_save_logs", "Save Logs"},
    {"general_unknown", "Unknown"},
    {"dashboard_cpu_system", "System"},
    {"dashboard_cpu_user", "User"},
    {"dashboard_memory_pressure", "Memory Pressure"},
    {"dashboard_memory_swap_file", "Swap File"},
    {"memory_wired", "Wired"},
    {"memory_active", "Active"},
    {"memory_compressed", "Compressed"},
    {"memory_available", "Available"},
    {"memory_app_memory", "App Memory"},
    {"memory_used", "Used"},
    {"memory_pressure", "Pressure"},
    {"dashboard_temperature", "Temperature"},
    {"dashboard_memory", "Memory"},
    {"dashboard_load", "Load"},
    {"gpu_coreClockMHz", "Core Clock (MHz)"},
    {"gpu_memoryClockMHz", "Memory Clock (MHz)"},
    {"dashboard_info_model", "Model"},
    {"dashboard_info_serial", "Serial number"},
    {"dashboard_info_release_date", "Release date"},
    {"dashboard_info_manufacture_date", "Manufacture date"},
    {"dashboard_info_origin", "Origin"},
    {"dashboard_info_identifier", "Identifier"},
    {"dashboard_info_processor", "Processor"},
    {"dashboard_info_graphics", "Graphics"},
    {"dashboard_info_memory", "Memory"},
    {"dashboard_info_storage", "Storage"},
    {"system_info_release_date_unknown", "Unknown"},
    {"dashboard_cpu_title", "Processor"},
    {"dashboard_ram_title", "Memory"},
    {"dashboard_storage_title", "Storage"},
    {"dashboard_top_processes", "Top processes"},
    {"dashboard_waiting", "Waiting for the first values…"},
    {"system_info_origin_fountain_colorado", "Fountain Colorado, USA"},
    {"system_info_origin_fremont_california", "Fremont, California, USA"},
    {"system_info_origin_austin_texas", "Austin, Texas, USA"},
    {"system_info_origin_usa", "USA"},
    {"system_info_origin_mexico", "Mexico"},
    {"system_info_origin_cork", "Cork, Ireland"},
    {"system_info_origin_foxconn_pardubice", "Foxconn — Pardubice, Czech Republic"},
    {"system_info_origin_singapore", "Singapore"},
    {"system_info_origin_malaysia", "Malaysia"},
    {"system_info_origin_korea", "Korea"},
    {"system_info_origin_taiwan", "Taiwan"},
    {"system_info_origin_foxconn_zhengzhou", "Foxconn — Zhengzhou, China"},
    {"system_info_origin_shanghai", "Shanghai, China"},
    {"system_info_origin_foxconn_china", "Foxconn — China"},
    {"system_info_origin_foxconn_chengdu", "Foxconn — Chengdu, China"},
    {"system_info_origin_honhai_foxconn", "Hon Hai/Foxconn — China"},
    {"system_info_origin_techcom_quanta", "Tech Com – Quanta Computer Subsidiary, China"},
    {"system_info_origin_foxconn_shenzhen", "Foxconn – Shenzhen, China"},
    {"system_info_origin_pentragon_shanghai", "Pentragon – Shanghai, China"},
    {"system_info_origin_refurbished", "Refurbished by the maker"},
    {"system_info_origin_china", "China"},
    {"general_cancel", "Cancel"},
    {"app_menu_logs_saved", "Logs were exported"},
    {"app_menu_save_logs_success", "Please include them when opening a ticket in our support system."},
    {"app_menu_visit_support", "Visit Support"},
};

} // namespace

Localizable& Localizable::shared()
{
    static Localizable table;
    return table;
}

Localizable::Localizable()
{
    for (const auto& [key, text] : englishTable)
        english_.emplace(key, text);
}

std::string Localizable::text(std::string_view key) const
{
    std::lock_guard lock(mutex_);
    if (auto found = translation_.find(key); found != translation_.end())
        return found->second;
    if (auto found = english_.find(key); found != english_.end())
        return found->second;
    return std::string(key); // a missing key shows itself, so it is noticed
}

std::string Localizable::text(std::string_view key, std::string_view englishDefault)
{
    {
        std::lock_guard lock(mutex_);
        english_.try_emplace(std::string(key), englishDefault);
    }
    return text(key);
}

bool Localizable::hasKey(std::string_view key) const
{
    std::lock_guard lock(mutex_);
    return english_.find(key) != english_.end();
}

bool Localizable::loadTranslation(const std::filesystem::path& file)
{
    std::ifstream in(file);
    if (!in) {
        quendal::AppLogger::warning("No translation at " + file.string());
        return false;
    }
    std::map<std::string, std::string, std::less<>> loaded;
    try {
        auto document = nlohmann::json::parse(in);
        if (!document.is_object())
            throw std::runtime_error("the document is no object");
        for (const auto& [key, value] : document.items())
            if (value.is_string())
                loaded.emplace(key, value.get<std::string>());
    } catch (const std::exception& e) {
        quendal::AppLogger::warning("Ignoring the translation " + file.string() + ": " + e.what());
        return false;
    }
    std::lock_guard lock(mutex_);
    translation_ = std::move(loaded);
    return true;
}

} // namespace tarnel
