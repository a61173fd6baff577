#include "apps/console/TaskTable.h"

#include <nlohmann/json.hpp>

TablePrinter taskTable(OpenWrapper& wrapper)
{
    return {wrapper.views().taskList,
        {{"Number", true}, {"Time", true}, {"Status"}, {"Progress", true, true}, {"Description"}}};
}

bool writeTasksAsJson(OpenWrapper& wrapper)
{
    const TablePrinter all(
        wrapper.views().taskList, {{"Number"}, {"Time"}, {"Description"}, {"Status"}, {"Progress"}, {"Try"}});
    auto rows = all.json();
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i]["Folder"] = wrapper.controller().taskInformation()[i]->folderName();
    return writeJson(rows);
}
