#ifndef GEOMETRY_SVG_ELEMENT_H
#define GEOMETRY_SVG_ELEMENT_H

#include <span>
#include <string>
#include <string_view>

#include "geometry/point.h"

// One "polygon" or "polyline" element through the points. The style attribute is left out when the
// style is empty. Numbers have a decimal point in every locale.
std::string createSVGElement(std::string_view element, std::span<const Point> points,
                             const std::string& style, const std::string& svgClass);

// printf with a decimal point in every locale, for one number.
std::string formatSVGNumber(const char* format, double value);

#endif
