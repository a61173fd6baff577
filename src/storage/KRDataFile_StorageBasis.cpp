#include "storage/KRDataFile_StorageBasis.h"

#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRSerialNumber.h"

namespace {

// One of the names lacks its colon: users search the log for these words.
void reportNotOverwritten(const std::string& function)
{
    KRMessageCenter::addMessage(function + " not overwritten for a DataFile_StorageBasis");
}

} // namespace

void KRDataFile_StorageBasis::setup()
{
    KRSerialNumber::configure();
}

std::int64_t KRDataFile_StorageBasis::newUniqueNumber()
{
    return KRSerialNumber::createNew();
}

std::shared_ptr<const KRVariableStructure> KRDataFile_StorageBasis::structureFor(const std::string&)
{
    reportNotOverwritten("structureFor:");
    return nullptr;
}

std::vector<std::string> KRDataFile_StorageBasis::variableNames()
{
    reportNotOverwritten("variableNames");
    return {};
}

std::vector<std::string> KRDataFile_StorageBasis::variablesWithType(const std::string&)
{
    reportNotOverwritten("variablesWithType:");
    return {};
}

KRDataFile_StorageBasis::Numbers KRDataFile_StorageBasis::valueRangeFor(const std::string&)
{
    reportNotOverwritten("valueRangeFor");
    return {};
}

KRDataFile_StorageBasis::Numbers KRDataFile_StorageBasis::boundingRangeFor(const std::string&)
{
    reportNotOverwritten("boundingRangeFor:");
    return {};
}

KRDataFile_StorageBasis::Numbers KRDataFile_StorageBasis::boundingBoxFor2DFor(const std::string&)
{
    reportNotOverwritten("boundingBoxFor2DFor:");
    return {};
}

KRDataFile_StorageBasis::Numbers KRDataFile_StorageBasis::boundingBoxFor3DFor(const std::string&)
{
    reportNotOverwritten("boundingBoxFor3DFor:");
    return {};
}

KRDataFile_StorageBasis::Numbers KRDataFile_StorageBasis::timeValuesForVariable(const std::string&)
{
    reportNotOverwritten("timeValuesForVariable:");
    return {};
}

std::shared_ptr<const KRContainer> KRDataFile_StorageBasis::readVariable(const std::string&, int)
{
    reportNotOverwritten("readVariable:number:");
    return nullptr;
}
