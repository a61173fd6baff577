#include "apps/desktop/widgets/WindowWidget.h"

#include "apps/desktop/widgets/MakeWidget.h"
#include "apps/desktop/widgets/MenuWidget.h"
#include "apps/desktop/widgets/Text.h"
#include "toolkit/Workspace.h"

#include <QCloseEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QMenuBar>
#include <QMimeData>
#include <QTableView>
#include <QUrl>
#include <algorithm>

namespace {

constexpr int kMostPixels = 16777215; // The most that Qt takes for a window.
constexpr QSize kFirstSize{960, 760}; // Of a wrapper.
constexpr QSize kFirstSizeOfOthers{640, 520};

int pixels(double points)
{
    return static_cast<int>(std::clamp(points, 0.0, static_cast<double>(kMostPixels)));
}

// A path is shown by its last name, with the folder that it lies in behind it.
QString titleFor(const std::string& title)
{
    const QFileInfo path(toQt(title));
    return path.isAbsolute() ? QStringLiteral("%1 \u2013 %2").arg(path.fileName(), path.path()) : toQt(title);
}

} // namespace

WindowWidget::WindowWidget(toolkit::Window& window, const std::vector<std::shared_ptr<toolkit::Menu>>& menus)
    : window_(&window)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    for (const auto& menu : menus) {
        auto* widget = new MenuWidget(menu, this);
        widget->setTitle(QLatin1Char('&') + widget->title()); // Alt and the first letter open it.
        menuBar()->addMenu(widget);
    }
    if (window.content())
        setCentralWidget(makeWidget(*window.content()));
    focusFirst();
    show(window);
    resize(window.layout().empty() ? kFirstSizeOfOthers : kFirstSize);
    observation_ = window.observe(
        [this](const toolkit::Change&) {
            if (window_)
                show(*window_);
        },
        [this] {
            window_ = nullptr;
            deleteLater();
        });
}

void WindowWidget::show(const toolkit::Window& window)
{
    setWindowTitle(titleFor(window.title()));
    setMinimumSize(pixels(window.minimumSize().width), pixels(window.minimumSize().height));
    setMaximumSize(pixels(window.maximumSize().width), pixels(window.maximumSize().height));
    if (!window.isVisible())
        deleteLater();
}

// The keys act on what the window is about: its table, else the first part that takes them.
void WindowWidget::focusFirst()
{
    for (auto* table : findChildren<QTableView*>())
        if (table->isVisibleTo(this)) {
            table->setFocus();
            return;
        }
    if (centralWidget())
        focusNextPrevChild(true);
}

void WindowWidget::bringToFront()
{
    setVisible(true);
    raise();
    activateWindow();
}

void WindowWidget::closeEvent(QCloseEvent* event)
{
    event->setAccepted(!window_ || window_->userCloses());
}

void WindowWidget::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    // The menus act on the window that the user works in.
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && window_)
        window_->userActivates();
}

void WindowWidget::dragEnterEvent(QDragEnterEvent* event)
{
    if (toolkit::Workspace::shared().openPaths && event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void WindowWidget::dropEvent(QDropEvent* event)
{
    std::vector<std::string> paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toStdString());
    if (const auto& open = toolkit::Workspace::shared().openPaths; open && !paths.empty()) {
        event->acceptProposedAction();
        open(paths);
    }
}
