#include "arrays/containers/KRTimeValues.h"

#include "diagnostics/KRMessageCenter.h"

#include <algorithm>
#include <cmath>

namespace {

using Times = KRTimeValues::Times;

constexpr const char* kNoPair = "DoubleArrayContainer-findClosestValueBelow: Error.";

struct Entries {
    explicit Entries(const Times& times) : next(times->constDoublePointer()), end(next + times->length()) { }
    const double* next;
    const double* end;
    bool atEnd() const { return next == end; }
};

// Whether every entry of the rising list stands in the other one, too.
bool holdsAll(const Times& longer, const Times& shorter)
{
    Entries inLonger(longer);
    for (Entries wanted(shorter); !wanted.atEnd(); ++wanted.next) {
        inLonger.next = std::find(inLonger.next, inLonger.end, *wanted.next);
        if (inLonger.atEnd())
            return false;
    }
    return true;
}

Times merged(const Times& first, const Times& second)
{
    const auto result = KRDoubleArrayContainer::createArrayOfLength(first->length() + second->length());
    if (!result)
        return nullptr;
    long count = 0;
    const auto add = [&](double time) {
        if (count < result->length())
            result->mutableDoublePointer()[count] = time;
        ++count;
    };
    Entries a(first);
    Entries b(second);
    if (*a.next == 0 || *b.next == 0) {
        add(0);
        a.next += *a.next == 0 ? 1 : 0;
        b.next += *b.next == 0 ? 1 : 0;
    }
    while (!a.atEnd() && !b.atEnd()) {
        if (KRTimeValues::areTheSame(*a.next, *b.next)) {
            add(*a.next++);
            ++b.next;
        } else {
            add(*a.next < *b.next ? *a.next++ : *b.next++);
        }
    }
    for (Entries* rest : {&a, &b})
        while (!rest->atEnd())
            add(*rest->next++);
    if (count > result->length())
        KRMessageCenter::addMessage(
            "Serious internal error.  Accessed outside array bounds - will crash soon.");
    result->cropLengthTo(count);
    return result;
}

} // namespace

bool KRTimeValues::areTheSame(double a, double b)
{
    return a == b || std::fabs(a - b) <= 1e-7 * (a + b);
}

const Times& KRTimeValues::onlyTheZeroTime()
{
    static const Times& zero = *new Times([] {
        MutableDoubleArray time(1);
        time = 0;
        return KRDoubleArrayContainer::createArrayWithConstObject(time);
    }());
    return zero;
}

double KRTimeValues::findClosestValueBelow(const Times& times, double t)
{
    if (times && !times->isEmpty() && std::isnan(t)) // Between no pair of entries.
        KRMessageCenter::addMessage(kNoPair);
    const long index = findIndexOfClosestValueBelow(times, t);
    return index < 0 ? -1 : times->valueAtIndex(index);
}

long KRTimeValues::findIndexOfClosestValueBelow(const Times& times, double t)
{
    if (!times) {
        KRMessageCenter::addMessage("DoubleArray - findClosestValueBelow, the array is nil.");
        return -1;
    }
    if (times->isEmpty() || std::isnan(t))
        return -1;
    const double* const entries = times->constDoublePointer();
    const long last = times->length() - 1;
    if (t < entries[0])
        return areTheSame(t, entries[0]) ? 0 : -1;
    if (t >= entries[last])
        return last;
    const long above = std::upper_bound(entries, entries + last, t) - entries;
    if (above == 0 || !(entries[above - 1] <= t && t < entries[above])) { // A list that doesn't rise.
        KRMessageCenter::addMessage(kNoPair);
        return -1;
    }
    return areTheSame(entries[above], t) ? above : above - 1;
}

Times KRTimeValues::combineTimeArray(const Times& first, const Times& andTimeArray)
{
    if (!first || !andTimeArray || first == andTimeArray)
        return andTimeArray ? first : nullptr;
    if (first == onlyTheZeroTime() || first->isEmpty())
        return andTimeArray;
    if (andTimeArray == onlyTheZeroTime() || andTimeArray->isEmpty())
        return first;
    const bool firstIsLonger = first->length() > andTimeArray->length();
    const Times& longer = firstIsLonger ? first : andTimeArray;
    if (holdsAll(longer, firstIsLonger ? andTimeArray : first))
        return longer;
    return merged(first, andTimeArray);
}
