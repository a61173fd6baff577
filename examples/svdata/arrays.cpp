// Arrays, the operations on them, and files, as a numerical program uses them. docs/arrays.md explains the
// parts. Builds with the installed library alone:
//     c++ -std=c++17 arrays.cpp $(pkg-config --cflags --libs svdata)

#include "arrays/sv/SVArrayOperations.h"
#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include <cmath>
#include <cstdio>

namespace {

// The temperature of a plate of 5 x 4 points, in degrees, that is hottest at point (3,1).
SVMutableDoubleArray measuredTemperature()
{
    SVMutableDoubleArray T(5, 4); // Not cleared: write every element.
    for (long j = 0; j < T.n(); ++j)
        for (long i = 0; i < T.m(); ++i) // The first index runs fastest.
            T(i, j) = 90.0 - 10.0 * std::fabs(i - 3.0) - 5.0 * std::fabs(j - 1.0);
    return T;
}

void shareAndCopy()
{
    SVMutableDoubleArray A(3);
    A = 1.0;
    const SVDoubleArray view = A; // The same elements.
    const SVDoubleArray copy = A.Copy(); // Elements of its own.
    A(0) = 7.0;
    std::printf("view %g, copy %g\n", view(0), copy(0));
}

void measure(const SVDoubleArray& T)
{
    long position = 0;
    const double highest = Maximum(T, &position);
    std::printf("highest %g at (%ld,%ld), mean %g\n", highest, position % T.m(), position / T.m(), Mean(T));

    const SVDoubleArray limited = Minimum(T, 80.0); // Entry by entry, against a number.
    const SVDoubleArray inner = Region(T, SVRange(1, 3), SVRange(1, 2)); // 3 rows from 1, 2 columns from 1.
    const SVDoubleArray turned = Transpose(inner);
    std::printf("limited to %g, inner %ld x %ld, turned %ld x %ld\n", Maximum(limited), inner.m(), inner.n(),
        turned.m(), turned.n());

    const SVIntArray order = SortedOrder(T); // Positions, the coldest first.
    std::printf("coldest %g\n", T(order(0)));
}

void computeInPlace(SVMutableDoubleArray& T)
{
    T *= 1.8;
    T += 32.0; // Fahrenheit.
    std::printf("in Fahrenheit %g\n", Maximum(T));
}

void reportMistakes(const SVDoubleArray& T)
{
    const long before = SVHowManyErrors();
    T(99); // Out of bounds: reported, and the answer is 0.
    const SVDoubleArray none = Reshape(T, 7, 7, 1); // Not 49 elements: reported, and the answer is empty.
    std::printf("%ld reports, empty: %s\n", SVHowManyErrors() - before, none.IsEmpty() ? "yes" : "no");
}

void write(const SVDoubleArray& T)
{
    SVDataFile file("plate.svbin", SVFile::NewReadWrite);
    file.Save(T, "temperature");
    file.Save(0.25, "spacing");
    file.Save("A plate, heated at one point", "comment");
}

bool readAndHandOn(const SVDoubleArray& T)
{
    const SVDataFile file("plate.svbin", SVFile::ReadOnly);
    const SVDoubleArray read = file.ReadDoubleArray("temperature");
    SVMatlabDataFile matlab("plate.mat", SVFile::NewReadWrite);
    matlab.Save(ConvertToFloat(read), "temperature");
    return read == T && file.ReadNumber("spacing") == 0.25 && file.Contains("comment");
}

} // namespace

int main()
{
    SVMutableDoubleArray T = measuredTemperature();
    shareAndCopy();
    measure(T);
    write(T);
    const bool same = readAndHandOn(T);
    std::printf("read back: %s\n", same ? "the same" : "something else");
    reportMistakes(T);
    computeInPlace(T);
    return same ? 0 : 1;
}
