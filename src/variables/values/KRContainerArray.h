#pragma once

#include "storage/KRDataStorage.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/values/KRContainer.h"

// Numbers of one of the seven element types in up to three dimensions. In a file the array itself, in its own
// type. The array is shared with whoever gave it: nobody changes it any more.
class KRContainerArray : public KRContainer, public KRArrayHolder {
protected:
    struct Private { };

public:
    using Pointer = std::shared_ptr<KRContainerArray>;
    static Pointer initWithDataArray(const KRAnyArray& array); // Null, with a report, for none.
    static Pointer createEmpty(); // Of doubles.
    // Dimensions, and then the numbers in column order. Null without dimensions; empty, with a report, for a
    // size below 1 or above 500 MB.
    static Pointer createFromTextFile(std::FILE* stream, const TextFileInformation& information = {});
    static std::string descriptionFor(const std::string& name, KRDataStorage& inFile);
    static const ReadingOperation kReading;

    ElementType savingType() const { return savingType_; }
    KRAnyArray numbersArray() const override { return array_; }
    long length() const { return array_.length(); }
    std::string typeWord() const override { return "Array"; }
    std::string description() const override;
    bool isEmpty() const override { return array_.length() == 0; }
    std::uint64_t memoryUsed() const override { return static_cast<std::uint64_t>(array_.memoryUsed()); }
    bool isEqualTo(const KRSharedValue& other) const override; // Type, dimensions and bytes.
    std::string checksum() const override;
    Value returnParameter(const std::optional<std::string>& name) const override; // "Length", "M", "N", "O".
    using KRContainer::saveIntoFile;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;
    platform::Value encodeWithCoder() const override;
    static Pointer initWithCoder(const platform::Value& archive); // Null for what is no archive of an array.

    // The numbers as another type: converted for the first three. The others have to be of the type: else
    // null, with a report.
    KRDataStorage::ArrayPointer<double> doubleArray() const { return converted<double>(); }
    KRDataStorage::ArrayPointer<float> floatArray() const { return converted<float>(); }
    KRDataStorage::ArrayPointer<std::int32_t> intArray() const { return converted<std::int32_t>(); }
    KRDataStorage::ArrayPointer<std::int16_t> shortArray() const;
    KRDataStorage::ArrayPointer<signed char> characterArray() const;
    KRDataStorage::ArrayPointer<std::uint16_t> ushortArray() const;
    KRDataStorage::ArrayPointer<unsigned char> ucharArray() const;

    // "m n o" on a line, and each number on a line of its own. Ends when the user aborts. False when not all
    // was written.
    bool appendAsText(std::FILE* stream, const std::shared_ptr<KRProgressEntry>& progress = nullptr) const;
    virtual bool saveAsAsciiFile(const std::string& path) const; // A line for each row.

    // New arrays. A part beyond the array is reported and gives null.
    Pointer regionI(std::pair<long, long> i, std::pair<long, long> j) const; // Begin and length; layer 0.
    Pointer regionI(std::pair<long, long> i, std::pair<long, long> j, std::pair<long, long> k) const;
    // Each stride-th row and column, from a start.
    Pointer sparsifyStartX(long startX, long strideX, long startY, long strideY) const;
    // A symmetry of the rectangle, for each layer: bit 0 reverses the rows, bit 1 the columns, and bit 2
    // exchanges rows and columns afterwards.
    Pointer transformWithType(int type) const;
    Pointer permuteReflectJKI() const; // Element (j, o-1-k, i) is (i, j, k).
    Pointer permuteIKJ() const; // Element (i, k, j) is (i, j, k).
    Pointer sliceAtIGrid(long i) const; // n x o
    Pointer sliceAtJGrid(long j) const; // m x o
    Pointer sliceAtKGrid(long k) const; // m x n

    KRContainerArray(Private, KRAnyArray array) : array_(std::move(array)), savingType_(array_.type()) { }

protected:
    enum class TextHead { Dimensions, Length };
    // The array of a text with its dimensions, or its length alone, in front. Null without them.
    static KRAnyArray arrayFromTextFile(
        std::FILE* stream, const TextFileInformation& information, TextHead head);
    void setStored(ElementType type) { savingType_ = type; }
    template <class T>
    KRDataStorage::ArrayPointer<T> converted() const;

private:
    KRAnyArray array_;
    ElementType savingType_;
};
