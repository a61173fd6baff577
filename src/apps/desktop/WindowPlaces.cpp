#include "apps/desktop/WindowPlaces.h"

#include "apps/desktop/widgets/Text.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"

#include <QCryptographicHash>
#include <QEvent>
#include <QSettings>
#include <QSplitter>
#include <QTimerEvent>

namespace {

constexpr int kRestMs = 500; // Without a change before a place is saved.

QString settingsPath()
{
    return toQt(platform::paths::appending(platform::Places::library(), "Windows.ini"));
}

// A path isn't a key.
QString keyOf(const QString& name)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha1).toHex().left(16));
}

} // namespace

void WindowPlaces::keepFor(QMainWindow& window, const QString& name, const QString& layout)
{
    auto* places = new WindowPlaces(window, name, layout);
    places->restore();
    window.installEventFilter(places);
    for (QSplitter* splitter : window.findChildren<QSplitter*>())
        connect(splitter, &QSplitter::splitterMoved, places, [places] {
            if (!places->timer_)
                places->timer_ = places->startTimer(kRestMs);
        });
}

WindowPlaces::WindowPlaces(QMainWindow& window, QString name, QString layout)
    : QObject(&window), window_(window), name_(keyOf(name)), layout_(layout.isEmpty() ? name_ : keyOf(layout))
{ }

void WindowPlaces::restore()
{
    const QSettings settings(settingsPath(), QSettings::IniFormat);
    for (const QString& key : {name_, layout_})
        if (window_.restoreGeometry(settings.value(key + QStringLiteral("/Place")).toByteArray()))
            break;
    const auto splitters = window_.findChildren<QSplitter*>();
    const QVariantList divisions = settings.value(layout_ + QStringLiteral("/Divisions")).toList();
    for (qsizetype i = 0; i < splitters.size() && i < divisions.size(); ++i)
        splitters[i]->restoreState(divisions[i].toByteArray());
}

void WindowPlaces::save() const
{
    QSettings settings(settingsPath(), QSettings::IniFormat);
    QVariantList divisions;
    for (const QSplitter* splitter : window_.findChildren<QSplitter*>())
        divisions << splitter->saveState();
    for (const QString& key : {name_, layout_})
        settings.setValue(key + QStringLiteral("/Place"), window_.saveGeometry());
    settings.setValue(layout_ + QStringLiteral("/Divisions"), divisions);
}

bool WindowPlaces::eventFilter(QObject* watched, QEvent* event)
{
    const auto type = event->type();
    const bool hasMoved = type == QEvent::Move || type == QEvent::Resize || type == QEvent::WindowStateChange;
    if (hasMoved && window_.isVisible() && !timer_)
        timer_ = startTimer(kRestMs);
    if (type == QEvent::Hide && std::exchange(timer_, 0))
        save();
    return QObject::eventFilter(watched, event);
}

void WindowPlaces::timerEvent(QTimerEvent* event)
{
    killTimer(event->timerId());
    if (std::exchange(timer_, 0))
        save();
}
