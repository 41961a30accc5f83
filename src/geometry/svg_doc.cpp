#include "geometry/svg_doc.h"

#include <syslog.h>

#include <array>
#include <cmath>
#include <optional>

#include "geometry/svg_element.h"

namespace {

constexpr std::size_t MATRIX_VALUES = 9;
constexpr double SMALLEST_DETERMINANT = 1e-5;

constexpr const char* ROOT_OPENER =
    "<svg\n"
    "xmlns=\"http://www.w3.org/2000/svg\"\n"
    "xmlns:xlink=\"http://www.w3.org/1999/xlink\"\n"
    "version=\"1.1\"\n"
    "baseProfile=\"full\"\n"
    "width=\"100%\"\n"
    "height=\"100%\"\n"
    "viewBox=\"-1 -1 2 2\"\n"
    "preserveAspectRatio=\"none\">\n";

// I00, I10, I01, I11, I02, I12 of the inverse, the order of an SVG matrix.
std::optional<std::array<double, 6>> invertAffinePart(std::span<const double> m) {
  if (m.size() != MATRIX_VALUES) {
    syslog(LOG_WARNING, "The Matrix needs 9 data values to be created.\n");
    return std::nullopt;
  }
  const double c00 = m[4] * m[8] - m[5] * m[7];
  const double c01 = m[5] * m[6] - m[3] * m[8];
  const double c02 = m[3] * m[7] - m[4] * m[6];
  const double determinant = m[0] * c00 + m[1] * c01 + m[2] * c02;
  if (!(std::abs(determinant) >= SMALLEST_DETERMINANT)) {
    syslog(LOG_WARNING, "The TransformationMatrix must be invertible.\n");
    return std::nullopt;
  }
  return std::array{c00 / determinant,
                    c01 / determinant,
                    (m[2] * m[7] - m[1] * m[8]) / determinant,
                    (m[0] * m[8] - m[2] * m[6]) / determinant,
                    (m[1] * m[5] - m[2] * m[4]) / determinant,
                    (m[2] * m[3] - m[0] * m[5]) / determinant};
}

}  // namespace

SvgDoc::SvgDoc(const std::string& transform, const std::string& firstElement)
    : header(ROOT_OPENER + transform) {
  *this += firstElement;
}

SvgDoc& SvgDoc::operator+=(const std::string& element) {
  if (!element.empty()) {
    elements.push_back(element);
  }
  return *this;
}

std::string SvgDoc::toString() const {
  if (elements.empty()) {
    return "<svg><desc></desc></svg>";
  }
  std::string text = header;
  for (const std::string& element : elements) {
    text += element;
  }
  return text + "</g></svg>";
}

std::string createSVGTransform(std::span<const double> matrix) {
  std::string text = "<g transform=\"matrix(1 0 0 -1 0 0)";
  if (const auto inverse = invertAffinePart(matrix)) {
    text += " matrix(";
    for (const double value : *inverse) {
      text += formatSVGNumber("%.4f", value) + " ";
    }
    text += ")";
  }
  return text + "\" >";
}

std::string createSVGStyle(const std::string& fill, double fillOpacity, const std::string& stroke,
                           double strokeWidth) {
  return "fill:" + fill + ";fill-opacity:" + formatSVGNumber("%f", fillOpacity) +
         ";stroke:" + stroke + ";stroke-width:" + formatSVGNumber("%f", strokeWidth) + ";";
}
