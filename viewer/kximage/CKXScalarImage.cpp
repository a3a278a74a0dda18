#include "CKXScalarImage.h"

#include <algorithm>

CKXScalarImage::CKXScalarImage(std::vector<float> values)
{
    setValues(std::move(values));
}

void CKXScalarImage::setValues(std::vector<float> values)
{
    m_values = std::move(values);
    if (m_values.empty())
    {
        m_fMin = m_fMax = 0.0f;
        return;
    }
    const auto [lo, hi] = std::minmax_element(m_values.begin(), m_values.end());
    m_fMin = *lo;
    m_fMax = *hi;
}

bool CKXScalarImage::getMinMax(double& dMin, double& dMax) const
{
    if (m_values.empty())
        return false;
    dMin = m_fMin;
    dMax = m_fMax;
    return true;
}
