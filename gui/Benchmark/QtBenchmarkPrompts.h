#pragma once

#include "App/Benchmark/BenchmarkPrompts.h"

#include <QPointer>
#include <QWidget>

namespace tarnel::gui {

// The run button's questions as modal dialogs over the screen.
class QtBenchmarkPrompts final : public BenchmarkPrompts {
public:
    void setParent(QWidget* parent) { parent_ = parent; }

    bool confirm(const std::string& title, const std::string& message, const std::string& accept,
                 const std::string& cancel) override;
    std::optional<std::filesystem::path> chooseDirectory(const std::string& title, const std::filesystem::path& start) override;
    void showError(const std::string& informativeText, const std::string& message) override;

private:
    QPointer<QWidget> parent_;
};

} // namespace tarnel::gui
