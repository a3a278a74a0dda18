// A scalar image: values sampled on the vertices of a mesh or in a volume (photon density).
#ifndef CKXSCALARIMAGE_H
#define CKXSCALARIMAGE_H

#include "CXKImage.h"

#include <vector>

class CKXScalarImage : public CXKImage
{
public:
    CKXScalarImage() = default;
    explicit CKXScalarImage(std::vector<float> values);

    bool getMinMax(double& dMin, double& dMax) const override;

    const std::vector<float>& values() const { return m_values; }
    void setValues(std::vector<float> values);
    bool isEmpty() const { return m_values.empty(); }

private:
    std::vector<float> m_values;
    float m_fMin = 0.0f;
    float m_fMax = 0.0f;
};

#endif // CKXSCALARIMAGE_H
