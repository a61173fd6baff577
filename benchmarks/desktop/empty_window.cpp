// The smallest program with a window: a table and a menu bar without anything in them.

#include <QApplication>
#include <QMainWindow>
#include <QMenuBar>
#include <QTableView>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QMainWindow window;
    window.menuBar();
    window.setCentralWidget(new QTableView);
    window.resize(960, 760);
    window.show();
    return QApplication::exec();
}
