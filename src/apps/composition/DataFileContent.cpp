#include "apps/composition/DataFileContent.h"

#include "apps/composition/PlotReading.h"
#include "diagnostics/KRComputationalThread.h"
#include "platform/files/FileManager.h"
#include "storage/bytes/DataFileStream.h"
#include "variables/structures/IgnoringCase.h"

#include <algorithm>
#include <tuple>

namespace {

constexpr double kSecondsUntilLaterUpdate = 0.5;

// Whether a file of this kind takes in what is appended to it; others are read anew.
bool takesUpdates(const KRDataFile& file)
{
    const auto type = file.dataFileType();
    return type == "SVBinary" || type == "MatBinary" || type == "DataFileStack";
}

} // namespace

std::shared_ptr<DataFileContent> DataFileContent::open(const std::string& path, Changed changed)
{
    // Opening must not make a file.
    if (!platform::files::exists(path))
        return nullptr;
    auto content = std::make_shared<DataFileContent>(Private(), path, std::move(changed));
    std::ignore = content->addSupplier(content->file_);
    content->lastLook_ = content->look();
    content->openAnew();
    return content;
}

void DataFileContent::openAnew()
{
    numberRead_ = std::make_shared<NumberRead>();
    const auto stream = DataFileStream::open(path_, DataFileStream::Access::Read);
    identity_ = stream ? std::optional(stream->identity()) : std::nullopt;
    file_->openFile(path_);
}

std::optional<DataFileContent::Look> DataFileContent::look() const
{
    const auto found = platform::files::attributes(path_);
    return found ? std::optional(Look{found->size, found->modified, found->isDirectory}) : std::nullopt;
}

bool DataFileContent::isBeingRead() const
{
    return file_->currentlyOpening() || file_->currentlyUpdating();
}

bool DataFileContent::mustBeOpenedAnew(const Look& now) const
{
    if (!dataFile_ || !takesUpdates(*dataFile_))
        return true;
    return !now.isFolder
        && (now.size < dataFile_->fileSizeInBytes()
            || (identity_ && !DataFileStream::isNamed(path_, *identity_)));
}

void DataFileContent::update()
{
    if (isBeingRead()) {
        laterUpdate_ = platform::Timer::schedule(
            kSecondsUntilLaterUpdate, platform::Timer::Repeats::No, [this] { update(); });
        return;
    }
    // Looked at before the reading, so that what is written meanwhile counts as a change the next time.
    const auto now = look();
    if (!now || (now == lastLook_ && !now->isFolder)) // A folder doesn't show that its files have grown.
        return;
    lastLook_ = now;
    if (mustBeOpenedAnew(*now))
        openAnew();
    else
        file_->updateFile();
}

void DataFileContent::supplierChanged(
    const KRDependencyBase::Pointer& supplier, KRDependencyTimeChange& forTime, Known& known)
{
    KRDependencyBase::supplierChanged(supplier, forTime, known);
    hasBeenRead_ = true;
    records_.clear();
    dataFile_ = file_->dataFile();
    for (const std::string& name : file_->variables().value_or(std::vector<std::string>()))
        if (Record record = file_->informationFor(name))
            records_.push_back(std::move(record));
    std::sort(records_.begin(), records_.end(),
        [](const Record& a, const Record& b) { return variables::lessIgnoringCase(a->name(), b->name()); });
    information_.assign(records_.size(), std::nullopt);
    if (dataFile_) { // It opens again by itself.
        dataFile_->lockFileAccess();
        dataFile_->closeFile();
        dataFile_->unlockFileAccess();
    }
    if (changed_)
        changed_();
}

DataFileContent::Record DataFileContent::recordNamed(std::string_view name) const
{
    const auto place = std::lower_bound(
        records_.begin(), records_.end(), name, [](const Record& record, std::string_view sought) {
            return variables::lessIgnoringCase(record->name(), sought);
        });
    return place != records_.end() && (*place)->name() == name ? *place : nullptr;
}

std::string DataFileContent::cell(std::string_view column, std::size_t row) const
{
    if (row >= records_.size())
        return {};
    const KRVariableRecord& record = *records_[row];
    if (column == "Type")
        return record.type();
    if (column != "Information")
        return record.name();
    auto& text = information_[row];
    if (!text)
        text = KRVariableInformation::informationText(record, *dataFile_);
    return *text;
}

void DataFileContent::readForPlot(const std::string& variable, const PlottedValue::Choice& choice,
    const std::stop_token& stop, PlotRead read) const
{
    PlotRequest request{choice, std::nullopt, stop};
    if (numberRead_->variable == variable && numberRead_->member == choice.member)
        request.earlier = numberRead_->curve;
    KRComputationalThread::shared().startForObject(KRCT_Storage::create(
        [record = recordNamed(variable), file = dataFile_, request] {
            return std::make_shared<PlottedValue>(readPlottedValue(file, record, request));
        },
        // Null after an exception.
        [read = std::move(read), variable, kept = numberRead_](const std::shared_ptr<void>& value) {
            const auto result = std::static_pointer_cast<PlottedValue>(value);
            if (result && !result->times && result->content.curves.size() == 1)
                *kept = {variable, result->member, result->content.curves.front()};
            read(result ? *result : PlottedValue());
        },
        [] { return std::shared_ptr<KRMessageCenter>(); }));
}
