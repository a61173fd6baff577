#pragma once

#include "storage/memory/KRDataInMemory.h"
#include "storage/storage_testing.h"
#include "variables/graph/KRDependencyBase.h"
#include "variables/structures/KRVariableStructure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace variablestest {

using storagetest::doubles;
using storagetest::messagesOf;
using storagetest::Names;
using storagetest::numbersOf;
using storagetest::ScratchFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Change = KRDependencyTimeChange;
using Structure = KRVariableStructure::Pointer;

// Writes entries by a notation: "name = value; name = value". A value is a number, an array of doubles such
// as
// "[1 2]", or else a text.
inline void write(KRDataStorage& storage, const std::string& entries)
{
    std::istringstream stream(entries);
    for (std::string entry; std::getline(stream >> std::ws, entry, ';');) {
        const std::size_t sign = entry.find(" =");
        const std::string name = entry.substr(0, sign);
        const std::string value = entry.substr(std::min(sign + 3, entry.size()));
        char* end = nullptr;
        const double number = std::strtod(value.c_str(), &end);
        if (value.starts_with('[')) {
            std::vector<double> numbers;
            const char* next = value.c_str() + 1;
            for (char* behind = nullptr; std::strtod(next, &behind), behind != next; next = behind)
                numbers.push_back(std::strtod(next, nullptr));
            EXPECT_TRUE(storage.writeDoubleArray(doubles(numbers), name));
        } else if (!value.empty() && *end == '\0') {
            EXPECT_TRUE(storage.writeNumber(StorageNumber(number), name));
        } else {
            EXPECT_TRUE(storage.writeString(value, name));
        }
    }
}

inline std::shared_ptr<KRDataInMemory> memoryOf(const std::string& entries)
{
    auto storage = std::make_shared<KRDataInMemory>();
    write(*storage, entries);
    return storage;
}

inline std::string shown(const Structure& structure)
{
    return structure ? structure->description() : "null";
}

// Saves with each of the writes refused in turn: the saving must tell of every one.
inline void expectRefusalsToBeTold(const std::function<bool(KRDataStorage&)>& save)
{
    struct Refusing : KRDataInMemory {
        bool writeString(const std::string& text, const std::string& withName) override
        {
            return left-- != 0 && KRDataInMemory::writeString(text, withName);
        }
        bool writeTypedArray(const KRAnyArray& array, const std::string& withName) override
        {
            return left-- != 0 && KRDataInMemory::writeTypedArray(array, withName);
        }
        int left = 0;
    };
    for (int refused = 0;; ++refused) {
        Refusing storage;
        storage.left = refused;
        const bool isSaved = save(storage);
        EXPECT_EQ(isSaved, storage.left >= 0) << "write " << refused;
        if (storage.left >= 0)
            return;
    }
}

// An object of a graph that remembers what it was asked and told.
class Node : public KRDependencyBase {
public:
    bool allowChangeKnownResponses(Known& known) override
    {
        ++asked;
        return allows && KRDependencyBase::allowChangeKnownResponses(known);
    }
    bool allowComputationKnownResponses(Known& known) override
    {
        return allows && KRDependencyBase::allowComputationKnownResponses(known);
    }
    void supplierChanged(const Pointer& supplier, Change& forTime, Known& alreadySentFor) override
    {
        heardFrom.push_back(supplier.get());
        change = forTime.description();
        KRDependencyBase::supplierChanged(supplier, forTime, alreadySentFor);
    }
    Times timeValues() override
    {
        ++asked;
        return own ? own : KRDependencyBase::timeValues();
    }
    double maximumTimeValue() override { return latest < 0 ? KRDependencyBase::maximumTimeValue() : latest; }
    bool localValidity() override
    {
        ++validityAsked;
        return valid;
    }
    bool willChangeFrom(double a, double to, Known& knownToBeNo) override
    {
        return changes || KRDependencyBase::willChangeFrom(a, to, knownToBeNo);
    }

    bool allows = true;
    bool valid = true;
    bool changes = false;
    double latest = -1;
    Times own;
    int asked = 0;
    int validityAsked = 0;
    std::vector<const KRDependencyBase*> heardFrom;
    std::string change;
};

} // namespace variablestest
