#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// The colours a cooling chart may name; the view maps them to its palette.
enum class CoolingChartColor {
    controlAccent,
    tempCoolBottom,
    tempCoolTop,
    green,
    yellowTowardsGreen,   // yellow, 10 % towards green
    orangeTowardsYellow,  // orange, 25 % towards yellow
    redTowardsOrange,     // red, 50 % towards orange
    red,
};

// The ramp of a temperature in Celsius: cool assets below 48, then green to red by ten degrees.
CoolingChartColor temperatureColor(double celsius);

// The spinning fan of one card. Kept by the provider across rebuilds so the blades' angle and
// speed carry over; the view turns it.
class FanView {
public:
    void setSpeed(std::optional<std::int64_t> rpm) { rpm_ = rpm.value_or(0); }
    std::int64_t speed() const { return rpm_; }
    double angle = 0;

private:
    std::int64_t rpm_ = 0;
};

struct BlockChartModel {
    std::vector<int> values;
    CoolingChartColor color = CoolingChartColor::controlAccent;
};

struct BlockChartWidgetModel {
    std::string title;
    std::string value;
    std::optional<std::string> detail;
    BlockChartModel chartModel;
};

struct FanViewItemModel {
    std::shared_ptr<FanView> fanView;
    std::string title;
    std::optional<std::int64_t> currentRpm;
    BlockChartWidgetModel chartModel;
};

struct ModularBlockChartModel {
    std::optional<std::string> title;
    std::optional<std::string> icon;
    std::vector<BlockChartWidgetModel> chartModels;
    std::optional<std::string> average;
};

// What the screen says while it has no card: still waiting, or the machine has nothing to show.
struct CoolingNoticeModel {
    std::string text;
};

} // namespace tarnel
