#include "task/single/SVTaskApplication.h"

namespace {
SVTaskApplication* theApplication = nullptr;
}

SVTaskApplication::SVTaskApplication()
{
    theApplication = this;
}

SVTaskApplication::~SVTaskApplication()
{
    if (theApplication == this)
        theApplication = nullptr;
}

SVTaskApplication* SVTaskApplication::app()
{
    return theApplication;
}
