#include "web_server/metrics_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace device {

namespace {

constexpr std::string_view OPEN_METRICS = "application/openmetrics-text";

const char* nameOf(MetricType_e type, MetricsForm_e form) {
  const bool isOpen = form == MetricsForm_e::openMetrics;
  switch (type) {
    case MetricType_e::gauge:
      return "gauge";
    case MetricType_e::counter:
      return "counter";
    case MetricType_e::summary:
      return "summary";
    case MetricType_e::histogram:
      return "histogram";
    case MetricType_e::info:
      return isOpen ? "info" : "gauge";
    case MetricType_e::stateSet:
      return isOpen ? "stateset" : "gauge";
  }
  return "unknown";
}

std::string endingOf(MetricType_e type) {
  switch (type) {
    case MetricType_e::counter:
      return "_total";
    case MetricType_e::info:
      return "_info";
    default:
      return "";
  }
}

std::string escaped(const std::string& value) {
  std::string text;
  for (const char c : value) {
    if (c == '\n') {
      text += "\\n";
    } else if (c == '"' || c == '\\') {
      text += {'\\', c};
    } else {
      text += c;
    }
  }
  return text;
}

std::string numberOf(double value) {
  if (std::isnan(value)) {
    return "NaN";
  }
  if (std::isinf(value)) {
    return value > 0 ? "+Inf" : "-Inf";
  }
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

}  // namespace

MetricsForm_e formFor(const char* accept) {
  const bool isOpen =
      accept != nullptr && std::string_view(accept).find(OPEN_METRICS) != std::string_view::npos;
  return isOpen ? MetricsForm_e::openMetrics : MetricsForm_e::text;
}

void MetricsText::family(const std::string& name, MetricType_e type, const std::string& help) {
  samples = name + endingOf(type);
  const std::string& described = form == MetricsForm_e::openMetrics ? name : samples;
  text += "# TYPE " + described + ' ' + nameOf(type, form) + '\n';
  text += "# HELP " + described + ' ' + help + '\n';
}

void MetricsText::sample(double value, const Labels& labels, const std::string& ending) {
  text += samples + ending;
  char separator = '{';
  for (const auto& [name, content] : labels) {
    text += separator + name + "=\"" + escaped(content) + '"';
    separator = ',';
  }
  text += labels.empty() ? " " : "} ";
  text += numberOf(value) + '\n';
}

std::string MetricsText::finish() {
  if (form == MetricsForm_e::openMetrics) {
    text += "# EOF\n";
  }
  return std::move(text);
}

const char* MetricsText::contentType(MetricsForm_e form) {
  return form == MetricsForm_e::openMetrics
             ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
             : "text/plain; version=0.0.4; charset=utf-8";
}

}  // namespace device
