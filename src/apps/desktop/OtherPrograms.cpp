#include "apps/desktop/OtherPrograms.h"

#include "apps/desktop/widgets/Text.h"

#include <QDesktopServices>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

platform::Status openFile(const std::string& path)
{
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(toQt(path))))
        return {};
    return platform::Error{"The desktop has no program for it."};
}

platform::Status openTerminal(const std::string& folder)
{
    for (const QString& command : {qEnvironmentVariable("TERMINAL"), QStringLiteral("x-terminal-emulator")}) {
        QStringList words = QProcess::splitCommand(command); // May carry options.
        if (words.isEmpty())
            continue;
        const QString program = QStandardPaths::findExecutable(words.takeFirst());
        if (!program.isEmpty() && QProcess::startDetached(program, words, toQt(folder)))
            return {};
    }
    return platform::Error{
        "No terminal program was found: name one in the environment variable TERMINAL, or install "
        "x-terminal-emulator."};
}
