#include "storage/bytes/ScanWindow.h"

#include <algorithm>

void ScanWindow::moveTo(std::uint64_t position)
{
    end_ = position + std::min(size_, fileLength_ - position);
}

void ScanWindow::moveToName(std::uint64_t position, std::uint64_t headerLength)
{
    moveTo(position + headerLength);
    end_ -= headerLength;
}

const unsigned char* ScanWindow::at(std::uint64_t position, std::size_t count)
{
    return ahead_.At(static_cast<long long>(position), count);
}
