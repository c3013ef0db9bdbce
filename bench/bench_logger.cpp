// The log-file writer: lines per second it takes from 2 and from 8 producer
// threads. One iteration is 100,000 lines spread over the producers and ends
// when the writer has written every one of them to the file (queued is not
// enough). Afterwards the lines in the file are counted: a line missing or
// extra fails the benchmark. The counters also show what one WriteMessage
// call costs its producer.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "CZeDir.h"
#include "CZeLogger.h"
#include "core/logfile/ZeLoggerInternal.h"

namespace {

constexpr int kLinesPerIteration = 100000;
constexpr int kIterations = 10;

std::string g_folder;
std::atomic<int> g_run{0};

// Lines tagged with `tag` in every file of the log folder.
long long linesTagged(const std::string& tag)
{
    const std::string folder = g_folder + "/corvidsdk/log";
    long long n = 0;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return -1;
    while (const dirent* e = ::readdir(dir)) {
        if (e->d_name[0] == '.')
            continue;
        std::ifstream in(folder + "/" + e->d_name);
        std::string line;
        while (std::getline(in, line)) {
            // "[YYYY-MM-DD HH:MM:SS] " then the message.
            if (line.size() > 22 && line.compare(22, tag.size(), tag) == 0)
                ++n;
        }
    }
    ::closedir(dir);
    return n;
}

// Makes the writer flush now rather than after 10 quiet seconds.
void flushSoon()
{
    ZeLoggerTiming t = ZeLoggerDefaultTiming();
    t.flushIntervalNs = 1000 * 1000;
    ZeLoggerSetTiming(t);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ZeLoggerSetTiming(ZeLoggerDefaultTiming());
}

void BM_LogWriterLines(benchmark::State& state)
{
    const int producers = static_cast<int>(state.range(0));
    const int perThread = kLinesPerIteration / producers;
    const std::string tag = "r" + std::to_string(g_run.fetch_add(1)) + " ";
    long long queued = 0;
    std::atomic<long long> producerNs{0};
    int iteration = 0;

    for (auto _ : state) {
        const uint64_t target = ZeLoggerCountersNow().linesWritten +
                                static_cast<uint64_t>(producers) * static_cast<uint64_t>(perThread);
        std::vector<std::thread> threads;
        for (int p = 0; p < producers; ++p)
            threads.emplace_back([&, p] {
                char line[128];
                const auto start = std::chrono::steady_clock::now();
                for (int n = 0; n < perThread; ++n) {
                    std::snprintf(line, sizeof line, "%sproducer %d of %d, line %d of iteration %d",
                                  tag.c_str(), p, producers, n, iteration);
                    CZeLogger::WriteMessage(line);
                }
                producerNs += std::chrono::duration_cast<std::chrono::nanoseconds>(
                                  std::chrono::steady_clock::now() - start)
                                  .count();
            });
        for (std::thread& t : threads)
            t.join();
        while (ZeLoggerCountersNow().linesWritten < target)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        queued += static_cast<long long>(producers) * perThread;
        ++iteration;
    }

    // The loop is over: this is no longer timed.
    flushSoon();
    const long long inFile = linesTagged(tag);
    state.SetItemsProcessed(queued);
    state.counters["lines_in_file"] = static_cast<double>(inFile);
    state.counters["lost"] = static_cast<double>(queued - inFile);
    state.counters["ns_per_WriteMessage"] =
        queued ? static_cast<double>(producerNs.load()) / static_cast<double>(queued) : 0.0;
    if (inFile != queued)
        state.SkipWithError("the file does not hold every line queued");
}
BENCHMARK(BM_LogWriterLines)
    ->ArgName("producers")
    ->Arg(2)
    ->Arg(8)
    ->Iterations(kIterations)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    std::string folder = CZeDir::tempPath().toUtf8().constData();
    folder += "/ze-bench-log-XXXXXX";
    if (!::mkdtemp(&folder[0])) {
        std::perror("mkdtemp");
        return 1;
    }
    g_folder = folder;
    CZeLogger::SetLogDirPath(g_folder.c_str());

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    CZeDir::removeRecursively(CZeString::fromUtf8(g_folder.c_str()));
    return 0;
}
