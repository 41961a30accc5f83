#ifndef DEVICE_PICTURE_PICTURE_H
#define DEVICE_PICTURE_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace device {

struct Colour {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const Colour&) const = default;
};

// Rows from top to bottom, without gaps.
class Picture {
 public:
  Picture(int width, int height)
      : width(width),
        height(height),
        pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

  int getWidth() const { return width; }
  int getHeight() const { return height; }

  Colour& at(int x, int y) {
    return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                  static_cast<std::size_t>(x)];
  }
  const Colour& at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }

 private:
  int width;
  int height;
  std::vector<Colour> pixels;
};

}  // namespace device

#endif
