#ifndef DEVICE_WORLD_LENS_DISTORTION_H
#define DEVICE_WORLD_LENS_DISTORTION_H

namespace device {

// How a lens bends what a pinhole would show (D. C. Brown, 1966, radial part): a point at the
// distance r from the picture's middle, in focal lengths, is shown at r (1 + k1 r^2 + k2 r^4). A
// negative k1 draws the edges in, as wide lenses do.
struct LensDistortion {
  double k1 = 0;
  double k2 = 0;

  bool isOff() const { return k1 == 0 && k2 == 0; }
};

// Where the lens shows what a pinhole shows at r.
double distorted(const LensDistortion& lens, double r);

// The greatest pinhole distance up to which the lens shows what is farther out farther out;
// infinite when it always does. What lies beyond is not in its picture.
double reachOf(const LensDistortion& lens);

// The pinhole distance of what the lens shows at a distance; at most reachOf().
double undistorted(const LensDistortion& lens, double r);

}  // namespace device

#endif
