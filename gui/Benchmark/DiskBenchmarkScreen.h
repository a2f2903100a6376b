#pragma once

#include "Benchmark/BenchmarkSpeedometer.h"

#include "App/Benchmark/DiskBenchmarkProvider.h"

#include "QuendalFoundation/Runtime/Cancellable.h"

#include <QWidget>

#include <memory>
#include <optional>
#include <string>

class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace tarnel::gui {

// The disk benchmark: the drive, the run button, the read and write dials, and the stored
// runs of every drive as cards.
class DiskBenchmarkScreen : public QWidget {
public:
    explicit DiskBenchmarkScreen(std::shared_ptr<DiskBenchmarkProvider> provider, QWidget* parent = nullptr);

    DiskBenchmarkProvider& provider() const { return *provider_; }
    QPushButton* runButton() const { return run_; }
    QComboBox* driveMenu() const { return drives_; }
    BenchmarkSpeedometer* readDial() const { return read_; }
    BenchmarkSpeedometer* writeDial() const { return write_; }
    // The cards on screen, in order.
    std::vector<QWidget*> cards() const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void render(const DiskBenchmarkScreenModel& model);
    void renderHistory(const DiskBenchmarkScreenModel& model);

    std::shared_ptr<DiskBenchmarkProvider> provider_;
    QComboBox* drives_;
    QPushButton* run_;
    QLabel* note_;
    BenchmarkSpeedometer* read_;
    BenchmarkSpeedometer* write_;
    QLabel* historyTitle_;
    QLabel* emptyHistory_;
    QWidget* history_;
    QVBoxLayout* historyLayout_;
    std::vector<DiskBenchmarkSection> shownSections_;
    quendal::Cancellables cancellables_;
};

// The screen of the Storage entry and of a drive's benchmark route.
QWidget* makeDiskBenchmarkScreen(std::optional<std::string> diskIdentifier = std::nullopt);

} // namespace tarnel::gui
