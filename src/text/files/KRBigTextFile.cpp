#include "text/files/KRBigTextFile.h"

KRBigTextFile::~KRBigTextFile()
{
    setTable(nullptr);
}

void KRBigTextFile::setFileName(const std::optional<std::string>& name)
{
    if (name && name->empty())
        return;
    if (name && name == theFileName_) {
        updateFileContent();
        return;
    }
    theFileName_ = name;
    tellTable();
}

void KRBigTextFile::updateFileContent()
{
    tellTable();
}

void KRBigTextFile::setTable(toolkit::Table* table)
{
    toolkit::moveSource(*this, table_, table);
}

void KRBigTextFile::tellTable()
{
    if (!table_ || table_->dataSource() != this)
        return;
    table_->reloadData();
}

toolkit::CellValue KRBigTextFile::objectValueForTableColumn(const toolkit::Table&, std::string_view, int)
{
    return {};
}
