#pragma once

#include <QObject>

namespace tarnel::monitor {

// The Monitor app's place on the session bus: owns the Monitor's name so one copy runs, and
// turns the application's two signals into Qt signals.
class MonitorBusName : public QObject {
    Q_OBJECT
public:
    enum class Claim { owned, taken, noBus };

    explicit MonitorBusName(QObject* parent = nullptr);
    ~MonitorBusName() override;

    // Claims the name and starts listening; `taken` when another copy holds it.
    Claim claim();

Q_SIGNALS:
    void configurationChanged();
    void quitRequested();

private Q_SLOTS:
    void onConfigurationChanged();
    void onQuit();

private:
    bool owned_ = false;
};

} // namespace tarnel::monitor
