// 3DMath: implementation. See 3DMath.h for units, conventions and the deliberate quirks.

#include "3DMath.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>

// ---------------------------------------------------------------------------------------
// Assertions
// ---------------------------------------------------------------------------------------

void kxMathAssertionFailed(const char* expression, const char* function, const char* file, int line)
{
    std::fprintf(stderr, "3DMath assertion failed: %s, function %s, file %s, line %d.\n",
                 expression, function, file, line);
    std::fflush(stderr);
    std::abort();
}

// ---------------------------------------------------------------------------------------
// Counters and constants. The counters are constant-initialised, so the constructors of
// the axis constants below (dynamic initialisation at load time) already find them at 0.
// ---------------------------------------------------------------------------------------

int Vec3f::counter = 0;
int quaternion::counter = 0;
int matrix::counter = 0;

const Vec3f ORIGIN(0.0, 0.0, 0.0);
const Vec3f X_AXIS(1.0, 0.0, 0.0);
const Vec3f Y_AXIS(0.0, 1.0, 0.0);
const Vec3f Z_AXIS(0.0, 0.0, 1.0);

double deg2rad(double const& degrees)
{
    return 0.01745329251994 * degrees;
}

double rad2deg(double const& radians)
{
    return 57.29577951308 * radians;
}

double simpleabs(double const& value)
{
    return value > 0 ? value : -value;
}

// ---------------------------------------------------------------------------------------
// Vec3f
// ---------------------------------------------------------------------------------------

double Vec3f::normalize()
{
    double const len = length();
    if (std::fabs(len) >= epsilon)
    {
        *this /= len;
        return len;
    }
    // Returning the tolerance instead of 0 lets callers divide by the result unguarded.
    return epsilon;
}

Vec3f Vec3f::normalized() const
{
    double const len = length();
    if (std::fabs(len) >= epsilon)
        return Vec3f(m_x / len, m_y / len, m_z / len);
    return Vec3f(0.0, 0.0, 0.0);
}

double Vec3f::angle(Vec3f const& other) const
{
    return std::acos((*this * other) / (length() * other.length())) * 180.0 / 3.14159265359;
}

void Vec3f::epsilonCorrect(Vec3f const& fallback)
{
    if (simpleabs(m_x) < epsilon && simpleabs(m_y) < epsilon && simpleabs(m_z) < epsilon)
        *this = fallback;
}

Vec3f operator/(Vec3f const& a, double const& d)
{
    KX_MATH_ASSERT(std::fabs(d) >= epsilon, "fabs(fact)>=epsilon", "operator/", "3DMath.cpp", 71);
    return Vec3f(a.x() / d, a.y() / d, a.z() / d);
}

std::ostream& operator<<(std::ostream& os, Vec3f const& v)
{
    return os << "[ " << v.x() << " ; " << v.y() << " ; " << v.z() << " ]";
}

Vec3f Bisect(Vec3f a, Vec3f b)
{
    Vec3f const sum = a + b;
    double const len2 = sum.length2();
    if (len2 < 1e-5)
        return Z_AXIS;
    return sum / std::sqrt(len2);
}

// ---------------------------------------------------------------------------------------
// quaternion
// ---------------------------------------------------------------------------------------

double quaternion::normalize()
{
    double const len = length();
    if (std::fabs(len) >= epsilon)
    {
        scalar /= len;
        vec /= len;
        return len;
    }
    scalar = 0.0;
    vec.set(0.0, 0.0, 0.0);
    return 0.0;
}

quaternion quaternion::normalized() const
{
    double const len = length();
    if (std::fabs(len) >= epsilon)
        return quaternion(scalar / len, vec.x() / len, vec.y() / len, vec.z() / len);
    return quaternion(0.0, 0.0, 0.0, 0.0);
}

double quaternion::inverse()
{
    double const n = norm();
    if (std::fabs(n) >= epsilon)
    {
        scalar /= n;
        vec /= -n;
    }
    else
    {
        scalar = 0.0;
        vec.set(0.0, 0.0, 0.0);
    }
    return n;
}

quaternion quaternion::inversed() const
{
    quaternion result(*this);
    result.inverse();
    return result;
}

// The Hamilton product on plain doubles, so that the in-place forms can read the old
// values of both operands even when they are the same object.
static void hamilton(quaternion const& p, quaternion const& q, double& w, double& x, double& y,
                     double& z)
{
    double const pw = p.scalar, px = p.vec.x(), py = p.vec.y(), pz = p.vec.z();
    double const qw = q.scalar, qx = q.vec.x(), qy = q.vec.y(), qz = q.vec.z();
    w = pw * qw - (px * qx + py * qy + pz * qz);
    // p.w q.v + q.w p.v + p.v ^ q.v, summed in that order.
    x = pw * qx + qw * px + (py * qz - pz * qy);
    y = pw * qy + qw * py + (pz * qx - px * qz);
    z = pw * qz + qw * pz + (px * qy - py * qx);
}

quaternion& quaternion::operator*=(quaternion const& q)
{
    double w, x, y, z;
    hamilton(*this, q, w, x, y, z);
    scalar = w;
    vec.set(x, y, z);
    return *this;
}

quaternion& quaternion::operator/=(quaternion const& q)
{
    return *this *= q.inversed();
}

quaternion operator*(quaternion const& p, quaternion const& q)
{
    double w, x, y, z;
    hamilton(p, q, w, x, y, z);
    return quaternion(w, x, y, z);
}

quaternion operator/(quaternion const& q, double const& d)
{
    return d * q.inversed();
}

quaternion operator/(quaternion const& p, quaternion const& q)
{
    return p * q.inversed();
}

std::ostream& operator<<(std::ostream& os, quaternion const& q)
{
    return os << "< " << q.scalar << " , " << q.vec << " >";
}

matrix quaternion::getRotMatrix() const
{
    double const n = norm();
    double const s = n > 0.0 ? 2.0 / n : 0.0;
    double const w = scalar, x = vec.x(), y = vec.y(), z = vec.z();
    double const xs = x * s, ys = y * s, zs = z * s;
    double const wx = w * xs, wy = w * ys, wz = w * zs;
    double const xx = x * xs, xy = x * ys, xz = x * zs;
    double const yy = y * ys, yz = y * zs, zz = z * zs;

    // Row-vector convention: the (1,0) element carries xy - wz.
    double const rowMajor[16] = {
        1.0 - (yy + zz),
        xy + wz,
        xz - wy,
        0.0, //
        xy - wz,
        1.0 - (xx + zz),
        yz + wx,
        0.0, //
        xz + wy,
        yz - wx,
        1.0 - (xx + yy),
        0.0, //
        0.0,
        0.0,
        0.0,
        1.0,
    };
    return matrix(rowMajor, matrix::ROW_MAJOR);
}

// ---------------------------------------------------------------------------------------
// unitquaternion
// ---------------------------------------------------------------------------------------

unitquaternion unitquaternion::slerp(unitquaternion a, unitquaternion b, float t, bool shortestPath)
{
    // Single precision is part of the behaviour: recorded animations must reproduce the
    // same in-between rotations, so the weights are not computed in double.
    float const d = static_cast<float>(dot(a, b));
    float const absD = std::fabs(d);
    float w0;
    float w1;
    if (1.0f - absD < 0.01f)
    {
        // Nearly equal or nearly opposite: sin(theta) is too small to divide by.
        w0 = 1.0f - t;
        w1 = t;
    }
    else
    {
        float const theta = std::acos(absD);
        float const sinTheta = std::sin(theta);
        w0 = std::sin(theta * (1.0f - t)) / sinTheta;
        w1 = std::sin(theta * t) / sinTheta;
    }
    if (shortestPath && d < 0.0f)
        w0 = -w0;

    double const dw0 = w0;
    double const dw1 = w1;
    vec.set(dw0 * a.x() + dw1 * b.x(), dw0 * a.y() + dw1 * b.y(), dw0 * a.z() + dw1 * b.z());
    return unitquaternion(vec, dw0 * a.w() + dw1 * b.w());
}

void unitquaternion::getVectorsOnSphere(Vec3f& first, Vec3f& second) const
{
    unitquaternion const q2(*this * *this);
    double const r = std::sqrt(q2.x() * q2.x() + q2.y() * q2.y());
    if (r > epsilon)
        first.set(-q2.y() / r, q2.x() / r, 0.0);
    else
        first = Y_AXIS;

    second.set(q2.w() * first.x() - q2.z() * first.y(), q2.w() * first.y() + q2.z() * first.x(),
               q2.x() * first.y() - q2.y() * first.x());

    if (w() < 0.0)
        first = -first;
}

matrix unitquaternion::getRotMatrix() const
{
    return quaternion::getRotMatrix();
}

unitquaternion operator+(unitquaternion const& a, unitquaternion const&)
{
    KX_MATH_ASSERT(false, "false", "operator+", "3DMath.cpp", 421);
    return a;
}

unitquaternion operator-(unitquaternion const& a, unitquaternion const&)
{
    KX_MATH_ASSERT(false, "false", "operator-", "3DMath.cpp", 429);
    return a;
}

unitquaternion operator*(unitquaternion const& q, double const&)
{
    KX_MATH_ASSERT(false, "false", "operator*", "3DMath.cpp", 437);
    return q;
}

unitquaternion operator*(double const&, unitquaternion const& q)
{
    KX_MATH_ASSERT(false, "false", "operator*", "3DMath.cpp", 445);
    return q;
}

unitquaternion operator/(unitquaternion const& q, double const&)
{
    KX_MATH_ASSERT(false, "false", "operator/", "3DMath.cpp", 453);
    return q;
}

// ---------------------------------------------------------------------------------------
// matrix
// ---------------------------------------------------------------------------------------

matrix::matrix(double const* values, ordermode mode)
{
    ++counter;
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col)
            m_elements[col * 4 + row] =
                mode == ROW_MAJOR ? values[row * 4 + col] : values[col * 4 + row];
}

matrix::matrix(double const& value)
{
    ++counter;
    for (double& e : m_elements)
        e = value;
}

matrix::matrix(matrix const& other)
{
    ++counter;
    for (int i = 0; i < 16; ++i)
        m_elements[i] = other.m_elements[i];
}

matrix& matrix::operator=(matrix const& other)
{
    for (int i = 0; i < 16; ++i)
        m_elements[i] = other.m_elements[i];
    return *this;
}

matrix& matrix::loadIdentity()
{
    for (int i = 0; i < 16; ++i)
        m_elements[i] = (i % 5 == 0) ? 1.0 : 0.0; // storage index 0, 5, 10, 15: the diagonal
    return *this;
}

void matrix::loadZero()
{
    for (double& e : m_elements)
        e = 0.0;
}

bool matrix::isIdentity() const
{
    for (int i = 0; i < 16; ++i)
    {
        double const expected = (i % 5 == 0) ? 1.0 : 0.0;
        if (!(m_elements[i] == expected))
            return false;
    }
    return true;
}

matrix matrix::transpose() const
{
    matrix result;
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col)
            result.m_elements[row * 4 + col] = m_elements[col * 4 + row];
    return result;
}

// Determinant of the 3x3 matrix formed by rows r0, r1, r2 and columns c0, c1, c2.
static double minor3(double const* e, int r0, int r1, int r2, int c0, int c1, int c2)
{
    auto at = [e](int row, int col) { return e[col * 4 + row]; };
    return at(r0, c0) * (at(r1, c1) * at(r2, c2) - at(r1, c2) * at(r2, c1)) -
           at(r0, c1) * (at(r1, c0) * at(r2, c2) - at(r1, c2) * at(r2, c0)) +
           at(r0, c2) * (at(r1, c0) * at(r2, c1) - at(r1, c1) * at(r2, c0));
}

double matrix::determinant() const
{
    // Cofactor expansion along row 0.
    double const* e = m_elements;
    return e[0] * minor3(e, 1, 2, 3, 1, 2, 3) - e[4] * minor3(e, 1, 2, 3, 0, 2, 3) +
           e[8] * minor3(e, 1, 2, 3, 0, 1, 3) - e[12] * minor3(e, 1, 2, 3, 0, 1, 2);
}

matrix matrix::adjoint() const
{
    // a[i][j] is storage element i * 4 + j ("row" i of the storage, i.e. column i of the
    // matrix). The adjugate of the transpose is the transpose of the adjugate, so running
    // the row formulas on storage rows and writing back in the same indexing yields adj(M).
    double const* a = m_elements;
    auto at = [a](int i, int j) { return a[i * 4 + j]; };

    // 2x2 minors of the first two and of the last two storage rows.
    double const s0 = at(0, 0) * at(1, 1) - at(1, 0) * at(0, 1);
    double const s1 = at(0, 0) * at(1, 2) - at(1, 0) * at(0, 2);
    double const s2 = at(0, 0) * at(1, 3) - at(1, 0) * at(0, 3);
    double const s3 = at(0, 1) * at(1, 2) - at(1, 1) * at(0, 2);
    double const s4 = at(0, 1) * at(1, 3) - at(1, 1) * at(0, 3);
    double const s5 = at(0, 2) * at(1, 3) - at(1, 2) * at(0, 3);
    double const c5 = at(2, 2) * at(3, 3) - at(3, 2) * at(2, 3);
    double const c4 = at(2, 1) * at(3, 3) - at(3, 1) * at(2, 3);
    double const c3 = at(2, 1) * at(3, 2) - at(3, 1) * at(2, 2);
    double const c2 = at(2, 0) * at(3, 3) - at(3, 0) * at(2, 3);
    double const c1 = at(2, 0) * at(3, 2) - at(3, 0) * at(2, 2);
    double const c0 = at(2, 0) * at(3, 1) - at(3, 0) * at(2, 1);

    matrix result;
    double* b = result.m_elements;
    b[0] = at(1, 1) * c5 - at(1, 2) * c4 + at(1, 3) * c3;
    b[1] = -at(0, 1) * c5 + at(0, 2) * c4 - at(0, 3) * c3;
    b[2] = at(3, 1) * s5 - at(3, 2) * s4 + at(3, 3) * s3;
    b[3] = -at(2, 1) * s5 + at(2, 2) * s4 - at(2, 3) * s3;
    b[4] = -at(1, 0) * c5 + at(1, 2) * c2 - at(1, 3) * c1;
    b[5] = at(0, 0) * c5 - at(0, 2) * c2 + at(0, 3) * c1;
    b[6] = -at(3, 0) * s5 + at(3, 2) * s2 - at(3, 3) * s1;
    b[7] = at(2, 0) * s5 - at(2, 2) * s2 + at(2, 3) * s1;
    b[8] = at(1, 0) * c4 - at(1, 1) * c2 + at(1, 3) * c0;
    b[9] = -at(0, 0) * c4 + at(0, 1) * c2 - at(0, 3) * c0;
    b[10] = at(3, 0) * s4 - at(3, 1) * s2 + at(3, 3) * s0;
    b[11] = -at(2, 0) * s4 + at(2, 1) * s2 - at(2, 3) * s0;
    b[12] = -at(1, 0) * c3 + at(1, 1) * c1 - at(1, 2) * c0;
    b[13] = at(0, 0) * c3 - at(0, 1) * c1 + at(0, 2) * c0;
    b[14] = -at(3, 0) * s3 + at(3, 1) * s1 - at(3, 2) * s0;
    b[15] = at(2, 0) * s3 - at(2, 1) * s1 + at(2, 2) * s0;
    return result;
}

matrix matrix::inverse() const
{
    double const det = determinant();
    if (std::fabs(det) > epsilon)
    {
        matrix result = adjoint();
        double const invDet = 1.0 / det;
        for (double& e : result.m_elements)
            e *= invDet;
        return result;
    }
    // A singular matrix inverts to zero rather than failing.
    return matrix(0.0);
}

matrix& matrix::operator+=(matrix const& other)
{
    for (int i = 0; i < 16; ++i)
        m_elements[i] += other.m_elements[i];
    return *this;
}

matrix& matrix::operator-=(matrix const& other)
{
    for (int i = 0; i < 16; ++i)
        m_elements[i] -= other.m_elements[i];
    return *this;
}

// out = a * b on storage arrays; out must not alias a or b.
static void multiply(double const* a, double const* b, double* out)
{
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col)
        {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += a[k * 4 + row] * b[col * 4 + k];
            out[col * 4 + row] = sum;
        }
}

matrix& matrix::operator*=(matrix const& other)
{
    double product[16];
    multiply(m_elements, other.m_elements, product);
    for (int i = 0; i < 16; ++i)
        m_elements[i] = product[i];
    return *this;
}

matrix& matrix::operator*=(double const& d)
{
    for (double& e : m_elements)
        e *= d;
    return *this;
}

matrix& matrix::operator/=(double const& fact)
{
    KX_MATH_ASSERT(fact >= epsilon, "fact>=epsilon", "operator/=", "3DMath.cpp", 734);
    for (double& e : m_elements)
        e /= fact;
    return *this;
}

matrix& matrix::operator-()
{
    for (double& e : m_elements)
        e = -e;
    return *this;
}

matrix operator+(matrix const& a, matrix const& b)
{
    matrix result(a);
    return result += b;
}

matrix operator-(matrix const& a, matrix const& b)
{
    matrix result(a);
    return result -= b;
}

matrix operator*(matrix const& a, matrix const& b)
{
    double product[16];
    multiply(a.data(), b.data(), product);
    return matrix(product, matrix::COLUMN_MAJOR);
}

matrix operator*(matrix const& a, double const& d)
{
    matrix result(a);
    return result *= d;
}

matrix operator*(double const& d, matrix const& a)
{
    matrix result(a);
    return result *= d;
}

matrix operator/(matrix const& a, double const& d)
{
    KX_MATH_ASSERT(d >= epsilon, "fact>=epsilon", "operator/", "3DMath.cpp", 603);
    double quotient[16];
    for (int i = 0; i < 16; ++i)
        quotient[i] = a.data()[i] / d;
    return matrix(quotient, matrix::COLUMN_MAJOR);
}

bool operator==(matrix const& a, matrix const& b)
{
    for (int i = 0; i < 16; ++i)
        if (!(a.data()[i] == b.data()[i]))
            return false;
    return true;
}

bool operator!=(matrix const& a, matrix const& b)
{
    return !(a == b);
}

Vec3f operator*(matrix const& a, Vec3f const& v)
{
    double const* e = a.data(); // element (row, col) at col * 4 + row
    return Vec3f(v.x() * e[0] + v.y() * e[4] + v.z() * e[8] + e[12],
                 v.x() * e[1] + v.y() * e[5] + v.z() * e[9] + e[13],
                 v.x() * e[2] + v.y() * e[6] + v.z() * e[10] + e[14]);
}

Vec3f operator*(Vec3f const& v, matrix const& a)
{
    return a * v;
}

std::ostream& operator<<(std::ostream& os, matrix const& m)
{
    for (int row = 0; row < 4; ++row)
        os << "[ " << m(row, 0) << " " << m(row, 1) << " " << m(row, 2) << " " << m(row, 3)
           << " ]\n";
    return os;
}

// ---------------------------------------------------------------------------------------
// Geometric queries
// ---------------------------------------------------------------------------------------

void linePlaneIntersection(Vec3f* line, Vec3f planePoint, Vec3f normal, Vec3f* result)
{
    Vec3f const dir = line[1] - line[0];
    double const denom = dir * normal;
    if (denom == 0.0) // exactly parallel only; a near-parallel line meets the plane far away
        return;
    double const t = (normal * planePoint - normal * line[0]) / denom;
    *result = line[0] + t * dir;
}

void linePlaneIntersection(Vec3f* line, Vec3f* plane, Vec3f* result)
{
    Vec3f const normal = (plane[1] - plane[0]) ^ (plane[2] - plane[0]);
    linePlaneIntersection(line, plane[0], normal, result);
}

void projectPointOnPlane(Vec3f point, Vec3f planePoint, Vec3f normal, Vec3f* result)
{
    double const denom = normal * normal;
    if (denom == 0.0)
        return;
    double const t = (normal * planePoint - normal * point) / denom;
    *result = point + t * normal;
}

void projectPointOnPlane(Vec3f point, Vec3f* plane, Vec3f* result)
{
    Vec3f const normal = (plane[1] - plane[0]) ^ (plane[2] - plane[0]);
    projectPointOnPlane(point, plane[0], normal, result);
}

void obtainEquationVariablesForPlane(Vec3f p1, Vec3f p2, Vec3f p3, double& a, double& b, double& c,
                                     double& d)
{
    double const x1 = p1.x(), y1 = p1.y(), z1 = p1.z();
    double const x2 = p2.x(), y2 = p2.y(), z2 = p2.z();
    double const x3 = p3.x(), y3 = p3.y(), z3 = p3.z();
    a = y1 * (z2 - z3) + y2 * (z3 - z1) + y3 * (z1 - z2);
    b = z1 * (x2 - x3) + z2 * (x3 - x1) + z3 * (x1 - x2);
    c = x1 * (y2 - y3) + x2 * (y3 - y1) + x3 * (y1 - y2);
    d = -(x1 * (y2 * z3 - y3 * z2) + x2 * (y3 * z1 - y1 * z3) + x3 * (y1 * z2 - y2 * z1));
}

double lineDistance(Vec3f p, Vec3f q)
{
    double const dx = q.x() - p.x();
    double const dy = q.y() - p.y();
    double const dz = q.z() - p.z();
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

void projectPointOnLine(Vec3f point, Vec3f a, Vec3f b, Vec3f* result)
{
    Vec3f const dir = b - a;
    double const t = ((point - a) * dir) / (dir * dir);
    *result = a + t * dir;
}

bool lineLineIntersect3D(Vec3f p1, Vec3f p2, Vec3f p3, Vec3f p4, Vec3f* result)
{
    double const tolerance = 1e-5;
    auto isTiny = [tolerance](Vec3f const& v)
    {
        return std::fabs(v.x()) < tolerance && std::fabs(v.y()) < tolerance &&
               std::fabs(v.z()) < tolerance;
    };

    Vec3f const p13 = p1 - p3;
    Vec3f const p43 = p4 - p3;
    if (isTiny(p43))
        return false;
    Vec3f const p21 = p2 - p1;
    if (isTiny(p21))
        return false;

    double const d1343 = p13 * p43;
    double const d4321 = p43 * p21;
    double const d1321 = p13 * p21;
    double const d4343 = p43 * p43;
    double const d2121 = p21 * p21;

    double const denom = d2121 * d4343 - d4321 * d4321;
    if (std::fabs(denom) < tolerance)
        return false; // parallel lines: no unique closest point
    double const mua = (d1343 * d4321 - d1321 * d4343) / denom;
    // The matching parameter on the second line, (d1343 + d4321 * mua) / d4343, is not
    // needed: only the point on the first line is reported.
    *result = p1 + mua * p21;
    return true;
}

bool pointInsidePlane(Vec3f point, Vec3f* polygon, int count)
{
    double const tolerance = 1e-7;
    double sum = 0.0;
    for (int i = 0; i < count; ++i)
    {
        Vec3f const u = polygon[i] - point;
        Vec3f const v = polygon[(i + 1) % count] - point;
        double const m = u.length() * v.length();
        if (m <= tolerance)
            return true; // the point is a vertex
        sum += std::acos((u * v) / m);
    }
    // Full-precision 2 pi here: the tolerance is far finer than DOUBLE_PI's truncation.
    return std::fabs(6.283185307179586 - sum) <= tolerance;
}

bool pointInside3DVolumeBoundingBox(Vec3f point, Vec3f* corners)
{
    // The three faces that meet at corner 0, each a closed quadrilateral.
    std::unique_ptr<Vec3f[]> faceA(new Vec3f[4]{corners[0], corners[1], corners[5], corners[4]});
    std::unique_ptr<Vec3f[]> faceB(new Vec3f[4]{corners[0], corners[1], corners[2], corners[3]});
    std::unique_ptr<Vec3f[]> faceC(new Vec3f[4]{corners[0], corners[3], corners[7], corners[4]});

    Vec3f planeA[3] = {corners[0], corners[1], corners[5]};
    Vec3f planeB[3] = {corners[1], corners[2], corners[3]};
    Vec3f planeC[3] = {corners[3], corners[7], corners[4]};

    // A degenerate plane leaves its projection at the origin.
    Vec3f onA, onB, onC;
    projectPointOnPlane(point, planeA, &onA);
    projectPointOnPlane(point, planeB, &onB);
    projectPointOnPlane(point, planeC, &onC);

    return pointInsidePlane(onA, faceA.get(), 4) && pointInsidePlane(onB, faceB.get(), 4) &&
           pointInsidePlane(onC, faceC.get(), 4);
}
