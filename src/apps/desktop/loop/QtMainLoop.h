#pragma once

#include "platform/loop/CommonLoop.h"

#include <QObject>
#include <QSocketNotifier>
#include <deque>
#include <exception>

// The main loop on Qt's event loop. It serves posted work, timers, descriptors and signals in whichever event
// loop Qt runs, a dialog's, a menu's or a drag's as well.
//
// It owns no application object. A QCoreApplication (or one derived from it) must exist before the loop is
// made, on the same thread, and as long as the loop is run. Without windows a QCoreApplication suffices.
//
// run() ends as well when Qt asks the application to quit. An exception of a handler that Qt called is kept
// and leaves through the innermost run(), runUntil() or runPending() once Qt has returned to it; a dialog
// that is open meanwhile stays open.
//
// afterThisEvent() counts an event of Qt's own, such as a click, as an event too; Qt may deliver more of its
// own events before the work is done. A call of QCoreApplication::processEvents() inside of an event looks
// like the end of that event: nothing of the house makes one.
class QtMainLoop final : public platform::CommonLoop {
public:
    // Makes a loop of the calling thread the process's own. Before the first MainLoop::main().
    static void install();

    void run() override;

private:
    QtMainLoop();
    void wait(double seconds) override;
    int level() const override;
    void serveInsideQt();
    void noticeWhatIsLeft() const;
    void throwWhatWasKept();

    QObject context_; // Ends the connections to Qt's objects together with the loop.
    QSocketNotifier notifier_;
    bool isInRun_ = false; // run() is in Qt's loop of the application.
    int levelOfWait_ = 0; // The level whose wait() is inside Qt; 0 when there is none.
    std::deque<std::exception_ptr>
        exceptions_; // Thrown below Qt, which takes none through its own functions.
};
