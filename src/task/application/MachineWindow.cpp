#include "task/application/MachineWindow.h"

MachineWindow::MachineWindow(KRDraggableViewsController& machines)
{
    toolkit::ViewList& list = machines.viewList();
    window.setTitle("Machines");
    window.setContent(&content);
    content.addSubview(list);
    content.addSubview(foot);
    foot.addSubview(add);
    foot.addSubview(remove);

    list.setAccessibleName("Machines");
    list.whenSelected = [this, &list] { remove.setEnabled(!list.selectedRows().empty()); };
    add.setTitle("Add machine");
    remove.setTitle("Remove");
    remove.setEnabled(false);
    remove.whenPressed = [&machines] { machines.removeSelectedControllers(); };
}
