#include "storage/OpenFiles.h"

#include "storage/KRDataFile.h"

#include <algorithm>

namespace {

constexpr int kCap = 191; // With so many open, some are closed.
constexpr int kEnough = 170; // As long as there are so many, younger and younger ones are closed.
constexpr int kTooManyYoung = 180;
constexpr double kAges[] = {60, 30, 12, 5, 2}; // Seconds since the last use.

} // namespace

OpenFiles& OpenFiles::shared()
{
    // Never destroyed: files may be released until the process has ended.
    static OpenFiles& files = *new OpenFiles();
    return files;
}

void OpenFiles::keepTrack()
{
    const std::lock_guard lock(lock_);
    keepsTrack_ = true;
}

void OpenFiles::add(KRDataFile& file)
{
    const std::lock_guard lock(lock_);
    files_.push_back(&file);
}

void OpenFiles::remove(KRDataFile& file)
{
    const std::lock_guard lock(lock_);
    std::erase(files_, &file);
}

void OpenFiles::opened(KRDataFile& file)
{
    ++howManyOpenFiles_;
    const std::lock_guard lock(lock_);
    if (keepsTrack_)
        enforceOpenCap(file);
}

void OpenFiles::closeOlderThan(double age, double now, const KRDataFile& except)
{
    for (KRDataFile* file : files_)
        if (file != &except)
            file->closeIfUnusedFor(age, now);
}

void OpenFiles::enforceOpenCap(const KRDataFile& except)
{
    if (howManyOpenFiles_ < kCap)
        return;
    const double now = KRDataFile::now();
    for (const double age : kAges)
        if (howManyOpenFiles_ >= kEnough)
            closeOlderThan(age, now, except);
    if (howManyOpenFiles_ <= kTooManyYoung || files_.size() <= kEnough)
        return;
    std::vector<double> ages;
    for (const KRDataFile* file : files_)
        if (file->fileIsOpen())
            ages.push_back(now - file->lastFileAccess());
    std::sort(ages.begin(), ages.end());
    if (ages.size() > kEnough)
        closeOlderThan(ages[kEnough], now, except);
}
