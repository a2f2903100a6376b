#pragma once

#include "App/Benchmark/DiskBenchmarkModels.h"

#include <QWidget>

namespace tarnel::gui {

// A dial of megabytes per second. The scale runs on the square root of the speed, so a hard
// disk's 150 MB/s and a fast SSD's 3,500 MB/s both sit where they can be read.
class BenchmarkSpeedometer : public QWidget {
public:
    explicit BenchmarkSpeedometer(QWidget* parent = nullptr);

    void setModel(const BenchmarkSpeedometerModel& model, BenchmarkSpeedometerState state);
    const BenchmarkSpeedometerModel& model() const { return model_; }
    BenchmarkSpeedometerState state() const { return state_; }

    // Where a speed sits on the dial, 0 to 1.
    static double position(double megabytesPerSecond, double maximum);

    QSize sizeHint() const override { return {320, 300}; }
    QSize minimumSizeHint() const override { return {240, 250}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    BenchmarkSpeedometerModel model_;
    BenchmarkSpeedometerState state_ = BenchmarkSpeedometerState::none;
};

QColor benchmarkColor(BenchmarkColor color);

} // namespace tarnel::gui
