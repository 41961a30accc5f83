#include "geometry/svg_element.h"

#include <fixmath.h>
#include <glib.h>

#include <array>

namespace {

constexpr int Q12_ENTRY = 12;

double toConfigurationValue(std::int16_t coordinate) {
  return coordinate * fx_xtod_tab[Q12_ENTRY];
}

}  // namespace

std::string formatSVGNumber(const char* format, double value) {
  std::array<char, 64> buffer{};
  return g_ascii_formatd(buffer.data(), static_cast<int>(buffer.size()), format, value);
}

std::string createSVGElement(std::string_view element, std::span<const Point> points,
                             const std::string& style, const std::string& svgClass) {
  std::string text = "<" + std::string(element) + " class=\"" + svgClass + "\" points=\"";
  for (const Point& point : points) {
    text += " " + formatSVGNumber("%.3f", toConfigurationValue(point.x)) + "," +
            formatSVGNumber("%.3f", toConfigurationValue(point.y));
  }
  text += "\"";
  if (!style.empty()) {
    text += " style=\"" + style + "\" ";
  }
  return text + " />\n";
}
