#pragma once

#include "TarnelFoundation/Statistics/StatisticsModel.h"
#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

// Every statistic in catalogue order.
extern const std::array<WidgetStatistic, widgetStatisticCount> allWidgetStatistics;

// The families of statistics that are held per instance by an index.
enum class IndexedWidgetStatisticKind : std::uint8_t { cpuCore, process, gpu, storage, temperatureSensor, fanSensor };

// Plain English lookups of the shared data model; never translated. Total over every case:
// a case without a value gives none.
std::string_view title(WidgetStatistic statistic);
std::string_view shortTitle(WidgetStatistic statistic);
std::optional<std::string_view> statusTitle(WidgetStatistic statistic);
DaemonService requiredService(WidgetStatistic statistic);
std::optional<std::string_view> symbolName(WidgetStatistic statistic);

bool isIndexed(WidgetStatistic statistic);
std::optional<IndexedWidgetStatisticKind> indexedKind(WidgetStatistic statistic);
// "Core #1" for index 0 of `cpuCore`; none for a statistic without an instance prefix.
std::optional<std::string> indexedTitle(WidgetStatistic statistic, std::int64_t index);

// The two halves of the temperature sensor statistics.
bool isIndividualTemperatureSensor(WidgetStatistic statistic);
bool isGroupTemperatureSensor(WidgetStatistic statistic);

} // namespace tarnel
