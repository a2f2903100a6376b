#pragma once

#include <QObject>

#include <functional>

namespace tarnel::gui {

// One application per user and session: the first launch owns the session-bus name and raises
// its window when asked; a later launch asks the owner and exits.
class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quendal.Tarnel")

public:
    static constexpr const char* busName = "org.quendal.Tarnel";
    static constexpr const char* objectPath = "/org/quendal/Tarnel";

    enum class Claim {
        primary,   // this process owns the name
        forwarded, // another process owns it and was asked to come forward
        noBus,     // no session bus: nothing to coordinate with, so this process runs
    };

    explicit SingleInstance(QObject* parent = nullptr);

    Claim claim();
    // What the primary does when a later launch asks; calls that come before it are kept.
    void onActivate(std::function<void()> activate);

public Q_SLOTS:
    Q_SCRIPTABLE void Activate();

private:
    std::function<void()> activate_;
    bool pending_ = false;
};

} // namespace tarnel::gui
