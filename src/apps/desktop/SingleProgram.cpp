#include "apps/desktop/SingleProgram.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QUrl>

namespace {

constexpr int kWaitMs = 5000; // For a program that may be busy.

QString service()
{
    return QStringLiteral("com.kelmont.trelkind");
}

QString path()
{
    return QStringLiteral("/com/kelmont/trelkind");
}

QString interface()
{
    return QStringLiteral("org.freedesktop.Application");
}

} // namespace

bool SingleProgram::handOver(const QStringList& wrappers)
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(service()))
        return false;
    const QString method = wrappers.isEmpty() ? QStringLiteral("Activate") : QStringLiteral("Open");
    auto call = QDBusMessage::createMethodCall(service(), path(), interface(), method);
    if (!wrappers.isEmpty()) {
        QStringList urls;
        for (const QString& wrapper : wrappers)
            urls << QUrl::fromLocalFile(wrapper).toString(QUrl::FullyEncoded);
        call << urls;
    }
    call << QVariantMap();
    return bus.call(call, QDBus::Block, kWaitMs).type() == QDBusMessage::ReplyMessage;
}

SingleProgram::SingleProgram(std::function<void(const QStringList&)> open) : open_(std::move(open))
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.registerVirtualObject(path(), this);
    bus.registerService(service());
}

QString SingleProgram::introspect(const QString&) const
{
    return QStringLiteral("<interface name=\"org.freedesktop.Application\">"
                          "<method name=\"Activate\"><arg type=\"a{sv}\" direction=\"in\"/></method>"
                          "<method name=\"Open\"><arg type=\"as\" direction=\"in\"/>"
                          "<arg type=\"a{sv}\" direction=\"in\"/></method>"
                          "<method name=\"ActivateAction\"><arg type=\"s\" direction=\"in\"/>"
                          "<arg type=\"av\" direction=\"in\"/><arg type=\"a{sv}\" direction=\"in\"/></method>"
                          "</interface>");
}

bool SingleProgram::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (message.interface() != interface())
        return false;
    const QString method = message.member();
    QStringList wrappers;
    if (method == QLatin1String("Open"))
        for (const QString& url : message.arguments().value(0).toStringList())
            if (const QUrl place(url); place.isLocalFile())
                wrappers << place.toLocalFile();
    if (method != QLatin1String("Open") && method != QLatin1String("Activate")
        && method != QLatin1String("ActivateAction"))
        return false;
    connection.send(message.createReply()); // The caller needn't wait for windows.
    open_(wrappers);
    return true;
}
