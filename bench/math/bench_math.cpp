// Cost of unitquaternion::slerp against a plain double-precision slerp.
//
// Prints Google Benchmark's table, then the time per call of both and their ratio, e.g.
//   ratio slerp/textbook_slerp = 1.23
#include "3DMath.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

namespace
{
struct Quat
{
    double w, x, y, z;
};

// The usual slerp: unit inputs, shortest arc by negating b, acos and sine weights, with the
// customary linear fallback for nearly equal inputs, all in double.
Quat textbookSlerp(Quat const& a, Quat b, double t)
{
    double d = a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
    if (d < 0.0)
    {
        d = -d;
        b = {-b.w, -b.x, -b.y, -b.z};
    }
    double w0 = 1.0 - t, w1 = t;
    if (d < 0.9995)
    {
        double const theta = std::acos(d);
        double const s = std::sin(theta);
        w0 = std::sin((1.0 - t) * theta) / s;
        w1 = std::sin(t * theta) / s;
    }
    return {w0 * a.w + w1 * b.w, w0 * a.x + w1 * b.x, w0 * a.y + w1 * b.y, w0 * a.z + w1 * b.z};
}

constexpr int kPairs = 1024;

struct Inputs
{
    std::vector<Quat> a, b;
    std::vector<float> t;
};

Inputs const& inputs()
{
    static Inputs const data = []
    {
        Inputs in;
        std::mt19937 rng(42);
        std::normal_distribution<double> gauss;
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        auto randomRotation = [&]
        {
            Quat q{gauss(rng), gauss(rng), gauss(rng), gauss(rng)};
            double const n = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
            return Quat{q.w / n, q.x / n, q.y / n, q.z / n};
        };
        for (int i = 0; i < kPairs; ++i)
        {
            in.a.push_back(randomRotation());
            in.b.push_back(randomRotation());
            in.t.push_back(unit(rng));
        }
        return in;
    }();
    return data;
}

void BM_unitquaternion_slerp(benchmark::State& state)
{
    Inputs const& in = inputs();
    std::vector<unitquaternion> a, b;
    for (int i = 0; i < kPairs; ++i)
    {
        a.emplace_back(Vec3f(in.a[i].x, in.a[i].y, in.a[i].z), in.a[i].w);
        b.emplace_back(Vec3f(in.b[i].x, in.b[i].y, in.b[i].z), in.b[i].w);
    }
    unitquaternion scratch;
    int i = 0;
    for (auto _ : state)
    {
        unitquaternion r = scratch.slerp(a[i], b[i], in.t[i], true);
        benchmark::DoNotOptimize(r);
        i = (i + 1) & (kPairs - 1);
    }
}
BENCHMARK(BM_unitquaternion_slerp);

void BM_textbook_slerp(benchmark::State& state)
{
    Inputs const& in = inputs();
    int i = 0;
    for (auto _ : state)
    {
        Quat r = textbookSlerp(in.a[i], in.b[i], in.t[i]);
        benchmark::DoNotOptimize(r);
        i = (i + 1) & (kPairs - 1);
    }
}
BENCHMARK(BM_textbook_slerp);

// Console output as usual, plus the time per iteration of every benchmark for the ratio.
// With --benchmark_repetitions the mean of the repetitions is used.
class RecordingReporter : public benchmark::ConsoleReporter
{
public:
    explicit RecordingReporter(OutputOptions options) : ConsoleReporter(options) {}

    void ReportRuns(std::vector<Run> const& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (Run const& run : runs)
        {
            if (run.error_occurred)
                continue;
            std::string const& name = run.run_name.function_name;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "mean")
                meanSeen.insert(name);
            else if (run.run_type != Run::RT_Iteration || meanSeen.count(name))
                continue;
            nsPerCall[name] = run.GetAdjustedCPUTime(); // the default unit, ns
        }
    }

    std::map<std::string, double> nsPerCall;

private:
    std::set<std::string> meanSeen;
};
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RecordingReporter reporter(isatty(fileno(stdout)) ? benchmark::ConsoleReporter::OO_Defaults
                                                      : benchmark::ConsoleReporter::OO_Tabular);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    auto const ours = reporter.nsPerCall.find("BM_unitquaternion_slerp");
    auto const textbook = reporter.nsPerCall.find("BM_textbook_slerp");
    if (ours == reporter.nsPerCall.end() || textbook == reporter.nsPerCall.end())
        return 0; // filtered out: nothing to compare
    std::printf("ns per unitquaternion::slerp = %.2f\n", ours->second);
    std::printf("ns per textbook double slerp = %.2f\n", textbook->second);
    std::printf("ratio slerp/textbook_slerp = %.2f\n", ours->second / textbook->second);
    return 0;
}
