#pragma once

#include <QColor>
#include <QWidget>

#include <vector>

namespace tarnel::gui {

// The last samples of a percentage as a filled line, newest on the right; the chart keeps
// room for `capacity` samples so the line grows from the right as samples arrive.
class HistoryChart : public QWidget {
public:
    HistoryChart(std::vector<int> samples, QColor color, int capacity = 100, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {240, 64}; }
    // Repaints only when something changed.
    void setSamples(std::vector<int> samples, QColor color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<int> samples_;
    QColor color_;
    int capacity_;
};

// One or more parts of a whole as a rounded horizontal bar.
class PartsBar : public QWidget {
public:
    struct Part {
        double fraction;
        QColor color;
        bool operator==(const Part&) const = default;
    };
    explicit PartsBar(std::vector<Part> parts, QWidget* parent = nullptr);
    QSize sizeHint() const override { return {200, 8}; }
    void setParts(std::vector<Part> parts);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<Part> parts_;
};

} // namespace tarnel::gui
