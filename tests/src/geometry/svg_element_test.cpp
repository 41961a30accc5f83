#include "geometry/svg_element.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "geometry/svg_doc.h"
#include "support/temporary_folder.h"

namespace {

// A locale whose decimal sign is a comma, for the life of the object: made from the sources that
// the package "locales" brings.
class CommaLocale {
 public:
  CommaLocale() {
    const std::string command = "localedef -i de_DE -f UTF-8 --no-archive '" +
                                (folder / "de_DE.UTF-8") + "' >/dev/null 2>&1";
    made = std::system(command.c_str()) == 0 && setenv("LOCPATH", folder.get().c_str(), 1) == 0 &&
           std::setlocale(LC_ALL, "de_DE.UTF-8") &&
           std::localeconv()->decimal_point == std::string(",");
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }

  bool isMade() const { return made; }

 private:
  TemporaryFolder folder;
  bool made = false;
};

TEST(SvgElement, IsBuiltFromItsPieces) {
  const std::vector<Point> points = {{0, 0}, {4096, -2048}};
  EXPECT_EQ("<polygon class=\"area\" points=\" 0.000,0.000 1.000,-0.500\" />\n",
            createSVGElement("polygon", points, "", "area"));
  EXPECT_EQ("<polyline class=\"fence\" points=\" 0.000,0.000 1.000,-0.500\" style=\"s\"  />\n",
            createSVGElement("polyline", points, "s", "fence"));
}

TEST(SvgElement, WithoutPointsIsStillWhole) {
  EXPECT_EQ("<polyline class=\"c\" points=\"\" />\n", createSVGElement("polyline", {}, "", "c"));
}

TEST(SvgElement, NumbersFollowTheirFormat) {
  EXPECT_EQ("-0.125", formatSVGNumber("%.3f", -0.125));
  EXPECT_EQ("2.0000 ", formatSVGNumber("%.4f ", 2.0));
  EXPECT_EQ("0.500000", formatSVGNumber("%f", 0.5));
}

TEST(SvgElement, NumbersHaveADecimalPointInEveryLocale) {
  const CommaLocale locale;
  ASSERT_TRUE(locale.isMade()) << "the package locales is not installed (see script/bootstrap)";
  const std::vector<Point> points = {{2048, -1024}};
  EXPECT_EQ("0.500", formatSVGNumber("%.3f", 0.5));
  EXPECT_EQ("<polyline class=\"c\" points=\" 0.500,-0.250\" />\n",
            createSVGElement("polyline", points, "", "c"));
  EXPECT_EQ("fill:red;fill-opacity:0.500000;stroke:red;stroke-width:0.250000;",
            createSVGStyle("red", 0.5, "red", 0.25));
  const std::array<double, 9> matrix = {1, 2, 3, 0, 1, 4, 5, 6, 0};
  EXPECT_EQ(
      "<g transform=\"matrix(1 0 0 -1 0 0) "
      "matrix(-24.0000 20.0000 18.0000 -15.0000 5.0000 -4.0000 )\" >",
      createSVGTransform(matrix));
}

}  // namespace
