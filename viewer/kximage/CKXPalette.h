// Colour palettes: a colour table mapped onto a data range, as used by the photon density map of
// the surface mesh and by the voxel sources.
//
// Mapping of a value v (see map()):
//   t = (v - min) / (max - min), or with log scale log(v / min') / log(max / min') where min' is
//       min, or max / 1000 when min is not positive; t is clamped to 0..1;
//   reversed: t = 1 - t;
//   the colour is the table's colour at low + t (high - low) (setColorTableType's part in use).
// Values below the lower bound are "not coloured" (alpha 0): the surface keeps its own colour.
#ifndef CKXPALETTE_H
#define CKXPALETTE_H

#include "CXKPalette.h"

#include <QColor>
#include <QStringList>

#include <functional>

class CKXPalette : public CXKPalette
{
public:
    enum ColorTable
    {
        Rainbow = 0,
        HotIron = 1,
        Grey = 2,
        CoolWarm = 3,
        Viridis = 4,
        GreenFluor = 5,
        TableCount = 6
    };

    CKXPalette() = default;

    // CXKPalette
    void setColorTableType(int nTable, float fLow, float fHigh) override;
    void SetColorTable(int nTable, float fMin, float fMax) override;
    void setReversed(bool bReversed) override;
    void setLogScale(bool bLogScale) override;

    int colorTable() const { return m_nTable; }
    float low() const { return m_fLow; }
    float high() const { return m_fHigh; }
    float minimum() const { return m_fMin; }
    float maximum() const { return m_fMax; }
    bool isReversed() const { return m_bReversed; }
    bool isLogScale() const { return m_bLogScale; }

    // Table position 0..1 of value v, before the low/high part is applied; false when v is
    // below the lower bound (not coloured).
    bool normalizedPosition(double v, double& t) const;
    // Where v lies in the range, 0..1 (not reversed, log scale applied); 0 below it.
    double rangeFraction(double v) const;
    // The colour of value v; alpha 0 when v is below the lower bound.
    QColor mapColor(double v) const;
    // As mapColor, into four bytes RGBA (the per-vertex colour buffer).
    void mapToBytes(double v, unsigned char* pRgba) const;

    // Bumped by every change, so that users can cache what they derived.
    unsigned version() const { return m_nVersion; }
    // Called after every change (the scene keeps its display state in step with it).
    void setChangeListener(std::function<void(CKXPalette*)> listener)
    {
        m_listener = std::move(listener);
    }

    // The colour at position 0..1 of table nTable (an out-of-range table gives the rainbow).
    static QRgb tableColor(int nTable, double dPosition);
    static QStringList tableNames();
    // 256 entries of table nTable as RGBA bytes (a colour table texture).
    static void tableBytes(int nTable, unsigned char* pRgba256x4);

private:
    void changed();

    int m_nTable = Rainbow;
    float m_fLow = 0.0f;
    float m_fHigh = 1.0f;
    float m_fMin = 0.0f;
    float m_fMax = 1.0f;
    bool m_bReversed = false;
    bool m_bLogScale = false;
    unsigned m_nVersion = 1;
    std::function<void(CKXPalette*)> m_listener;
};

#endif // CKXPALETTE_H
