// Picture comparison shared by the view's picture tests.
#ifndef KXIMAGEDIFFERENCE_H
#define KXIMAGEDIFFERENCE_H

#include <QImage>

#include <cstdlib>

// Mean absolute difference per colour channel of two pictures of the same size, 0..255.
inline double kxMeanDifference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
        {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) +
                   std::abs(qBlue(p) - qBlue(q));
        }
    return sum / (3.0 * a.width() * a.height());
}

#endif
