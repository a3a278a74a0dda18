// The one machine-readable line every benchmark prints per figure, besides its own output;
// scripts/run-benchmarks gathers these lines from all benchmarks into the table of `make bench`:
//
//   RESULT<TAB>name<TAB>figure<TAB>unit<TAB>reference name<TAB>reference figure<TAB>ratio
//
// The figure and its reference share the unit. The ratio reads the same way on every line:
// above 1 means we are slower or bigger than the reference. It is figure / reference for times
// and sizes (lower is better) and reference / figure for rates (higher is better). A figure
// that could not be measured prints "-" in its place and in the ratio's.
#ifndef KXBENCHRESULT_H
#define KXBENCHRESULT_H

#include <cmath>
#include <cstdio>
#include <string>

enum class EKXBetter
{
    Lower,  // times, memory, file sizes
    Higher, // rates (frames per second)
};

// A figure with three or four significant digits and never an exponent; "-" when unknown
// (zero, negative or not finite).
inline std::string kxBenchFigure(double dValue)
{
    if (!(dValue > 0) || !std::isfinite(dValue))
        return "-";
    const int nDecimals = dValue >= 100 ? 0 : dValue >= 10 ? 1 : dValue >= 1 ? 2 : 3;
    char szText[64];
    std::snprintf(szText, sizeof szText, "%.*f", nDecimals, dValue);
    return szText;
}

// Prints one result line and flushes, so that a benchmark killed later keeps its lines. Names
// must not contain tabs or newlines.
inline void kxBenchResult(const std::string& strName, double dFigure, const char* pszUnit,
                          const std::string& strReference, double dReference, EKXBetter eBetter)
{
    const bool bBoth =
        dFigure > 0 && dReference > 0 && std::isfinite(dFigure) && std::isfinite(dReference);
    char szRatio[32] = "-";
    if (bBoth)
        std::snprintf(szRatio, sizeof szRatio, "%.2f",
                      eBetter == EKXBetter::Lower ? dFigure / dReference : dReference / dFigure);
    std::printf("RESULT\t%s\t%s\t%s\t%s\t%s\t%s\n", strName.c_str(), kxBenchFigure(dFigure).c_str(),
                pszUnit, strReference.c_str(), kxBenchFigure(dReference).c_str(), szRatio);
    std::fflush(stdout);
}

#endif // KXBENCHRESULT_H
