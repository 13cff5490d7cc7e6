#include "bench_main.hpp"

#include <cstdio>
#include <map>
#include <syslog.h>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace lumo::bench {

namespace {

std::vector<std::pair<std::string, std::string>> &ratios()
{
    static std::vector<std::pair<std::string, std::string>> r;
    return r;
}

// Keeps each benchmark's time per iteration while printing as usual.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> times;  // nanoseconds per iteration, by name

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations <= 0)
                continue;
            // "BM_X/real_time" and "BM_X/16/real_time" are known as "BM_X" and "BM_X/16".
            std::string name = run.benchmark_name();
            const std::string suffix = "/real_time";
            if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                name.resize(name.size() - suffix.size());
            times[name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

void add_ratio(const std::string &library_benchmark, const std::string &raw_benchmark)
{
    ratios().emplace_back(library_benchmark, raw_benchmark);
}

}  // namespace lumo::bench

int main(int argc, char **argv)
{
    // A gateway's syslog filters debug lines; measure the library the same way
    // (it still formats everything it would log at error level).
    setlogmask(LOG_UPTO(LOG_ERR));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    lumo::bench::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto &[lib, raw] : lumo::bench::ratios()) {
        auto l = reporter.times.find(lib);
        auto r = reporter.times.find(raw);
        if (l == reporter.times.end() || r == reporter.times.end() || r->second <= 0)
            continue;
        std::printf("ratio %-40s / %-28s = %.3f\n", lib.c_str(), raw.c_str(), l->second / r->second);
    }
    benchmark::Shutdown();
    return 0;
}
