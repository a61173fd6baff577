#include "apps/desktop/Desktop.h"

#include "apps/desktop/widgets/Text.h"
#include "apps/desktop/widgets/WindowWidget.h"
#include "toolkit/Workspace.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>
#include <algorithm>

namespace {

void showAlert(const toolkit::Alert& alert)
{
    auto* box = new QMessageBox(QApplication::activeWindow());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
    box->setText(toQt(alert.message));
    box->setInformativeText(toQt(alert.informative));
    for (const std::string& button : alert.buttons)
        box->addButton(toQt(button), QMessageBox::ActionRole);
    QObject::connect(box, &QMessageBox::finished, box, [box, answered = alert.answered] {
        if (!answered)
            return;
        const auto buttons = box->buttons();
        const auto pressed = buttons.indexOf(box->clickedButton());
        answered(static_cast<int>(pressed < 0 ? buttons.size() - 1 : pressed));
    });
    box->open();
}

void showFilePanel(const toolkit::FilePanel& panel)
{
    auto* dialog = new QFileDialog(QApplication::activeWindow(), toQt(panel.title), toQt(panel.startAt));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    switch (panel.kind) {
    case toolkit::FilePanel::Kind::OpenFiles:
        dialog->setFileMode(QFileDialog::ExistingFiles);
        break;
    case toolkit::FilePanel::Kind::OpenFolders:
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        break;
    case toolkit::FilePanel::Kind::SaveFile:
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        break;
    }
    QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, answered = panel.answered](int result) {
        std::vector<std::string> chosen;
        for (const QString& path : dialog->selectedFiles())
            chosen.push_back(path.toStdString());
        if (answered)
            answered(result == QDialog::Accepted ? 1 : 0, chosen);
    });
    dialog->open();
}

} // namespace

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
    workspace.soundAlert = [] { QApplication::beep(); };
    workspace.showAlert = showAlert;
    workspace.showFilePanel = showFilePanel;
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
        widgets_.emplace_back(new WindowWidget(**window, menus_.menus()));
        widgets_.back()->bringToFront();
    }
    toolkit::Window* front = shown.empty() ? nullptr : shown.front();
    if (front && std::exchange(frontmost_, front) != front)
        widgetFor(*front)->bringToFront();
}
