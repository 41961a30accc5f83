#include "head/zoom_curve.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

double fieldFromTable(const std::vector<ZoomPoint>& table, double position) {
  const auto after = std::find_if(table.begin() + 1, table.end() - 1, [&](const ZoomPoint& point) {
    return point.position >= position;
  });
  const ZoomPoint& from = *(after - 1);
  const double share = (position - from.position) / (after->position - from.position);
  return from.fieldAngle * std::pow(after->fieldAngle / from.fieldAngle, share);
}

}  // namespace

double magnificationAt(const ZoomCurve& curve, double position, double widestField,
                       double narrowestField) {
  const double most = widestField / narrowestField;
  switch (curve.kind) {
    case ZoomCurveKind::linear:
      return 1 + (most - 1) * position;
    case ZoomCurveKind::power:
      return 1 + (most - 1) * std::pow(position, curve.exponent);
    case ZoomCurveKind::logarithmic:
      return std::pow(most, position);
    case ZoomCurveKind::table:
      return curve.table.front().fieldAngle / fieldFromTable(curve.table, position);
  }
  return 1;
}

}  // namespace device
