// A table beside its model, without a display.

#include "apps/desktop/WidgetsUnderTest.h"
#include "apps/desktop/widgets/TableAdapter.h"
#include "apps/desktop/widgets/TableWidget.h"
#include "toolkit/Controls.h"
#include "toolkit/Workspace.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <gmock/gmock.h>

using namespace toolkit;
using testing::ElementsAre;

namespace {

class Rows : public TableDataSource, public TableDelegate {
public:
    Rows(int rows, std::vector<Column> columns) : count(rows)
    {
        clip.setFrame({0, 0, 100, 100});
        table->setAccessibleName("Tasks");
        table->setColumns(std::move(columns));
        clip.addSubview(*table);
        table->setDelegate(this);
        table->setDataSource(this);
        shown = std::make_unique<TableWidget>(*table);
        shown->resize(700, 300);
        shown->show();
        settle();
    }
    int numberOfRowsInTableView(const Table&) override { return count; }
    CellValue objectValueForTableColumn(const Table&, std::string_view column, int row) override
    {
        if (column == "bar")
            return row == 0 ? CellValue(25.0) : row == 1 ? CellValue(140.0) : CellValue();
        return std::string(column) + std::to_string(row);
    }
    void willDisplayCell(Table&, CellStyle& style, std::string_view column, int row) override
    {
        if (row == 1 && column == "name")
            style.background = Color{1, 0.5, 0};
    }
    std::shared_ptr<Menu> contextMenuForTableRow(Table&, int row) override
    {
        asked.push_back(row);
        auto menu = std::make_shared<Menu>();
        menu->add({.title = "Abort"});
        return menu;
    }
    QVariant data(int row, int column, int role) const
    {
        return shown->model()->data(shown->model()->index(row, column), role);
    }

    int count;
    std::vector<int> asked;
    View clip;
    std::unique_ptr<Table> table = std::make_unique<Table>();
    std::unique_ptr<TableWidget> shown;
};

const std::vector<Column> kColumns{{"number", "Number", Column::Cell::Text, Column::Alignment::Right},
    {"name", "Name"}, {"hidden", "Hidden", Column::Cell::Text, Column::Alignment::Center, true},
    {"bar", "Progress", Column::Cell::Progress}};

TEST(TableWidgets, ShowCellsAndColumns)
{
    Rows rows(3, kColumns);
    const TableWidget& shown = *rows.shown;
    EXPECT_EQ(textOf(shown.accessibleName()), "Tasks");
    const auto text = [&](int row, int column) {
        return textOf(rows.data(row, column, Qt::DisplayRole).toString());
    };
    EXPECT_EQ(text(2, 1) + " " + text(0, 3) + " " + text(1, 3), "name2 25% 100%");
    EXPECT_EQ(rows.data(0, 3, TableAdapter::kProgressRole).toDouble(), 25);
    EXPECT_FALSE(rows.data(0, 1, TableAdapter::kProgressRole).isValid());
    EXPECT_EQ(textOf(rows.data(1, 1, Qt::BackgroundRole).value<QColor>().name()), "#ff8000");
    EXPECT_EQ(rows.data(1, 1, Qt::ForegroundRole).value<QColor>(), QColor(Qt::black));
    EXPECT_FALSE(rows.data(0, 1, Qt::BackgroundRole).isValid());
    const Qt::Alignment sides[] = {Qt::AlignRight, Qt::AlignLeft, Qt::AlignHCenter};
    for (int column = 0; column < 3; ++column) {
        const int alignment = rows.data(0, column, Qt::TextAlignmentRole).toInt();
        EXPECT_TRUE(alignment & sides[column].toInt() && alignment & Qt::AlignVCenter);
    }
    EXPECT_EQ(textOf(shown.model()->headerData(1, Qt::Horizontal).toString()), "Name");
    EXPECT_TRUE(shown.isColumnHidden(2) && !shown.isColumnHidden(1));
    EXPECT_EQ(shown.horizontalHeader()->sectionResizeMode(3), QHeaderView::Stretch);
    EXPECT_EQ(shown.columnWidth(0) * 20, shown.columnWidth(1) * 12);
    EXPECT_TRUE(shown.verticalHeader()->isHidden() && !shown.showGrid() && shown.alternatingRowColors());
    EXPECT_FALSE(shown.tabKeyNavigation());
    EXPECT_GE(shown.minimumHeight(), 3 * shown.rowHeight(0));
    const Rows words(
        2, {{"number", "", Column::Cell::Text, Column::Alignment::Right}, {"name", ""}, {"b", ""}});
    const QHeaderView& header = *words.shown->horizontalHeader();
    EXPECT_TRUE(header.sectionResizeMode(1) == QHeaderView::Stretch
        && header.sectionResizeMode(2) == QHeaderView::Interactive);
}

TEST(TableWidgets, HaveColumnsThatTheUserArranges)
{
    Rows rows(3, kColumns);
    QHeaderView& header = *rows.shown->horizontalHeader();
    int arranged = 0;
    rows.table->whenArranged = [&arranged] { ++arranged; };
    const auto order = [&rows] {
        std::string columns;
        for (const auto& place : rows.table->arrangement().places)
            columns += place.column + (place.isHidden ? "- " : " ");
        return columns;
    };
    const auto middleOf = [&header](int section) {
        return QPoint(
            header.sectionViewportPosition(section) + header.sectionSize(section) / 2, header.height() / 2);
    };
    QTest::mousePress(header.viewport(), Qt::LeftButton, {}, middleOf(0));
    for (const int part : {1, 2, 3})
        QTest::mouseMove(
            header.viewport(), middleOf(0) + (middleOf(1) + QPoint(40, 0) - middleOf(0)) * part / 3);
    QTest::mouseRelease(header.viewport(), Qt::LeftButton, {}, middleOf(1) + QPoint(40, 0));
    EXPECT_EQ(order(), "name number hidden- bar ");
    header.resizeSection(1, 222);
    EXPECT_EQ(rows.table->arrangement().places.front().width, 222);
    EXPECT_EQ(arranged, 2) << "the column that grows has no width of its own";

    QContextMenuEvent event(QContextMenuEvent::Mouse, middleOf(1), header.mapToGlobal(middleOf(1)));
    QApplication::sendEvent(header.viewport(), &event);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_TRUE(menu);
    EXPECT_TRUE(menu->actions().at(1)->isChecked() && !menu->actions().at(2)->isChecked());
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Return})
        QTest::keyClick(menu, key);
    settle();
    EXPECT_EQ(order(), "name number hidden bar ");
    EXPECT_FALSE(rows.shown->isColumnHidden(2));

    rows.table->setArrangement({.places = {{"bar", 0, false}, {"name", 99, false}, {"number", 0, true}}});
    settle();
    EXPECT_EQ(header.logicalIndex(0), 3);
    EXPECT_TRUE(header.isSectionHidden(0) && header.sectionSize(1) == 99);
    EXPECT_EQ(arranged, 3) << "what the logic sets isn't told back";

    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, middleOf(1));
    EXPECT_EQ(rows.table->arrangement().sorting.column, "") << "a table that doesn't sort";
    rows.table->whenSorted = [] {};
    for (const auto& [column, isDescending] : {std::pair("name", false), {"name", true}, {"", false}}) {
        QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, middleOf(1));
        settle();
        EXPECT_EQ(rows.table->arrangement().sorting, (Sorting{column, isDescending}));
        EXPECT_EQ(header.isSortIndicatorShown(), *column != 0);
        EXPECT_TRUE(*column == 0 || (header.sortIndicatorOrder() == Qt::DescendingOrder) == isDescending);
    }
    std::string copied;
    Workspace::shared().setPasteboardText = [&copied](const std::string& text) { copied = text; };
    rows.table->selectRows({2});
    settle();
    EXPECT_EQ(rows.shown->currentIndex().row(), 2) << "keys go on from the selected row";
    QTest::keyClick(rows.shown.get(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(copied, "\tname2\n");
    Workspace::shared() = {};
    rows.table.reset();
    QTest::mouseClick(header.viewport(), Qt::LeftButton, {}, QPoint(5, 5));
}

TEST(TableWidgets, ShowAPlaceholderWhileThereAreNoRows)
{
    Rows rows(0, kColumns);
    TableWidget& shown = *rows.shown;
    const QImage before = shown.grab().toImage();
    const auto shows = [&](const char* text) {
        settle();
        EXPECT_EQ(textOf(shown.accessibleDescription()), text);
        return shown.grab().toImage() != before;
    };
    rows.table->setPlaceholder("Reading");
    EXPECT_TRUE(shows("Reading"));
    rows.count = 1;
    rows.table->reloadData();
    EXPECT_TRUE(shows(""));
    rows.count = 0;
    rows.table->reloadData();
    rows.table->setPlaceholder("");
    EXPECT_FALSE(shows(""));
}

TEST(TableWidgets, FollowTheirRowsWithoutAReset)
{
    Rows rows(3, kColumns);
    QSignalSpy resets(rows.shown->model(), &QAbstractItemModel::modelReset);
    QSignalSpy changes(rows.shown->model(), &QAbstractItemModel::dataChanged);
    rows.table->selectRows({1});
    for (const int count : {5, 2}) {
        rows.count = count;
        rows.table->reloadData();
        settle();
        EXPECT_EQ(rows.shown->model()->rowCount(), count);
        EXPECT_EQ(rows.shown->selectionModel()->selectedRows().size(), 1);
    }
    EXPECT_EQ(resets.size(), 0);
    EXPECT_EQ(changes.size(), 2);
    rows.shown->selectRow(0);
    EXPECT_THAT(rows.table->selectedRows(), ElementsAre(0));
    rows.table->setColumns({{"name", "Only"}});
    settle();
    EXPECT_EQ(resets.size(), 1);
    EXPECT_EQ(rows.shown->model()->columnCount(), 1);
    EXPECT_EQ(rows.shown->selectionModel()->selectedRows().size(), 1);
    rows.table.reset();
    EXPECT_EQ(rows.shown->model()->rowCount(), 0);
    EXPECT_FALSE(rows.data(0, 0, Qt::DisplayRole).isValid());
    rows.shown->resize(100, 50);
    settle();
}

TEST(TableWidgets, ScrollWithTheirModelAndTellIt)
{
    Rows rows(1000, kColumns);
    const auto visible = [&rows] { return rows.table->visibleRange(); };
    const int height = rows.shown->viewport()->height() / rows.shown->rowHeight(0);
    EXPECT_EQ(visible(), (Table::VisibleRange{0, height}));
    rows.shown->verticalScrollBar()->setValue(500);
    EXPECT_EQ(visible().first, 500);
    rows.table->scrollRowToVisible(900);
    settle();
    EXPECT_NEAR(rows.shown->rowAt(0), 900 - height, 2);
    rows.shown->resize(700, 500);
    settle();
    EXPECT_GT(visible().count, height);
}

TEST(TableWidgets, OfferTheMenuOfARowByMouseAndKey)
{
    Rows rows(3, kColumns);
    const auto ask = [&rows](QContextMenuEvent::Reason reason, const QPoint& place) {
        QContextMenuEvent event(reason, place, rows.shown->viewport()->mapToGlobal(place));
        QApplication::sendEvent(rows.shown->viewport(), &event);
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        const std::string text = menu ? textOf(menu->actions().at(0)->text()) : "none";
        if (menu)
            menu->close();
        settle();
        return text;
    };
    const int height = rows.shown->rowHeight(0);
    EXPECT_EQ(ask(QContextMenuEvent::Mouse, {5, height + 2}), "Abort");
    EXPECT_EQ(ask(QContextMenuEvent::Mouse, {5, 5 * height}), "none");
    rows.shown->setCurrentIndex(rows.shown->model()->index(2, 0));
    EXPECT_EQ(ask(QContextMenuEvent::Keyboard, {5, height + 2}), "Abort");
    EXPECT_THAT(rows.asked, ElementsAre(1, 2));
}

// A bar fills its share of the groove; the words stand beside it.
TEST(TableWidgets, DrawProgressAsABar)
{
    Rows rows(2, kColumns);
    const QRect cell = rows.shown->visualRect(rows.shown->model()->index(0, 3));
    const auto pixels = [&](bool selected) {
        rows.table->selectRows(selected ? std::set<int>{0} : std::set<int>{});
        settle();
        const QImage image = rows.shown->viewport()->grab(cell).toImage();
        const QColor wanted =
            rows.shown->palette().color(selected ? QPalette::HighlightedText : QPalette::Highlight);
        int count = 0;
        for (int x = 0; x < image.width(); ++x)
            count += image.pixelColor(x, image.height() / 2) == wanted;
        return count;
    };
    const int groove = cell.width() - 50;
    EXPECT_NEAR(pixels(false), groove / 4, 3);
    EXPECT_NEAR(pixels(true), groove / 4, 12) << "some more are those of the words";
}

} // namespace
