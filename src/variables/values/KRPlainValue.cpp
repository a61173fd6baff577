#include "variables/values/KRPlainValue.h"

#include "variables/values/StoredNumbers.h"

using Value = ReadingOperation::Value;

const ReadingOperation KRRealNumber::kReading{.type = "Real Number",
    .read = [](KRDataStorage& storage, const std::string& name) -> Value {
        const auto end = storage.resolveNameAllowingRedirection(name);
        const auto number = end ? storage.readNumber(*end) : std::nullopt;
        return number ? std::make_shared<const KRRealNumber>(*number) : nullptr;
    },
    .createEmpty = [] { return Value(create(0)); }};

bool KRRealNumber::isEqualTo(const KRSharedValue& other) const
{
    const auto* number = dynamic_cast<const KRRealNumber*>(&other);
    return number && number->number_ == number_;
}

bool KRRealNumber::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return file.writeNumber(number_, withName);
}

const ReadingOperation KRString::kReading{.type = "String",
    .read = [](KRDataStorage& storage, const std::string& name) -> Value {
        auto text = storage.readRawString(name);
        return text ? std::make_shared<const KRString>(std::move(*text)) : nullptr;
    },
    .createEmpty = [] { return Value(std::make_shared<const KRString>("")); }};

bool KRString::isEqualTo(const KRSharedValue& other) const
{
    const auto* text = dynamic_cast<const KRString*>(&other);
    return text && text->text_ == text_;
}

bool KRString::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return file.writeString(text_, withName);
}

const ReadingOperation KRColor::kReading{.type = "Color",
    .read = [](KRDataStorage& storage, const std::string& name) -> Value {
        const auto stored = variables::storedNumbers<double>(storage, name);
        if (!stored || stored.length() != 4)
            return nullptr;
        return std::make_shared<const KRColor>(stored[0], stored[1], stored[2], stored[3]);
    },
    .createEmpty = [] { return Value(std::make_shared<const KRColor>(0, 0, 0, 0)); }};

bool KRColor::isEqualTo(const KRSharedValue& other) const
{
    const auto* color = dynamic_cast<const KRColor*>(&other);
    return color && color->red_ == red_ && color->green_ == green_ && color->blue_ == blue_
        && color->alpha_ == alpha_;
}

bool KRColor::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return file.writeArray(variables::arrayOf<double>({red_, green_, blue_, alpha_}), withName);
}
