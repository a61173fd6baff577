// A text by lines, by keys, by the mouse and as assistive tools read it, without a display.

#include "apps/desktop/widgets/LineView.h"
#include "apps/desktop/widgets/MakeWidget.h"
#include "platform/TemporaryFolder.h"
#include "platform/loop/MainLoop.h"
#include "text/files/KRBigTextFile.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

#include <fstream>

namespace {

LineView* viewIn(QWidget& widget)
{
    const auto children = widget.findChildren<QAbstractScrollArea*>();
    return children.isEmpty() ? nullptr : dynamic_cast<LineView*>(children.first());
}

struct TextLinesView : testing::Test {
    TextLinesView()
    {
        clip.addSubview(lines);
        lines.setAccessibleName("Output");
        lines.setStartsAtEnd(true);
        append(kLines);
        file.setFileName(path);
        file.setTable(&lines);
        open();
    }
    void open()
    {
        widget.reset(makeWidget(lines));
        widget->resize(400, 200);
        widget->show();
        QApplication::processEvents();
        view = viewIn(*widget);
        follow = widget->findChild<QCheckBox*>();
    }
    void append(int count) // Lines, each with its number from 1 on.
    {
        std::ofstream out(path, std::ios::app);
        for (int i = 0; i < count; ++i)
            out << "line " << ++written << '\n';
    }
    void update()
    {
        file.updateFileContent();
        platform::MainLoop::main().runPending();
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(view, key, modifiers);
    }
    void wheel(int steps) const // Positive ones towards the start.
    {
        QWheelEvent event(
            {5, 5}, view->mapToGlobal(QPointF(5, 5)), {}, {0, 120 * steps}, {}, {}, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view->viewport(), &event);
    }
    std::string selected() const { return view->selectedText().toStdString(); }
    std::int64_t lastShown() const { return view->topLine() + view->linesInView(); }
    QPoint middleOf(std::int64_t line, int column) const
    {
        return view->rectOf({line, column}).center() - QPoint(view->rectOf({line, column}).width() / 4, 0);
    }

    static constexpr int kLines = 100;
    const TemporaryFolder folder;
    const std::string path = folder / "out";
    int written = 0;
    toolkit::View clip;
    toolkit::TextLines lines;
    KRBigTextFile file;
    std::unique_ptr<QWidget> widget;
    LineView* view = nullptr;
    QCheckBox* follow = nullptr;
};

TEST_F(TextLinesView, FollowsTheEndUntilTheUserScrollsUp)
{
    EXPECT_EQ(lastShown(), kLines);
    append(10);
    update();
    EXPECT_EQ(lastShown(), 110);
    EXPECT_EQ(lines.visibleRange().first, view->topLine());
    wheel(1);
    EXPECT_FALSE(follow->isChecked());
    const auto top = view->topLine();
    EXPECT_LT(top + view->linesInView(), 110);
    append(10);
    update();
    EXPECT_EQ(view->topLine(), top) << "what is being read stays in its place";
    EXPECT_EQ(view->count(), 120);
    wheel(-20);
    EXPECT_TRUE(follow->isChecked()) << "the end goes on with it";
    key(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(view->topLine(), 0);
    key(Qt::Key_End, Qt::ControlModifier);
    EXPECT_TRUE(follow->isChecked());

    follow->click();
    append(10);
    update();
    EXPECT_EQ(lastShown(), 120);
    wheel(-20);
    EXPECT_EQ(lastShown(), 130);
    EXPECT_FALSE(follow->isChecked()) << "what the user has turned off stays off";
    key(Qt::Key_End, Qt::ControlModifier);
    EXPECT_TRUE(follow->isChecked());
    follow->click();
    append(1);
    EXPECT_FALSE(view->wantsNewLines()) << "nor is the file read";
    follow->click();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            platform::MainLoop::main().runPending();
            return view->count() == 131;
        },
        5000));
    EXPECT_EQ(lastShown(), 131);
}

TEST_F(TextLinesView, SelectsAndCopiesByKeys)
{
    key(Qt::Key_Home, Qt::ControlModifier);
    key(Qt::Key_Right);
    key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(selected(), "ine 1\nl");
    key(Qt::Key_End, Qt::ShiftModifier);
    key(Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(selected(), "ine 1\nline 2\n");
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("ine 1\nline 2\n"));
    key(Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(selected(), "ine 1\nline 2");
    key(Qt::Key_Home);
    EXPECT_EQ(view->caret(), (LineView::Place{1, 0}));
    EXPECT_FALSE(view->hasSelection());
    key(Qt::Key_PageDown);
    EXPECT_EQ(view->caret().line, view->linesInView());
    key(Qt::Key_PageUp, Qt::ShiftModifier);
    EXPECT_EQ(view->selectionStart().line, 1);
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(selected().starts_with("line 1\n") && selected().ends_with("\nline 100"));
    key(Qt::Key_Down);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text().size(), selected().size() + 791) << "everything";
    QTest::keyClick(view, Qt::Key_Tab);
    EXPECT_FALSE(view->hasFocus());
}

TEST_F(TextLinesView, SelectsByTheMouse)
{
    widget->findChildren<QCheckBox*>(QString(), Qt::FindDirectChildrenOnly)[1]->click(); // Line numbers.
    key(Qt::Key_Home, Qt::ControlModifier);
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, middleOf(2, 1));
    QTest::mouseMove(view->viewport(), middleOf(3, 4));
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, middleOf(3, 4));
    EXPECT_EQ(selected(), "ine 3\nline");
    QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::ShiftModifier, middleOf(4, 2));
    EXPECT_EQ(selected(), "ine 3\nline 4\nli");
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, middleOf(5, 5));
    EXPECT_EQ(selected(), "6");
    const QPoint margin(2, middleOf(6, 0).y());
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, margin);
    EXPECT_EQ(selected(), "line 7\n") << "a line by its number";
}

TEST_F(TextLinesView, GoesToALineThatIsTyped)
{
    auto* field = widget->findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly);
    const std::pair<const char*, std::int64_t> cases[] = {{"7", 6}, {"1000000", 99}, {"-3", 99}, {"1", 0}};
    for (const auto& [typed, line] : cases) {
        QTest::keyClick(view, Qt::Key_L, Qt::ControlModifier);
        QTest::keyClicks(field, QString::fromLatin1(typed));
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_EQ(view->caret().line, line) << typed;
        EXPECT_TRUE(view->topLine() <= line && line < lastShown());
        QTest::keyClick(field, Qt::Key_Escape);
        EXPECT_FALSE(field->isVisibleTo(widget.get()));
    }
    EXPECT_EQ(selected(), "line 1");
}

TEST_F(TextLinesView, FindsForwardsAndBackwardsByKeys)
{
    std::ofstream(path, std::ios::app) << "\tGr\u00d6\u00dfe 7\n" << std::string(50'000, '.') << "end\n";
    update();
    key(Qt::Key_Home, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_F, Qt::ControlModifier);
    auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_TRUE(field && field->accessibleName() == QStringLiteral("Find"));
    auto* answer = field->parentWidget()->findChild<QLabel*>();
    const auto boxes = field->parentWidget()->findChildren<QCheckBox*>(); // Case, expression.
    const auto find = [&](const char* text, Qt::Key pressed, Qt::KeyboardModifiers modifiers = {}) {
        if (text)
            field->setText(QString::fromUtf8(text));
        QTest::keyClick(field, pressed, modifiers);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] {
                platform::MainLoop::main().runPending();
                return !answer->text().startsWith(QStringLiteral("Searching"));
            },
            5000));
        return std::to_string(view->selectionStart().line + 1) + " " + selected();
    };
    EXPECT_EQ(find("INE 5", Qt::Key_Return), "5 ine 5");
    EXPECT_EQ(find(nullptr, Qt::Key_F3), "50 ine 5");
    EXPECT_TRUE(view->topLine() <= 49 && 49 < lastShown());
    EXPECT_EQ(find(nullptr, Qt::Key_F3, Qt::ShiftModifier), "5 ine 5");
    EXPECT_EQ(find(nullptr, Qt::Key_Return, Qt::ShiftModifier), "59 ine 5");
    EXPECT_EQ(answer->text(), QStringLiteral("Went on at the other end."));
    EXPECT_EQ(find("gr\u00f6\u00dfE", Qt::Key_Return), "101 Gr\u00d6\u00dfe");
    boxes[0]->click();
    EXPECT_EQ(find(nullptr, Qt::Key_Return), "101 Gr\u00d6\u00dfe");
    EXPECT_EQ(answer->text(), QStringLiteral("Not found."));
    boxes[1]->click();
    EXPECT_EQ(find("\u00dfe \\d|^l.*9{2}", Qt::Key_Return), "101 \u00dfe 7");
    EXPECT_EQ(find(nullptr, Qt::Key_F3), "99 line 99");
    EXPECT_EQ(find(nullptr, Qt::Key_F3, Qt::ShiftModifier), "101 \u00dfe 7");
    EXPECT_EQ(find("(", Qt::Key_Return), "101 \u00dfe 7");
    EXPECT_TRUE(answer->text().startsWith(QStringLiteral("The expression is wrong: ")));
    boxes[1]->click();
    EXPECT_EQ(find("end", Qt::Key_Return), "102 ");
    EXPECT_EQ(
        answer->text(), QStringLiteral("The hit lies behind what is shown of the line, at byte 50001."));
    EXPECT_EQ(find(nullptr, Qt::Key_F3), "102 ");
    EXPECT_FALSE(answer->text().isEmpty());
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_TRUE(view->hasFocus() && field->parentWidget()->isHidden());
    lines.setDataSource(nullptr);
    platform::MainLoop::main().runPending();
    QTest::keyClick(view, Qt::Key_F3);
    EXPECT_EQ(answer->text(), QString()) << "there is nothing to search";
}

TEST_F(TextLinesView, IsReadByAssistiveToolsAsTheTextOnDisplay)
{
    auto* read = QAccessible::queryAccessibleInterface(view);
    ASSERT_TRUE(read && read->textInterface());
    EXPECT_EQ(read->role(), QAccessible::EditableText);
    EXPECT_TRUE(read->state().readOnly);
    EXPECT_EQ(read->text(QAccessible::Name), QStringLiteral("Output"));
    key(Qt::Key_Home, Qt::ControlModifier);
    auto* text = read->textInterface();
    EXPECT_EQ(text->text(0, 13), QStringLiteral("line 1\nline 2"));
    EXPECT_EQ(text->characterCount(), view->visibleText().size());
    text->setSelection(0, 7, 11);
    EXPECT_EQ(selected(), "line");
    int start = 0;
    int end = 0;
    text->selection(0, &start, &end);
    EXPECT_EQ(std::pair(start, end), std::pair(7, 11));
    EXPECT_EQ(text->cursorPosition(), 11);
    const QPoint place = text->characterRect(9).center() - QPoint(text->characterRect(9).width() / 4, 0);
    EXPECT_EQ(text->offsetAtPoint(place), 9);
}

// More lines than a row of Qt's views can number.
struct EndlessText : toolkit::TableDataSource, toolkit::LineSource {
    static constexpr std::int64_t kLines = 20'000'000'000;
    std::int64_t howManyLines() const override { return kLines; }
    std::string lineNumber(std::int64_t number) const override
    {
        ++asked;
        return number % 2 == 0 ? "\tcaf\u00e9 " + std::to_string(number) : std::to_string(number);
    }
    std::string textBetween(toolkit::TextPlace start, toolkit::TextPlace end) const override
    {
        return std::to_string(start.byte) + "-" + std::to_string(end.byte);
    }
    void updateFileContent() override { }
    int numberOfRowsInTableView(const toolkit::Table&) override { return 2'000'000'000; }
    toolkit::CellValue objectValueForTableColumn(const toolkit::Table&, std::string_view, int) override
    {
        return {};
    }
    mutable int asked = 0;
};

TEST_F(TextLinesView, MovesInATextOfMoreLinesThanAnIntegerCounts)
{
    EndlessText endless;
    lines.setDataSource(&endless);
    platform::MainLoop::main().runPending();
    QApplication::processEvents();
    EXPECT_EQ(lastShown(), EndlessText::kLines);
    key(Qt::Key_Up);
    EXPECT_EQ(view->caret().line, view->topLine()) << "from where the text begins on display";
    key(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(view->topLine(), 0);
    auto* bar = view->verticalScrollBar();
    bar->setValue(bar->maximum() / 2);
    EXPECT_NEAR(static_cast<double>(view->topLine()), EndlessText::kLines / 2.0, 100);
    const auto top = view->topLine();
    wheel(-1);
    EXPECT_EQ(view->topLine(), top + QApplication::wheelScrollLines()) << "a wheel still moves by lines";
    bar->setValue(bar->maximum());
    EXPECT_EQ(lastShown(), EndlessText::kLines);
    view->select({2, 4}, {2, 5});
    EXPECT_EQ(selected(), "4-6") << "the source counts bytes";
    EXPECT_LT(endless.asked, 1000);
    lines.setDataSource(nullptr);
    platform::MainLoop::main().runPending();
    EXPECT_EQ(view->count(), 0);
    key(Qt::Key_Down);
    EXPECT_EQ(selected(), "");
}

} // namespace
