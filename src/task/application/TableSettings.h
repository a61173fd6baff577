#pragma once

#include "platform/loop/MainLoop.h"
#include "toolkit/TableArrangement.h"

#include <map>
#include <memory>
#include <string>

namespace toolkit {
class Table;
}

// Keeps how the user has arranged the columns of tables, by the name of the table, in "Table Columns.plist"
// of the user's library. A front end without columns to arrange makes none. Main thread.
class TableSettings {
public:
    TableSettings();
    ~TableSettings(); // Saves.
    TableSettings(const TableSettings&) = delete;
    TableSettings& operator=(const TableSettings&) = delete;

    static TableSettings* current(); // Null when there is none.

    // Arranges the table as the last one of this name was, and keeps what the user changes from now on. What
    // is damaged in the file counts as not arranged.
    void follow(toolkit::Table& table, const std::string& name);

private:
    void note(const std::string& name, const toolkit::TableArrangement& arrangement);
    void save();

    std::map<std::string, toolkit::TableArrangement> changed_; // Since the last saving.
    std::unique_ptr<platform::Timer> timer_;
};
