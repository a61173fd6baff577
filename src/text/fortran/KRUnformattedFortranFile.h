#pragma once

#include "platform/Result.h"
#include "text/fortran/FortranRecordFile.h"
#include "text/fortran/KRUnformattedFortranStream.h"

// The stream of an unformatted sequential file with record marks of four bytes, in either byte order. The
// file may still be written: what has been added since is found by the next call.
class KRUnformattedFortranFile : public KRUnformattedFortranStream {
public:
    // The progress may be null.
    static platform::Result<std::unique_ptr<KRUnformattedFortranFile>> open(
        const std::string& path, std::shared_ptr<KRProgressEntry> progress = nullptr);

    std::optional<std::string> readString() override;
    std::optional<double> readNumber() override;
    std::optional<std::vector<double>> readDoubleArray() override;
    std::optional<std::vector<float>> readFloatArray() override;
    std::optional<std::vector<std::int32_t>> readIntArray() override;
    std::optional<std::string> readBytes() override;

    std::shared_ptr<KRProgressEntry> progress() const override { return progress_; }
    bool atEndOfFile() override;
    bool isBigEndian() const { return records_.isBigEndian(); }

private:
    KRUnformattedFortranFile(FortranRecordFile records, std::shared_ptr<KRProgressEntry> progress)
        : records_(std::move(records)), progress_(std::move(progress))
    { }
    std::optional<std::string> nextRecord();
    std::optional<std::string> nextOrSkipped();
    template <class T>
    std::optional<std::vector<T>> numbers(const char* kind);
    void tellProgress();

    FortranRecordFile records_;
    std::shared_ptr<KRProgressEntry> progress_;
    bool isAtEnd_ = false;
};
