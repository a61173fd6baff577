#pragma once

// The lock of a storage's counters. It does nothing: a handle belongs to one thread at a time, and a program
// with one thread must not pay for a mutex at each copy of a handle. Every change of a counter is still
// inside Lock() and Unlock(), so a real lock needs a change in this file only.
class SVLock {
public:
    SVLock() { }
    ~SVLock() { }
    SVLock(const SVLock&) = delete;
    SVLock& operator=(const SVLock&) = delete;

    void Lock() { }
    void Unlock() { }
};
