#include "apps/desktop/Desktop.h"

#include "apps/desktop/Notifications.h"
#include "apps/desktop/OtherPrograms.h"
#include "apps/desktop/WindowPlaces.h"
#include "apps/desktop/widgets/Dialogs.h"
#include "apps/desktop/widgets/Text.h"
#include "apps/desktop/widgets/WindowWidget.h"
#include "toolkit/Workspace.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QUrl>
#include <algorithm>

Desktop::Desktop(MainMenu& menus) : menus_(menus)
{
    fillWorkspace();
    observation_ = toolkit::ShownWindows::shared().observe([this](const toolkit::Change&) { showWindows(); });
    showWindows();
}

Desktop::~Desktop()
{
    toolkit::Workspace::shared() = {};
    for (const auto& widget : widgets_)
        delete widget;
}

void Desktop::fillWorkspace()
{
    toolkit::Workspace& workspace = toolkit::Workspace::shared();
    workspace.setPasteboardText = [](const std::string& text) {
        QApplication::clipboard()->setText(toQt(text));
    };
    workspace.openUrl = [](const std::string& url) { QDesktopServices::openUrl(QUrl(toQt(url))); };
    workspace.notify = showNotification;
    workspace.openFile = openFile;
    workspace.openTerminal = openTerminal;
    workspace.soundAlert = [] { QApplication::beep(); };
    workspace.showAlert = showAlert;
    workspace.showFilePanel = showFilePanel;
    workspace.askForText = askForText;
}

WindowWidget* Desktop::widgetFor(const toolkit::Window& window) const
{
    const auto found = std::find_if(widgets_.begin(), widgets_.end(),
        [&window](const auto& widget) { return widget && widget->model() == &window; });
    return found == widgets_.end() ? nullptr : found->data();
}

void Desktop::showWindows()
{
    std::erase_if(widgets_, [](const auto& widget) { return widget.isNull(); });
    const auto& shown = toolkit::ShownWindows::shared().frontToBack();
    for (auto window = shown.rbegin(); window != shown.rend(); ++window) {
        if (widgetFor(**window))
            continue;
        auto* widget = new WindowWidget(**window, menus_.menus());
        widgets_.emplace_back(widget);
        WindowPlaces::keepFor(*widget, toQt((*window)->title()), toQt((*window)->layout()));
        widgets_.back()->bringToFront();
    }
    toolkit::Window* front = shown.empty() ? nullptr : shown.front();
    if (front && std::exchange(frontmost_, front) != front)
        widgetFor(*front)->bringToFront();
}
