// Minimal stand-in for the host application's geometry and utility libraries: the point, vector,
// affine transform and paged point array the alignment entry reads and writes, with the host's
// validity check, assertion reporter, numeric limits and three-point normal. Built as its own
// library (velmora::host) so that host code and the command-line tools are written against it.
#ifndef VELMORA_HOST_H
#define VELMORA_HOST_H

#include <cstddef>
#include <limits>
#include <vector>

// The name and line the host's container header gives its validity checks.
#define GI_PAGEARR_HEADER "giPoint3coPageArr.h"
#define GI_PAGEARR_CHECK_LINE 162
#define GI_POINT_HEADER "giPoint3.h"

// Reports a broken precondition of the host on standard error as one line; never stops.
void ut_report_assert_failure(const char* file, int line, const char* message);

class utMath {
 public:
  static double max_double() { return std::numeric_limits<double>::max(); }
};

class utCheckValid {
 public:
  // 1 when obj names an object (non-null); otherwise reports and returns 0.
  int check_ok(const void* obj, const char* file, int line) const;
};

class giPoint3 {
 public:
  giPoint3() : x_(0.0), y_(0.0), z_(0.0) {}
  giPoint3(double x, double y, double z) : x_(x), y_(y), z_(z) {}
  // Each accessor first tests invalid(); an invalid point is reported and its value returned anyway.
  // In-line everywhere, as a host's point accessors are: the test then folds away wherever the caller
  // already knows the point to be valid.
  [[gnu::always_inline]] double x() const {
    if (invalid())
      ut_report_assert_failure(GI_POINT_HEADER, 41,
                               "object in incorrect state for operation |giPoint::x const");
    return x_;
  }
  [[gnu::always_inline]] double y() const {
    if (invalid())
      ut_report_assert_failure(GI_POINT_HEADER, 47,
                               "object in incorrect state for operation |giPoint::y const");
    return y_;
  }
  [[gnu::always_inline]] double z() const {
    if (invalid())
      ut_report_assert_failure(GI_POINT_HEADER, 53,
                               "object in incorrect state for operation |giPoint::z const");
    return z_;
  }
  // A point is invalid when one coordinate holds the "unset" marker. Only x is tested against the
  // negative bound as well; the asymmetry is the host's own and is kept.
  [[gnu::always_inline]] int invalid() const {
    const double m = utMath::max_double();
    return (x_ == -m || x_ == m || y_ == m || z_ == m) ? 1 : 0;
  }

 private:
  double x_, y_, z_;
};

class giVector3 {
 public:
  giVector3() : x_(0.0), y_(0.0), z_(0.0) {}
  giVector3(double x, double y, double z) : x_(x), y_(y), z_(z) {}
  double x() const { return x_; }
  double y() const { return y_; }
  double z() const { return z_; }

 private:
  double x_, y_, z_;
};

enum giXformTranslateTag { giXformTranslate = 0 };

class giXform3;

// Write access to a transform's linear block. access() answers the accessor that each transform carries,
// aimed at that transform.
class giXform3Acc {
 public:
  static giXform3Acc* access(giXform3* x);
  void set_matrix_value(int row, int col, double v);  // row, col in 0..2; others are reported

 private:
  friend class giXform3;
  giXform3Acc() = default;
  giXform3* target_ = nullptr;
};

// An affine map held as a 4x4 homogeneous matrix whose last row is 0 0 0 1.
class giXform3 {
 public:
  giXform3();  // identity
  giXform3(giXformTranslateTag, const giVector3& t);
  giXform3(const giXform3& other);
  giXform3& operator=(const giXform3& other);
  void premultiply(const giXform3& m);  // *this = m * *this: m is applied after *this
  double matrix_value(int row, int col) const { return m_[row][col]; }
  giPoint3 transform(const giPoint3& p) const;

 private:
  friend class giXform3Acc;
  double m_[4][4];
  giXform3Acc acc_;
};

// The host's paged array of points; its count is the number of points.
class giPoint3coPageArr {
 public:
  int count() const { return static_cast<int>(points_.size()); }
  const giPoint3& operator[](int i) const { return points_[static_cast<size_t>(i)]; }
  void append(const giPoint3& p) { points_.push_back(p); }
  void reserve(int n) { points_.reserve(static_cast<size_t>(n)); }

 private:
  std::vector<giPoint3> points_;
};

class ccMath {
 public:
  // Non-zero exactly when the three points define a plane normal (neither collinear nor
  // coincident); n then receives the unit normal of (b - a) x (c - a).
  static int calc_norm_3pt(const giPoint3& a, const giPoint3& b, const giPoint3& c, giVector3& n);
};

#endif
