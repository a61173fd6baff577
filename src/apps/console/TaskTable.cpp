#include "apps/console/TaskTable.h"

#include <nlohmann/json.hpp>

TablePrinter taskTable(OpenWrapper& wrapper)
{
    return TablePrinter(wrapper.views().taskList, {"Number", "Time", "Status", "Progress", "Description"});
}

bool writeTasksAsJson(OpenWrapper& wrapper)
{
    auto rows = TablePrinter(wrapper.views().taskList).json();
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i]["Folder"] = wrapper.controller().taskInformation()[i]->folderName();
    return writeJson(rows);
}
