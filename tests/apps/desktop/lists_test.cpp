// The list that the user reorders, and the forms in it, without a display.

#include "apps/desktop/widgets/MakeWidget.h"
#include "platform/loop/MainLoop.h"
#include "toolkit/KRDragViewWithToggle.h"
#include "toolkit/ViewList.h"

#include <QApplication>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QTest>
#include <QToolButton>
#include <gmock/gmock.h>

using namespace toolkit;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Lists : testing::Test {
    Lists()
    {
        for (int i = 0; i < 4; ++i) {
            auto label = std::make_shared<Label>();
            label->setStringValue("row " + std::to_string(i));
            list.add(std::move(label));
        }
        list.whenMoved = [this](std::size_t from, std::size_t to) { moves.emplace_back(from, to); };
        list.whenRemoved = [this] { ++removals; };
        area.reset(dynamic_cast<QScrollArea*>(makeWidget(list)));
        area->resize(300, 400);
        area->show();
        QApplication::processEvents();
        rows = area->widget();
    }
    QPoint middleOf(int row) const { return rows->layout()->itemAt(row)->geometry().center(); }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(rows, key, modifiers);
    }
    // From one place to another with the button held.
    void drag(QPoint from, QPoint to) const
    {
        QTest::mousePress(rows, Qt::LeftButton, {}, from);
        QTest::mouseMove(rows, (from + to) / 2);
        QTest::mouseMove(rows, to);
        QTest::mouseRelease(rows, Qt::LeftButton, {}, to);
    }

    ViewList list;
    std::vector<std::pair<std::size_t, std::size_t>> moves;
    int removals = 0;
    std::unique_ptr<QScrollArea> area;
    QWidget* rows = nullptr;
};

TEST_F(Lists, SelectRowsByMouseAndKeys)
{
    QTest::mouseClick(rows, Qt::LeftButton, {}, middleOf(1));
    EXPECT_THAT(list.selectedRows(), ElementsAre(1));
    QTest::mouseClick(rows, Qt::LeftButton, Qt::ControlModifier, middleOf(3));
    EXPECT_THAT(list.selectedRows(), ElementsAre(1, 3));
    QTest::mouseClick(rows, Qt::LeftButton, Qt::ControlModifier, middleOf(1));
    EXPECT_THAT(list.selectedRows(), ElementsAre(3));
    QTest::mouseClick(rows, Qt::LeftButton, {}, middleOf(0));
    QTest::mouseClick(rows, Qt::LeftButton, Qt::ShiftModifier, middleOf(2));
    EXPECT_THAT(list.selectedRows(), ElementsAre(0, 1, 2));
    const QPoint below(5, middleOf(3).y() + 100);
    drag(below, middleOf(2));
    EXPECT_THAT(list.selectedRows(), ElementsAre(2, 3)) << "a rubber band takes what it touches";
    QTest::mouseClick(rows, Qt::LeftButton, {}, below);
    EXPECT_THAT(list.selectedRows(), IsEmpty());

    key(Qt::Key_Up);
    key(Qt::Key_Up);
    key(Qt::Key_Up);
    EXPECT_THAT(list.selectedRows(), ElementsAre(0)) << "the first row is as far as it goes";
    key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_THAT(list.selectedRows(), ElementsAre(0, 1));
    key(Qt::Key_Space);
    EXPECT_THAT(list.selectedRows(), ElementsAre(0));
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(list.selectedRows().size(), 4U);
    EXPECT_THAT(moves, IsEmpty());
    key(Qt::Key_Delete);
    EXPECT_EQ(removals, 1);
}

TEST_F(Lists, MoveRowsByMouseAndKeysWhereThatIsAllowed)
{
    const int height = middleOf(1).y() - middleOf(0).y();
    drag(middleOf(0), middleOf(2) + QPoint(0, height / 4));
    drag(middleOf(3), middleOf(0) - QPoint(0, height / 4));
    EXPECT_THAT(moves, ElementsAre(std::pair(0, 2), std::pair(3, 0)));
    drag(middleOf(1), middleOf(1) + QPoint(0, height / 4));
    EXPECT_EQ(moves.size(), 2U) << "dropped where it was";
    QTest::mouseClick(rows, Qt::LeftButton, {}, middleOf(1));
    key(Qt::Key_Down, Qt::AltModifier);
    key(Qt::Key_Up, Qt::AltModifier);
    EXPECT_THAT(moves, ElementsAre(std::pair(0, 2), std::pair(3, 0), std::pair(1, 2), std::pair(2, 1)));
    moves.clear();
    list.whenMoved = nullptr;
    list.whenRemoved = nullptr;
    drag(middleOf(0), middleOf(3));
    key(Qt::Key_Down, Qt::AltModifier);
    key(Qt::Key_Delete);
    EXPECT_THAT(moves, IsEmpty());
    list.removeAll();
    platform::MainLoop::main().runPending();
    key(Qt::Key_Down);
    EXPECT_THAT(list.selectedRows(), IsEmpty());
}

TEST(Forms, OpenAndCollapseToTheirFirstLine)
{
    KRDragViewWithToggle view;
    Label description;
    TextField field;
    Button button;
    view.toggle().setAccessibleName("Details");
    description.setStringValue("ada@cluster");
    description.setAccessibleName("Machine description");
    field.setAccessibleName("User name");
    for (View* part :
        {static_cast<View*>(&description), static_cast<View*>(&field), static_cast<View*>(&button)})
        view.addSubview(*part);
    int openings = 0;
    view.whenOpened = [&openings] { ++openings; };
    const std::unique_ptr<QWidget> shown(makeWidget(view));
    const auto* edit = shown->findChild<QLineEdit*>();
    const auto* line = shown->findChild<QLabel*>();
    auto* toggle = shown->findChild<QToolButton*>();
    ASSERT_TRUE(edit && line && toggle);
    EXPECT_EQ(line->text(), QStringLiteral("ada@cluster"));
    EXPECT_EQ(line->accessibleDescription(), QStringLiteral("Machine description"));
    EXPECT_EQ(toggle->accessibleName(), QStringLiteral("Details"));
    view.setOpen(false);
    platform::MainLoop::main().runPending();
    EXPECT_FALSE(edit->isVisibleTo(shown.get()));
    toggle->click();
    platform::MainLoop::main().runPending();
    EXPECT_TRUE(edit->isVisibleTo(shown.get()) && view.isOpen());
    EXPECT_EQ(openings, 1);
}

} // namespace
