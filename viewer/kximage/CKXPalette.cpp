#include "CKXPalette.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
struct Stop
{
    double pos;
    int r, g, b;
};

// Control points of each table; colours are interpolated linearly between them.
const std::vector<Stop>& stops(int nTable)
{
    static const std::vector<Stop> rainbow = {
        {0.0, 40, 0, 150},   {0.15, 0, 40, 255}, {0.35, 0, 220, 255}, {0.5, 0, 235, 60},
        {0.65, 200, 255, 0}, {0.8, 255, 170, 0}, {1.0, 240, 0, 0}};
    static const std::vector<Stop> hotIron = {{0.0, 0, 0, 0},
                                              {0.35, 190, 20, 0},
                                              {0.6, 255, 120, 0},
                                              {0.8, 255, 220, 40},
                                              {1.0, 255, 255, 255}};
    static const std::vector<Stop> grey = {{0.0, 0, 0, 0}, {1.0, 255, 255, 255}};
    static const std::vector<Stop> coolWarm = {{0.0, 59, 76, 192},
                                               {0.25, 124, 159, 249},
                                               {0.5, 221, 221, 221},
                                               {0.75, 244, 154, 123},
                                               {1.0, 180, 4, 38}};
    static const std::vector<Stop> viridis = {{0.0, 68, 1, 84},
                                              {0.25, 59, 82, 139},
                                              {0.5, 33, 145, 140},
                                              {0.75, 94, 201, 98},
                                              {1.0, 253, 231, 37}};
    static const std::vector<Stop> green = {
        {0.0, 0, 20, 0}, {0.6, 40, 230, 60}, {1.0, 230, 255, 230}};
    switch (nTable)
    {
    case CKXPalette::HotIron:
        return hotIron;
    case CKXPalette::Grey:
        return grey;
    case CKXPalette::CoolWarm:
        return coolWarm;
    case CKXPalette::Viridis:
        return viridis;
    case CKXPalette::GreenFluor:
        return green;
    default:
        return rainbow;
    }
}
} // namespace

void CKXPalette::setColorTableType(int nTable, float fLow, float fHigh)
{
    m_nTable = nTable;
    m_fLow = fLow;
    m_fHigh = fHigh;
    changed();
}

void CKXPalette::SetColorTable(int nTable, float fMin, float fMax)
{
    m_nTable = nTable;
    m_fMin = fMin;
    m_fMax = fMax;
    changed();
}

void CKXPalette::setReversed(bool bReversed)
{
    m_bReversed = bReversed;
    changed();
}

void CKXPalette::setLogScale(bool bLogScale)
{
    m_bLogScale = bLogScale;
    changed();
}

void CKXPalette::changed()
{
    ++m_nVersion;
    if (m_listener)
        m_listener(this);
}

bool CKXPalette::normalizedPosition(double v, double& t) const
{
    const double lo = m_fMin;
    const double hi = m_fMax;
    if (m_bLogScale && hi > 0.0)
    {
        const double logLo = lo > 0.0 ? lo : hi / 1000.0;
        if (v < logLo || v <= 0.0)
            return false;
        t = hi > logLo ? std::log(v / logLo) / std::log(hi / logLo) : 1.0;
    }
    else
    {
        if (v < lo)
            return false;
        t = hi > lo ? (v - lo) / (hi - lo) : 1.0;
    }
    t = std::clamp(t, 0.0, 1.0);
    if (m_bReversed)
        t = 1.0 - t;
    return true;
}

double CKXPalette::rangeFraction(double v) const
{
    double t = 0.0;
    if (!normalizedPosition(v, t))
        return 0.0;
    return m_bReversed ? 1.0 - t : t;
}

QColor CKXPalette::mapColor(double v) const
{
    unsigned char rgba[4];
    mapToBytes(v, rgba);
    return QColor(rgba[0], rgba[1], rgba[2], rgba[3]);
}

void CKXPalette::mapToBytes(double v, unsigned char* pRgba) const
{
    double t = 0.0;
    if (!normalizedPosition(v, t))
    {
        pRgba[0] = pRgba[1] = pRgba[2] = pRgba[3] = 0;
        return;
    }
    const QRgb c = tableColor(m_nTable, m_fLow + t * (m_fHigh - m_fLow));
    pRgba[0] = static_cast<unsigned char>(qRed(c));
    pRgba[1] = static_cast<unsigned char>(qGreen(c));
    pRgba[2] = static_cast<unsigned char>(qBlue(c));
    pRgba[3] = 255;
}

QRgb CKXPalette::tableColor(int nTable, double dPosition)
{
    const std::vector<Stop>& s = stops(nTable);
    const double p = std::clamp(dPosition, 0.0, 1.0);
    size_t i = 1;
    while (i + 1 < s.size() && s[i].pos < p)
        ++i;
    const Stop& a = s[i - 1];
    const Stop& b = s[i];
    const double f = b.pos > a.pos ? (p - a.pos) / (b.pos - a.pos) : 0.0;
    auto mix = [f](int x, int y) { return static_cast<int>(std::lround(x + f * (y - x))); };
    return qRgb(mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b));
}

QStringList CKXPalette::tableNames()
{
    return {QStringLiteral("Rainbow"),   QStringLiteral("Hot Iron"), QStringLiteral("Grey"),
            QStringLiteral("Cool-Warm"), QStringLiteral("Viridis"),  QStringLiteral("Green")};
}

void CKXPalette::tableBytes(int nTable, unsigned char* pRgba)
{
    for (int i = 0; i < 256; ++i)
    {
        const QRgb c = tableColor(nTable, i / 255.0);
        pRgba[4 * i + 0] = static_cast<unsigned char>(qRed(c));
        pRgba[4 * i + 1] = static_cast<unsigned char>(qGreen(c));
        pRgba[4 * i + 2] = static_cast<unsigned char>(qBlue(c));
        pRgba[4 * i + 3] = 255;
    }
}
