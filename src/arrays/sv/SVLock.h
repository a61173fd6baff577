#pragma once

// The lock of a storage's counters, deliberately without effect: handles of this library belong to one thread
// at a time, and programs that compute in one thread must not pay for a mutex with each copy of a handle.
// Every change of a counter is nevertheless bracketed by Lock() and Unlock(), so that a real lock can go in
// here and nowhere else.
class SVLock {
public:
    SVLock() { }
    ~SVLock() { }
    SVLock(const SVLock&) = delete;
    SVLock& operator=(const SVLock&) = delete;

    void Lock() { }
    void Unlock() { }
};
