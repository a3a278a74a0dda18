// 3DMath: the small vector, rotation and matrix library of the kx3danimation plug-in.
//
// Units and conventions
// - Every value is a double, including the components of the misleadingly named Vec3f.
//   Only unitquaternion::slerp computes its angle and weights in single precision.
// - Angles are radians, except Vec3f::angle (degrees) and rad2deg's result.
// - The tolerance for "too small" is `epsilon` (1e-12) on an absolute value, unless a
//   function documents another one.
// - matrix elements are addressed (row, column), 0..3 each, and stored column-major.
// - Rotation matrices follow the row-vector convention (see quaternion::getRotMatrix).
//
// Deliberate behaviour that looks like a bug but is relied upon (do not "fix"):
// - DOUBLE_PI, HALF_PI, deg2rad, rad2deg and Vec3f::angle use truncated decimal pi values.
// - Vec3f::normalize returns epsilon, not 0, for a vector too short to normalise.
// - quaternion / number == number * quaternion.inversed(), not a scaling by 1/number.
// - matrix division asserts on the signed divisor (any negative divisor aborts), whereas
//   Vec3f division tests the absolute value.
// - v * A == A * v: both apply the affine transform of A to the point v.
// - The unary minus of matrix negates its operand in place.
// - slerp writes its result's vector part into the object it is called on, and with
//   shortestPath it flips the sign of the first weight instead of negating b.
// - The unitquaternion operators +, -, * (by a number) and / (by a number) always abort.
//
// Errors: a violated precondition prints the failed check (expression, function, file,
// line) to stderr and aborts; this stays on in release builds. The only exception thrown
// is std::range_error("Vec3f index out of range.") from Vec3f::operator[].
//
// Layout: Vec3f, quaternion and unitquaternion are exchanged by value with the host's 3D
// view, so their fields and virtual tables must stay exactly as declared here.
//
// Not thread-safe: the instance counters are plain integers (GUI thread only).

#ifndef KX_3DMATH_H
#define KX_3DMATH_H

#include <cmath>
#include <iosfwd>
#include <stdexcept>

#if defined(__GNUC__) || defined(__clang__)
#define KX_MATH_API __attribute__((visibility("default")))
#else
#define KX_MATH_API
#endif

// Reports a failed check and aborts the process. Never returns.
[[noreturn]] KX_MATH_API void kxMathAssertionFailed(const char* expression, const char* function,
                                                    const char* file, int line);

// The library's own assertion; unlike <cassert> it is not disabled by NDEBUG. The texts
// and the line are the library's fixed identification of each check, not __FILE__/__LINE__,
// so that a message names the same check whatever the build.
#define KX_MATH_ASSERT(expr, text, function, file, line)                                           \
    (static_cast<bool>(expr) ? static_cast<void>(0)                                                \
                             : kxMathAssertionFailed(text, function, file, line))

class matrix;

// ---------------------------------------------------------------------------------------
// Constants and scalar helpers
// ---------------------------------------------------------------------------------------

inline constexpr double epsilon = 1e-12;
inline constexpr double DOUBLE_PI = 6.28318530718; // truncated on purpose
inline constexpr double HALF_PI = 1.570796326795;  // truncated on purpose

KX_MATH_API double deg2rad(double const& degrees); // 0.01745329251994 * degrees
KX_MATH_API double rad2deg(double const& radians); // 57.29577951308 * radians
// The argument if > 0, else its negation (so -0.0 gives +0.0).
KX_MATH_API double simpleabs(double const& value);

// ---------------------------------------------------------------------------------------
// Vec3f: a 3-vector of doubles (points, translations, axes)
// ---------------------------------------------------------------------------------------

class KX_MATH_API Vec3f
{
public:
    // Live instances, for leak accounting while debugging. Counts every construction
    // (temporaries included) and destruction; the four global axis constants make it 4
    // before any plug-in code runs.
    static int counter;

    Vec3f() : m_x(0.0), m_y(0.0), m_z(0.0) { ++counter; }
    Vec3f(double x, double y, double z) : m_x(x), m_y(y), m_z(z) { ++counter; }
    Vec3f(Vec3f const& other) : m_x(other.m_x), m_y(other.m_y), m_z(other.m_z) { ++counter; }
    virtual ~Vec3f() { --counter; }

    Vec3f& operator=(Vec3f const& other)
    {
        if (this != &other)
        {
            m_x = other.m_x;
            m_y = other.m_y;
            m_z = other.m_z;
        }
        return *this;
    }

    double& x() { return m_x; }
    double& y() { return m_y; }
    double& z() { return m_z; }
    double x() const { return m_x; }
    double y() const { return m_y; }
    double z() const { return m_z; }

    void set(double x, double y, double z)
    {
        m_x = x;
        m_y = y;
        m_z = z;
    }

    // 0, 1, 2 select x, y, z; anything else throws std::range_error.
    double& operator[](int const& index)
    {
        switch (index)
        {
        case 0:
            return m_x;
        case 1:
            return m_y;
        case 2:
            return m_z;
        default:
            throw std::range_error("Vec3f index out of range.");
        }
    }
    double operator[](int const& index) const { return const_cast<Vec3f&>(*this)[index]; }

    double length2() const { return m_x * m_x + m_y * m_y + m_z * m_z; }
    double length() const { return std::sqrt(length2()); }

    // Scales to unit length and returns the old length. A vector shorter than epsilon is
    // left as it is and epsilon is returned, so callers may divide by the result safely.
    double normalize();
    // A unit copy, or (0, 0, 0) when shorter than epsilon.
    Vec3f normalized() const;

    // Angle to `other` in degrees, in [0, 180]. The cosine is not clamped: zero-length or
    // numerically parallel vectors may give NaN.
    double angle(Vec3f const& other) const;

    // Replaces the vector by `fallback` when all three components are below epsilon in
    // absolute value (a vector that is "numerically zero").
    void epsilonCorrect(Vec3f const& fallback);

    // Aborts unless |fact| >= epsilon.
    Vec3f& operator/=(double const& fact)
    {
        KX_MATH_ASSERT(std::fabs(fact) >= epsilon, "fabs(fact) >= epsilon",
                       "operator/=", "3DMath.h", 323);
        m_x /= fact;
        m_y /= fact;
        m_z /= fact;
        return *this;
    }

    // Linear interpolation a + t (b - a), per component; t is normally in [0, 1].
    static Vec3f LERP(Vec3f const& a, Vec3f const& b, float t)
    {
        double const s = t;
        return Vec3f(a.m_x + s * (b.m_x - a.m_x), a.m_y + s * (b.m_y - a.m_y),
                     a.m_z + s * (b.m_z - a.m_z));
    }

private:
    double m_x;
    double m_y;
    double m_z;
};

KX_MATH_API extern const Vec3f ORIGIN; // (0, 0, 0)
KX_MATH_API extern const Vec3f X_AXIS; // (1, 0, 0)
KX_MATH_API extern const Vec3f Y_AXIS; // (0, 1, 0)
KX_MATH_API extern const Vec3f Z_AXIS; // (0, 0, 1)

inline Vec3f operator+(Vec3f const& a, Vec3f const& b)
{
    return Vec3f(a.x() + b.x(), a.y() + b.y(), a.z() + b.z());
}
inline Vec3f operator-(Vec3f const& a, Vec3f const& b)
{
    return Vec3f(a.x() - b.x(), a.y() - b.y(), a.z() - b.z());
}
inline Vec3f operator-(Vec3f const& a)
{
    return Vec3f(-a.x(), -a.y(), -a.z());
}
// Cross product. Mind the precedence of ^ (lower than + and ==): parenthesise it.
inline Vec3f operator^(Vec3f const& a, Vec3f const& b)
{
    return Vec3f(a.y() * b.z() - a.z() * b.y(), a.z() * b.x() - a.x() * b.z(),
                 a.x() * b.y() - a.y() * b.x());
}
// Dot product.
inline double operator*(Vec3f const& a, Vec3f const& b)
{
    return a.x() * b.x() + a.y() * b.y() + a.z() * b.z();
}
inline Vec3f operator*(Vec3f const& a, double const& d)
{
    return Vec3f(a.x() * d, a.y() * d, a.z() * d);
}
inline Vec3f operator*(double const& d, Vec3f const& a)
{
    return Vec3f(a.x() * d, a.y() * d, a.z() * d);
}
// Aborts unless |d| >= epsilon.
KX_MATH_API Vec3f operator/(Vec3f const& a, double const& d);
// Exact comparison, no tolerance.
inline bool operator==(Vec3f const& a, Vec3f const& b)
{
    return a.x() == b.x() && a.y() == b.y() && a.z() == b.z();
}

// Writes "[ x ; y ; z ]" with the stream's number formatting.
KX_MATH_API std::ostream& operator<<(std::ostream& os, Vec3f const& v);

// The unit vector halfway between two directions. When a + b is (almost) zero, i.e. the
// directions are opposite (squared length of the sum below 1e-5), the result is Z_AXIS.
KX_MATH_API Vec3f Bisect(Vec3f a, Vec3f b);

// ---------------------------------------------------------------------------------------
// quaternion: w + x i + y j + z k
// ---------------------------------------------------------------------------------------

class KX_MATH_API quaternion
{
public:
    static int counter; // live instances, kept like Vec3f::counter

    quaternion(double const& s, Vec3f const& v) : scalar(s), vec(v) { ++counter; }
    quaternion(double const& w, double const& x, double const& y, double const& z)
        : scalar(w), vec(x, y, z)
    {
        ++counter;
    }
    quaternion(quaternion const& other) : scalar(other.scalar), vec(other.vec) { ++counter; }
    virtual ~quaternion() { --counter; }

    quaternion& operator=(quaternion const& other)
    {
        if (this != &other)
        {
            scalar = other.scalar;
            vec = other.vec;
        }
        return *this;
    }

    double& w() { return scalar; }
    double& x() { return vec.x(); }
    double& y() { return vec.y(); }
    double& z() { return vec.z(); }
    double w() const { return scalar; }
    double x() const { return vec.x(); }
    double y() const { return vec.y(); }
    double z() const { return vec.z(); }

    // The squared magnitude (the historical name is kept).
    double norm() const { return scalar * scalar + vec.length2(); }
    double length() const { return std::sqrt(norm()); }

    // Scales to unit length and returns the old length; a quaternion shorter than epsilon
    // becomes (0; 0, 0, 0) and 0 is returned.
    double normalize();
    quaternion normalized() const;

    // conjugate / norm(), in place; returns norm(). A norm below epsilon gives the zero
    // quaternion (no failure).
    double inverse();
    quaternion inversed() const;

    // this = this * q (Hamilton product).
    quaternion& operator*=(quaternion const& q);
    // this = this * q.inversed().
    quaternion& operator/=(quaternion const& q);

    // The rotation matrix of this quaternion's direction: the magnitude is divided out,
    // so any non-zero multiple gives the same pure rotation and zero gives the identity.
    // Row-vector convention: M(1,0) = 2(xy - wz) for a unit quaternion.
    virtual matrix getRotMatrix() const;

    double scalar; // real part w
    Vec3f vec;     // imaginary part (x, y, z)
};

inline quaternion operator+(quaternion const& p, quaternion const& q)
{
    return quaternion(p.scalar + q.scalar, p.vec + q.vec);
}
inline quaternion operator-(quaternion const& p, quaternion const& q)
{
    return quaternion(p.scalar - q.scalar, p.vec - q.vec);
}
inline quaternion operator-(quaternion const& q)
{
    return quaternion(-q.scalar, -q.vec);
}
// Hamilton product (i * j = k, j * i = -k).
KX_MATH_API quaternion operator*(quaternion const& p, quaternion const& q);
inline quaternion operator*(quaternion const& q, double const& d)
{
    return quaternion(q.scalar * d, q.vec * d);
}
inline quaternion operator*(double const& d, quaternion const& q)
{
    return quaternion(q.scalar * d, q.vec * d);
}
// d * q.inversed(): "dividing by a number" multiplies the inverse by it. Kept on purpose.
KX_MATH_API quaternion operator/(quaternion const& q, double const& d);
// p * q.inversed().
KX_MATH_API quaternion operator/(quaternion const& p, quaternion const& q);
inline bool operator==(quaternion const& p, quaternion const& q)
{
    return p.scalar == q.scalar && p.vec == q.vec;
}
inline bool operator!=(quaternion const& p, quaternion const& q)
{
    return !(p == q);
}

// Writes "< w , [ x ; y ; z ] >".
KX_MATH_API std::ostream& operator<<(std::ostream& os, quaternion const& q);

// ---------------------------------------------------------------------------------------
// unitquaternion: a rotation. "Unit" is a convention: only the constructor from a
// quaternion normalises; products, slerp and the (vector, w) constructor store their
// values as computed.
// ---------------------------------------------------------------------------------------

class KX_MATH_API unitquaternion : public quaternion
{
public:
    unitquaternion() : quaternion(1.0, 0.0, 0.0, 0.0) {} // identity
    unitquaternion(quaternion const& q) : quaternion(q) { normalize(); }
    // Stores the components as given, not normalised; this is NOT axis-angle.
    unitquaternion(Vec3f const& v, double const& w) : quaternion(w, v) {}
    // Rotation by `angle` radians about `axis` (normalised here; any length > epsilon).
    unitquaternion(double const& angle, Vec3f const& axis)
        : quaternion(std::cos(angle / 2.0), axis.normalized() * std::sin(angle / 2.0))
    {
    }
    unitquaternion(unitquaternion const& other) : quaternion(other) {}
    ~unitquaternion() override = default;

    unitquaternion& operator=(unitquaternion const& other)
    {
        quaternion::operator=(other);
        return *this;
    }

    // Read-only component access: editing single components would leave the unit sphere.
    double x() const { return vec.x(); }
    double y() const { return vec.y(); }
    double z() const { return vec.z(); }
    double w() const { return scalar; }

    // Hamilton product in place, not renormalised.
    unitquaternion& operator*=(unitquaternion const& q)
    {
        quaternion::operator*=(q);
        return *this;
    }

    // Four-dimensional dot product, in double.
    static double dot(unitquaternion const& a, unitquaternion const& b)
    {
        return a.x() * b.x() + a.y() * b.y() + a.z() * b.z() + a.w() * b.w();
    }

    // Spherical interpolation from a (t = 0) to b (t = 1), t unclamped.
    // - Angle and weights are computed in single precision; 1 - |dot| < 0.01 falls back to
    //   the linear weights (1 - t, t).
    // - With shortestPath and a negative dot, the FIRST weight changes sign: the same
    //   rotation as the usual shortest arc, with the opposite overall sign.
    // - Side effect: this object's vector part is set to the result's vector part; call it
    //   on a scratch object.
    // - The result is not normalised.
    unitquaternion slerp(unitquaternion a, unitquaternion b, float t, bool shortestPath);

    // The two points on the unit sphere whose arc-ball drag (first -> second) produces this
    // rotation; `first` lies in the xy plane (Y_AXIS for rotations about z only) and is
    // mirrored through the origin when w < 0.
    void getVectorsOnSphere(Vec3f& first, Vec3f& second) const;

    matrix getRotMatrix() const override;
};

// Forbidden: arithmetic that leaves the unit sphere must not compile silently into the
// quaternion operators. Every one of these aborts.
KX_MATH_API unitquaternion operator+(unitquaternion const& a, unitquaternion const& b);
KX_MATH_API unitquaternion operator-(unitquaternion const& a, unitquaternion const& b);
KX_MATH_API unitquaternion operator*(unitquaternion const& q, double const& d);
KX_MATH_API unitquaternion operator*(double const& d, unitquaternion const& q);
KX_MATH_API unitquaternion operator/(unitquaternion const& q, double const& d);

// ---------------------------------------------------------------------------------------
// matrix: 4x4 doubles, element (row, column) stored at [column * 4 + row]
// ---------------------------------------------------------------------------------------

class KX_MATH_API matrix
{
public:
    // Order of the 16 values given to the array constructor. Any value other than
    // ROW_MAJOR is read as column by column (the storage order).
    enum ordermode : int
    {
        COLUMN_MAJOR = 0,
        ROW_MAJOR = 1
    };

    static int counter; // live instances, kept like Vec3f::counter

    // Elements are left unset: load them, or call loadIdentity()/loadZero().
    matrix() { ++counter; }
    matrix(double const* values, ordermode mode);
    explicit matrix(double const& value); // all 16 elements = value
    matrix(matrix const& other);
    ~matrix() { --counter; }
    matrix& operator=(matrix const& other);

    // Aborts for a row or column outside 0..3 (the row is checked first).
    double& operator()(int const& row, int const& col)
    {
        KX_MATH_ASSERT(row >= 0 && row <= 3, "row >= 0 && row <= 3", "operator()", "3DMath.h", 548);
        KX_MATH_ASSERT(col >= 0 && col <= 3, "col >= 0 && col <= 3", "operator()", "3DMath.h", 549);
        return m_elements[col * 4 + row];
    }
    double operator()(int const& row, int const& col) const
    {
        KX_MATH_ASSERT(row >= 0 && row <= 3, "row >= 0 && row <= 3", "operator()", "3DMath.h", 548);
        KX_MATH_ASSERT(col >= 0 && col <= 3, "col >= 0 && col <= 3", "operator()", "3DMath.h", 549);
        return m_elements[col * 4 + row];
    }

    // The 16 elements in storage (column-major) order, e.g. for OpenGL.
    double const* data() const { return m_elements; }

    matrix& loadIdentity();
    void loadZero();
    // Exact test: diagonal exactly 1, the rest exactly 0 (NaN anywhere gives false).
    bool isIdentity() const;

    matrix transpose() const; // a transposed copy; this matrix is unchanged
    double determinant() const;
    matrix adjoint() const; // adjugate: adjoint() * M == determinant() * identity
    // adjoint() / determinant(); the zero matrix when |determinant| <= epsilon.
    matrix inverse() const;

    matrix& operator+=(matrix const& other);
    matrix& operator-=(matrix const& other);
    matrix& operator*=(matrix const& other); // this = this * other
    matrix& operator*=(double const& d);
    // Aborts unless fact >= epsilon: unlike Vec3f, a negative divisor is refused too.
    matrix& operator/=(double const& fact);
    // Negates this matrix IN PLACE and returns it.
    matrix& operator-();

private:
    double m_elements[16];
};

KX_MATH_API matrix operator+(matrix const& a, matrix const& b);
KX_MATH_API matrix operator-(matrix const& a, matrix const& b);
KX_MATH_API matrix operator*(matrix const& a, matrix const& b);
KX_MATH_API matrix operator*(matrix const& a, double const& d);
KX_MATH_API matrix operator*(double const& d, matrix const& a);
// Aborts unless d >= epsilon (negative divisors included).
KX_MATH_API matrix operator/(matrix const& a, double const& d);
KX_MATH_API bool operator==(matrix const& a, matrix const& b);
KX_MATH_API bool operator!=(matrix const& a, matrix const& b);
// Affine transform of the point v by rows 0..2 (row 3 ignored, no perspective division).
KX_MATH_API Vec3f operator*(matrix const& a, Vec3f const& v);
// Identical to a * v (not v * transpose(a)).
KX_MATH_API Vec3f operator*(Vec3f const& v, matrix const& a);

// Writes four lines "[ a b c d ]", one per row.
KX_MATH_API std::ostream& operator<<(std::ostream& os, matrix const& m);

// ---------------------------------------------------------------------------------------
// Geometric queries. A line is given by two points, a plane by three points or by a point
// and a normal. Outputs are written through `result` only on success.
// ---------------------------------------------------------------------------------------

// Intersection of the infinite line through line[0], line[1] with the plane through
// plane[0..2]; nothing is written when the line is exactly parallel to the plane.
KX_MATH_API void linePlaneIntersection(Vec3f* line, Vec3f* plane, Vec3f* result);
KX_MATH_API void linePlaneIntersection(Vec3f* line, Vec3f planePoint, Vec3f normal, Vec3f* result);
// Projection of `point` along the plane normal; nothing is written for a zero normal.
KX_MATH_API void projectPointOnPlane(Vec3f point, Vec3f* plane, Vec3f* result);
KX_MATH_API void projectPointOnPlane(Vec3f point, Vec3f planePoint, Vec3f normal, Vec3f* result);
// a x + b y + c z + d = 0 through three points, unnormalised (all 0 for collinear points).
KX_MATH_API void obtainEquationVariablesForPlane(Vec3f p1, Vec3f p2, Vec3f p3, double& a, double& b,
                                                 double& c, double& d);
// Distance between two points.
KX_MATH_API double lineDistance(Vec3f p, Vec3f q);
// Orthogonal projection onto the line through a and b; a must differ from b.
KX_MATH_API void projectPointOnLine(Vec3f point, Vec3f a, Vec3f b, Vec3f* result);
// The point of line p1-p2 closest to line p3-p4. False (nothing written) when either line
// is degenerate or the lines are parallel (tolerance 1e-5).
KX_MATH_API bool lineLineIntersect3D(Vec3f p1, Vec3f p2, Vec3f p3, Vec3f p4, Vec3f* result);
// Angle-sum test for a point lying in the plane of a polygon of `count` vertices; a point
// on a vertex or an edge counts as inside (tolerance 1e-7).
KX_MATH_API bool pointInsidePlane(Vec3f point, Vec3f* polygon, int count);
// corners[0..3]: one face in order around it; corners[4..7]: the opposite face, corner 4
// opposite 0, 5 opposite 1, 7 opposite 3. Points on the surface count as inside.
KX_MATH_API bool pointInside3DVolumeBoundingBox(Vec3f point, Vec3f* corners);

// Size checks for the layout shared with the host (vtable pointer plus the fields).
static_assert(sizeof(Vec3f) == sizeof(void*) + 3 * sizeof(double), "Vec3f layout");
static_assert(sizeof(quaternion) == sizeof(void*) + sizeof(double) + sizeof(Vec3f),
              "quaternion layout");
static_assert(sizeof(unitquaternion) == sizeof(quaternion), "unitquaternion has no fields");
static_assert(sizeof(matrix) == 16 * sizeof(double), "matrix layout");

#endif // KX_3DMATH_H
