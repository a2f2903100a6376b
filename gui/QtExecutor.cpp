#include "QtExecutor.h"

#include <QCoreApplication>
#include <QEvent>

namespace tarnel::gui {

namespace {

const QEvent::Type workEventType = static_cast<QEvent::Type>(QEvent::registerEventType());

class WorkEvent final : public QEvent {
public:
    explicit WorkEvent(quendal::UniqueFunction<void()> work) : QEvent(workEventType), work_(std::move(work)) {}
    void run() { work_(); }

private:
    quendal::UniqueFunction<void()> work_;
};

class WorkReceiver final : public QObject {
public:
    bool event(QEvent* event) override
    {
        if (event->type() != workEventType)
            return QObject::event(event);
        static_cast<WorkEvent*>(event)->run();
        return true;
    }
};

} // namespace

QtMainContext::QtMainContext() : receiver_(std::make_unique<WorkReceiver>()) {}

QtMainContext::~QtMainContext()
{
    // Work still queued for the receiver is dropped with it.
    QCoreApplication::removePostedEvents(receiver_.get(), workEventType);
    shutdown();
    destroy();
}

void QtMainContext::post(quendal::UniqueFunction<void()> work)
{
    QCoreApplication::postEvent(receiver_.get(), new WorkEvent(std::move(work)));
}

} // namespace tarnel::gui
