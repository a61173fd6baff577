#include "task/single/KRTrelkindMachine.h"

std::map<std::string, KRTrelkindMachine::Maker>& KRTrelkindMachine::kinds()
{
    static std::map<std::string, Maker> kinds;
    return kinds;
}
