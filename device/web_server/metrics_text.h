#ifndef DEVICE_WEB_SERVER_METRICS_TEXT_H
#define DEVICE_WEB_SERVER_METRICS_TEXT_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace device {

// OpenMetrics 1.0, or the older text form 0.0.4.
enum class MetricsForm_e { openMetrics, text };

// The form for whoever accepts this; null for no header.
MetricsForm_e formFor(const char* accept);

enum class MetricType_e { gauge, counter, summary, histogram, info, stateSet };

// Writes metrics, family by family.
class MetricsText {
 public:
  using Labels = std::vector<std::pair<std::string, std::string>>;

  explicit MetricsText(MetricsForm_e form) : form(form) {}

  // name: without the ending of its samples ("_total" of a counter, "_info" of an info). help: one
  // line without backslashes.
  void family(const std::string& name, MetricType_e type, const std::string& help);

  // Of the latest family. ending: "_sum" and "_count" of a summary, "_bucket", too, of a
  // histogram; others have their own.
  void sample(double value, const Labels& labels = {}, const std::string& ending = "");

  // The whole text; nothing can be added.
  std::string finish();

  static const char* contentType(MetricsForm_e form);

 private:
  const MetricsForm_e form;
  std::string text;
  std::string samples;  // the name of the latest family's
};

}  // namespace device

#endif
