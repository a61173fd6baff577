#include "variables/values/KRContainerFileNameValue.h"

#include "variables/values/KRPlainValue.h"

const ReadingOperation KRContainerFileNameValue::kReading{.type = "FileName",
    .read = [](KRDataStorage& storage, const std::string& name) -> Value {
        // A path is a text that names no variable: where redirections end.
        const auto path =
            storage.isAString(name) ? storage.resolveNameAllowingRedirection(name) : std::nullopt;
        return path ? create(KRContainerFileName::createWithName(*path)) : nullptr;
    },
    .createEmpty = [] { return Value(createEmpty()); }};

std::shared_ptr<KRContainerFileNameValue> KRContainerFileNameValue::createEmpty()
{
    return create(KRContainerFileName::createEmpty());
}

std::shared_ptr<KRContainerFileNameValue> KRContainerFileNameValue::create(Name name)
{
    return name ? std::make_shared<KRContainerFileNameValue>(std::move(name)) : nullptr;
}

bool KRContainerFileNameValue::isEqualTo(const KRSharedValue& other) const
{
    const auto* value = dynamic_cast<const KRContainerFileNameValue*>(&other);
    return value && value->name_->fileName() == name_->fileName();
}

KRContainer::Value KRContainerFileNameValue::returnParameter(const std::optional<std::string>& name) const
{
    const auto answer = name ? name_->returnParameter(*name) : std::nullopt;
    return answer ? KRRealNumber::create(*answer) : KRContainer::returnParameter(name);
}

bool KRContainerFileNameValue::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return KRContainer::saveIntoFile(file, withName) && file.writeString(name_->fileName(), withName);
}
