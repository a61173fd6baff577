// Each widget beside its model, without a display: what the model says is seen, what the user does arrives.

#include "apps/desktop/WidgetsUnderTest.h"
#include "apps/desktop/widgets/Dialogs.h"
#include "apps/desktop/widgets/MenuWidget.h"
#include "apps/desktop/widgets/WindowWidget.h"
#include "platform/loop/MainLoop.h"
#include "toolkit/Controls.h"
#include "toolkit/Table.h"
#include "toolkit/Workspace.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <QTextEdit>
#include <gmock/gmock.h>

using namespace toolkit;
using testing::ElementsAre;

namespace {

TEST(Widgets, ButtonsShowTheirModelAndPressIt)
{
    auto button = std::make_unique<Button>();
    CheckBox box;
    int pressed = 0;
    button->whenPressed = box.whenPressed = [&pressed] { ++pressed; };
    button->setTitle("Start");
    button->setAccessibleName("Starts all");
    box.setTitle("Follow");
    const auto shown = widgetOf<QPushButton>(*button);
    const auto check = widgetOf<QCheckBox>(box);
    EXPECT_EQ(textOf(shown->text() + shown->accessibleName()), "StartStarts all");
    EXPECT_EQ(textOf(check->text()), "Follow");
    shown->click();
    check->click();
    EXPECT_EQ(pressed, 2);
    EXPECT_EQ(box.state(), 1);
    box.setState(0);
    for (Button* const each : {button.get(), static_cast<Button*>(&box)})
        each->setEnabled(false);
    button->setHidden(true);
    settle();
    EXPECT_FALSE(shown->isEnabled() || check->isEnabled() || check->isChecked());
    EXPECT_TRUE(shown->isHidden());
    shown->setEnabled(true);
    button.reset();
    shown->click();
    EXPECT_EQ(pressed, 2);
}

TEST(Widgets, PopUpsAndBarsFollowTheirModel)
{
    PopUp popUp;
    popUp.setItems({"a", "b"});
    popUp.selectIndex(1);
    const auto combo = widgetOf<QComboBox>(popUp);
    EXPECT_EQ(textOf(combo->currentText()), "b");
    Q_EMIT combo->activated(0);
    EXPECT_EQ(popUp.selectedIndex(), 0);
    popUp.setItems({"c", "d", "e"});
    settle();
    EXPECT_TRUE(combo->count() == 3 && combo->currentIndex() == 0);

    ProgressBar bar;
    bar.setRange(10, 30);
    bar.setDoubleValue(15);
    const auto shown = widgetOf<QProgressBar>(bar);
    EXPECT_EQ(shown->value() * 4, shown->maximum());
    bar.setDoubleValue(99);
    settle();
    EXPECT_EQ(shown->value(), shown->maximum());
    bar.setIndeterminate(true);
    settle();
    EXPECT_EQ(shown->maximum(), 0);
}

TEST(Widgets, AFieldCommitsOrCancelsWhatWasTyped)
{
    TextField field;
    SecureField secret;
    field.setStringValue("4");
    field.setColumns(5);
    const auto shown = widgetOf<QLineEdit>(field);
    EXPECT_EQ(widgetOf<QLineEdit>(secret)->echoMode(), QLineEdit::Password);
    EXPECT_EQ(shown->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(shown->width(), 9 * shown->fontMetrics().averageCharWidth());
    focus(*shown);
    QTest::keyClicks(shown.get(), "2");
    EXPECT_EQ(field.stringValue(), "4");
    field.setStringValue("7");
    settle();
    EXPECT_EQ(textOf(shown->text()), "42") << "typing isn't disturbed";
    EXPECT_EQ(field.stringValue(), "7");
    QTest::keyClick(shown.get(), Qt::Key_Escape);
    settle();
    EXPECT_EQ(textOf(shown->text()), "7");
    QTest::keyClicks(shown.get(), "1");
    QTest::keyClick(shown.get(), Qt::Key_Return);
    EXPECT_EQ(field.stringValue(), "71");
    EXPECT_TRUE(shown->hasFrame() && shown->focusPolicy() == Qt::StrongFocus);
    field.setEditable(false);
    settle();
    EXPECT_TRUE(shown->isReadOnly() && !shown->hasFrame() && shown->focusPolicy() == Qt::ClickFocus);
    EXPECT_EQ(shown->palette().color(QPalette::Base).alpha(), 0);
}

std::string marked(const RichText& text)
{
    std::string all;
    for (const auto& run : text.runs)
        all += std::string("<") + (run.bold ? "b" : "") + (run.italic ? "i" : "")
            + (run.underlined ? "u" : "") + ">" + run.text;
    return all;
}

TEST(Widgets, ATextKeepsItsEmphasis)
{
    TextView view;
    int ended = 0;
    view.setRich(true);
    view.whenEditingEnded = [&ended] { ++ended; };
    RichText text("plain ");
    text.append({"bold", true, false, false});
    text.append({" both\nnext", false, true, true});
    view.setText(text);
    const auto shown = widgetOf<QTextEdit>(view);
    EXPECT_EQ(textOf(shown->toPlainText()), "plain bold both\nnext");
    EXPECT_TRUE(shown->tabChangesFocus() && !shown->acceptRichText());
    focus(*shown);
    shown->moveCursor(QTextCursor::End);
    for (const Qt::Key key : {Qt::Key_B, Qt::Key_I, Qt::Key_U})
        QTest::keyClick(shown.get(), key, Qt::ControlModifier);
    QTest::keyClicks(shown.get(), "x");
    EXPECT_EQ(marked(view.text()), marked(text) + "<b>x");
    QFocusEvent away(QEvent::FocusOut);
    QApplication::sendEvent(shown.get(), &away);
    EXPECT_EQ(ended, 1);
    view.setEditable(false);
    settle();
    EXPECT_TRUE(shown->isReadOnly());
    shown->selectAll();
    QTest::keyClick(shown.get(), Qt::Key_U, Qt::ControlModifier);
    EXPECT_FALSE(shown->fontUnderline()) << "what can't be edited can't be formatted";
    TextView plain;
    EXPECT_TRUE(widgetOf<QTextEdit>(plain)->actions().isEmpty());
}

// What holds content takes the room that is left; controls keep their size.
TEST(Widgets, StacksShareTheirRoom)
{
    Stack down(Direction::Down), across(Direction::Across), withContent(Direction::Across);
    auto first = std::make_unique<Button>();
    TextField named, narrow;
    TextView notes, more;
    named.setAccessibleName("Project");
    narrow.setAccessibleName("Limit");
    narrow.setColumns(3);
    across.addSubview(*first);
    across.addSubview(named);
    across.addSubview(narrow);
    withContent.addSubview(more);
    for (View* const view :
        {static_cast<View*>(&across), static_cast<View*>(&notes), static_cast<View*>(&withContent)})
        down.addSubview(*view);
    const auto shown = widgetOf<QWidget>(down);
    shown->resize(600, 500);
    shown->show();
    settle();
    const auto texts = shown->findChildren<QTextEdit*>();
    ASSERT_EQ(texts.size(), 2);
    EXPECT_NEAR(texts[0]->height(), texts[1]->height(), 20);
    EXPECT_GT(texts[0]->height() + texts[1]->height(), 400);
    const auto labels = shown->findChildren<QLabel*>();
    const auto fields = shown->findChildren<QLineEdit*>();
    ASSERT_TRUE(labels.size() == 2 && fields.size() == 2);
    EXPECT_EQ(textOf(labels[0]->text() + labels[1]->text()), "ProjectLimit");
    EXPECT_EQ(labels[0]->buddy(), fields[0]);
    EXPECT_GT(fields[0]->width(), 3 * labels[0]->width()) << "the field without a width takes the row";
    const auto places = [&](const QWidget* widget) { return widget->mapTo(shown.get(), QPoint()); };
    EXPECT_EQ(places(shown->findChild<QPushButton*>()).x(), places(texts[0]).x());
    EXPECT_LT(places(texts[0]).y(), places(texts[1]).y());
    Button later;
    later.setTitle("later");
    across.addSubview(later);
    first.reset();
    settle();
    const auto buttons = shown->findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 1);
    EXPECT_EQ(textOf(buttons[0]->text()), "later");
    EXPECT_GT(places(buttons[0]).x(), places(fields[1]).x());
    named.removeFromSuperview();
    settle();
    EXPECT_EQ(shown->findChildren<QLineEdit*>().size(), 1);
}

TEST(Widgets, SplitsAndTabsShowTheirParts)
{
    Split split(Direction::Across);
    TextView left, right;
    split.addSubview(left);
    split.addSubview(right);
    const auto shown = widgetOf<QSplitter>(split);
    EXPECT_FALSE(shown->childrenCollapsible());
    EXPECT_EQ(shown->orientation(), Qt::Horizontal);
    shown->resize(900, 300);
    shown->show();
    settle();
    EXPECT_NEAR(shown->sizes()[0], 2 * shown->sizes()[1], 60);

    TabView pages;
    TextView before;
    Split hiddenPage(Direction::Down);
    pages.addTab({"a", "Text", &before});
    pages.addTab({"b", "Split", &hiddenPage});
    const auto shownPages = widgetOf<QTabWidget>(pages);
    shownPages->show();
    hiddenPage.setAccessibleName("Page"); // What is told while the page isn't chosen doesn't show it.
    settle();
    EXPECT_FALSE(shownPages->findChild<QSplitter*>()->isVisible());
    pages.select("b");
    settle();
    EXPECT_TRUE(shownPages->findChild<QSplitter*>()->isVisible());

    TabView free, driven;
    TextView a, b;
    free.addTab({"a", "First", &a});
    free.addTab({"b", "Second", &b});
    free.select("b");
    driven.addTab({"none", "", nullptr});
    driven.addTab({"b", "Other", &left});
    const auto tabs = widgetOf<QTabWidget>(free);
    const auto bare = widgetOf<QTabWidget>(driven);
    EXPECT_EQ(textOf(tabs->tabText(0)), "First");
    EXPECT_EQ(tabs->currentIndex(), 1);
    EXPECT_TRUE(bare->tabBar()->isHidden() && !tabs->tabBar()->isHidden());
    tabs->setCurrentIndex(0);
    EXPECT_EQ(free.selectedIdentifier(), "a");
    driven.select("b");
    driven.setHidden(true);
    settle();
    EXPECT_EQ(bare->currentIndex(), 1);
    EXPECT_TRUE(bare->isHidden());
}

TEST(MenuWidgets, FollowTheirModel)
{
    const auto menu = std::make_shared<Menu>("Batch");
    std::vector<std::string> chosen;
    bool isAllowed = false;
    const auto item = [&chosen](const std::string& title, const std::string& key) {
        return MenuItem{.title = title,
            .action = title,
            .perform = [&chosen](const MenuItem& sender) { chosen.push_back(sender.title); },
            .key = key};
    };
    menu->validator = [&isAllowed](const std::string& action) { return isAllowed || action == "Always"; };
    menu->add(item("Run", "Ctrl+R"));
    menu->add(MenuItem::separator());
    menu->add(item("End", ""));
    menu->add({.title = "More", .submenu = std::make_shared<Menu>("Sub")});
    int updates = 0;
    menu->needsUpdate = [&updates](Menu&) { ++updates; };
    MenuWidget shown(menu, nullptr);
    const auto action = [&shown](int index) { return shown.actions().at(index); };
    EXPECT_EQ(textOf(shown.title()), "Batch");
    EXPECT_EQ(textOf(action(0)->shortcut().toString()), "Ctrl+R");
    EXPECT_TRUE(action(1)->isSeparator());
    EXPECT_EQ(textOf(action(3)->menu()->title()), "Sub");
    EXPECT_TRUE(action(0)->isEnabled()) << "the key asks the model";
    EXPECT_FALSE(action(2)->isEnabled());
    action(0)->trigger();
    EXPECT_TRUE(chosen.empty());
    shown.popup({});
    EXPECT_EQ(updates, 1);
    EXPECT_FALSE(action(0)->isEnabled());
    isAllowed = true;
    shown.close();
    shown.popup({});
    EXPECT_TRUE(action(0)->isEnabled() && action(2)->isEnabled());
    shown.close();
    isAllowed = false;
    menu->change(2, [](MenuItem& changed) { changed.isChecked = true; });
    menu->insert(0, item("Always", ""));
    settle();
    EXPECT_TRUE(action(3)->isChecked() && !action(1)->isCheckable());
    EXPECT_TRUE(action(1)->isEnabled()) << "hidden again";
    action(0)->trigger();
    EXPECT_THAT(chosen, ElementsAre("Always"));
}

TEST(WindowWidgets, ShowTheirModelAndAskItBeforeTheyClose)
{
    auto window = std::make_unique<Window>();
    Stack content(Direction::Down);
    TextField field;
    Table table;
    content.addSubview(field);
    content.addSubview(table);
    window->setContent(&content);
    window->setTitle("/data/Batch.vtask");
    window->setSizeLimits({300, 200}, {1200, 1e9});
    window->orderFront();
    int asked = 0;
    window->shouldClose = [&asked] { return ++asked == 2; };
    QPointer<WindowWidget> shown = new WindowWidget(*window, {std::make_shared<Menu>("File")});
    shown->bringToFront();
    settle();
    EXPECT_EQ(textOf(shown->windowTitle()), "Batch.vtask \u2013 /data");
    EXPECT_TRUE(shown->minimumSize() == QSize(300, 200) && shown->maximumSize() == QSize(1200, 16777215));
    EXPECT_EQ(shown->size(), QSize(640, 520));
    EXPECT_EQ(textOf(shown->menuBar()->actions().at(0)->text()), "&File");
    EXPECT_TRUE(qobject_cast<QTableView*>(shown->focusWidget()));
    window->setTitle("Messages");
    settle();
    EXPECT_EQ(textOf(shown->windowTitle()), "Messages");
    EXPECT_FALSE(shown->close());
    EXPECT_TRUE(shown->close());
    settle();
    EXPECT_TRUE(shown.isNull());
    for (const bool ends : {false, true}) {
        window->orderFront();
        shown = new WindowWidget(*window, {});
        ends ? window.reset() : window->close();
        settle();
        EXPECT_TRUE(shown.isNull());
    }
}

TEST(Dialogs, AskAndHandTheAnswerOn)
{
    int answer = -1;
    const auto box = [&answer](auto act) {
        answer = -1;
        showAlert({"Really?", "It ends them.", {"End", "Stay", "Cancel"}, [&answer](int i) { answer = i; }});
        auto* const shown = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_TRUE(shown);
        EXPECT_EQ(textOf(shown->text() + shown->informativeText()), "Really?It ends them.");
        EXPECT_EQ(shown->icon(), QMessageBox::Warning);
        act(*shown);
        settle();
        EXPECT_FALSE(QApplication::activeModalWidget());
    };
    box([](QMessageBox& shown) { shown.buttons().at(1)->click(); });
    EXPECT_EQ(answer, 1);
    box([](QMessageBox& shown) { shown.reject(); });
    EXPECT_EQ(answer, 2);
    showAlert({"Without an answer"});
    qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->reject();

    const std::tuple<FilePanel::Kind, QFileDialog::FileMode, QFileDialog::AcceptMode> kinds[] = {
        {FilePanel::Kind::OpenFiles, QFileDialog::ExistingFiles, QFileDialog::AcceptOpen},
        {FilePanel::Kind::OpenFolders, QFileDialog::Directory, QFileDialog::AcceptOpen},
        {FilePanel::Kind::SaveFile, QFileDialog::AnyFile, QFileDialog::AcceptSave}};
    for (const auto& [kind, mode, accepts] : kinds) {
        std::vector<std::string> chosen;
        showFilePanel({kind, "Choose", "/", [&](int code, const std::vector<std::string>& paths) {
                           answer = code;
                           chosen = paths;
                       }});
        auto* const shown = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_TRUE(shown);
        EXPECT_EQ(textOf(shown->windowTitle() + shown->directory().path()), "Choose/");
        EXPECT_EQ(shown->fileMode(), mode);
        EXPECT_EQ(shown->acceptMode(), accepts);
        EXPECT_EQ(shown->testOption(QFileDialog::ShowDirsOnly), mode == QFileDialog::Directory);
        shown->selectFile("/tmp");
        static_cast<QDialog*>(shown)->done(
            mode == QFileDialog::Directory ? QDialog::Accepted : QDialog::Rejected);
        settle();
        EXPECT_EQ(answer, mode == QFileDialog::Directory ? 1 : 0);
        EXPECT_THAT(chosen, testing::Contains("/tmp"));
    }
}

} // namespace
