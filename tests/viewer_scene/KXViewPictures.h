// What the view's picture tests share: a sample scene in a shown view, scenes drawn once in a
// view of their own, and comparisons of the pictures.
#ifndef KXVIEWPICTURES_H
#define KXVIEWPICTURES_H

#include "CKXGLView.h"
#include "CKXSampleScene.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

// Shows the view at the given size; false if it has no GL context after 10 s.
inline bool kxShowView(CKXGLView& view, int nWidth, int nHeight)
{
    view.resize(nWidth, nHeight);
    view.show();
    QElapsedTimer timer;
    timer.start();
    while (!view.isValid() && timer.elapsed() < 10000)
        QApplication::processEvents();
    return view.isValid();
}

inline QImage kxGrab(CKXGLView& view)
{
    return view.grabFramebuffer().convertToFormat(QImage::Format_RGB32);
}

// The scene drawn by a 320 x 240 view of its own, per-pixel order on or off, turned by rotation.
inline QImage kxRender(CKXSampleScene& scene, bool bOrderIndependent = true,
                       const unitquaternion& rotation = unitquaternion())
{
    CKXGLView view(&scene);
    view.setOrderIndependentTranslucency(bOrderIndependent);
    EXPECT_TRUE(kxShowView(view, 320, 240)) << "no GL context";
    view.setCurrentQuaternion(rotation);
    return kxGrab(view);
}

// Mean absolute difference per colour channel, 0..255; 255 for pictures of different sizes.
inline double kxMeanDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return 255.0;
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

// The pixels that differ from the background by more than 30 levels over the three channels:
// how many, their bounds and their centroid (x right, y down, pixel centres at +0.5).
struct SKXMask
{
    int count = 0;
    QPointF centroid;
    QRect bounds;
};

inline SKXMask kxMask(const QImage& img, const QImage& bg)
{
    SKXMask m;
    double sx = 0, sy = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
        {
            const QRgb p = img.pixel(x, y), q = bg.pixel(x, y);
            if (std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) +
                    std::abs(qBlue(p) - qBlue(q)) >
                30)
            {
                ++m.count;
                m.bounds |= QRect(x, y, 1, 1);
                sx += x + 0.5;
                sy += y + 0.5;
            }
        }
    if (m.count)
        m.centroid = QPointF(sx / m.count, sy / m.count);
    return m;
}

// The sample scene in a view shown at 320 x 240.
class CShownViewTest : public ::testing::Test
{
protected:
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 240;

    void SetUp() override
    {
        view = std::make_unique<CKXGLView>(&scene);
        ASSERT_TRUE(kxShowView(*view, kWidth, kHeight)) << "no GL context";
    }
    QImage grab() { return kxGrab(*view); }

    CKXSampleScene scene{0};
    std::unique_ptr<CKXGLView> view;
};

#endif // KXVIEWPICTURES_H
