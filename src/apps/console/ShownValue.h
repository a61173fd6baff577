#pragma once

#include "apps/composition/DataFileContent.h"
#include "storage/values/KRAnyArray.h"
#include "storage/values/StorageNumber.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// One value of a variable, as the verb "value" shows it.
struct ShownValue {
    // What a value holds, by its kind.
    struct Nothing { };
    struct Matrix { // As it is stored: also of a point, range, region, shift or transform.
        KRAnyArray array;
    };
    using Column = std::variant<KRAnyArray, std::vector<std::string>>;
    struct Table {
        std::vector<std::pair<std::string, Column>> columns;
    };
    struct Entry {
        std::string name;
        std::string type;
        std::string description;
    };
    struct Group {
        std::vector<Entry> entries;
    };
    struct Series {
        KRAnyArray times;
    };
    using Content = std::variant<Nothing, StorageNumber, std::string, Matrix, Column, Table, Group, Series>;

    std::string name;
    std::string type;
    std::optional<double> time{}; // Nothing without a value, and of a series as a whole.
    std::int64_t step = 0; // That of the time, of `count`.
    std::int64_t count = 0;
    std::string description{};
    Content content{};

    // Which of the values of a variable. By default the last one; of a series, all of it.
    struct Choice {
        std::optional<double> time; // The value that has begun at the time.
        std::optional<std::int64_t> step; // From 0.
    };
    // Reads a value. A value that isn't there or can't be read has no content, and its description says so.
    static ShownValue read(KRDataFile& file, const KRVariableRecord& record, const Choice& choice);
};
