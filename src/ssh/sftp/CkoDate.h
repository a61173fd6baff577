#pragma once

#include <chrono>

namespace ssh {

using CkoDate = std::chrono::system_clock::time_point;

}
