#include "apps/desktop/loop/QtMainLoop.h"

#include "platform/loop/Callback.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

namespace {

// Longer waits need no timer of their own.
constexpr double kLongestTimedWait = 3600;

int runQtApplication()
{
    // Each class adds its own set-up in its own function of this name.
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) ? QGuiApplication::exec()
                                                                        : QCoreApplication::exec();
}

} // namespace

void QtMainLoop::install()
{
    platform::MainLoop::install(std::unique_ptr<MainLoop>(new QtMainLoop));
}

QtMainLoop::QtMainLoop() : notifier_(readyDescriptor(), QSocketNotifier::Read)
{
    QObject::connect(&notifier_, &QSocketNotifier::activated, &context_, [this] { serveInsideQt(); });
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &context_,
        [this] { noticeWhatIsLeft(); });
}

int QtMainLoop::level() const
{
    return CommonLoop::level() + QThread::currentThread()->loopLevel();
}

void QtMainLoop::run()
{
    if (level() > 0)
        return CommonLoop::run();
    assertLoopThread();
    if (takeStopRequest())
        return;
    isInRun_ = true;
    runQtApplication();
    isInRun_ = false;
    throwWhatWasKept();
    takeStopRequest();
}

void QtMainLoop::wait(double seconds)
{
    {
        const int outer = std::exchange(levelOfWait_, level());
        const platform::AtEndOfScope back([&] { levelOfWait_ = outer; });
        QTimer limit;
        if (seconds > 0 && seconds < kLongestTimedWait) {
            limit.setTimerType(Qt::PreciseTimer);
            limit.start(std::chrono::milliseconds(std::lround(std::ceil(seconds * 1000))));
        }
        QAbstractEventDispatcher::instance()->processEvents(
            seconds > 0 ? QEventLoop::WaitForMoreEvents : QEventLoop::AllEvents);
    }
    throwWhatWasKept();
}

void QtMainLoop::serveInsideQt()
{
    if (level() == levelOfWait_)
        return; // The function that waits serves as soon as Qt returns to it.
    try {
        serveTurn();
    } catch (...) {
        exceptions_.push_back(std::current_exception());
    }
    if (hasWork())
        wake();
    noticeWhatIsLeft();
}

// What only the outermost loop may do is left over by the loops inside of it, without anything that would
// wake that one later.
void QtMainLoop::noticeWhatIsLeft() const
{
    if (level() != 1 || levelOfWait_ == 1)
        return;
    if (isInRun_ && (isAskedToStop() || !exceptions_.empty()))
        QCoreApplication::exit();
    else if (hasWorkAfterEvent())
        wake();
}

void QtMainLoop::throwWhatWasKept()
{
    if (exceptions_.empty())
        return;
    const std::exception_ptr first = exceptions_.front();
    exceptions_.pop_front();
    std::rethrow_exception(first);
}
