// A profile's verdict on where an object lies.
#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/protection_area.h"
#include "bench/case.h"
#include "bench/everyday.h"
#include "bench/library_verdicts.h"
#include "bench/verdict_pairs.h"
#include "scene/mote_object.h"
#include "scene/tracking_object.h"

namespace bench {

namespace {

// The product's own classes on the pairs.
class ProductVerdicts {
 public:
  explicit ProductVerdicts(const VerdictPairs& pairs) {
    for (const Areas& drawn : pairs.areas) {
      areas.emplace_back(Polygon(drawn.include));
      for (const auto& exclude : drawn.exclude) {
        areas.back().addExcludeArea(Polygon(exclude));
      }
    }
    for (const auto& outline : pairs.outlines) {
      const MoteObject object(1, 0, {}, std::make_unique<Polygon>(outline), nullptr, true);
      objects.emplace_back(object, 0, 16.0F / 9.0F);
    }
  }

  int verdict(std::size_t area, std::size_t outline) const {
    return static_cast<int>(areas[area].checkObject(objects[outline]));
  }

 private:
  std::vector<ProtectionArea> areas;
  std::vector<TrackingObject> objects;
};

Batch prepareProduct() {
  auto product = std::make_shared<ProductVerdicts>(everydayPairs());
  return [product] {
    return judgeAll(everydayPairs(), [&product](std::size_t area, std::size_t outline) {
      return product->verdict(area, outline);
    });
  };
}

using MakeLibrary = std::unique_ptr<LibraryVerdicts> (*)(const VerdictPairs&);

Batch prepareLibrary(MakeLibrary make) {
  const std::shared_ptr<LibraryVerdicts> library = make(everydayPairs());
  return [library] {
    return judgeAll(everydayPairs(), [&library](std::size_t area, std::size_t outline) {
      return library->verdict(area, outline);
    });
  };
}

// On how many pairs the library comes to another verdict than the product.
std::map<std::string, double> differences(MakeLibrary make) {
  const ProductVerdicts product(everydayPairs());
  const auto library = make(everydayPairs());
  const auto differs = [&](const Pair& pair) {
    return library->verdict(pair.area, pair.outline) != product.verdict(pair.area, pair.outline);
  };
  return {{"other verdicts",
           static_cast<double>(std::ranges::count_if(everydayPairs().pairs, differs))}};
}

void addLibrary(Cases& cases, const std::string& name, MakeLibrary make) {
  cases.push_back({"verdict/everyday with " + name, "pair", [make] { return prepareLibrary(make); },
                   [make] { return differences(make); }});
}

std::map<std::string, double> mixFacts() {
  const ProductVerdicts product(everydayPairs());
  std::map<std::string, double> facts{{"inside", 0}, {"outside", 0}, {"excluded", 0}};
  for (const Pair& pair : everydayPairs().pairs) {
    constexpr std::array NAMES{"inside", "outside", "excluded"};
    ++facts[NAMES.at(static_cast<std::size_t>(product.verdict(pair.area, pair.outline)))];
  }
  facts["crossing the border"] = static_cast<double>(countCrossing(everydayPairs()));
  return facts;
}

}  // namespace

void addVerdictCases(Cases& cases) {
  cases.push_back({"verdict/everyday", "pair", prepareProduct, mixFacts});
#ifdef BENCH_BOOST
  addLibrary(cases, "Boost.Geometry", makeBoostVerdicts);
#endif
#ifdef BENCH_GEOS
  addLibrary(cases, "GEOS", makeGeosVerdicts);
#endif
#ifdef BENCH_CLIPPER
  addLibrary(cases, "Clipper", makeClipperVerdicts);
#endif
}

}  // namespace bench
