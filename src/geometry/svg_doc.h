#ifndef GEOMETRY_SVG_DOC_H
#define GEOMETRY_SVG_DOC_H

#include <span>
#include <string>
#include <vector>

// A drawing over the picture: elements in the picture's coordinates (-1 to 1) inside one transform
// group.
class SvgDoc {
 public:
  // transform is a group opener (createSVGTransform); an empty first element is ignored.
  explicit SvgDoc(const std::string& transform, const std::string& firstElement = "");

  // Adds an element; an empty one is ignored.
  SvgDoc& operator+=(const std::string& element);

  bool empty() const { return elements.empty(); }

  // The document's text.
  std::string toString() const;

 private:
  std::vector<std::string> elements;
  std::string header;
};

// The opener of the group that maps configuration coordinates to image coordinates: y is flipped,
// and the inverse of the row-major 3x3 matrix is applied. Where the matrix has not nine values or
// cannot be inverted, that is logged and only y is flipped.
std::string createSVGTransform(std::span<const double> matrix);

// A style attribute's text.
std::string createSVGStyle(const std::string& fill, double fillOpacity, const std::string& stroke,
                           double strokeWidth);

#endif
