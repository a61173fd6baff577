#pragma once

#include "arrays/geometry/KRBounds.h"
#include "platform/plist/Value.h"
#include "storage/KRDataStorageSharedReadWrite.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class KRProgressEntry;

// What a reader of a text file is told beside the stream.
struct TextFileInformation {
    std::shared_ptr<KRProgressEntry> progress{};
};

// A value of a typed variable, as it was read from a data file: it describes itself in words, answers named
// parameters, and saves itself into a storage. Values are shared as pointers to constant objects; whoever
// makes one may change it before it is shared. Failures are reported to KRMessageCenter and give null, an
// empty answer or false. Any thread may ask a value that nobody changes.
//
// Functions that a kind of value doesn't have are reported by a message without text.
class KRContainer : public KRSharedValue, public std::enable_shared_from_this<KRContainer> {
public:
    using Value = KRDataStorageSharedReadWrite::Value;
    using Parameters = std::vector<std::pair<std::string, Value>>; // By name, in the order of attaching.

    KRContainer() = default;
    KRContainer(const KRContainer&) = delete;
    KRContainer& operator=(const KRContainer&) = delete;

    // The class name behind "KRContainer", which is the type name.
    std::string typeWord() const override { return {}; }
    virtual std::string description() const { return {}; }
    std::string variableDescription() const { return description(); }
    virtual bool isEmpty() const;
    virtual std::uint64_t memoryUsed() const; // In bytes.
    bool isEqualTo(const KRSharedValue& other) const override; // Unless told otherwise: the same object.

    // What the value can offer under a name.
    virtual Value returnParameter(const std::optional<std::string>& name) const;
    void setExtraParameters(Parameters parameters) { extraParameters_ = std::move(parameters); }
    const Parameters& extraParameters() const { return extraParameters_; }
    void setPossibleParameters(Parameters parameters) { possibleParameters_ = std::move(parameters); }
    Parameters possibleParameters() const { return possibleParameters_; }
    // Given at the first call; no other value of the process has it.
    std::int64_t serialNumber() const;

    // What bounds the value, where its kind can tell; else invalid.
    virtual KRBoundingRange valueRange() const { return KRBoundingRangeCreateInvalid(); }
    virtual KRBoundingBox2D boundingBox2D() const { return KRBoundingBox2DCreateInvalid(); }

    // The part of a value that several values share.
    virtual std::uint64_t sharedSize() const;
    virtual const KRContainer* sharedPortion() const;
    virtual const KRContainer* overwriteSharedPortion(const Value& portion);

    // Writes the extra parameters; a kind of value then writes itself. False when something can't be written.
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    // The same for a value of many parts, which may share equal ones; null makes a new record of them.
    virtual bool saveIntoFile(
        KRDataStorage& file, const std::string& withName, KRDataStorageSharedReadWrite* info) const;
    // Replaces the extra parameters by those that are stored for a name.
    void readFromFile(KRDataStorage& file, const std::string& withName);

    virtual std::string checksum() const { return {}; }
    virtual platform::Value convertToRawFormat() const;
    // The archive: a dictionary with the serial number under "SN", and the keys of the kind.
    virtual platform::Value encodeWithCoder() const;
    bool initWithCoder(const platform::Value& archive);
    platform::Value encodeSerialNumber() const;
    bool initWithSerialNumberCoder(const platform::Value& archive); // False, unchanged, without one.

private:
    Parameters possibleParameters_;
    Parameters extraParameters_;
    mutable std::atomic<std::int64_t> serialNumber_ = 0; // 0 until it is asked for.
};
