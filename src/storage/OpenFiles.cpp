#include "storage/OpenFiles.h"

#include <algorithm>
#include <chrono>

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

double OpenFiles::now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void OpenFiles::keepTrack()
{
    const std::lock_guard lock(lock_);
    keepsTrack_ = true;
}

void OpenFiles::add(ClosableFile& file)
{
    const std::lock_guard lock(lock_);
    files_.push_back(&file);
}

void OpenFiles::remove(ClosableFile& file)
{
    const std::lock_guard lock(lock_);
    std::erase(files_, &file);
}

void OpenFiles::opened(ClosableFile& file)
{
    ++howManyOpenFiles_;
    const std::lock_guard lock(lock_);
    if (keepsTrack_)
        enforceOpenCap(file);
}

void OpenFiles::closeOlderThan(double age, double time, const ClosableFile& except)
{
    for (ClosableFile* file : files_)
        if (file != &except)
            file->closeIfUnusedFor(age, time);
}

void OpenFiles::enforceOpenCap(const ClosableFile& except)
{
    if (howManyOpenFiles_ < kCap)
        return;
    const double time = now();
    for (const double age : kAges)
        if (howManyOpenFiles_ >= kEnough)
            closeOlderThan(age, time, except);
    if (howManyOpenFiles_ <= kTooManyYoung || files_.size() <= kEnough)
        return;
    std::vector<double> ages;
    for (const ClosableFile* file : files_)
        if (file->fileIsOpen())
            ages.push_back(time - file->lastFileAccess());
    std::sort(ages.begin(), ages.end());
    if (ages.size() > kEnough)
        closeOlderThan(ages[kEnough], time, except);
}
