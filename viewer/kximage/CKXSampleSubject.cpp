#include "CKXSampleSubject.h"

#include <QMatrix4x4>
#include <QtMath>

#include <algorithm>
#include <cmath>
#include <limits>

namespace KXSampleSubject
{
namespace
{
constexpr double kPi = 3.14159265358979323846;
constexpr float kNoseX = 45.0f;
constexpr float kBodyLength = 90.0f;

// Body profile along s = 0 (nose) .. 1 (rump): half width, upper and lower half heights and
// the height of the cross-section's centre.
struct ProfilePoint
{
    double s, w, hUp, hLow, zc;
};
const ProfilePoint kProfile[] = {
    {0.00, 2.0, 2.0, 2.0, -2.5},  {0.05, 4.2, 3.6, 3.0, -1.8},  {0.12, 6.8, 5.4, 4.4, -0.8},
    {0.20, 8.6, 7.2, 5.6, 0.3},   {0.28, 9.0, 8.2, 6.4, 0.8},   {0.34, 10.4, 9.4, 7.4, 1.0},
    {0.45, 12.8, 10.8, 8.8, 1.0}, {0.60, 14.6, 11.8, 9.8, 1.2}, {0.75, 14.6, 11.8, 9.8, 1.6},
    {0.88, 12.2, 10.4, 8.4, 2.0}, {0.96, 8.0, 7.2, 6.0, 2.0},   {1.00, 4.0, 4.0, 4.0, 2.0}};
constexpr int kProfileCount = sizeof(kProfile) / sizeof(kProfile[0]);

double catmullRom(double p0, double p1, double p2, double p3, double t)
{
    return 0.5 * ((2.0 * p1) + (-p0 + p2) * t + (2.0 * p0 - 5.0 * p1 + 4.0 * p2 - p3) * t * t +
                  (-p0 + 3.0 * p1 - 3.0 * p2 + p3) * t * t * t);
}

ProfilePoint profileAt(double s)
{
    s = std::clamp(s, 0.0, 1.0);
    int i = 0;
    while (i + 2 < kProfileCount && kProfile[i + 1].s < s)
        ++i;
    const ProfilePoint& a = kProfile[std::max(i - 1, 0)];
    const ProfilePoint& b = kProfile[i];
    const ProfilePoint& c = kProfile[i + 1];
    const ProfilePoint& d = kProfile[std::min(i + 2, kProfileCount - 1)];
    const double t = (s - b.s) / (c.s - b.s);
    ProfilePoint r;
    r.s = s;
    r.w = catmullRom(a.w, b.w, c.w, d.w, t);
    r.hUp = catmullRom(a.hUp, b.hUp, c.hUp, d.hUp, t);
    r.hLow = catmullRom(a.hLow, b.hLow, c.hLow, d.hLow, t);
    r.zc = catmullRom(a.zc, b.zc, c.zc, d.zc, t);
    // Rounded nose and rump: the radii go to zero like a circle's at both ends.
    const double capNose = 0.07, capRump = 0.09;
    double f = 1.0;
    if (s < capNose)
        f = std::sqrt(std::max(0.0, 1.0 - std::pow((capNose - s) / capNose, 2.0)));
    else if (s > 1.0 - capRump)
        f = std::sqrt(std::max(0.0, 1.0 - std::pow((s - (1.0 - capRump)) / capRump, 2.0)));
    r.w *= f;
    r.hUp *= f;
    r.hLow *= f;
    return r;
}

// Haunches and shoulders: bulges low on the flanks.
double limbBulge(double s, double phi)
{
    double b = 0.0;
    const double limbs[][2] = {{0.38, 0.16}, {0.80, 0.26}}; // (s, amplitude)
    for (const auto& l : limbs)
        for (double side : {-1.0, 1.0})
        {
            const double phiLimb = side > 0 ? -0.35 * kPi : -0.65 * kPi;
            double dphi = std::remainder(phi - phiLimb, 2.0 * kPi);
            b += l[1] * std::exp(-std::pow((s - l[0]) / 0.06, 2.0) - std::pow(dphi / 0.45, 2.0));
        }
    return b;
}

QVector3D bodyPoint(double s, double phi)
{
    const ProfilePoint p = profileAt(s);
    const double blend = 0.5 + 0.5 * std::sin(phi);
    const double h = p.hLow + (p.hUp - p.hLow) * blend;
    const double r = 1.0 + limbBulge(s, phi);
    return QVector3D(static_cast<float>(kNoseX - kBodyLength * s),
                     static_cast<float>(p.w * r * std::cos(phi)),
                     static_cast<float>(p.zc + h * r * std::sin(phi)));
}

// A closed surface from a map of the unit sphere: rings of `lon` vertices between two poles.
template <class F> CKXGeometry sphereMap(int lat, int lon, F&& pointOf)
{
    CKXGeometry g;
    const int north = g.addVertex(pointOf(0.0, 0.0));
    for (int i = 1; i < lat; ++i)
        for (int j = 0; j < lon; ++j)
            g.addVertex(pointOf(kPi * i / lat, 2.0 * kPi * j / lon));
    const int south = g.addVertex(pointOf(kPi, 0.0));
    auto ring = [lon](int i, int j) { return 1 + (i - 1) * lon + (j % lon); };
    for (int j = 0; j < lon; ++j)
        g.addTriangle(north, ring(1, j), ring(1, j + 1));
    for (int i = 1; i + 1 < lat; ++i)
        for (int j = 0; j < lon; ++j)
        {
            g.addTriangle(ring(i, j), ring(i + 1, j), ring(i + 1, j + 1));
            g.addTriangle(ring(i, j), ring(i + 1, j + 1), ring(i, j + 1));
        }
    for (int j = 0; j < lon; ++j)
        g.addTriangle(ring(lat - 1, j + 1), ring(lat - 1, j), south);
    g.orientOutward();
    return g;
}

QVector3D unitDirection(double theta, double phi)
{
    return QVector3D(static_cast<float>(std::sin(theta) * std::cos(phi)),
                     static_cast<float>(std::sin(theta) * std::sin(phi)),
                     static_cast<float>(std::cos(theta)));
}

CKXGeometry makeTail(int detail)
{
    const int along = 72 / detail, around = 18 / detail;
    auto centre = [](double u)
    {
        const double a = 2.5 * u; // the tail curls round towards the animal's right
        return QVector3D(static_cast<float>(-42.0 - 20.0 * std::sin(a)),
                         static_cast<float>(-20.0 * (1.0 - std::cos(a))),
                         static_cast<float>(1.0 - 8.0 * (1.0 - std::pow(1.0 - u, 3.0))));
    };
    auto radius = [](double u) { return 2.6 * (1.0 - u) + 0.8 * u; };
    CKXGeometry g;
    for (int i = 0; i <= along; ++i)
    {
        const double u = static_cast<double>(i) / along;
        const QVector3D c = centre(u);
        const QVector3D t =
            (centre(std::min(1.0, u + 1e-3)) - centre(std::max(0.0, u - 1e-3))).normalized();
        const QVector3D b = QVector3D::crossProduct(t, QVector3D(0, 0, 1)).normalized();
        const QVector3D n = QVector3D::crossProduct(b, t);
        for (int j = 0; j < around; ++j)
        {
            const double a = 2.0 * kPi * j / around;
            g.addVertex(c + static_cast<float>(radius(u)) * (static_cast<float>(std::cos(a)) * b +
                                                             static_cast<float>(std::sin(a)) * n));
        }
    }
    for (int i = 0; i < along; ++i)
        for (int j = 0; j < around; ++j)
        {
            const int a = i * around + j, b = i * around + (j + 1) % around;
            const int c = a + around, d = b + around;
            g.addTriangle(a, b, d);
            g.addTriangle(a, d, c);
        }
    const QVector3D tip = centre(1.0) + 0.8f * (centre(1.0) - centre(0.99)).normalized();
    const int tipIndex = g.addVertex(tip);
    for (int j = 0; j < around; ++j)
        g.addTriangle(along * around + j, along * around + (j + 1) % around, tipIndex);
    // Closed where it starts too (inside the rump), so a translucent body shows no open end.
    const int rootIndex =
        g.addVertex(centre(0.0) - 1.5f * (centre(0.01) - centre(0.0)).normalized());
    for (int j = 0; j < around; ++j)
        g.addTriangle((j + 1) % around, j, rootIndex);
    g.orientOutward();
    return g;
}

CKXGeometry makeEar(float side, int detail)
{
    // A thin rounded cup standing up behind the eyes, opening forwards and outwards.
    const QVector3D centre(23.5f, side * 6.0f, 9.0f);
    QMatrix4x4 rot;
    rot.rotate(side * 35.0f, 0, 0, 1);  // opening turned outwards
    rot.rotate(side * -15.0f, 1, 0, 0); // leaning outwards
    return sphereMap(16 / detail, 24 / detail,
                     [&](double theta, double phi)
                     {
                         const QVector3D d = unitDirection(theta, phi);
                         const float cup = 0.9f * (1.0f - d.y() * d.y() - d.z() * d.z());
                         const QVector3D local(0.9f * d.x() - cup, 4.6f * d.y(),
                                               (d.z() > 0 ? 5.2f : 3.2f) * d.z());
                         return centre + rot.map(local);
                     });
}

QVector3D organLocal(const OrganPart& part, const QVector3D& d)
{
    QVector3D p(d.x() * part.radii.x(), d.y() * part.radii.y(), d.z() * part.radii.z());
    if (part.groove > 0.0f && p.z() > 0.0f)
        p.setZ(p.z() * (1.0f - part.groove * std::exp(-std::pow(d.y() / 0.18f, 2.0f))));
    if (part.taper != 0.0f)
    {
        const float f = 1.0f - part.taper * (0.5f + 0.5f * d.x());
        p.setY(p.y() * f);
        p.setZ(p.z() * f);
    }
    p.setY(p.y() + part.bend * p.x() * p.x());
    return p;
}

CKXGeometry makeOrganPart(const OrganPart& part)
{
    QMatrix4x4 rot;
    rot.rotate(part.yawDeg, 0, 0, 1);
    return sphereMap(20, 30,
                     [&](double theta, double phi) {
                         return part.centre + rot.map(organLocal(part, unitDirection(theta, phi)));
                     });
}

bool insideOrganPart(const OrganPart& part, const QVector3D& p, float scale = 1.0f)
{
    QMatrix4x4 inv;
    inv.rotate(-part.yawDeg, 0, 0, 1);
    QVector3D q = inv.map(p - part.centre);
    q.setY(q.y() - part.bend * q.x() * q.x());
    const QVector3D r = scale * part.radii;
    const float e = std::pow(q.x() / r.x(), 2.0f) + std::pow(q.y() / r.y(), 2.0f) +
                    std::pow(q.z() / r.z(), 2.0f);
    return e <= 1.0f;
}
} // namespace

CKXGeometry makeBody(int detail)
{
    // Rings denser towards the rounded ends; the cross-sections wrap around without a seam.
    const int rings = 178 / detail, around = 124 / detail;
    CKXGeometry g;
    const int nose = g.addVertex(bodyPoint(0.0, 0.0));
    for (int i = 1; i < rings; ++i)
    {
        const double u = static_cast<double>(i) / rings;
        const double s = 0.5 - 0.5 * std::cos(kPi * u);
        for (int j = 0; j < around; ++j)
            g.addVertex(bodyPoint(s, 2.0 * kPi * j / around - kPi));
    }
    const int rump = g.addVertex(bodyPoint(1.0, 0.0));
    auto ring = [around](int i, int j) { return 1 + (i - 1) * around + (j % around); };
    for (int j = 0; j < around; ++j)
        g.addTriangle(nose, ring(1, j + 1), ring(1, j));
    for (int i = 1; i + 1 < rings; ++i)
        for (int j = 0; j < around; ++j)
        {
            g.addTriangle(ring(i, j), ring(i, j + 1), ring(i + 1, j + 1));
            g.addTriangle(ring(i, j), ring(i + 1, j + 1), ring(i + 1, j));
        }
    for (int j = 0; j < around; ++j)
        g.addTriangle(ring(rings - 1, j), ring(rings - 1, j + 1), rump);
    g.orientOutward();
    g.append(makeTail(detail));
    g.append(makeEar(-1.0f, detail));
    g.append(makeEar(1.0f, detail));
    g.finish();
    return g;
}

bool insideBody(const QVector3D& p, float inset)
{
    const double s = (kNoseX - p.x()) / kBodyLength;
    if (s < 0.0 || s > 1.0)
        return false;
    const ProfilePoint pr = profileAt(s);
    const double dz = p.z() - pr.zc;
    const double h = (dz >= 0 ? pr.hUp : pr.hLow) - inset;
    const double w = pr.w - inset;
    if (h <= 0.0 || w <= 0.0)
        return false;
    return std::pow(p.y() / w, 2.0) + std::pow(dz / h, 2.0) <= 1.0;
}

const std::vector<OrganSpec>& organs()
{
    static const std::vector<OrganSpec> list = []
    {
        std::vector<OrganSpec> o;
        OrganPart brain{{29.0f, 0.0f, 1.6f}, {6.0f, 4.6f, 3.1f}};
        brain.groove = 0.22f;
        o.push_back({QStringLiteral("Brain"), QColor(214, 150, 206), 0.55f, {brain}});
        OrganPart heart{{13.5f, -1.5f, -1.8f}, {4.6f, 3.7f, 3.7f}, -25.0f};
        heart.taper = -0.55f;
        o.push_back({QStringLiteral("Heart"), QColor(206, 32, 44), 0.62f, {heart}});
        OrganPart lungL{{13.0f, 5.6f, 1.6f}, {7.6f, 3.6f, 5.6f}, 8.0f};
        OrganPart lungR{{13.0f, -5.6f, 1.6f}, {7.6f, 3.6f, 5.6f}, -8.0f};
        o.push_back({QStringLiteral("Lungs"), QColor(250, 178, 160), 0.18f, {lungL, lungR}});
        OrganPart liver{{1.5f, 0.0f, -1.2f}, {4.6f, 11.6f, 6.6f}};
        liver.bend = 0.0f;
        o.push_back({QStringLiteral("Liver"), QColor(150, 52, 40), 0.66f, {liver}});
        o.push_back({QStringLiteral("Stomach"),
                     QColor(226, 196, 132),
                     0.45f,
                     {{{-4.5f, 5.5f, 1.5f}, {4.8f, 3.8f, 3.4f}, 20.0f}}});
        OrganPart kidneyL{{-13.0f, 6.6f, 3.8f}, {4.4f, 2.6f, 2.5f}, 12.0f, 0.045f};
        OrganPart kidneyR{{-11.5f, -6.6f, 3.8f}, {4.4f, 2.6f, 2.5f}, -12.0f, -0.045f};
        o.push_back({QStringLiteral("Kidneys"), QColor(150, 58, 110), 0.62f, {kidneyL, kidneyR}});
        o.push_back({QStringLiteral("Bladder"),
                     QColor(236, 214, 92),
                     0.4f,
                     {{{-33.0f, 0.0f, -1.8f}, {3.8f, 3.2f, 3.1f}}}});
        return o;
    }();
    return list;
}

CKXGeometry makeOrgan(const OrganSpec& organ)
{
    CKXGeometry g;
    for (const OrganPart& part : organ.parts)
        g.append(makeOrganPart(part));
    g.finish();
    return g;
}

float sourceIntensity(const SourceSpec& source, const QVector3D& p)
{
    float v = 0.0f;
    for (const Lobe& l : source.lobes)
    {
        const QVector3D d = p - l.centre;
        const float e = std::pow(d.x() / l.sigma.x(), 2.0f) + std::pow(d.y() / l.sigma.y(), 2.0f) +
                        std::pow(d.z() / l.sigma.z(), 2.0f);
        v += l.amplitude * std::exp(-0.5f * e);
    }
    return 100.0f * v;
}

SKXVolumeData makeSourceGrid(const SourceSpec& source, float spacing)
{
    QVector3D lo = source.lobes.front().centre, hi = lo;
    for (const Lobe& l : source.lobes)
    {
        const QVector3D reach = 3.2f * l.sigma;
        lo = QVector3D(std::min(lo.x(), l.centre.x() - reach.x()),
                       std::min(lo.y(), l.centre.y() - reach.y()),
                       std::min(lo.z(), l.centre.z() - reach.z()));
        hi = QVector3D(std::max(hi.x(), l.centre.x() + reach.x()),
                       std::max(hi.y(), l.centre.y() + reach.y()),
                       std::max(hi.z(), l.centre.z() + reach.z()));
    }
    // Sample points stepped as a running sum from `lo`, as the source was always sampled, so
    // the intensities stay bit for bit what they were.
    auto steps = [spacing](float from, float to)
    {
        std::vector<float> v;
        for (float x = from; x <= to; x += spacing)
            v.push_back(x);
        return v;
    };
    const std::vector<float> xs = steps(lo.x(), hi.x()), ys = steps(lo.y(), hi.y()),
                             zs = steps(lo.z(), hi.z());
    SKXVolumeData grid;
    grid.nx = static_cast<int>(xs.size());
    grid.ny = static_cast<int>(ys.size());
    grid.nz = static_cast<int>(zs.size());
    grid.values.reserve(grid.voxelCount());
    float peak = 0.0f;
    for (float z : zs)
        for (float y : ys)
            for (float x : xs)
            {
                grid.values.push_back(sourceIntensity(source, QVector3D(x, y, z)));
                peak = std::max(peak, grid.values.back());
            }
    // The peak is normalised to exactly 100 over the grid.
    grid.minimum = std::numeric_limits<float>::max();
    for (float& v : grid.values)
    {
        v *= 100.0f / peak;
        grid.minimum = std::min(grid.minimum, v);
    }
    grid.maximum = 100.0f;
    grid.voxelToWorld.translate(lo);
    grid.voxelToWorld.scale(spacing);
    return grid;
}

CKXGeometry makeSourceSurface(const SourceSpec& source, float level)
{
    const QVector3D c = source.lobes.front().centre;
    const float peak = sourceIntensity(source, c);
    const float target = level / 100.0f * peak;
    CKXGeometry g = sphereMap(16, 24,
                              [&](double theta, double phi)
                              {
                                  const QVector3D d = unitDirection(theta, phi);
                                  float r0 = 0.0f, r1 = 0.5f;
                                  while (sourceIntensity(source, c + r1 * d) > target && r1 < 60.0f)
                                  {
                                      r0 = r1;
                                      r1 *= 1.5f;
                                  }
                                  for (int k = 0; k < 30; ++k)
                                  {
                                      const float m = 0.5f * (r0 + r1);
                                      (sourceIntensity(source, c + m * d) > target ? r0 : r1) = m;
                                  }
                                  return c + 0.5f * (r0 + r1) * d;
                              });
    g.finish();
    return g;
}

std::vector<float> photonDensity(const CKXGeometry& body, const SourceSpec& source, float peak,
                                 const CKXGeometry* reference)
{
    const float mu = 0.16f; // effective attenuation, 1/mm
    auto raw = [&source, mu](const QVector3D& p)
    {
        float sum = 0.0f;
        for (const Lobe& l : source.lobes)
        {
            const float d = std::max((p - l.centre).length(), 2.0f);
            sum += l.amplitude * std::exp(-mu * d) / d;
        }
        return sum;
    };
    const CKXGeometry& ref = reference ? *reference : body;
    float maxValue = 0.0f;
    for (int i = 0; i < ref.vertexCount(); ++i)
        maxValue = std::max(maxValue, raw(ref.vertex(i)));
    std::vector<float> v(static_cast<size_t>(body.vertexCount()));
    for (int i = 0; i < body.vertexCount(); ++i)
        v[static_cast<size_t>(i)] = peak * (0.0015f + 0.9985f * raw(body.vertex(i)) / maxValue);
    return v;
}

SKXVolumeData makeAnatomyGrid()
{
    SKXVolumeData grid;
    grid.name = QStringLiteral("Anatomy");
    grid.nx = 112;
    grid.ny = 40;
    grid.nz = 32;
    const QVector3D boxMin(-46.0f, -16.5f, -10.5f), boxMax(46.0f, 16.5f, 14.5f);
    grid.values.assign(grid.voxelCount(), 0.0f);
    const QVector3D step((boxMax.x() - boxMin.x()) / grid.nx, (boxMax.y() - boxMin.y()) / grid.ny,
                         (boxMax.z() - boxMin.z()) / grid.nz);
    grid.voxelToWorld.translate(boxMin + 0.5f * step);
    grid.voxelToWorld.scale(step);
    const std::vector<OrganSpec>& organList = organs();
    const OrganPart& brain = organList.front().parts.front();
    size_t idx = 0;
    for (int k = 0; k < grid.nz; ++k)
        for (int j = 0; j < grid.ny; ++j)
            for (int i = 0; i < grid.nx; ++i, ++idx)
            {
                const QVector3D p = boxMin + QVector3D((i + 0.5f) * step.x(), (j + 0.5f) * step.y(),
                                                       (k + 0.5f) * step.z());
                if (!insideBody(p))
                    continue;
                float d = insideBody(p, 1.2f) ? 0.2f : 0.3f; // skin a little denser
                for (const OrganSpec& o : organList)
                    for (const OrganPart& part : o.parts)
                        if (insideOrganPart(part, p))
                            d = o.density;
                const double s = (kNoseX - p.x()) / kBodyLength;
                const ProfilePoint pr = profileAt(s);
                // Spine: a chain of vertebrae under the back.
                const float spineZ = static_cast<float>(pr.zc + 0.62 * pr.hUp);
                const float vertebra = 0.75f + 0.25f * std::cos(p.x() * 2.0f * float(kPi) / 2.6f);
                if (s > 0.26 && s < 0.97 && std::hypot(p.y(), p.z() - spineZ) < 1.7f * vertebra)
                    d = 1.0f;
                // Ribs: thin hoops around the chest.
                if (s > 0.3 && s < 0.56 && std::fmod(std::fabs(p.x()) + 0.3f, 3.1f) < 0.85f)
                {
                    const double e =
                        std::pow(p.y() / (0.86 * pr.w), 2.0) +
                        std::pow((p.z() - pr.zc) / (0.86 * (p.z() > pr.zc ? pr.hUp : pr.hLow)),
                                 2.0);
                    if (e > 0.78 && e < 1.0)
                        d = 0.9f;
                }
                // Skull: a shell around the brain.
                if (insideOrganPart(brain, p, 1.28f) && !insideOrganPart(brain, p, 1.08f))
                    d = 0.95f;
                grid.values[idx] = static_cast<float>(std::lround(d * 255.0f));
                grid.maximum = std::max(grid.maximum, grid.values[idx]);
            }
    return grid;
}

namespace
{
struct VariantSpec
{
    SourceSpec original;
    SourceSpec voxels;
    std::vector<SourceSpec> surfaces;
    int originalTable;
    int voxelTable;
    QColor originalSurfaceColor;
    QColor surfaceColor;
};

VariantSpec variantSpec(int nVariant)
{
    VariantSpec v;
    if (nVariant == 1)
    {
        // A lung lesion on the animal's left, a flank source and a pair of nodes by the tail.
        v.original.lobes = {Lobe{{14.0f, 5.0f, 3.6f}, {2.6f, 2.2f, 2.2f}, 1.0f},
                            Lobe{{16.5f, 6.2f, 2.0f}, {1.8f, 1.6f, 1.6f}, 0.55f}};
        v.voxels.lobes = {Lobe{{-17.0f, -6.5f, 0.0f}, {2.8f, 2.2f, 2.4f}, 1.0f},
                          Lobe{{-20.0f, -5.0f, -1.5f}, {1.8f, 1.8f, 1.6f}, 0.5f}};
        v.surfaces = {{{Lobe{{-30.0f, 4.5f, 2.0f}, {1.8f, 1.5f, 1.5f}, 1.0f}}},
                      {{Lobe{{-26.0f, -3.5f, 4.0f}, {1.5f, 1.3f, 1.3f}, 1.0f}}}};
        v.originalTable = CKXPalette::Rainbow;
        v.voxelTable = CKXPalette::Viridis;
        v.originalSurfaceColor = QColor(120, 230, 255);
        v.surfaceColor = QColor(255, 90, 210);
        return v;
    }
    // A tumour on the animal's right flank by the kidney, a source under the back and two
    // lymph nodes in the neck.
    v.original.lobes = {Lobe{{-9.0f, -8.5f, 0.5f}, {3.0f, 2.4f, 2.6f}, 1.0f},
                        Lobe{{-6.5f, -9.5f, 2.0f}, {2.0f, 1.6f, 1.8f}, 0.6f}};
    v.voxels.lobes = {Lobe{{-1.0f, 3.5f, 6.5f}, {2.4f, 2.2f, 2.0f}, 1.0f},
                      Lobe{{1.0f, 2.5f, 5.5f}, {1.6f, 1.5f, 1.5f}, 0.45f}};
    v.surfaces = {{{Lobe{{21.0f, -4.0f, -4.0f}, {1.7f, 1.4f, 1.4f}, 1.0f}}},
                  {{Lobe{{21.5f, 4.0f, -3.8f}, {1.5f, 1.3f, 1.3f}, 1.0f}}}};
    v.originalTable = CKXPalette::HotIron;
    v.voxelTable = CKXPalette::GreenFluor;
    v.originalSurfaceColor = QColor(255, 150, 60);
    v.surfaceColor = QColor(90, 220, 255);
    return v;
}

std::shared_ptr<const CKXGeometry> share(CKXGeometry g)
{
    return std::make_shared<const CKXGeometry>(std::move(g));
}
} // namespace

SKXSceneDescription makeDescription(int nVariant)
{
    const VariantSpec spec = variantSpec(nVariant == 1 ? 1 : 0);
    SKXSceneDescription d;
    d.name = QStringLiteral("Sample subject %1").arg(QChar(nVariant == 1 ? 'B' : 'A'));

    auto body = std::make_shared<SKXSurfaceData>();
    body->name = QStringLiteral("Body");
    body->geometry = share(makeBody(1));
    body->scalars = photonDensity(*body->geometry, spec.original, 10000.0f);
    body->scalarName = QStringLiteral("photon density");
    auto farSide = std::make_shared<SKXSurfaceData>(*body);
    farSide->geometry = share(makeBody(2));
    farSide->scalars =
        photonDensity(*farSide->geometry, spec.original, 10000.0f, body->geometry.get());
    d.subject = body;
    d.subjectFarSide = farSide;

    for (const OrganSpec& o : organs())
        d.organs.push_back({o.name, o.color, share(makeOrgan(o)), {}, {}});

    d.anatomy = std::make_shared<SKXVolumeData>(makeAnatomyGrid());

    SKXSourceData original;
    original.name = QStringLiteral("Original");
    original.volume = std::make_shared<SKXVolumeData>(makeSourceGrid(spec.original, 0.9f));
    original.surfaces.push_back({QStringLiteral("Original_Surface"),
                                 {},
                                 share(makeSourceSurface(spec.original, 35.0f)),
                                 {},
                                 {}});
    original.color = spec.originalSurfaceColor;
    original.colorTable = spec.originalTable;
    d.sources.push_back(std::move(original));

    SKXSourceData voxels;
    voxels.name = QStringLiteral("SourceVoxels_1");
    voxels.volume = std::make_shared<SKXVolumeData>(makeSourceGrid(spec.voxels, 0.9f));
    voxels.colorTable = spec.voxelTable;
    voxels.threshold = 20.0f;
    d.sources.push_back(std::move(voxels));

    SKXSourceData surfaces;
    surfaces.name = QStringLiteral("SourceSurface_1");
    for (size_t i = 0; i < spec.surfaces.size(); ++i)
        surfaces.surfaces.push_back({QStringLiteral("SourceSurface_1_Part%1").arg(i + 1),
                                     {},
                                     share(makeSourceSurface(spec.surfaces[i], 30.0f)),
                                     {},
                                     {}});
    surfaces.color = spec.surfaceColor;
    surfaces.colorTable = CKXPalette::Rainbow;
    d.sources.push_back(std::move(surfaces));

    // The default view: the animal lying along x, seen from above at about 40 degrees and from
    // its right front, head towards the lower right.
    d.viewOrientation.rotate(-48.0f, 1, 0, 0);
    d.viewOrientation.rotate(-48.0f, 0, 0, 1);
    // Framed on the trunk: the tail and the ears would pull the bounds' centre off it.
    d.viewCentre = QVector3D(-10.0f, -3.0f, 0.0f);
    d.viewSize = 54.0f;
    return d;
}

} // namespace KXSampleSubject
