#include "apps/desktop/widgets/Dialogs.h"

#include "apps/desktop/widgets/Text.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

void showAlert(const toolkit::Alert& alert)
{
    auto* box = new QMessageBox(QApplication::activeWindow());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(QStringLiteral("Trelkind"));
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

void askForText(const toolkit::TextQuestion& question)
{
    auto* dialog = new QInputDialog(QApplication::activeWindow());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(toQt(question.title));
    // What a server asks may hold anything: it is shown as it stands, and never as markup.
    dialog->setLabelText(toQt(question.text).toHtmlEscaped());
    dialog->setTextEchoMode(question.isSecret ? QLineEdit::Password : QLineEdit::Normal);
    QObject::connect(
        dialog, &QInputDialog::finished, dialog, [dialog, answered = question.answered](int result) {
            if (answered)
                answered(result == QDialog::Accepted ? std::optional(dialog->textValue().toStdString())
                                                     : std::nullopt);
        });
    dialog->open();
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
