// Points, vectors and homogeneous poles: the plain value types every transformation, solver and vector
// container of the library traffics in. They hold nothing but their doubles (no run-time type, no count,
// no heap), copy as raw bytes, and are stored contiguously by value in the vector families.
#ifndef VELMORA_VECTOR3D_H
#define VELMORA_VECTOR3D_H

#include <cmath>
#include <cstdint>
#include <iosfwd>
#include <type_traits>

class ERFile;

// Axis indices, used directly as array indices. Out-of-range values are never checked by indexing.
enum Coord2D : int { X2D = 0, Y2D = 1 };
enum Coord3D : int { X3D = 0, Y3D = 1, Z3D = 2 };
// Index of a stored component of a pole: the coordinates, then the weight.
enum Coord2DH : int { X2DH = 0, Y2DH = 1, W2DH = 2 };
enum Coord3DH : int { X3DH = 0, Y3DH = 1, Z3DH = 2, W3DH = 3 };

// Angles of the plane and space transformations, in radians.
typedef double ERRadian;

// The doubles under every point, vector and pole, and the one place where their component-wise
// arithmetic and comparisons are written. Zero-initialised.
template <int N>
class ERCoordTuple {
 public:
  static constexpr int dimension = N;

 protected:
  ERCoordTuple() : c_{} {}

  void addIn(const ERCoordTuple& o) {
    for (int i = 0; i < N; ++i) c_[i] += o.c_[i];
  }
  void subIn(const ERCoordTuple& o) {
    for (int i = 0; i < N; ++i) c_[i] -= o.c_[i];
  }
  void mulIn(double s) {
    for (int i = 0; i < N; ++i) c_[i] *= s;
  }
  void divIn(double s) {
    for (int i = 0; i < N; ++i) c_[i] /= s;
  }
  void negateIn() {
    for (int i = 0; i < N; ++i) c_[i] = -c_[i];
  }
  // Exact equality, stopping at the first difference; a NaN never compares equal.
  int sameAs(const ERCoordTuple& o) const {
    for (int i = 0; i < N; ++i)
      if (!(c_[i] == o.c_[i])) return 0;
    return 1;
  }
  // |a[i] - b[i]| <= tol in index order, stopping at the first failure; a NaN difference fails.
  int closeTo(const ERCoordTuple& o, double tol) const {
    for (int i = 0; i < N; ++i)
      if (!(std::fabs(c_[i] - o.c_[i]) <= tol)) return 0;
    return 1;
  }

  double c_[N];
};

class ERPoint3D;
class ERVector2D;
class ERVector3D;
class DirPrincSgn;
class ERPole3DH;

// A point of the plane: x then y.
class ERPoint2D : public ERCoordTuple<2> {
 public:
  ERPoint2D() = default;
  ERPoint2D(double x, double y) {
    c_[0] = x;
    c_[1] = y;
  }

  double& operator[](Coord2D a) { return c_[a]; }
  double operator[](Coord2D a) const { return c_[a]; }

  ERPoint2D& operator+=(const ERPoint2D& o) {
    addIn(o);
    return *this;
  }
  ERPoint2D& operator-=(const ERPoint2D& o) {
    subIn(o);
    return *this;
  }
  ERPoint2D& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  ERPoint2D& operator/=(double s) {
    divIn(s);
    return *this;
  }
  ERPoint2D operator-() const {
    ERPoint2D r(*this);
    r.negateIn();
    return r;
  }
  ERPoint2D& scale(double s) { return *this *= s; }
  ERPoint2D& translate(const ERPoint2D& t) { return *this += t; }

  int operator==(const ERPoint2D& o) const { return sameAs(o); }
  int operator!=(const ERPoint2D& o) const { return !sameAs(o); }

  // Inserts w as coordinate a; any other axis value gives the origin, silently.
  ERPoint3D castToPoint3D(Coord3D a, double w) const;
  // Points answer the same questions as poles: a point is its own Cartesian point, of weight 1.
  const ERPoint2D& castToPoint() const { return *this; }
  double weigth() const { return 1.0; }

  void printOn(std::ostream& os) const;  // <x,y>
  void saveGuts(ERFile& f) const;        // 16 raw bytes
  void restoreGuts(ERFile& f);
  unsigned long binaryStoreSize() const { return sizeof(c_); }

  friend int isEqual(const ERPoint2D& a, const ERPoint2D& b, double tol);
  friend std::istream& operator>>(std::istream& is, ERPoint2D& p);
};

// A point of space: x, y, z.
class ERPoint3D : public ERCoordTuple<3> {
 public:
  ERPoint3D() = default;
  ERPoint3D(double x, double y, double z) {
    c_[0] = x;
    c_[1] = y;
    c_[2] = z;
  }

  double& operator[](Coord3D a) { return c_[a]; }
  double operator[](Coord3D a) const { return c_[a]; }

  ERPoint3D& operator+=(const ERPoint3D& o) {
    addIn(o);
    return *this;
  }
  ERPoint3D& operator-=(const ERPoint3D& o) {
    subIn(o);
    return *this;
  }
  ERPoint3D& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  ERPoint3D& operator/=(double s) {
    divIn(s);
    return *this;
  }
  ERPoint3D operator-() const {
    ERPoint3D r(*this);
    r.negateIn();
    return r;
  }
  ERPoint3D& scale(double s) { return *this *= s; }
  ERPoint3D& translate(const ERPoint3D& t) { return *this += t; }

  int operator==(const ERPoint3D& o) const { return sameAs(o); }
  int operator!=(const ERPoint3D& o) const { return !sameAs(o); }

  inline ERVector3D asVector3D() const;
  // Drops axis a: x gives (y, z), y gives (x, z), any other value (x, y).
  ERPoint2D castToPoint2D(Coord3D a) const;
  const ERPoint3D& castToPoint() const { return *this; }
  double weigth() const { return 1.0; }

  void printOn(std::ostream& os) const;  // <x,y,z>
  void saveGuts(ERFile& f) const;        // 24 raw bytes
  void restoreGuts(ERFile& f);
  unsigned long binaryStoreSize() const { return sizeof(c_); }

  friend int isEqual(const ERPoint3D& a, const ERPoint3D& b, double tol);
  friend std::istream& operator>>(std::istream& is, ERPoint3D& p);
};

// A vector of the plane: a point's storage with the vector operations.
class ERVector2D : public ERPoint2D {
 public:
  ERVector2D() = default;
  ERVector2D(double x, double y) : ERPoint2D(x, y) {}
  // The unit vector of axis a (not range-checked).
  explicit ERVector2D(Coord2D a) { c_[a] = 1.0; }
  // The vector from a to b: b - a.
  ERVector2D(const ERPoint2D& a, const ERPoint2D& b) : ERPoint2D(b) { subIn(a); }
  ERVector2D(const ERPoint2D& p) : ERPoint2D(p) {}  // NOLINT: a point difference becomes a vector

  ERVector2D& operator+=(const ERVector2D& o) {
    addIn(o);
    return *this;
  }
  ERVector2D& operator-=(const ERVector2D& o) {
    subIn(o);
    return *this;
  }
  ERVector2D& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  ERVector2D& operator/=(double s) {
    divIn(s);
    return *this;
  }
  ERVector2D operator-() const {
    ERVector2D r(*this);
    r.negateIn();
    return r;
  }

  inline double norme2() const;
  double norme() const { return std::sqrt(norme2()); }
  // Divide by the norm; a norm of exactly 0.0 leaves the vector as it is.
  ERVector2D& normalize();
  ERVector2D getnormalized() const;

  // Inserts w as coordinate a; any other axis value is reported and gives the zero vector.
  ERVector3D castToVector3D(Coord3D a, double w) const;
};

// A vector of space: a point's storage with the vector operations.
class ERVector3D : public ERPoint3D {
 public:
  ERVector3D() = default;
  ERVector3D(double x, double y, double z) : ERPoint3D(x, y, z) {}
  // The unit vector of axis a (not range-checked).
  explicit ERVector3D(Coord3D a) { c_[a] = 1.0; }
  // The vector from a to b: b - a.
  ERVector3D(const ERPoint3D& a, const ERPoint3D& b) : ERPoint3D(b) { subIn(a); }
  ERVector3D(const ERPoint3D& p) : ERPoint3D(p) {}  // NOLINT: a point difference becomes a vector

  ERVector3D& operator+=(const ERVector3D& o) {
    addIn(o);
    return *this;
  }
  ERVector3D& operator-=(const ERVector3D& o) {
    subIn(o);
    return *this;
  }
  ERVector3D& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  // Multiplies by the reciprocal 1.0 / s, unlike every other division here: it rounds differently
  // and is kept that way on purpose.
  ERVector3D& operator/=(double s) {
    mulIn(1.0 / s);
    return *this;
  }
  ERVector3D operator-() const {
    ERVector3D r(*this);
    r.negateIn();
    return r;
  }

  inline double norme2() const;
  double norme() const { return std::sqrt(norme2()); }
  // Divide by the norm; a norm of exactly 0.0 leaves the vector as it is.
  ERVector3D& normalize();
  ERVector3D getnormalized() const;

  // The axis of the dominant component; ties go to the later axis, the zero vector gives z.
  Coord3D axeOptimum() const;
  DirPrincSgn mainDirection() const;
  // Drops axis a: x gives (y, z), y gives (x, z), any other value (x, y).
  ERVector2D castToVector2D(Coord3D a) const;
};

inline ERVector3D ERPoint3D::asVector3D() const { return ERVector3D(*this); }

// The signed main direction of a vector: code = 2 x axis + s, s being 0 for the positive and 1 for the
// negative direction (0 = +x, 1 = -x, 2 = +y, 3 = -y, 4 = +z, 5 = -z).
class DirPrincSgn {
 public:
  explicit DirPrincSgn(int code) : code_(code) {}
  // The dominant axis of v, negative when v's component along it is <= 0 (the zero vector gives -z).
  explicit DirPrincSgn(const ERVector3D& v);
  // Two characters: an upper-case axis letter X, Y or Z (not validated) and a sign, '+' for positive
  // and any other character for negative: "X+", "Z-".
  explicit DirPrincSgn(const char* text);

  int code() const { return code_; }
  operator int() const { return code_; }  // NOLINT: the code is the value
  Coord3D axis() const { return static_cast<Coord3D>(code_ / 2); }
  int isNegative() const { return code_ % 2; }

 private:
  std::int32_t code_;
};

// Point arithmetic: component-wise, each returning a new value.
inline ERPoint2D operator+(const ERPoint2D& a, const ERPoint2D& b) { return ERPoint2D(a) += b; }
inline ERPoint2D operator-(const ERPoint2D& a, const ERPoint2D& b) { return ERPoint2D(a) -= b; }
inline ERPoint2D operator*(const ERPoint2D& a, double s) { return ERPoint2D(a) *= s; }
inline ERPoint2D operator*(double s, const ERPoint2D& a) { return ERPoint2D(a) *= s; }
// Also the division of a vector: the quotient is a point.
inline ERPoint2D operator/(const ERPoint2D& a, double s) { return ERPoint2D(a) /= s; }

inline ERPoint3D operator+(const ERPoint3D& a, const ERPoint3D& b) { return ERPoint3D(a) += b; }
inline ERPoint3D operator-(const ERPoint3D& a, const ERPoint3D& b) { return ERPoint3D(a) -= b; }
inline ERPoint3D operator*(const ERPoint3D& a, double s) { return ERPoint3D(a) *= s; }
inline ERPoint3D operator*(double s, const ERPoint3D& a) { return ERPoint3D(a) *= s; }
// Also the division of a vector: the quotient is a point, and it divides (no reciprocal).
inline ERPoint3D operator/(const ERPoint3D& a, double s) { return ERPoint3D(a) /= s; }

// Point with vector gives a point, in either order.
inline ERPoint2D operator+(const ERPoint2D& a, const ERVector2D& b) { return ERPoint2D(a) += b; }
inline ERPoint2D operator+(const ERVector2D& a, const ERPoint2D& b) { return ERPoint2D(a) += b; }
inline ERPoint2D operator-(const ERPoint2D& a, const ERVector2D& b) { return ERPoint2D(a) -= b; }
inline ERPoint2D operator-(const ERVector2D& a, const ERPoint2D& b) { return ERPoint2D(a) -= b; }
inline ERPoint3D operator+(const ERPoint3D& a, const ERVector3D& b) { return ERPoint3D(a) += b; }
inline ERPoint3D operator+(const ERVector3D& a, const ERPoint3D& b) { return ERPoint3D(a) += b; }
inline ERPoint3D operator-(const ERPoint3D& a, const ERVector3D& b) { return ERPoint3D(a) -= b; }
inline ERPoint3D operator-(const ERVector3D& a, const ERPoint3D& b) { return ERPoint3D(a) -= b; }

// Vector arithmetic.
inline ERVector2D operator+(const ERVector2D& a, const ERVector2D& b) { return ERVector2D(a) += b; }
inline ERVector2D operator-(const ERVector2D& a, const ERVector2D& b) { return ERVector2D(a) -= b; }
inline ERVector2D operator*(const ERVector2D& a, double s) { return ERVector2D(a) *= s; }
inline ERVector2D operator*(double s, const ERVector2D& a) { return ERVector2D(a) *= s; }

inline ERVector3D operator+(const ERVector3D& a, const ERVector3D& b) { return ERVector3D(a) += b; }
inline ERVector3D operator-(const ERVector3D& a, const ERVector3D& b) { return ERVector3D(a) -= b; }
inline ERVector3D operator*(const ERVector3D& a, double s) { return ERVector3D(a) *= s; }
inline ERVector3D operator*(double s, const ERVector3D& a) { return ERVector3D(a) *= s; }

// Dot products, summed in axis order.
inline double operator*(const ERVector2D& a, const ERVector2D& b) {
  return a[X2D] * b[X2D] + a[Y2D] * b[Y2D];
}
inline double operator*(const ERVector3D& a, const ERVector3D& b) {
  return a[X3D] * b[X3D] + a[Y3D] * b[Y3D] + a[Z3D] * b[Z3D];
}
// Cross products; in the plane, the z component of the cross product.
inline double operator^(const ERVector2D& a, const ERVector2D& b) {
  return a[X2D] * b[Y2D] - a[Y2D] * b[X2D];
}
inline ERVector3D operator^(const ERVector3D& a, const ERVector3D& b) {
  return ERVector3D(a[Y3D] * b[Z3D] - a[Z3D] * b[Y3D], a[Z3D] * b[X3D] - a[X3D] * b[Z3D],
                    a[X3D] * b[Y3D] - a[Y3D] * b[X3D]);
}

inline double ERVector2D::norme2() const { return *this * *this; }
inline double ERVector3D::norme2() const { return *this * *this; }
inline double norme2(const ERVector2D& v) { return v.norme2(); }
inline double norme2(const ERVector3D& v) { return v.norme2(); }
inline double norme(const ERVector2D& v) { return v.norme(); }
inline double norme(const ERVector3D& v) { return v.norme(); }

// Distances: the norm of the difference vector a - b.
double distance(const ERPoint2D& a, const ERPoint2D& b);
double distance(const ERPoint3D& a, const ERPoint3D& b);
double distance2(const ERPoint2D& a, const ERPoint2D& b);
double distance2(const ERPoint3D& a, const ERPoint3D& b);
// The midpoint, each coordinate (a + b) / 2.0.
ERPoint2D milieu(const ERPoint2D& a, const ERPoint2D& b);
ERPoint3D milieu(const ERPoint3D& a, const ERPoint3D& b);
// acos of the dot product of the normalised vectors, deliberately not clamped to [-1, 1]: rounding past 1
// gives NaN, and a zero vector (left as it is by normalisation) gives pi/2.
double AnglePI(const ERVector2D& u, const ERVector2D& v);
double AnglePI(const ERVector3D& u, const ERVector3D& v);

// 1 when every coordinate differs by at most tol (inclusive).
int isEqual(const ERPoint2D& a, const ERPoint2D& b, double tol);
int isEqual(const ERPoint3D& a, const ERPoint3D& b, double tol);

void swap(ERPoint2D& a, ERPoint2D& b);
void swap(ERPoint3D& a, ERPoint3D& b);
void swap(ERVector3D& a, ERVector3D& b);

// Text: <x,y> and <x,y,z> with the stream's own double format. Reading takes one character, a double,
// one character... and one final character; the separators are consumed unchecked, and on a stream
// failure the values read so far (zero for the others) are stored.
std::ostream& operator<<(std::ostream& os, const ERPoint2D& p);
std::ostream& operator<<(std::ostream& os, const ERPoint3D& p);
std::istream& operator>>(std::istream& is, ERPoint2D& p);
std::istream& operator>>(std::istream& is, ERPoint3D& p);

// Binary: the raw doubles in axis order, nothing else.
ERFile& operator<<(ERFile& f, const ERPoint2D& p);
ERFile& operator<<(ERFile& f, const ERPoint3D& p);
ERFile& operator>>(ERFile& f, ERPoint2D& p);
ERFile& operator>>(ERFile& f, ERPoint3D& p);

// A weighted point of the plane in homogeneous coordinates: the weighted coordinates x, y (the
// Cartesian point is (x / w, y / w)), then the weight w. Arithmetic acts on the stored values.
class ERPole2DH : public ERCoordTuple<3> {
 public:
  ERPole2DH() = default;  // the zero pole, weight 0
  ERPole2DH(double x, double y, double w) {
    c_[0] = x;
    c_[1] = y;
    c_[2] = w;
  }
  // p is stored as the weighted coordinates, deliberately not multiplied by w.
  ERPole2DH(const ERPoint2D& p, double w) : ERPole2DH(p[X2D], p[Y2D], w) {}

  static int getDim() { return 3; }

  // A stored component; the weight index gives the weight.
  double& operator[](Coord2DH i) { return c_[i]; }
  double operator[](Coord2DH i) const { return c_[i]; }
  // A Cartesian coordinate: the stored one divided by the weight.
  double operator[](Coord2D a) const { return c_[a] / c_[W2DH]; }
  double weigth() const { return c_[W2DH]; }
  ERPoint2D castToPoint() const;

  ERPole2DH& operator+=(const ERPole2DH& o) {
    addIn(o);
    return *this;
  }
  ERPole2DH& operator-=(const ERPole2DH& o) {
    subIn(o);
    return *this;
  }
  ERPole2DH& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  ERPole2DH& operator/=(double s) {
    divIn(s);
    return *this;
  }
  ERPole2DH operator-() const {
    ERPole2DH r(*this);
    r.negateIn();
    return r;
  }
  // Scales the Cartesian point: the weight stays.
  ERPole2DH& scale(double s);
  // Moves the Cartesian point by t: adds t x w to the stored coordinates.
  ERPole2DH& translate(const ERPoint2D& t);

  int operator==(const ERPole2DH& o) const { return sameAs(o); }
  int operator!=(const ERPole2DH& o) const { return !sameAs(o); }

  // Inserts v (stored as given) as coordinate a; any other axis value gives the zero pole, weight 0.
  ERPole3DH castToPole3D(Coord3D a, double v) const;

  void printOn(std::ostream& os) const;  // <x,y>(w)
  void saveGuts(ERFile& f) const;        // 24 raw bytes
  void restoreGuts(ERFile& f);
  unsigned long binaryStoreSize() const { return 24; }

  friend int isEqual(const ERPole2DH& a, const ERPole2DH& b, double tol);
};

// A weighted point of space in homogeneous coordinates: the weighted coordinates x, y, z (the
// Cartesian point is (x / w, y / w, z / w)), then the weight w. Arithmetic acts on the stored values.
class ERPole3DH : public ERCoordTuple<4> {
 public:
  ERPole3DH() = default;  // the zero pole, weight 0
  ERPole3DH(double x, double y, double z, double w) {
    c_[0] = x;
    c_[1] = y;
    c_[2] = z;
    c_[3] = w;
  }
  // p is stored as the weighted coordinates, deliberately not multiplied by w.
  ERPole3DH(const ERPoint3D& p, double w) : ERPole3DH(p[X3D], p[Y3D], p[Z3D], w) {}

  static int getDim() { return 4; }

  // A stored component; the weight index gives the weight.
  double& operator[](Coord3DH i) { return c_[i]; }
  double operator[](Coord3DH i) const { return c_[i]; }
  // A Cartesian coordinate: the stored one divided by the weight.
  double operator[](Coord3D a) const { return c_[a] / c_[W3DH]; }
  double weigth() const { return c_[W3DH]; }
  ERPoint3D castToPoint() const;

  ERPole3DH& operator+=(const ERPole3DH& o) {
    addIn(o);
    return *this;
  }
  ERPole3DH& operator-=(const ERPole3DH& o) {
    subIn(o);
    return *this;
  }
  ERPole3DH& operator*=(double s) {
    mulIn(s);
    return *this;
  }
  ERPole3DH& operator/=(double s) {
    divIn(s);
    return *this;
  }
  ERPole3DH operator-() const {
    ERPole3DH r(*this);
    r.negateIn();
    return r;
  }
  // Scales the Cartesian point: the weight stays.
  ERPole3DH& scale(double s);
  // Moves the Cartesian point by t: adds t x w to the stored coordinates.
  ERPole3DH& translate(const ERPoint3D& t);

  int operator==(const ERPole3DH& o) const { return sameAs(o); }
  int operator!=(const ERPole3DH& o) const { return !sameAs(o); }

  // Drops axis a: x gives (y, z, w), y gives (x, z, w), z gives (x, y, w); any other value gives the
  // zero pole, weight 0.
  ERPole2DH castToPole2D(Coord3D a) const;

  void printOn(std::ostream& os) const;  // <x,y,z>(w)
  void saveGuts(ERFile& f) const;        // 32 raw bytes
  void restoreGuts(ERFile& f);
  // 24 although 32 bytes are written; the value is kept as it is.
  unsigned long binaryStoreSize() const { return 24; }

  friend int isEqual(const ERPole3DH& a, const ERPole3DH& b, double tol);
};

// Pole arithmetic: every stored component, the weight included.
inline ERPole2DH operator+(const ERPole2DH& a, const ERPole2DH& b) { return ERPole2DH(a) += b; }
inline ERPole2DH operator-(const ERPole2DH& a, const ERPole2DH& b) { return ERPole2DH(a) -= b; }
inline ERPole2DH operator*(const ERPole2DH& a, double s) { return ERPole2DH(a) *= s; }
inline ERPole2DH operator*(double s, const ERPole2DH& a) { return ERPole2DH(a) *= s; }
inline ERPole2DH operator/(const ERPole2DH& a, double s) { return ERPole2DH(a) /= s; }

inline ERPole3DH operator+(const ERPole3DH& a, const ERPole3DH& b) { return ERPole3DH(a) += b; }
inline ERPole3DH operator-(const ERPole3DH& a, const ERPole3DH& b) { return ERPole3DH(a) -= b; }
inline ERPole3DH operator*(const ERPole3DH& a, double s) { return ERPole3DH(a) *= s; }
inline ERPole3DH operator*(double s, const ERPole3DH& a) { return ERPole3DH(a) *= s; }
inline ERPole3DH operator/(const ERPole3DH& a, double s) { return ERPole3DH(a) /= s; }

// 1 when every stored coordinate, then the weight, differs by at most tol (inclusive).
int isEqual(const ERPole2DH& a, const ERPole2DH& b, double tol);
int isEqual(const ERPole3DH& a, const ERPole3DH& b, double tol);

// Text: the stored coordinates in the point form, then (w): <1,2,3>(0.5).
std::ostream& operator<<(std::ostream& os, const ERPole2DH& p);
std::ostream& operator<<(std::ostream& os, const ERPole3DH& p);
// Reads a point form and then one double as the weight, so the text written above, with "(" before the
// weight, does not read back (the weight read fails). Kept as it is.
std::istream& operator>>(std::istream& is, ERPole2DH& p);
// Reads nothing and leaves the pole unchanged. Kept as it is.
std::istream& operator>>(std::istream& is, ERPole3DH& p);

// Binary: the raw stored doubles in storage order.
ERFile& operator<<(ERFile& f, const ERPole2DH& p);
ERFile& operator<<(ERFile& f, const ERPole3DH& p);
ERFile& operator>>(ERFile& f, ERPole2DH& p);
ERFile& operator>>(ERFile& f, ERPole3DH& p);

// The vector families store these by value and move them as raw bytes.
static_assert(std::is_trivially_copyable<ERPoint2D>::value && std::is_standard_layout<ERPoint2D>::value &&
                  sizeof(ERPoint2D) == 16,
              "ERPoint2D is two packed doubles");
static_assert(std::is_trivially_copyable<ERPoint3D>::value && std::is_standard_layout<ERPoint3D>::value &&
                  sizeof(ERPoint3D) == 24,
              "ERPoint3D is three packed doubles");
static_assert(std::is_trivially_copyable<ERVector2D>::value && std::is_standard_layout<ERVector2D>::value &&
                  sizeof(ERVector2D) == 16,
              "ERVector2D is two packed doubles");
static_assert(std::is_trivially_copyable<ERVector3D>::value && std::is_standard_layout<ERVector3D>::value &&
                  sizeof(ERVector3D) == 24,
              "ERVector3D is three packed doubles");
static_assert(std::is_trivially_copyable<ERPole2DH>::value && std::is_standard_layout<ERPole2DH>::value &&
                  sizeof(ERPole2DH) == 24,
              "ERPole2DH is three packed doubles");
static_assert(std::is_trivially_copyable<ERPole3DH>::value && std::is_standard_layout<ERPole3DH>::value &&
                  sizeof(ERPole3DH) == 32,
              "ERPole3DH is four packed doubles");
static_assert(std::is_trivially_copyable<DirPrincSgn>::value && sizeof(DirPrincSgn) == 4,
              "DirPrincSgn is one 32-bit integer");

#endif
