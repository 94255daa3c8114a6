#include "platform/Metrics.h"

#include <algorithm>
#include <numeric>

#include "OrvBase/Log.h"
#include "platform/Guard.h"

namespace platform {
namespace {

constexpr double kNanosecondsOfASecond = 1e9;

std::size_t Combinations(const std::vector<MetricLabel>& labels) {
  return std::accumulate(labels.begin(), labels.end(), std::size_t{1},
                         [](std::size_t product, const auto& label) { return product * label.values.size(); });
}

/// The labels of the series at `index`: the last label's values follow each other.
std::vector<std::pair<std::string, std::string>> LabelsAt(const std::vector<MetricLabel>& labels, std::size_t index) {
  std::vector<std::pair<std::string, std::string>> named(labels.size());
  for (auto at = labels.size(); at-- > 0;) {
    const auto& values = labels[at].values;
    named[at] = {labels[at].name, values[index % values.size()]};
    index /= values.size();
  }
  return named;
}

void Complain(const char* reason) {
  Orv::Base::details::ITarnFormatLog(Orv::Base::kLogAnomaly, "platform.metrics", "figures cannot be had: %s",
                                     reason == nullptr ? "unknown" : reason);
}

}  // namespace

Counters::Counters(std::string name, std::string help, std::vector<MetricLabel> labels)
    : name_(std::move(name)), help_(std::move(help)), labels_(std::move(labels)), values_(Combinations(labels_)) {}

std::size_t Counters::IndexOf(std::initializer_list<std::size_t> at) const noexcept {
  std::size_t index = 0;
  const auto* label = labels_.data();
  for (const auto position : at)
    index = index * (label++)->values.size() + position;
  return index;
}

MetricFamily Counters::Collect() const {
  MetricFamily family{name_, help_, MetricType::kCounter, {}};
  for (std::size_t index = 0; index < values_.size(); ++index) {
    const auto value = values_[index].load(std::memory_order_relaxed);
    if (value == 0 && labels_.size() > 1) continue;
    family.samples.push_back({LabelsAt(labels_, index), static_cast<double>(value)});
  }
  return family;
}

Histograms::Histograms(std::string name, std::string help, std::span<const double> bounds, MetricLabel label)
    : name_(std::move(name)),
      help_(std::move(help)),
      bounds_(bounds.begin(), bounds.end()),
      label_(std::move(label)),
      width_(bounds_.size() + 2),
      values_(width_ * std::max<std::size_t>(label_.values.size(), 1)) {
  for (const auto bound : bounds_)
    ends_.push_back(static_cast<std::uint64_t>(bound * kNanosecondsOfASecond));
}

void Histograms::Observe(std::uint64_t nanoseconds, std::size_t at) noexcept {
  const auto bucket = static_cast<std::size_t>(std::ranges::lower_bound(ends_, nanoseconds) - ends_.begin());
  auto* const histogram = &values_[at * width_];
  histogram[bucket].fetch_add(1, std::memory_order_relaxed);
  histogram[width_ - 1].fetch_add(nanoseconds, std::memory_order_relaxed);
}

MetricFamily Histograms::Collect() const {
  MetricFamily family{name_, help_, MetricType::kHistogram, {}};
  for (std::size_t at = 0; at * width_ < values_.size(); ++at) {
    const auto* const histogram = &values_[at * width_];
    MetricSample sample;
    for (std::size_t bucket = 0; bucket <= bounds_.size(); ++bucket) {
      sample.count += histogram[bucket].load(std::memory_order_relaxed);
      if (bucket < bounds_.size()) sample.buckets.push_back({bounds_[bucket], sample.count});
    }
    sample.value = static_cast<double>(histogram[width_ - 1].load(std::memory_order_relaxed)) / kNanosecondsOfASecond;
    if (!label_.values.empty()) {
      if (sample.count == 0) continue;
      sample.labels = {{label_.name, label_.values[at]}};
    }
    family.samples.push_back(std::move(sample));
  }
  return family;
}

Metrics::Registration::Registration(Metrics& metrics, Source source) : metrics_(metrics), source_(std::move(source)) {
  const std::lock_guard lock(metrics_.mutex_);
  metrics_.sources_.push_back(this);
}

Metrics::Registration::~Registration() {
  const std::lock_guard lock(metrics_.mutex_);
  std::erase(metrics_.sources_, this);
}

Metrics& Metrics::Process() {
  static auto* const metrics = new Metrics;
  return *metrics;
}

MetricFamilies Metrics::Collect() {
  MetricFamilies all;
  const std::lock_guard lock(mutex_);
  for (const auto* const registration : sources_) {
    const auto ask = [&] {
      for (auto& family : registration->source_())
        all.push_back(std::move(family));
      return true;
    };
    Guard(ask, [](const char* reason) {
      Complain(reason);
      return false;
    });
  }
  std::ranges::stable_sort(all, {}, &MetricFamily::name);
  MetricFamilies merged;
  for (auto& family : all) {
    if (merged.empty() || merged.back().name != family.name) {
      merged.push_back(std::move(family));
      continue;
    }
    auto& samples = merged.back().samples;
    samples.insert(samples.end(), std::make_move_iterator(family.samples.begin()),
                   std::make_move_iterator(family.samples.end()));
  }
  return merged;
}

}  // namespace platform
