// A scalar image (for instance a photon density map) with its value range.
#ifndef CXKIMAGE_H
#define CXKIMAGE_H

class CXKImage
{
public:
    virtual ~CXKImage() = default;
    // Smallest and largest value of the image; false when it holds no data.
    virtual bool getMinMax(double& dMin, double& dMax) const = 0;
};

#endif // CXKIMAGE_H
