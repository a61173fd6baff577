#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class KRProgressEntry;

// A sequence of records that a computational program has written without random access: what a group is built
// from. Each function that reads takes one record. The stream belongs to one thread at a time.
//
// A function that finds no record, or one of another form, answers null. After it met the end, or a record
// that isn't there as a whole yet, atEndOfFile() is true and nothing is reported; else error() is true and
// the message center has the reason. After an error nothing more is read.
class KRUnformattedFortranStream {
public:
    virtual ~KRUnformattedFortranStream() = default;

    // The text of a record, without the blanks that pad it. Bytes that aren't UTF-8 are taken as the western
    // Mac character set.
    virtual std::optional<std::string> readString() = 0;
    // A record with one real number, of double (8 bytes) or single precision (4 bytes).
    virtual std::optional<double> readNumber() = 0;
    // A record of double precision numbers, of any count. Empty for a record that is skipped.
    virtual std::optional<std::vector<double>> readDoubleArray() = 0;
    // The same for single precision numbers and for 32-bit integers.
    virtual std::optional<std::vector<float>> readFloatArray() = 0;
    virtual std::optional<std::vector<std::int32_t>> readIntArray() = 0;
    // A record as it is; its numbers are in the byte order of the program.
    virtual std::optional<std::string> readBytes() = 0;

    // Told how much of the stream has been read, and asked whether the user has had enough. May be null.
    virtual std::shared_ptr<KRProgressEntry> progress() const = 0;
    virtual bool atEndOfFile() = 0;

    // While this is set, arrays and bytes are passed over and come back empty. Strings and numbers are read,
    // since they tell what comes next.
    bool shouldSkipData() const { return shouldSkipData_; }
    void setShouldSkipData(bool should) { shouldSkipData_ = should; }

    bool error() const { return error_; }
    // Reports to the message center, and ends the reading.
    void errorMessage(const std::string& text);
    void errorMessage(const std::string& text, const std::string& longDescription);

protected:
    KRUnformattedFortranStream() = default;
    KRUnformattedFortranStream(const KRUnformattedFortranStream&) = delete;
    KRUnformattedFortranStream& operator=(const KRUnformattedFortranStream&) = delete;

private:
    bool shouldSkipData_ = false;
    bool error_ = false;
};
