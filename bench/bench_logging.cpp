// Statement throughput of the logging core: how many statements per second reach a logger that
// only counts, from one and from two producing threads, and what a statement costs whose flag no
// registered logger takes.
//
//   cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release
//   cmake --build build-release --target bench_logging -j2
//   ./build-release/bin/bench_logging [--statements N]

#include "logging/abstractlogger.h"
#include "logging/log.h"
#include "logging/logmessage.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace iconfoundry {
namespace {

class NullLogger : public AbstractLogger
{
public:
    NullLogger() : AbstractLogger("bench.null") {}
    void logMessage(const LogMessage& message) override
    {
        bytes += message.message().size() + message.function().size();
        ++count;
    }
    std::atomic<long> count{0};
    std::atomic<std::size_t> bytes{0};
};

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Statements from `threads` threads, each `perThread` of them, until every one is delivered.
double deliveredPerSecond(int threads, long perThread)
{
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> producers;
    for (int t = 0; t < threads; ++t)
        producers.emplace_back([t, perThread] {
            for (long i = 0; i < perThread; ++i)
                LOG_INFO("statement %ld of thread %d with some text to format", i, t);
        });
    for (auto& producer : producers)
        producer.join();
    Log::flushLog();
    return double(threads * perThread) / secondsSince(start);
}

// Debug statements while the only logger takes errors: none of them is delivered.
double gatedOutNanoseconds(long statements)
{
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < statements; ++i)
        LOG_DEBUG("statement %ld that nobody takes", i);
    Log::flushLog();
    return secondsSince(start) * 1e9 / double(statements);
}

} // namespace
} // namespace iconfoundry

int main(int argc, char** argv)
{
    using namespace iconfoundry;
    long statements = 200000;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--statements") == 0)
            statements = std::atol(argv[i + 1]);
    }

    auto logger = std::make_shared<NullLogger>();
    Log::addLogger(logger);
    deliveredPerSecond(1, statements / 10); // warm-up
    std::printf("statements/s, 1 thread:   %.0f\n", deliveredPerSecond(1, statements));
    std::printf("statements/s, 2 threads:  %.0f\n", deliveredPerSecond(2, statements / 2));
    Log::removeAllLoggers();

    auto errorsOnly = std::make_shared<NullLogger>();
    Log::addLogger(errorsOnly, LogLevelError);
    std::printf("ns per debug statement nobody takes: %.1f\n", gatedOutNanoseconds(statements));
    std::printf("(delivered to the error-only logger: %ld)\n", errorsOnly->count.load());
    return 0;
}
