// lumoctl capture of a gateway with 5,000 LAN hosts: objects captured per second
// and the capturing process's peak resident memory (it writes as it goes, so the
// memory should not grow with the number of objects).
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/bench_main.hpp"

namespace {

// Runs lumoctl capture into file; the objects it reports (its last line), or -1.
long capture(const std::string &file, long *peak_kib)
{
    pid_t pid = fork();
    if (pid == 0) {
        execl(LUMOCTL_PATH, "lumoctl", "capture", "--output", file.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    struct rusage use {};
    if (pid < 0 || wait4(pid, &status, 0, &use) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    *peak_kib = use.ru_maxrss;
    long objects = -1;
    if (FILE *f = fopen(file.c_str(), "r")) {
        char line[256];
        while (fgets(line, sizeof line, f))
            std::sscanf(line, "# %ld objects captured", &objects);
        fclose(f);
    }
    return objects;
}

void BM_Capture5000Hosts(benchmark::State &state)
{
    static const bool populated = lumo::bench::populate_lan_hosts(5000);
    if (!populated) {
        state.SkipWithError("could not fill the simulator's LAN host collection");
        return;
    }
    std::string file = std::string(g_get_tmp_dir()) + "/lumo3-bench-capture.model";
    long objects = 0, peak = 0;
    for (auto _ : state) {
        long kib = 0;
        objects = capture(file, &kib);
        if (objects < 0) {
            state.SkipWithError("lumoctl capture failed");
            break;
        }
        peak = std::max(peak, kib);
    }
    std::remove(file.c_str());
    state.counters["objects"] = double(objects);
    state.counters["objects_per_s"] =
        benchmark::Counter(double(objects) * double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["peak_rss_KiB"] = double(peak);
}
BENCHMARK(BM_Capture5000Hosts)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
