#ifndef PLATFORM_HOST_PTZMATH_PINHOLE_H
#define PLATFORM_HOST_PTZMATH_PINHOLE_H

#include <optional>

namespace ptzmath {

// Where an overview camera stands beside the head over a plane on which lies all that it sees below
// its horizon. Metres.
struct Stand {
  double offsetX;     // from the head to the right (the head's pan 90)
  double offsetY;     // ... and forward (pan 0)
  double height;      // of the camera above the plane, above 0
  double headHeight;  // of the head, above 0
};

// Where the optical axis of an overview camera points, in the head's angles. Degrees.
struct Mounting {
  double pan = 0;   // to the right
  double tilt = 0;  // upwards
  double roll = 0;  // about the optical axis; positive: turned clockwise as seen from behind

  // Of the lens (D. C. Brown, 1966, first radial term): what a pinhole shows at r focal lengths
  // from the middle is shown at r (1 + distortion r^2).
  double distortion = 0;

  std::optional<Stand> stand{};  // without: in the same place as the head
};

// Where the head looks. Degrees.
struct Direction {
  double pan;   // -180 inclusive to 180 exclusive; at the zenith any pan is right
  double tilt;  // -90 to 90
};

// The pinhole model of a camera, with its lens' distortion: each pixel has its line of sight, a
// picture's middle (width / 2, height / 2) has the optical axis. Pure arithmetic in double
// precision.
class Pinhole {
 public:
  // Pixels. Without a picture (0 or less) every pixel is its middle.
  void setPicture(int newWidth, int newHeight);
  void setMounting(const Mounting& mounting);
  // The angle in degrees across the whole width or height. A plane picture has an angle of more
  // than 0 and less than 180 degrees; with any other angle every pixel is taken for the middle in
  // that direction.
  void setHorizontalFov(double degrees) { horizontalFov.set(degrees); }
  void setVerticalFov(double degrees) { verticalFov.set(degrees); }

  // Where the head looks to see what the pixel shows. The pixel may lie beyond the picture, and
  // beyond what the lens can show; it is then taken for the nearest that it can. What is above the
  // horizon of a camera with a stand is taken for infinitely far away.
  Direction directionOf(double x, double y) const;

  // Degrees between the lines of sight to both ends of a horizontal extent in pixels that is
  // centred on (x, y). Never negative.
  double angleAcross(double x, double y, double extent) const;

 private:
  struct Ray {
    double right;
    double up;
    double forward;
  };

  struct Turn {
    explicit Turn(double degrees);

    double sine;
    double cosine;
  };

  // Set anew before every question, to the same angle mostly.
  class FieldOfView {
   public:
    void set(double newDegrees);
    // Half the picture at a distance of 1; 0 for an angle that no plane picture has.
    double getReach() const { return reach; }

   private:
    double degrees = 0;
    double reach = 0;
  };

  // The same stand as the camera's own right and forward show it, in its heights above the plane.
  struct Shift {
    double right;
    double up;
    double forward;
  };

  Ray rayOf(double x, double y) const;
  Ray undistorted(const Ray& shown) const;
  Ray fromHead(const Ray& ray) const;

  int width = 0;
  int height = 0;
  FieldOfView horizontalFov;
  FieldOfView verticalFov;
  double pan = 0;
  Turn roll{0};
  Turn tilt{0};
  double distortion = 0;
  std::optional<Shift> shift;
};

}  // namespace ptzmath

#endif
