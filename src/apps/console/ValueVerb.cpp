#include "apps/console/DataPlace.h"
#include "apps/console/ShownValue.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/Terminal.h"
#include "apps/console/ValueForms.h"
#include "apps/console/Verbs.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

bool write(const ShownValue& value, const ValueOptions& options)
{
    if (options.json)
        return writeJson(jsonOf(value));
    if (!options.csv)
        return terminal::write(textOf(value, terminal::Output::standard().size()));
    if (std::holds_alternative<ShownValue::Nothing>(value.content))
        complain(fmt::format("{}: {}.", value.name, value.description));
    return writeAsCsv(value);
}

} // namespace

int valueVerb(const ValueOptions& options)
{
    auto words = options.places;
    const std::string name = words.back();
    words.pop_back();
    const auto place = DataPlace::find(words);
    if (!place)
        return kWrongUse;
    const auto content = place->read();
    if (!content)
        return kNotDone;
    const auto record = content->recordNamed(name);
    if (!record) {
        complain(content->count() == 0 ? place->sentenceAboutNothing()
                                       : fmt::format("{} has no variable \"{}\".", place->name(), name));
        return kNotDone;
    }
    const auto value = ShownValue::read(*content->dataFile(), *record, {options.time, options.step});
    return write(value, options) ? kDone : kNotDone;
}
