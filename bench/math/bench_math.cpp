// Cost of unitquaternion::slerp against a plain double-precision slerp.
//
// Prints Google Benchmark's table, then the time per call of both and their ratio, e.g.
//   ratio slerp/textbook_slerp = 1.23
// and the same as a result line for the table of `make bench`.
#include "3DMath.h"
#include "KXBenchReporter.h"
#include "KXBenchResult.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

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

// The library's own arithmetic (weights in single precision) on plain structs: no objects
// passed by value, no live-instance counters. Separates the formula's cost from the class's.
void BM_plain_float_slerp(benchmark::State& state)
{
    Inputs const& in = inputs();
    int i = 0;
    for (auto _ : state)
    {
        Quat const& a = in.a[i];
        Quat const& b = in.b[i];
        float const t = in.t[i];
        float const d = static_cast<float>(a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z);
        float const absD = std::fabs(d);
        float w0 = 1.0f - t, w1 = t;
        if (1.0f - absD >= 0.01f)
        {
            float const theta = std::acos(absD);
            float const sinTheta = std::sin(theta);
            w0 = std::sin(theta * (1.0f - t)) / sinTheta;
            w1 = std::sin(theta * t) / sinTheta;
        }
        if (d < 0.0f)
            w0 = -w0;
        Quat r{w0 * a.w + w1 * b.w, w0 * a.x + w1 * b.x, w0 * a.y + w1 * b.y, w0 * a.z + w1 * b.z};
        benchmark::DoNotOptimize(r);
        i = (i + 1) & (kPairs - 1);
    }
}
BENCHMARK(BM_plain_float_slerp);

} // namespace

int main(int argc, char** argv)
{
    CKXBenchReporter reporter;
    if (!kxRunBenchmarks(&argc, argv, reporter))
        return 1;

    double const dOurs = reporter.nsPerCall("BM_unitquaternion_slerp");
    double const dTextbook = reporter.nsPerCall("BM_textbook_slerp");
    if (dOurs <= 0 || dTextbook <= 0)
        return 0; // filtered out: nothing to compare
    std::printf("ns per unitquaternion::slerp = %.2f\n", dOurs);
    std::printf("ns per textbook double slerp = %.2f\n", dTextbook);
    std::printf("ratio slerp/textbook_slerp = %.2f\n", dOurs / dTextbook);
    std::printf("ns per the same arithmetic on plain structs = %.2f\n",
                reporter.nsPerCall("BM_plain_float_slerp"));
    kxBenchResult("slerp (unitquaternion)", dOurs, "ns", "textbook double slerp", dTextbook,
                  EKXBetter::Lower);
    return 0;
}
