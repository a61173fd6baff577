#pragma once

#include <QMainWindow>

// Keeps where the user has put a window, and how he has divided it, in "Windows.ini" of his library, as he
// moves it: nothing is lost when the program is killed. A window of the same name comes back to that place.
// Owned by the window. Main thread.
class WindowPlaces final : public QObject {
public:
    // The name of a wrapper's window is its path. The layout is what windows of the same kind share: its last
    // place is where a new one of them comes.
    static void keepFor(QMainWindow& window, const QString& name, const QString& layout);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    WindowPlaces(QMainWindow& window, QString name, QString layout);
    void restore();
    void save() const;

    QMainWindow& window_;
    QString name_;
    QString layout_;
    int timer_ = 0; // Started by a change, so that a drag is saved once.
};
