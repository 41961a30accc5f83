// The verdicts of ProtectionArea against the steps that define them, written down literally, and
// where both differ against exact arithmetic.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <numeric>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/protection_area.h"
#include "bench/everyday.h"
#include "bench/exact_verdict.h"
#include "geometry/polygon.h"
#include "geometry/polygon_container.h"
#include "platform/polygons.h"
#include "scene/mote_object.h"
#include "scene/tracking_object.h"

void PrintTo(const AreaStatus_e& status, std::ostream* out) {
  constexpr std::array NAMES{"inside", "outside", "excluded"};
  *out << NAMES.at(static_cast<std::size_t>(status));
}

namespace {

using enum AreaStatus_e;
using exact::Points;

// One question. Polygons as the product has them: with the padding of outlines of one or two
// points.
struct Question {
  Polygon outline;
  Polygon include;
  std::vector<Polygon> excludes;
};

// ---- The three ways to an answer ----

AreaStatus_e productVerdict(const Question& question) {
  ProtectionArea area(question.include);
  for (const Polygon& exclude : question.excludes) {
    area.addExcludeArea(exclude);
  }
  const MoteObject object(1, 0, {}, question.outline.clone(), nullptr, true);
  return area.checkObject(TrackingObject(object, 0, 1.0F));
}

// What is left of the pieces outside the area.
PolygonContainer leftOutside(const PolygonContainer& pieces, const Polygon& area) {
  PolygonContainer left;
  for (const auto& piece : pieces) {
    if (area.isPolygonInside(*piece)) {
      continue;
    }
    if (!area.doesIntersect(*piece)) {
      left.insert(piece->clone());
      continue;
    }
    piece->cutOff(area, left);
  }
  return left;
}

AreaStatus_e literalVerdict(const Question& question) {
  if (!question.include.doesIntersect(question.outline)) {
    return outside;
  }
  PolygonContainer pieces;
  question.include.intersect(question.outline, pieces);
  for (const auto& piece : pieces) {
    PolygonContainer left;
    left.insert(piece->clone());
    for (const Polygon& exclude : question.excludes) {
      left = leftOutside(left, exclude);
    }
    if (!left.empty()) {
      return inside;
    }
  }
  return excluded;
}

AreaStatus_e exactVerdict(const Question& question) {
  std::vector<Points> excludes;
  for (const Polygon& exclude : question.excludes) {
    excludes.push_back(exclude.getVertices());
  }
  return exact::verdict(question.outline.getVertices(), question.include.getVertices(), excludes);
}

std::string toText(const Polygon& polygon) {
  std::string text;
  for (const Point& vertex : polygon.getVertices()) {
    text += vertex.toString();
  }
  return text;
}

std::string toText(const Question& question) {
  std::string text =
      "outline " + toText(question.outline) + "\ninclude " + toText(question.include);
  for (const Polygon& exclude : question.excludes) {
    text += "\nexclude " + toText(exclude);
  }
  return text;
}

// ---- Adversarial questions ----

enum class Kind { touching, nearlyTouching, concave, selfCrossing, padded, shared };

constexpr std::array KINDS{Kind::touching,     Kind::nearlyTouching, Kind::concave,
                           Kind::selfCrossing, Kind::padded,         Kind::shared};
constexpr std::array KIND_NAMES{"touching",      "nearly touching", "concave",
                                "self-crossing", "padded",          "with shared edges"};

// Asks about polygons that a seeded generator draws; small ranges make coincidences frequent.
class Adversary {
 public:
  Adversary(std::uint32_t seed, int range) : generator(seed, range) {}

  Question ask(Kind kind) {
    const polygons::Points include = areaFor(kind);
    const polygons::Points outline = outlineFor(kind, include);
    Question question{toPolygon(outline), toPolygon(include), {}};
    const int count = generator.number(0, 3);
    for (int i = 0; i < count; ++i) {
      question.excludes.push_back(toPolygon(excludeFor(kind, outline, include)));
    }
    return question;
  }

 private:
  static Polygon toPolygon(const polygons::Points& points) {
    std::vector<Point> vertices;
    for (const gm_point& point : points) {
      vertices.push_back({point.x, point.y});
    }
    return Polygon(vertices);
  }

  polygons::Points areaFor(Kind kind) {
    switch (kind) {
      case Kind::concave:
        return generator.concave(generator.number(5, 20));
      case Kind::selfCrossing:
        return generator.points(generator.number(4, 10));
      default:
        return generator.number(0, 1) == 0 ? generator.convex(generator.number(3, 12))
                                           : generator.concave(generator.number(4, 12));
    }
  }

  polygons::Points outlineFor(Kind kind, const polygons::Points& include) {
    switch (kind) {
      case Kind::touching:
        return movedToBorder(smaller(generator.any()), include, 0);
      case Kind::nearlyTouching:
        return movedToBorder(smaller(generator.any()), include, 1);
      case Kind::concave:
        return smaller(generator.concave(generator.number(8, 24)));
      case Kind::selfCrossing:
        return generator.points(generator.number(4, 10));
      case Kind::padded: {
        polygons::Points points = generator.points(generator.number(1, 2));
        return movedToBorder(points, include, generator.number(0, 1));
      }
      default:
        return generator.likeThat(include);
    }
  }

  polygons::Points excludeFor(Kind kind, const polygons::Points& outline,
                              const polygons::Points& include) {
    switch (generator.number(0, 5)) {
      case 0:
        return outline;
      case 1:
        return include;
      case 2:
        return outline.size() < 3 ? generator.any() : generator.likeThat(outline);
      case 3:
        return movedToBorder(generator.concave(generator.number(4, 12)), outline,
                             kind == Kind::nearlyTouching ? 1 : 0);
      default:
        return generator.any();
    }
  }

  // About half as large, as outlines are smaller than areas.
  polygons::Points smaller(polygons::Points points) {
    const int divisor = generator.number(1, 4);
    for (gm_point& point : points) {
      point = {static_cast<std::int16_t>(point.x / divisor),
               static_cast<std::int16_t>(point.y / divisor)};
    }
    return points;
  }

  // A point of the grid on the border: a vertex or between two.
  gm_point borderPoint(const polygons::Points& polygon) {
    const auto count = static_cast<int>(polygon.size());
    const int i = generator.number(0, count - 1);
    const gm_point a = polygon[static_cast<std::size_t>(i)];
    const gm_point b = polygon[static_cast<std::size_t>((i + 1) % count)];
    const int parts = std::max(1, std::gcd(b.x - a.x, b.y - a.y));
    const int part = generator.number(0, parts);
    return {static_cast<std::int16_t>(a.x + (b.x - a.x) / parts * part),
            static_cast<std::int16_t>(a.y + (b.y - a.y) / parts * part)};
  }

  // Moved so that a vertex comes to the border of the other, or up to a distance from it.
  polygons::Points movedToBorder(polygons::Points points, const polygons::Points& other,
                                 int distance) {
    const gm_point goal = borderPoint(other);
    const auto chosen =
        points[static_cast<std::size_t>(generator.number(0, static_cast<int>(points.size()) - 1))];
    const int dx = goal.x - chosen.x + generator.number(-distance, distance);
    const int dy = goal.y - chosen.y + generator.number(-distance, distance);
    for (gm_point& point : points) {
      point = {static_cast<std::int16_t>(point.x + dx), static_cast<std::int16_t>(point.y + dy)};
    }
    return points;
  }

  polygons::Generator generator;
};

// ---- Tests ----

TEST(VerdictAgreement, OnEverydayPairsTheVerdictsAreThoseOfTheSteps) {
  constexpr int AREAS = 200;
  constexpr std::size_t OUTLINES = 2000;
  constexpr std::size_t PAIRS = 20'000;
  bench::Everyday everyday(2);
  std::vector<Question> areas;
  for (int i = 0; i < AREAS; ++i) {
    const bench::Areas drawn = everyday.areas();
    Question& question = areas.emplace_back(Question{Polygon(), Polygon(drawn.include), {}});
    for (const auto& exclude : drawn.exclude) {
      question.excludes.emplace_back(exclude);
    }
  }
  const auto outlines = everyday.outlines(OUTLINES);
  std::map<AreaStatus_e, int> counts;
  for (std::size_t i = 0; i < PAIRS; ++i) {
    Question& question = areas[(i + i / OUTLINES) % AREAS];
    question.outline = Polygon(outlines[i % OUTLINES]);
    const AreaStatus_e expected = literalVerdict(question);
    ASSERT_EQ(productVerdict(question), expected) << toText(question);
    ++counts[expected];
  }
  EXPECT_GT(counts[inside], 5000);
  EXPECT_GT(counts[outside], 5000);
  EXPECT_GT(counts[excluded], 500);
}

void PrintTo(Kind kind, std::ostream* out) {
  *out << KIND_NAMES.at(static_cast<std::size_t>(kind));
}

class AdversarialVerdicts : public testing::TestWithParam<Kind> {};

TEST_P(AdversarialVerdicts, DifferFromTheStepsOnlyOnTheSideOfExactArithmetic) {
  constexpr int PAIRS = 100'000;
  constexpr std::array RANGES{6, 30, 400, 4096};
  constexpr int QUESTIONS = PAIRS / static_cast<int>(KINDS.size() * RANGES.size()) + 1;
  const auto kind = static_cast<std::size_t>(GetParam());
  std::map<AreaStatus_e, int> counts;
  std::map<std::string, int> differences;  // by class
  // All of them, where a developer asks for it.
  const char* const listPath = std::getenv("SENTREL_DIFFERENCES");
  std::ofstream list(listPath != nullptr ? listPath : "/dev/null", std::ios::app);
  for (const int range : RANGES) {
    Adversary adversary(static_cast<std::uint32_t>(range) + static_cast<std::uint32_t>(GetParam()),
                        range);
    for (int i = 0; i < QUESTIONS; ++i) {
      const Question question = adversary.ask(GetParam());
      const AreaStatus_e literal = literalVerdict(question);
      const AreaStatus_e product = productVerdict(question);
      ++counts[literal];
      if (product == literal) {
        continue;
      }
      const std::string difference =
          std::string(KIND_NAMES.at(kind)) + ": " + testing::PrintToString(product) +
          " where the rounded steps come to " + testing::PrintToString(literal);
      ++differences[difference];
      list << difference << '\n' << toText(question) << "\n\n";
      EXPECT_EQ(product, exactVerdict(question)) << toText(question);
    }
  }
  for (const auto& [name, count] : differences) {
    std::cout << count << " x " << name << '\n';
    RecordProperty(name, count);
  }
  // What touches, or shares edges, is never outside.
  EXPECT_GT(counts[inside], 1000);
  EXPECT_GT(counts[excluded], 100);
}

INSTANTIATE_TEST_SUITE_P(, AdversarialVerdicts, testing::ValuesIn(KINDS), [](const auto& test) {
  std::string name(KIND_NAMES.at(static_cast<std::size_t>(test.param)));
  std::ranges::replace_if(
      name, [](char letter) { return letter == ' ' || letter == '-'; }, '_');
  return name;
});

// ---- The judge ----

const Points SQUARE{{0, 0}, {0, 1000}, {1000, 1000}, {1000, 0}};

Points rectangle(int minX, int maxX, int minY, int maxY) {
  return Polygon(minX, maxX, minY, maxY).getVertices();
}

TEST(ExactVerdict, TouchingIsNotOutside) {
  EXPECT_EQ(exact::verdict(rectangle(1000, 1200, 100, 200), SQUARE, {}), excluded);
  EXPECT_EQ(exact::verdict(rectangle(1000, 1200, 1000, 1200), SQUARE, {}), excluded);
  EXPECT_EQ(exact::verdict(rectangle(1001, 1200, 100, 200), SQUARE, {}), outside);
  EXPECT_EQ(exact::verdict(rectangle(999, 1200, 100, 200), SQUARE, {}), inside);
}

TEST(ExactVerdict, TheSmallestAreaCounts) {
  // A corner that reaches a third of a unit across the border.
  EXPECT_EQ(exact::verdict({{1002, 500}, {999, 501}, {1002, 501}}, SQUARE, {}), inside);
  EXPECT_EQ(exact::verdict({{998, 1003}, {1003, 998}, {1003, 1003}}, SQUARE, {}), outside);
  EXPECT_EQ(exact::verdict({{997, 1003}, {1003, 997}, {1003, 1003}}, SQUARE, {}), excluded);
  EXPECT_EQ(exact::verdict({{997, 1002}, {1003, 997}, {1003, 1003}}, SQUARE, {}), inside);
}

TEST(ExactVerdict, TheHoleOfASelfCrossingOutlineIsOutside) {
  const Points pentagram{{0, 3000}, {1763, -2427}, {-2853, 927}, {2853, 927}, {-1763, -2427}};
  EXPECT_EQ(exact::verdict(rectangle(-50, 50, -50, 50), pentagram, {}), outside);
  EXPECT_EQ(exact::verdict(rectangle(-50, 50, 2000, 2050), pentagram, {}), inside);
}

TEST(ExactVerdict, ExcludeAreasCoverTogetherAndInTurn) {
  const Points object = rectangle(100, 200, 100, 200);
  EXPECT_EQ(exact::verdict(object, SQUARE, {rectangle(0, 150, 0, 300)}), inside);
  EXPECT_EQ(
      exact::verdict(object, SQUARE, {rectangle(0, 150, 0, 300), rectangle(150, 300, 0, 300)}),
      excluded);
  EXPECT_EQ(
      exact::verdict(object, SQUARE, {rectangle(0, 150, 0, 300), rectangle(151, 300, 0, 300)}),
      inside);
}

// Only the corners of a piece are asked for.
TEST(ExactVerdict, APieceAcrossTheNotchOfAnExcludeAreaGoes) {
  const Points notched{{0, 0},       {3000, 0},    {3000, 3000}, {2000, 3000},
                       {2000, 1000}, {1000, 1000}, {1000, 3000}, {0, 3000}};
  const Points everywhere = rectangle(-4000, 4000, -4000, 4000);
  EXPECT_EQ(exact::verdict(rectangle(500, 2500, 1500, 2500), everywhere, {notched}), excluded);
  EXPECT_EQ(exact::verdict(rectangle(500, 1500, 1500, 2500), everywhere, {notched}), inside);
}

// Rounding matters only where pieces are about as small as the grid.
TEST(ExactVerdict, AgreesWithTheStepsOnEverydayPairs) {
  bench::Everyday everyday(3);
  int differences = 0;
  for (int i = 0; i < 100; ++i) {
    const bench::Areas drawn = everyday.areas();
    Question question{Polygon(), Polygon(drawn.include), {}};
    for (const auto& exclude : drawn.exclude) {
      question.excludes.emplace_back(exclude);
    }
    for (const auto& outline : everyday.outlines(20)) {
      question.outline = Polygon(outline);
      differences += exactVerdict(question) != literalVerdict(question) ? 1 : 0;
    }
  }
  EXPECT_LE(differences, 4);
}

}  // namespace
