#pragma once

#include "platform/plist/Value.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class KRContainer;
class KRVariableStructure;

// What can be known about the variables of a data file: types, ranges, times. This class reports that it
// isn't provided; a reader of a kind of file provides it. Any thread.
class KRDataFile_StorageBasis {
public:
    using Numbers = std::vector<double>;

    virtual ~KRDataFile_StorageBasis() = default;

    static void setup(); // Makes the source of unique numbers; at start.
    static std::int64_t newUniqueNumber();

    virtual std::shared_ptr<const KRVariableStructure> structureFor(const std::string& name);
    virtual std::vector<std::string> variableNames();
    virtual std::vector<std::string> variablesWithType(const std::string& type);
    virtual Numbers valueRangeFor(const std::string& name); // Smallest and largest; nothing: empty.
    virtual Numbers boundingRangeFor(const std::string& name);
    virtual Numbers boundingBoxFor2DFor(const std::string& name);
    virtual Numbers boundingBoxFor3DFor(const std::string& name);
    virtual Numbers timeValuesForVariable(const std::string& name);
    virtual std::shared_ptr<const KRContainer> readVariable(const std::string& name, int number);
    virtual Numbers readValueRangeFor(const std::string&, int) { return {}; }
    virtual Numbers readBoundingBox2DFor(const std::string&, int) { return {}; }
    virtual Numbers readBoundingBox3DFor(const std::string&, int) { return {}; }
    virtual platform::Value serialNumberForVariable(const std::string&) { return {}; }
};
