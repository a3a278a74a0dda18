// Google Benchmark's console table as usual, plus the CPU time per iteration of every benchmark
// run, by function name, for the result lines. With --benchmark_repetitions the mean of the
// repetitions is kept.
#ifndef KXBENCHREPORTER_H
#define KXBENCHREPORTER_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

class CKXBenchReporter : public benchmark::ConsoleReporter
{
public:
    // Tabular output when stdout is not a terminal (the runner's log).
    CKXBenchReporter() : ConsoleReporter(isatty(fileno(stdout)) ? OO_Defaults : OO_Tabular) {}

    void ReportRuns(std::vector<Run> const& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs)
        {
            if (run.error_occurred)
                continue;
            std::string const& strName = run.run_name.function_name;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "mean")
                m_setMeanSeen.insert(strName);
            else if (run.run_type != Run::RT_Iteration || m_setMeanSeen.count(strName))
                continue;
            m_mapNsPerCall[strName] = run.GetAdjustedCPUTime(); // the default unit, ns
        }
    }

    // Nanoseconds per call of the named benchmark function; 0 when it did not run (filtered).
    double nsPerCall(std::string const& strName) const
    {
        auto const it = m_mapNsPerCall.find(strName);
        return it == m_mapNsPerCall.end() ? 0.0 : it->second;
    }

private:
    std::map<std::string, double> m_mapNsPerCall;
    std::set<std::string> m_setMeanSeen;
};

// Runs the registered benchmarks through `reporter`, which then holds their figures. False
// when the command line holds an argument the benchmark library does not know.
inline bool kxRunBenchmarks(int* pArgc, char** argv, CKXBenchReporter& reporter)
{
    benchmark::Initialize(pArgc, argv);
    if (benchmark::ReportUnrecognizedArguments(*pArgc, argv))
        return false;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return true;
}

#endif // KXBENCHREPORTER_H
