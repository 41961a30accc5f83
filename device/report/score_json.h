#ifndef DEVICE_REPORT_SCORE_JSON_H
#define DEVICE_REPORT_SCORE_JSON_H

#include <jansson.h>

#include <optional>
#include <string>

#include "score/score_figures.h"
#include "score/tuning.h"

namespace device {

// A text, also one that is not UTF-8.
json_t* jsonOf(const std::string& text);
json_t* jsonOf(double value);
json_t* jsonOf(int value);
json_t* jsonOf(bool value);
json_t* jsonOf(const Gains& gains);
json_t* jsonOf(const ErrorFigures& error);

// null for an empty one.
template <typename Value>
json_t* jsonOf(const std::optional<Value>& value) {
  return value ? jsonOf(*value) : json_null();
}

// As docs/report.schema.json has it: "score" and "tuning" of a report. The caller owns the result.
json_t* scoreJson(const ScoreFigures& figures);
json_t* peopleJson(const ScoreFigures& figures);
json_t* tuningJson(const TuningFigures& figures);

}  // namespace device

#endif
