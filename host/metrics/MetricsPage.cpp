#include "metrics/MetricsPage.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <vector>

namespace host {
namespace {

using platform::MetricSample;
using platform::MetricType;

prometheus::MetricType TypeOf(MetricType type) {
  switch (type) {
    case MetricType::kCounter:
      return prometheus::MetricType::Counter;
    case MetricType::kGauge:
      return prometheus::MetricType::Gauge;
    case MetricType::kHistogram:
      break;
  }
  return prometheus::MetricType::Histogram;
}

prometheus::ClientMetric Metric(MetricType type, const MetricSample& sample) {
  prometheus::ClientMetric metric;
  for (const auto& [name, value] : sample.labels)
    metric.label.push_back({name, value});
  metric.counter.value = sample.value;
  metric.gauge.value = sample.value;
  if (type != MetricType::kHistogram) return metric;
  metric.histogram.sample_count = sample.count;
  metric.histogram.sample_sum = sample.value;
  for (const auto& [upper_bound, count] : sample.buckets)
    metric.histogram.bucket.push_back({count, upper_bound});
  return metric;
}

}  // namespace

std::string MetricsText(const platform::MetricFamilies& families) {
  std::vector<prometheus::MetricFamily> all;
  for (const auto& family : families) {
    prometheus::MetricFamily next{family.name, family.help, TypeOf(family.type), {}};
    for (const auto& sample : family.samples)
      next.metric.push_back(Metric(family.type, sample));
    if (!next.metric.empty()) all.push_back(std::move(next));
  }
  const prometheus::TextSerializer serializer;
  return static_cast<const prometheus::Serializer&>(serializer).Serialize(all);
}

}  // namespace host
