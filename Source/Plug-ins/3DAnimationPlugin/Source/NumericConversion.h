// Conversions from floating point to narrower types that are defined for every input. Key
// frames read from a file may carry NaN, infinite or huge values; a plain cast of such a value
// to int (or of a huge double to float) is undefined behaviour, so every such conversion in the
// animation units goes through these helpers.
#ifndef NUMERICCONVERSION_H
#define NUMERICCONVERSION_H

#include <climits>
#include <cmath>
#include <limits>

namespace KXNumeric
{

// Truncation toward zero, as a cast does for values within int range; NaN gives 0 and values
// beyond the range saturate at INT_MIN / INT_MAX.
inline int truncateToInt(double dValue)
{
    if (std::isnan(dValue))
    {
        return 0;
    }
    if (dValue >= 2147483648.0)
    {
        return INT_MAX;
    }
    if (dValue <= -2147483649.0)
    {
        return INT_MIN;
    }
    return static_cast<int>(dValue);
}

// Rounds to the nearest float; magnitudes beyond the float range become infinities of the same
// sign, NaN stays NaN.
inline float narrowToFloat(double dValue)
{
    constexpr double dMax = static_cast<double>(std::numeric_limits<float>::max());
    if (dValue > dMax)
    {
        return std::numeric_limits<float>::infinity();
    }
    if (dValue < -dMax)
    {
        return -std::numeric_limits<float>::infinity();
    }
    return static_cast<float>(dValue);
}

} // namespace KXNumeric

#endif // NUMERICCONVERSION_H
