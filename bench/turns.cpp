// SPDX-License-Identifier: MIT
#include "turns.h"

#include <map>

#include <sched.h>

namespace mh::bench {

namespace {

// Seconds of each run by the name of its task.
struct Runs : benchmark::BenchmarkReporter {
    std::map<std::string, std::vector<double>> seconds;
    Clock clock = Clock::wall;

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& report) override {
        for (const Run& run : report)
            if (run.run_type == Run::RT_Iteration)
                seconds[run.run_name.function_name].push_back(
                    clock == Clock::wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
    }
};

void run_task(benchmark::State& state, const Task& task) {
    for ([[maybe_unused]] auto _ : state) {
        if (task.prepare) {
            state.PauseTiming();
            task.prepare();
            state.ResumeTiming();
        }
        task.work(state.thread_index());
    }
}

void start_library() {
    char name[] = "bench", turns[] = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {name, turns, nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
}

std::vector<int> usable_processors() {
    std::vector<int> usable = {sched_getcpu()};
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) != 0) return usable;
    for (int k = 0; k < CPU_SETSIZE && usable.size() < 2; ++k)
        if (CPU_ISSET(k, &set) && k != usable[0]) usable.push_back(k);
    return usable;
}

} // namespace

std::vector<double> MedianSeconds(const std::vector<Task>& tasks, int runs) {
    static const bool started = (start_library(), true);
    static_cast<void>(started);
    for (const Task& task : tasks) {
        auto* run = benchmark::RegisterBenchmark(task.name.c_str(), run_task, task);
        run->Unit(benchmark::kSecond)->Threads(task.threads)->Iterations(1)->Repetitions(runs);
        if (task.clock == Clock::process) run->MeasureProcessCPUTime();
    }
    Runs done;
    done.clock = tasks[0].clock;
    benchmark::RunSpecifiedBenchmarks(&done);
    benchmark::ClearRegisteredBenchmarks();
    std::vector<double> medians;
    for (const Task& task : tasks)
        medians.push_back(median(done.seconds[task.name]));
    return medians;
}

const std::vector<int>& UsableProcessors() {
    static const std::vector<int> processors = usable_processors();
    return processors;
}

void pin_thread(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(processor, &set);
    sched_setaffinity(0, sizeof set, &set);
}

} // namespace mh::bench
