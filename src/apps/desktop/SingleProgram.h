#pragma once

#include <QDBusVirtualObject>
#include <QStringList>
#include <functional>

// One running program for each session: it owns a name on the session bus, and a later one hands its wrappers
// over to it. It speaks freedesktop.org's interface org.freedesktop.Application, by which file managers and
// launchers call programs. Without a session bus every program is the only one. Main thread.
class SingleProgram final : public QDBusVirtualObject {
public:
    // Gives the wrappers, by absolute paths, to the program that runs already. Whether there was one. It
    // comes to the front without any, too.
    static bool handOver(const QStringList& wrappers);

    // Takes the name. From now on others' wrappers come to the function, with an empty list to come to the
    // front.
    explicit SingleProgram(std::function<void(const QStringList& wrappers)> open);

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    std::function<void(const QStringList&)> open_;
};
