#pragma once

#include "TarnelFoundation/Statistics/WidgetStatistic.h"

#include <string>
#include <string_view>

namespace tarnel::daemon {

// The family a hwmon temperature channel belongs to, as the individual sensor statistic
// (`cpuTemperatureSensor` ... `otherTemperatureSensor`). The rules live in one table in the
// source file: the first rule whose chip and label match wins.
WidgetStatistic classifyTemperatureSensor(std::string_view chip, std::string_view label);

// `cpuTemperatureSensor` → `cpuGroupTemperatureSensor`, and so on for the eighteen families.
WidgetStatistic groupStatistic(WidgetStatistic individualSensor);
bool isIndividualTemperatureSensor(WidgetStatistic statistic);
// "CPU", "Logic Board", "Wi-Fi": the family of an individual or a group sensor statistic.
std::string sensorFamilyTitle(WidgetStatistic statistic);

} // namespace tarnel::daemon
