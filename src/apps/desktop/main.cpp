// The desktop front end: the command line, and windows for what the program shows.

#include "apps/composition/Composition.h"
#include "apps/desktop/Desktop.h"
#include "apps/desktop/Libraries.h"
#include "apps/desktop/SignInDialogs.h"
#include "apps/desktop/SingleProgram.h"
#include "apps/desktop/loop/QtMainLoop.h"
#include "diagnostics/MessageWindow.h"
#include "diagnostics/ProgressWindow.h"
#include "platform/files/Paths.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/application/OpenWrappers.h"
#include "task/application/StartWindow.h"
#include "task/application/TableSettings.h"
#include "task/wrapper/WrapperPath.h"
#include "toolkit/Workspace.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kNotDone = 1;
constexpr int kWrongUse = 2;
constexpr int kServiceWaitMs = 10'000; // For what the desktop wants of a program that it has started.

bool hasDisplay()
{
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (const char* value = std::getenv(variable); value && *value)
            return true;
    return false;
}

void addOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Runs batches of a computational program and keeps track of what each run left.\n"
                       "\n"
                       "A task wrapper is a folder whose name ends in .vtask. Every wrapper that is named "
                       "here is opened in a\n"
                       "window. The program \"trelkind\" does the same on a terminal."));
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Shows this help.")});
    parser.addOption(
        {{QStringLiteral("v"), QStringLiteral("version")}, QStringLiteral("Shows the program's version.")});
    parser.addOption({QStringLiteral("service"),
        QStringLiteral("Waits for the desktop to say what to open. For its own use.")});
    parser.addPositionalArgument(
        QStringLiteral("WRAPPER"), QStringLiteral("A task wrapper to open."), QStringLiteral("[WRAPPER...]"));
}

// The wrappers that the words name; a path inside of a wrapper means that wrapper.
QStringList wrappersOf(const QStringList& words)
{
    QStringList wrappers;
    for (const QString& word : words)
        wrappers << QString::fromStdString(wrapperContaining(platform::paths::absolute(word.toStdString())));
    return wrappers;
}

void open(KRTrelkindApplication& application, const QStringList& wrappers)
{
    for (const QString& wrapper : wrappers)
        application.applicationOpenFile(wrapper.toStdString());
}

// The last window has closed, which no window was a reason for yet.
void showWhenEmpty(StartWindow& start)
{
    if (toolkit::ShownWindows::shared().frontToBack().empty())
        start.show();
}

// The wrappers that were open when the program ended last.
void openLastSession(KRTrelkindApplication& application)
{
    for (const std::string& path : OpenWrappers::ofLastSession())
        application.applicationOpenFile(path);
}

void runWindows(QApplication& qt, const QStringList& wrappers, bool asService)
{
    QtMainLoop::install();
    auto& loop = platform::MainLoop::main();
    const Program program;
    const TableSettings tableSettings;
    KRTrelkindApplication application;
    MainMenu menus(application);
    auto ending = MainMenu::Ending::WithAll;
    menus.whenQuitting = [&ending](MainMenu::Ending how) {
        ending = how;
        QCoreApplication::exit(EXIT_SUCCESS); // quit() would close the windows first, as if the user did.
    };
    const MessageWindow messages;
    ProgressWindow progress;
    menus.showProgress = [&progress] { progress.window.orderFront(); };
    AboutWindow about(TRELKIND_VERSION, librariesOfThisProgram());
    menus.showAbout = [&about] { about.show(); };
    const Desktop desktop(menus);
    answerSignInInDialogs();
    application.awakeFromNib();
    const auto start = StartWindow::create(application);
    start->whenChoosing = [&menus] { menus.menus().front()->choose(0); }; // Open\u2026
    menus.whenStaying = [&start] { showWhenEmpty(*start); };
    const auto closing =
        QObject::connect(&qt, &QGuiApplication::lastWindowClosed, &qt, [&menus] { menus.quit(); });
    toolkit::Workspace::shared().openPaths = [&application](const std::vector<std::string>& paths) {
        for (const std::string& path : paths)
            application.applicationOpenFile(wrapperContaining(path));
    };
    const auto activate = [&](const QStringList& named) {
        const auto& windows = toolkit::ShownWindows::shared().frontToBack();
        if (!named.isEmpty())
            open(application, named);
        else if (windows.empty())
            openLastSession(application);
        else
            windows.front()->orderFront();
        showWhenEmpty(*start);
    };
    const SingleProgram single([&](const QStringList& named) { activate(wrappersOf(named)); });
    const OpenWrappers session(application);
    if (!asService)
        activate(wrappers);
    else
        QTimer::singleShot(kServiceWaitMs, &qt, [&] {
            if (toolkit::ShownWindows::shared().frontToBack().empty())
                activate({});
        });
    // The companion is looked for whenever the user comes here or goes elsewhere.
    QObject::connect(&qt, &QApplication::applicationStateChanged, &qt,
        [&application] { application.applicationDidBecomeActive(); });
    loop.run();
    QObject::disconnect(closing); // The windows go now.
    application.sorvanta().sendBeforeTheEnd();
    if (ending == MainMenu::Ending::LeavingRuns)
        std::_Exit(EXIT_SUCCESS); // The ends of queues would end their runs.
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL); // Else the ends of runs would be lost.
    std::signal(SIGXFSZ, SIG_IGN); // A limit on the size of files is a failure to write, and told as such.
    QCoreApplication::setApplicationName(QStringLiteral("trelkind-desktop"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TRELKIND_VERSION));

    // The command line first, so that help and wrong options need no display.
    QCommandLineParser parser;
    addOptions(parser);
    QStringList words;
    for (int i = 0; i < argc; ++i)
        words << QString::fromLocal8Bit(argv[i]);
    if (!parser.parse(words)) {
        std::fprintf(stderr, "trelkind-desktop: %s\n", qPrintable(parser.errorText()));
        return kWrongUse;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        // There is no application yet to ask for its name.
        std::fputs(qPrintable(parser.helpText().replace(
                       QStringLiteral("<executable_name>"), QStringLiteral("trelkind-desktop"))),
            stdout);
        return EXIT_SUCCESS;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::puts("trelkind-desktop " TRELKIND_VERSION);
        return EXIT_SUCCESS;
    }
    if (!hasDisplay()) {
        std::fputs("trelkind-desktop: There is no display for windows; \"trelkind\" does the same on a "
                   "terminal.\n",
            stderr);
        return kNotDone;
    }
    QGuiApplication::setDesktopFileName(QStringLiteral("com.kelmont.trelkind"));
    QApplication qt(argc, argv);
    // Qt takes the user's locale over. Numbers in files and scripts have a decimal point in every country.
    std::setlocale(LC_NUMERIC, "C");
    QGuiApplication::setQuitOnLastWindowClosed(false);
    const QStringList wrappers = wrappersOf(parser.positionalArguments());
    if (SingleProgram::handOver(wrappers))
        return EXIT_SUCCESS;
    runWindows(qt, wrappers, parser.isSet(QStringLiteral("service")));
    return EXIT_SUCCESS;
}
