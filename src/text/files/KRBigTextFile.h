#pragma once

#include "platform/loop/OperationQueue.h"
#include "toolkit/TextLines.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class IndexedTextFile;
class KRContainerFileName;

// The source of a table that shows a text by line, without loading it: of a file it keeps where each line is,
// 8 bytes for each. A file may grow, and its unfinished last line is shown as far as it goes. Of a line at
// most 40,000 bytes are shown.
//
// The start of a file is indexed at once, and what is beyond that by a worker; the table is told of rows as
// they come. A file that was cut or replaced is indexed anew, with one message. Main thread.
class KRBigTextFile : public toolkit::TableDataSource, public toolkit::LineSource {
public:
    KRBigTextFile();
    ~KRBigTextFile() override;
    KRBigTextFile(const KRBigTextFile&) = delete;
    KRBigTextFile& operator=(const KRBigTextFile&) = delete;

    // Null clears what is shown, an empty name does nothing, the same name as before reads what is new. A
    // file that isn't there yet, or a folder, has no lines.
    void setFileName(const std::optional<std::string>& name);
    // The same, and keeps the file from removal while it is shown.
    void setFile(std::shared_ptr<KRContainerFileName> file);
    const std::optional<std::string>& fileName() const { return theFileName_; }
    // Reads what is new. The worker's part of it comes later.
    void updateFileContent() override;
    // Shows the plain text of a document in Rich Text Format. One that can't be read shows nothing, with a
    // message.
    void fromRTFFile(const std::string& name);
    void clearFile();

    // Descriptors stay open while no table shows the file, too.
    void setKeepFileOpen(bool keep) { keepFileOpen_ = keep; }
    // Makes this the table's source and takes it from a former one; null only takes it away. Borrowed.
    void setTable(toolkit::Table* table);

    std::int64_t howManyLines() const override; // As of now; the worker may find more.
    bool isIndexing() const { return isWorking_; } // The worker has not reached the end.
    // Line k, from 0, without its end, as UTF-8. Empty outside.
    std::string lineNumber(std::int64_t number) const override;
    // The selected rows of the table, or all lines, with line feeds between: what goes to the clipboard. The
    // text ends after 100 MB, with a message: a clipboard hands a text over as a whole, and this function
    // keeps the main thread until it has read it.
    std::string selectedLinesOrEverything() const;
    // Within the same limit.
    std::string textBetween(toolkit::TextPlace start, toolkit::TextPlace end) const override;
    // Of a file alone; null for other texts.
    std::unique_ptr<toolkit::TextSearching> search(toolkit::TextQuery query,
        toolkit::TextSearching::Progress progress, toolkit::TextSearching::Found found) override;
    // A text's lines: LF, CR and CR LF end one. A text that ends with a line end has no empty last line, and
    // an empty text has one empty line. Any thread.
    static std::vector<std::string> splitStringIntoLines(std::string_view text);

    int numberOfRowsInTableView(const toolkit::Table&) override;
    // "Number" counts from 1; any other column is the line.
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;

private:
    class Indexing;
    class Searching;
    struct Link;

    void forgetContent();
    void startIndexing();
    void indexingAdvanced();
    void indexingEnded();
    void tellOfCut();
    void tellTable();
    bool appendLines(std::int64_t first, std::int64_t end, std::string& text) const;

    toolkit::Table* table_ = nullptr;
    std::optional<std::string> theFileName_;
    std::shared_ptr<KRContainerFileName> file_;
    std::vector<std::string> stringLines_;
    std::shared_ptr<IndexedTextFile> text_; // Null without a file.
    std::shared_ptr<Link> link_; // To the worker of that file.
    bool keepFileOpen_ = false;
    bool isWorking_ = false;
    bool mustLookAgain_ = false; // Asked for an update while the worker was at it.
    bool hasToldOfCut_ = false;
    platform::OperationQueue searches_;
    platform::OperationQueue queue_{1}; // Last: their ends wait for the workers.
};
