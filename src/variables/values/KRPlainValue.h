#pragma once

#include "storage/KRDataStorageSharedReadWrite.h"
#include "variables/reading/ReadingOperations.h"

#include <memory>
#include <optional>
#include <string>

// The values that are no containers: numbers, texts and colours. Immutable.

class KRRealNumber final : public KRSharedValue {
public:
    explicit KRRealNumber(StorageNumber number) : number_(number) { }
    static std::shared_ptr<const KRRealNumber> create(double number)
    {
        return std::make_shared<const KRRealNumber>(StorageNumber(number));
    }
    static const ReadingOperation kReading;

    double doubleValue() const { return number_.doubleValue(); }
    const StorageNumber& number() const { return number_; }
    std::string description() const { return number_.description(); }
    std::string typeWord() const override { return "Real Number"; }
    bool isEqualTo(const KRSharedValue& other) const override;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;

private:
    StorageNumber number_;
};

class KRString final : public KRSharedValue {
public:
    explicit KRString(std::string text) : text_(std::move(text)) { }
    static const ReadingOperation kReading; // The text itself, also where it names another variable.

    const std::string& text() const { return text_; }
    std::string typeWord() const override { return "String"; }
    bool isEqualTo(const KRSharedValue& other) const override;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;

private:
    std::string text_;
};

// Red, green, blue and opacity, each from 0 to 1; in a file four doubles in this order.
class KRColor final : public KRSharedValue {
public:
    KRColor(double red, double green, double blue, double alpha = 1)
        : red_(red), green_(green), blue_(blue), alpha_(alpha)
    { }
    // Null for another count of numbers. The empty one is clear.
    static const ReadingOperation kReading;

    double red() const { return red_; }
    double green() const { return green_; }
    double blue() const { return blue_; }
    double alpha() const { return alpha_; }
    std::string typeWord() const override { return "Color"; }
    bool isEqualTo(const KRSharedValue& other) const override;
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override;

private:
    double red_;
    double green_;
    double blue_;
    double alpha_;
};
