#ifndef PLATFORM_HOST_PTZMATH_PINHOLE_H
#define PLATFORM_HOST_PTZMATH_PINHOLE_H

namespace ptzmath {

// Where the optical axis of an overview camera points, in the head's angles. Degrees.
struct Mounting {
  double pan = 0;   // to the right
  double tilt = 0;  // upwards
  double roll = 0;  // about the optical axis; positive: turned clockwise as seen from behind
};

// Where the head looks. Degrees.
struct Direction {
  double pan;   // -180 inclusive to 180 exclusive; at the zenith any pan is right
  double tilt;  // -90 to 90
};

// The pinhole model of a camera: each pixel has its line of sight, a picture's middle
// (width / 2, height / 2) has the optical axis. Pure arithmetic in double precision.
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

  // The pixel may lie beyond the picture.
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

  Ray rayOf(double x, double y) const;

  int width = 0;
  int height = 0;
  FieldOfView horizontalFov;
  FieldOfView verticalFov;
  double pan = 0;
  Turn roll{0};
  Turn tilt{0};
};

}  // namespace ptzmath

#endif
