#include "text/files/KRBigTextFile.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "temporary/KRContainerFileName.h"
#include "text/RtfText.h"
#include "text/files/IndexedTextFile.h"
#include "text/files/LineText.h"
#include "text/files/TextSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

namespace {

constexpr int kBlocksAtOnce = 16; // 4 MiB: a few milliseconds of the main thread.
constexpr int kBlocksBetweenNotices = 256;
constexpr std::uint64_t kLargestDocument = std::uint64_t{256} << 20; // Bytes.
constexpr std::size_t kLargestSelection = 100'000'001; // Bytes, with the last line feed.

// Lines that each end with a line feed, as the text that goes to a clipboard.
std::string fittingText(std::string lines, bool hasRoom)
{
    if (!hasRoom) {
        KRMessageCenter::addMessage("The text is larger than 100 MB. The rest of it is left out.");
        lines.resize(kLargestSelection - 1);
        lines.resize(lines.size() - tornAtEnd(lines));
    } else if (!lines.empty()) {
        lines.pop_back();
    }
    return lines;
}

} // namespace

// What the worker's notices go through; cut when the file is no longer shown.
struct KRBigTextFile::Link {
    explicit Link(KRBigTextFile* of) : owner(of) { }

    KRBigTextFile* owner; // Main thread. Null once it has gone or shows something else.
    std::atomic<bool> isNoticed = false; // A notice is on its way.
};

class KRBigTextFile::Indexing : public platform::Operation {
public:
    Indexing(std::shared_ptr<IndexedTextFile> text, std::shared_ptr<Link> link)
        : text_(std::move(text)), link_(std::move(link)), loop_(platform::MainLoop::main())
    { }

    void main() override
    {
        postWhenEnded([link = link_] {
            if (link->owner)
                link->owner->indexingEnded();
        });
        const auto goOn = [this] { return !isCancelled(); };
        while (text_->readNew(kBlocksBetweenNotices, goOn) == GrowingFile::Read::Some)
            if (!link_->isNoticed.exchange(true))
                loop_.post([link = link_] {
                    link->isNoticed = false;
                    if (link->owner)
                        link->owner->indexingAdvanced();
                });
    }

private:
    std::shared_ptr<IndexedTextFile> text_;
    std::shared_ptr<Link> link_;
    platform::MainLoop& loop_;
};

class KRBigTextFile::Searching : public platform::Operation {
public:
    // The user's hold on the search. Main thread.
    class Hold : public toolkit::TextSearching {
    public:
        explicit Hold(std::shared_ptr<Searching> search) : search_(std::move(search)) { }
        ~Hold() override
        {
            search_->cancel();
            search_->isDropped_ = true;
        }

    private:
        std::shared_ptr<Searching> search_;
    };

    Searching(std::shared_ptr<IndexedTextFile> text, std::shared_ptr<Link> link, toolkit::TextQuery query,
        toolkit::TextSearching::Progress progress, toolkit::TextSearching::Found found)
        : text_(std::move(text)), link_(std::move(link)), query_(std::move(query)),
          progress_(std::move(progress)), found_(std::move(found)), loop_(platform::MainLoop::main())
    { }
    // The operation itself, for its posted work.
    std::weak_ptr<Searching> self;

    void main() override
    {
        const auto held = self.lock();
        const auto result = TextSearch(*text_, query_).run([this, &held](double fraction) {
            if (!isProgressPosted_.exchange(true))
                loop_.post([held, fraction] { held->tellProgress(fraction); });
            return !isCancelled();
        });
        postWhenEnded([held, result] {
            if (!held->link_->owner)
                return; // Another text is shown.
            held->link_->owner->indexingAdvanced(); // The search may have read on.
            if (!held->isDropped_)
                held->found_(result);
        });
    }

private:
    void tellProgress(double fraction)
    {
        isProgressPosted_ = false;
        if (!isDropped_ && link_->owner && progress_)
            progress_(fraction);
    }

    std::shared_ptr<IndexedTextFile> text_;
    std::shared_ptr<Link> link_;
    const toolkit::TextQuery query_;
    const toolkit::TextSearching::Progress progress_;
    const toolkit::TextSearching::Found found_;
    platform::MainLoop& loop_;
    std::atomic<bool> isProgressPosted_ = false;
    bool isDropped_ = false; // Main thread.
};

KRBigTextFile::KRBigTextFile() = default;

KRBigTextFile::~KRBigTextFile()
{
    setTable(nullptr);
    forgetContent();
}

void KRBigTextFile::setFileName(const std::optional<std::string>& name)
{
    if (name && name->empty())
        return;
    if (name && name == theFileName_) {
        updateFileContent();
        return;
    }
    forgetContent();
    theFileName_ = name;
    if (!name) {
        tellTable();
        return;
    }
    text_ = std::make_shared<IndexedTextFile>(*name);
    link_ = std::make_shared<Link>(this);
    updateFileContent();
}

void KRBigTextFile::setFile(std::shared_ptr<KRContainerFileName> file)
{
    setFileName(file ? std::optional(file->fileName()) : std::nullopt);
    file_ = std::move(file);
}

void KRBigTextFile::updateFileContent()
{
    if (isWorking_) {
        mustLookAgain_ = true;
        return;
    }
    if (text_) {
        const auto read = text_->readNew(kBlocksAtOnce, [] { return true; });
        tellOfCut();
        if (read == GrowingFile::Read::Some)
            startIndexing();
    }
    tellTable();
}

void KRBigTextFile::startIndexing()
{
    isWorking_ = true;
    mustLookAgain_ = false;
    queue_.addOperation(std::make_shared<Indexing>(text_, link_));
}

void KRBigTextFile::indexingAdvanced()
{
    tellOfCut();
    if (table_ && table_->dataSource() == this)
        table_->noteNumberOfRowsChanged();
}

void KRBigTextFile::indexingEnded()
{
    isWorking_ = false;
    tellOfCut();
    tellTable();
    if (mustLookAgain_)
        startIndexing();
    else if (!table_ && !keepFileOpen_)
        text_->closeFiles();
}

void KRBigTextFile::tellOfCut()
{
    if (hasToldOfCut_ || text_->timesStartedAnew() == 0)
        return;
    hasToldOfCut_ = true;
    KRMessageCenter::addMessage(fmt::format(
        "The file \"{}\" was cut or replaced while it was shown. Its lines are read again.", *theFileName_));
}

void KRBigTextFile::fromRTFFile(const std::string& name)
{
    clearFile();
    const auto document = platform::files::readFile(name, kLargestDocument);
    const auto text = document ? RtfText::read(*document) : platform::Result<RtfText>(document.error());
    if (text)
        stringLines_ = splitStringIntoLines(text->text.plain());
    else
        KRMessageCenter::addMessage(fmt::format("Could not read \"{}\".", name), text.error().text);
    tellTable();
}

void KRBigTextFile::clearFile()
{
    setFileName(std::nullopt);
}

void KRBigTextFile::forgetContent()
{
    queue_.cancelAllOperations();
    searches_.cancelAllOperations();
    if (link_)
        link_->owner = nullptr;
    link_.reset();
    text_.reset();
    file_.reset();
    stringLines_.clear();
    isWorking_ = mustLookAgain_ = hasToldOfCut_ = false;
}

void KRBigTextFile::setTable(toolkit::Table* table)
{
    toolkit::moveSource(*this, table_, table);
    if (!table && text_ && !keepFileOpen_)
        text_->closeFiles();
}

void KRBigTextFile::tellTable()
{
    if (!table_ || table_->dataSource() != this)
        return;
    table_->reloadData();
}

std::int64_t KRBigTextFile::howManyLines() const
{
    return text_ ? text_->howManyLines() : static_cast<std::int64_t>(stringLines_.size());
}

std::string KRBigTextFile::lineNumber(std::int64_t number) const
{
    if (text_)
        return text_->line(number);
    const bool isInside = number >= 0 && number < howManyLines();
    return isInside ? stringLines_[static_cast<std::size_t>(number)] : std::string();
}

// Appends lines with a line feed behind each, and answers whether there is room for more.
bool KRBigTextFile::appendLines(std::int64_t first, std::int64_t end, std::string& text) const
{
    while (first < end && text.size() <= kLargestSelection) {
        if (text_) {
            first = text_->appendLines(first, end, text);
        } else {
            text += lineNumber(first++);
            text += '\n';
        }
    }
    return text.size() <= kLargestSelection;
}

std::string KRBigTextFile::selectedLinesOrEverything() const
{
    std::string text;
    bool hasRoom = true;
    if (table_ && !table_->selectedRows().empty()) {
        const auto& rows = table_->selectedRows();
        for (auto row = rows.begin(); row != rows.end() && hasRoom;) {
            const std::int64_t first = *row;
            std::int64_t end = first;
            for (; row != rows.end() && *row == end; ++row)
                ++end;
            hasRoom = appendLines(first, std::min(end, howManyLines()), text);
        }
    } else {
        hasRoom = appendLines(0, howManyLines(), text);
    }
    return fittingText(std::move(text), hasRoom);
}

std::string KRBigTextFile::textBetween(toolkit::TextPlace start, toolkit::TextPlace end) const
{
    start = std::max(start, toolkit::TextPlace{});
    const std::int64_t last = std::min(end.line, howManyLines() - 1);
    if (start.line > last || end < start)
        return {};
    std::string text;
    const bool hasRoom = appendLines(start.line, last + 1, text);
    text = fittingText(std::move(text), hasRoom);
    if (hasRoom && last == end.line) {
        const std::size_t lastLine = text.rfind('\n') + 1; // 0 without one.
        text.resize(std::min(text.size(), lastLine + static_cast<std::size_t>(end.byte)));
    }
    const std::size_t firstEnd = std::min(text.find('\n'), text.size());
    return text.substr(std::min(static_cast<std::size_t>(start.byte), firstEnd));
}

std::unique_ptr<toolkit::TextSearching> KRBigTextFile::search(
    toolkit::TextQuery query, toolkit::TextSearching::Progress progress, toolkit::TextSearching::Found found)
{
    if (!text_)
        return nullptr;
    auto search =
        std::make_shared<Searching>(text_, link_, std::move(query), std::move(progress), std::move(found));
    search->self = search;
    searches_.addOperation(search);
    return std::make_unique<Searching::Hold>(std::move(search));
}

std::vector<std::string> KRBigTextFile::splitStringIntoLines(std::string_view text)
{
    std::vector<std::string> lines;
    if (text.empty())
        lines.emplace_back();
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\r\n");
        lines.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
    }
    return lines;
}

int KRBigTextFile::numberOfRowsInTableView(const toolkit::Table&)
{
    return static_cast<int>(std::min<std::int64_t>(howManyLines(), std::numeric_limits<int>::max()));
}

toolkit::CellValue KRBigTextFile::objectValueForTableColumn(
    const toolkit::Table&, std::string_view column, int row)
{
    if (column == "Number")
        return fmt::format("{}", row + std::int64_t{1});
    return lineNumber(row);
}
