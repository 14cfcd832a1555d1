// The camera model behind every camera-to-world transform: a plane-to-
// camera homography, lens distortion (radial k1, k2 and tangential p1, p2)
// in normalised coordinates, and the intrinsic matrix.
//
//   world (X, Y) --plane--> ideal (x, y) --distort--> (xd, yd)
//                --intrinsics--> pixel (fx xd + skew yd + cx, fy yd + cy)
//
// An affine pixel-to-world transform is the special case with unit
// intrinsics, no distortion and an affine plane matrix.
#pragma once

namespace kel::calib {

struct CameraModel {
  double fx = 1, fy = 1, skew = 0, cx = 0, cy = 0;
  double k1 = 0, k2 = 0, p1 = 0, p2 = 0;
  double plane[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};  // world -> ideal, row-major

  bool distorted() const { return k1 != 0 || k2 != 0 || p1 != 0 || p2 != 0; }
  // The squared ideal radius up to which the radial distortion keeps
  // growing with the radius (beyond it the lens model folds back and
  // points have no single image); infinity when it always grows.
  double fold_radius2() const;
  // False when the point maps to infinity or behind the camera.
  bool world_to_pixel(double X, double Y, double &u, double &v) const;
  // False when the pixel lies outside the region where the distortion can
  // be inverted, or maps to infinity.
  bool pixel_to_world(double u, double v, double &X, double &Y) const;
  // True when every value is finite, the focal lengths are non-zero and the
  // plane matrix is invertible.
  bool valid() const;
};

void distort(const CameraModel &m, double x, double y, double &xd, double &yd);
// Inverts distort by Newton's method; false when it does not converge.
bool undistort(const CameraModel &m, double xd, double yd, double &x, double &y);

// Plane-to-plane homography from n >= 4 point pairs, from (sx, sy) to
// (dx, dy): normalised linear estimate, then Levenberg-Marquardt on the
// distances in the destination plane. h is row-major with h[8] = 1. False
// for degenerate configurations.
bool fit_homography(int n, const double *sx, const double *sy, const double *dx, const double *dy,
                    double *h);

// Maps (x, y) through h; false at infinity.
bool apply_homography(const double *h, double x, double y, double &u, double &v);

}  // namespace kel::calib
