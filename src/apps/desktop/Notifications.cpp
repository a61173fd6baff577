#include "apps/desktop/Notifications.h"

#include "apps/desktop/widgets/Text.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>

// The protocol is that of freedesktop.org for desktop notifications.
void showNotification(const std::string& title, const std::string& text)
{
    if (QApplication::activeWindow())
        return;
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    constexpr uint kNew = 0; // Takes no earlier note's place.
    constexpr int kUsualTime = -1;
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("Notify"));
    call << QStringLiteral("Trelkind") << kNew << QStringLiteral("com.kelmont.trelkind") << toQt(title)
         << toQt(text).toHtmlEscaped() << QStringList()
         << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("com.kelmont.trelkind")}}
         << kUsualTime;
    bus.send(call);
}
