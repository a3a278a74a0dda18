// A colour palette: a colour table mapped onto a value range.
#ifndef CXKPALETTE_H
#define CXKPALETTE_H

class CXKPalette
{
public:
    virtual ~CXKPalette() = default;
    // Chooses colour table nTable and the part of it in use, fLow..fHigh as fractions 0..1.
    virtual void setColorTableType(int nTable, float fLow, float fHigh) = 0;
    // Spreads colour table nTable over the data values fMin..fMax.
    virtual void SetColorTable(int nTable, float fMin, float fMax) = 0;
    virtual void setReversed(bool bReversed) = 0;
    virtual void setLogScale(bool bLogScale) = 0;
};

#endif // CXKPALETTE_H
