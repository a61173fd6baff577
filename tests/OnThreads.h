#pragma once

#include <thread>
#include <vector>

// Does the work on so many threads at once, each with its number, and waits for all of them.
template <class Work>
void onThreads(int count, const Work& work)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back(work, number);
    for (std::thread& thread : threads)
        thread.join();
}
