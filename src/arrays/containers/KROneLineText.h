#pragma once

#include "arrays/containers/KRArrayContainer.h"

#include <cstdio>
#include <memory>

// One line of up to maxLength numbers, in the forms that simulation programs print: 1.5D3 for 1.5E3, names of
// infinity and NaN in any case, commas between numbers, 3*1.5 for three times 1.5. What follows something
// else is left out. The stream stands behind the line then. Null at the end of the stream; an empty line is
// empty.
std::shared_ptr<KRDoubleArrayContainer> readInOneLineFrom(std::FILE* stream, long maxLength);
