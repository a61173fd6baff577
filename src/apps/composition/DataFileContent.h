#pragma once

#include "platform/loop/MainLoop.h"
#include "storage/bytes/DataFileStream.h"
#include "task/single/SVFileContent.h"
#include "variables/files/KRVariableFile.h"
#include "variables/graph/KRDependencyBase.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The variables of a data file of any format, as a KRVariableFile finds and follows them. While the file is
// read, the rows of the last reading stay. Main thread.
class DataFileContent final : public SVFileContent, public KRDependencyBase {
    struct Private { };

public:
    using Record = std::shared_ptr<const KRVariableRecord>;

    // Starts reading a file; null where there is none.
    static std::shared_ptr<DataFileContent> open(const std::string& path, Changed changed);

    bool isBeingRead() const override;
    bool hasBeenRead() const override { return hasBeenRead_; }
    std::size_t count() const override { return records_.size(); }
    std::string cell(std::string_view column, std::size_t row) const override;
    void update() override;
    void readForPlot(const std::string& variable, const PlottedValue::Choice& choice,
        const std::stop_token& stop, PlotRead read) const override;

    // In the order of the rows.
    const std::vector<Record>& records() const { return records_; }
    Record recordNamed(std::string_view name) const; // Null for an unknown name.
    // The file as of the last reading; null when it couldn't be opened.
    const KRDataFile::Pointer& dataFile() const { return dataFile_; }

    void supplierChanged(
        const KRDependencyBase::Pointer& supplier, KRDependencyTimeChange& forTime, Known& known) override;

    DataFileContent(Private, std::string path, Changed changed)
        : path_(std::move(path)), changed_(std::move(changed)), file_(KRVariableFile::create())
    { }

private:
    // What tells of a change without opening the file.
    struct Look {
        std::uint64_t size = 0;
        double modified = 0;
        bool isFolder = false; // A stack of files.
        bool operator==(const Look&) const = default;
    };
    std::optional<Look> look() const; // Nothing without a file.
    void openAnew();
    bool mustBeOpenedAnew(const Look& now) const;

    const std::string path_;
    const Changed changed_;
    const KRVariableFile::Pointer file_;
    KRDataFile::Pointer dataFile_;
    std::optional<DataFileStream::Identity> identity_; // Of the file when it was opened.
    bool hasBeenRead_ = false;
    std::vector<Record> records_;
    mutable std::vector<std::optional<std::string>> information_; // By row, once it was asked for.
    std::optional<Look> lastLook_;
    // The number that was read last for a plot: its next reading goes on from there. One for each opening of
    // the file; readings that are late keep the old one.
    struct NumberRead {
        std::string variable;
        std::size_t member = 0;
        std::optional<toolkit::PlotCurve> curve;
    };
    std::shared_ptr<NumberRead> numberRead_;
    std::unique_ptr<platform::Timer> laterUpdate_;
};
