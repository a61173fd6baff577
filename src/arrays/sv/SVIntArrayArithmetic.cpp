#include "arrays/sv/SVIntArrayArithmetic.h"

#include "arrays/kernels/SVStreamingCopy.h"
#include "arrays/sv/SVArrayInternal.h"

using namespace svinternal;

namespace {

using Entry = std::int32_t;

struct Plus {
    Entry operator()(Entry a, Entry b) const { return wrapped(asUnsigned(a) + asUnsigned(b)); }
};

struct Minus {
    Entry operator()(Entry a, Entry b) const { return wrapped(asUnsigned(a) - asUnsigned(b)); }
};

struct Times {
    Entry operator()(Entry a, Entry b) const { return wrapped(asUnsigned(a) * asUnsigned(b)); }
};

struct Divided {
    // A divisor of 0, or the one quotient that doesn't fit, would end the program. Numbers from a file must
    // not do that.
    Entry operator()(Entry a, Entry b) const
    {
        if (b == 0)
            return 0;
        return b == -1 ? Minus()(0, a) : a / b;
    }
};

template <class Operation>
SVMutableIntArray betweenArrays(
    const SVIntArray& A, const SVIntArray& B, Operation operation, const char* functionWord)
{
    if (!sameSize(A, B))
        return failed<Entry>(functionWord, "Incompatible sizes.");
    SVMutableIntArray result(A.m(), A.n(), A.o());
    const auto compute = [operation](Entry* to, long count, const Entry* a, const Entry* b) {
        for (long i = 0; i < count; ++i)
            to[i] = operation(a[i], b[i]);
    };
    computeBlock(result.Pointer(), A.Length(), compute, A.Pointer(), B.Pointer());
    return result;
}

template <class OperationOnEntry>
SVMutableIntArray onEach(const SVIntArray& A, OperationOnEntry operation)
{
    SVMutableIntArray result(A.m(), A.n(), A.o());
    const auto compute = [operation](Entry* to, long count, const Entry* a) {
        for (long i = 0; i < count; ++i)
            to[i] = operation(a[i]);
    };
    computeBlock(result.Pointer(), A.Length(), compute, A.Pointer());
    return result;
}

} // namespace

SVMutableIntArray operator+(const SVIntArray& A, const SVIntArray& B)
{
    return betweenArrays(A, B, Plus(), "A+B");
}

SVMutableIntArray operator-(const SVIntArray& A, const SVIntArray& B)
{
    return betweenArrays(A, B, Minus(), "A-B");
}

SVMutableIntArray operator*(const SVIntArray& A, const SVIntArray& B)
{
    return betweenArrays(A, B, Times(), "A*B");
}

SVMutableIntArray operator/(const SVIntArray& A, const SVIntArray& B)
{
    return betweenArrays(A, B, Divided(), "A/B");
}

SVMutableIntArray operator+(const SVIntArray& A, int b)
{
    return onEach(A, [b](Entry a) { return Plus()(a, b); });
}

SVMutableIntArray operator-(const SVIntArray& A, int b)
{
    return onEach(A, [b](Entry a) { return Minus()(a, b); });
}

SVMutableIntArray operator*(const SVIntArray& A, int b)
{
    return onEach(A, [b](Entry a) { return Times()(a, b); });
}

SVMutableIntArray operator/(const SVIntArray& A, int b)
{
    return onEach(A, [b](Entry a) { return Divided()(a, b); });
}

SVMutableIntArray operator+(int a, const SVIntArray& B)
{
    return B + a;
}

SVMutableIntArray operator-(int a, const SVIntArray& B)
{
    return onEach(B, [a](Entry b) { return Minus()(a, b); });
}

SVMutableIntArray operator*(int a, const SVIntArray& B)
{
    return B * a;
}

SVMutableIntArray operator/(int a, const SVIntArray& B)
{
    return onEach(B, [a](Entry b) { return Divided()(a, b); });
}

SVMutableIntArray operator-(const SVIntArray& A)
{
    return 0 - A;
}
