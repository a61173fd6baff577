#include "arrays/legacy/KRArrayReports.h"

#include "arrays/sv/SVErrorMessage.h"

#include <atomic>
#include <mutex>

namespace {

std::atomic<KRArrayReporter> errorReporter = nullptr;
std::atomic<KRArrayReporter> traceReporter = nullptr;

// The list behind SVErrorMessage isn't safe for two threads at once.
void reportWithoutApplication(const std::string& text)
{
    static std::mutex lock;
    const std::lock_guard guard(lock);
    SVErrorMessage(text);
}

} // namespace

void KRSetArrayReporter(KRArrayReporter reporter)
{
    errorReporter = reporter;
}

void KRSetArrayTraceReporter(KRArrayReporter reporter)
{
    traceReporter = reporter;
}

void KRPutErrorMessage(const std::string& text)
{
    const KRArrayReporter reporter = errorReporter;
    (reporter ? reporter : reportWithoutApplication)(text);
}

void KRPutTraceMessage(const std::string& text)
{
    if (const KRArrayReporter reporter = traceReporter)
        reporter(text);
}

void KRPutOutOfRangeError1D(long i, long n)
{
    KRPutErrorMessage("Out of range error A(" + std::to_string(i) + ") when valid range is [0,"
        + std::to_string(n - 1) + "]");
}

void KRErrorOutOfRange(const std::string& type, long i, long m)
{
    KRPutErrorMessage(svinternal::outOfRangeText(type, i, m));
}

void KRErrorOutOfRange(const std::string& type, long i, long j, long m, long n)
{
    KRPutErrorMessage(svinternal::outOfRangeText(type, i, j, m, n));
}

void KRErrorOutOfRange(const std::string& type, long i, long j, long k, long m, long n, long o)
{
    KRPutErrorMessage(svinternal::outOfRangeText(type, i, j, k, m, n, o));
}
