#pragma once

#include <QObject>

#include <functional>

namespace tarnel::gui {

// Calls back when the system has woken from sleep: logind's PrepareForSleep(false) on the
// system bus. Without a system bus (containers, CI) it watches nothing and says so once.
class WakeObserver : public QObject {
    Q_OBJECT
public:
    explicit WakeObserver(std::function<void()> woke, QObject* parent = nullptr);
    bool isWatching() const { return watching_; }

private Q_SLOTS:
    void prepareForSleep(bool sleeping);

private:
    std::function<void()> woke_;
    bool watching_ = false;
};

} // namespace tarnel::gui
