#include "geometry/svg_doc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "fakes/log_capture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string GROUP = "<g transform=\"matrix(1 0 0 -1 0 0)\" >";

TEST(SvgDoc, WithoutElementsIsTheEmptyDrawing) {
  const SvgDoc doc(GROUP);
  EXPECT_TRUE(doc.empty());
  EXPECT_EQ("<svg><desc></desc></svg>", doc.toString());
}

TEST(SvgDoc, EmptyElementsAreIgnored) {
  SvgDoc doc(GROUP, "");
  doc += "";
  EXPECT_TRUE(doc.empty());
  EXPECT_EQ("<svg><desc></desc></svg>", doc.toString());
}

TEST(SvgDoc, HoldsElementsInOrderInsideTheGroup) {
  SvgDoc doc(GROUP, "<a />\n");
  doc += "<b />\n";
  doc += "";
  doc += "<c />\n";
  EXPECT_FALSE(doc.empty());
  EXPECT_THAT(doc.toString(), EndsWith(GROUP + "<a />\n<b />\n<c />\n</g></svg>"));
}

TEST(SvgDoc, ElementsMayComeLater) {
  SvgDoc doc(GROUP);
  doc += "<a />\n";
  EXPECT_THAT(doc.toString(), EndsWith(GROUP + "<a />\n</g></svg>"));
}

TEST(SvgDoc, RootDeclaresTheDrawing) {
  const std::string text = SvgDoc(GROUP, "<a />\n").toString();
  EXPECT_THAT(text, StartsWith("<svg"));
  const std::string root = text.substr(0, text.find(GROUP));
  EXPECT_THAT(root, EndsWith(">\n"));
  for (const char* attribute :
       {"xmlns=\"http://www.w3.org/2000/svg\"", "xmlns:xlink=\"http://www.w3.org/1999/xlink\"",
        "version=\"1.1\"", "baseProfile=\"full\"", "width=\"100%\"", "height=\"100%\"",
        "viewBox=\"-1 -1 2 2\"", "preserveAspectRatio=\"none\""}) {
    EXPECT_THAT(root, HasSubstr(attribute));
  }
}

int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

TEST(SvgDoc, RootHasOneAttributeInALine) {
  const std::string text = SvgDoc(GROUP, "<a />\n").toString();
  std::istringstream root(text.substr(0, text.find(GROUP)));
  int attributes = 0;
  for (std::string line; std::getline(root, line);) {
    EXPECT_LE(count(line, "=\""), 1) << line;
    attributes += count(line, "=\"");
  }
  EXPECT_EQ(8, attributes);
}

// A zero is a zero, whatever sign its cofactor gave it.
std::string withoutNegativeZeros(std::string text) {
  const std::string negativeZero = "-0.0000 ";
  for (std::size_t at; (at = text.find(negativeZero)) != std::string::npos;) {
    text.erase(at, 1);
  }
  return text;
}

TEST(SvgTransform, OfTheIdentityFlipsY) {
  const std::array<double, 9> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  const LogCapture log;
  EXPECT_EQ(
      "<g transform=\"matrix(1 0 0 -1 0 0) matrix(1.0000 0.0000 0.0000 1.0000 0.0000 0.0000 )\" >",
      withoutNegativeZeros(createSVGTransform(identity)));
  EXPECT_TRUE(log.lines().empty());
}

TEST(SvgTransform, WritesTheInverseByColumns) {
  // Determinant 1; the inverse's rows are -24 18 5, 20 -15 -4 and -5 4 1.
  const std::array<double, 9> matrix = {1, 2, 3, 0, 1, 4, 5, 6, 0};
  EXPECT_EQ(
      "<g transform=\"matrix(1 0 0 -1 0 0) "
      "matrix(-24.0000 20.0000 18.0000 -15.0000 5.0000 -4.0000 )\" >",
      createSVGTransform(matrix));
}

TEST(SvgTransform, DividesByTheDeterminant) {
  // Scaling by 2 and 4 and shifting by 4 and 8, undone.
  const std::array<double, 9> matrix = {2, 0, 4, 0, 4, 8, 0, 0, 1};
  EXPECT_EQ(
      "<g transform=\"matrix(1 0 0 -1 0 0) "
      "matrix(0.5000 0.0000 0.0000 0.2500 -2.0000 -2.0000 )\" >",
      withoutNegativeZeros(createSVGTransform(matrix)));
}

TEST(SvgTransform, InvertsAMirroredMatrix) {
  // Determinant -1: below zero is not singular.
  const std::array<double, 9> matrix = {-1, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(
      "<g transform=\"matrix(1 0 0 -1 0 0) "
      "matrix(-1.0000 0.0000 0.0000 1.0000 0.0000 0.0000 )\" >",
      withoutNegativeZeros(createSVGTransform(matrix)));
}

TEST(SvgTransform, OfEightOrTenValuesOnlyFlipsY) {
  for (const std::size_t count : {std::size_t{0}, std::size_t{8}, std::size_t{10}}) {
    const std::vector<double> values(count, 1.0);
    const LogCapture log;
    EXPECT_EQ(GROUP, createSVGTransform(values));
    EXPECT_EQ(1, log.count(LOG_WARNING, "The Matrix needs 9 data values to be created.\n"));
    EXPECT_EQ(1u, log.lines().size());
  }
}

TEST(SvgTransform, OfASingularMatrixOnlyFlipsY) {
  const std::array<double, 9> matrix = {1, 2, 3, 2, 4, 6, 0, 0, 1};
  const LogCapture log;
  EXPECT_EQ(GROUP, createSVGTransform(matrix));
  EXPECT_EQ(1, log.count(LOG_WARNING, "The TransformationMatrix must be invertible.\n"));
  EXPECT_EQ(1u, log.lines().size());
}

TEST(SvgTransform, TakesADeterminantBelowTheBoundForSingular) {
  for (const double sign : {1.0, -1.0}) {
    const LogCapture log;
    EXPECT_EQ(GROUP, createSVGTransform(
                         std::array<double, 9>{sign * 0.003, 0, 0, 0, 0.003, 0, 0, 0, 1}));  // 9e-6
    EXPECT_EQ(1, log.count(LOG_WARNING, "The TransformationMatrix must be invertible.\n"));
  }
  const LogCapture log;
  EXPECT_NE(GROUP, createSVGTransform(
                       std::array<double, 9>{0.004, 0, 0, 0, 0.004, 0, 0, 0, 1}));  // 1.6e-5
  EXPECT_TRUE(log.lines().empty());
}

TEST(SvgStyle, NamesFillAndStroke) {
  EXPECT_EQ("fill:red;fill-opacity:0.500000;stroke:#00ff00;stroke-width:0.010000;",
            createSVGStyle("red", 0.5, "#00ff00", 0.01));
}

}  // namespace
