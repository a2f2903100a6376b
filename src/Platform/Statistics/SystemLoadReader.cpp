#include "Platform/Statistics/SystemLoadReader.h"

#include "Platform/Statistics/TextParsing.h"

namespace tarnel::platform {

SystemLoad SystemLoadReader::read() const
{
    SystemLoad load;
    if (auto uptime = SystemRoot::readText(root_.resolve("/proc/uptime")))
        parseUptime(*uptime, load);
    if (auto average = SystemRoot::readText(root_.resolve("/proc/loadavg")))
        parseLoadAverage(*average, load);
    return load;
}

void SystemLoadReader::parseUptime(std::string_view contents, SystemLoad& into)
{
    auto all = text::lines(contents);
    if (all.empty())
        return;
    auto fields = text::fields(all.front());
    if (fields.size() != 2)
        return;
    auto uptime = text::parseDouble(fields[0]);
    auto idle = text::parseDouble(fields[1]);
    if (uptime && *uptime >= 0)
        into.uptimeSeconds = uptime;
    if (idle && *idle >= 0)
        into.idleSeconds = idle;
}

void SystemLoadReader::parseLoadAverage(std::string_view contents, SystemLoad& into)
{
    auto fields = text::fields(contents);
    if (fields.size() < 3)
        return;
    std::vector<double> averages;
    for (size_t i = 0; i < 3; ++i) {
        auto value = text::parseDouble(fields[i]);
        if (!value || *value < 0)
            return;
        averages.push_back(*value);
    }
    into.loadAverage = std::move(averages);
    if (fields.size() >= 4) {
        auto slash = fields[3].find('/');
        if (slash != std::string_view::npos) {
            into.runnableTasks = text::parseUnsigned(fields[3].substr(0, slash));
            into.totalTasks = text::parseUnsigned(fields[3].substr(slash + 1));
        }
    }
}

} // namespace tarnel::platform
