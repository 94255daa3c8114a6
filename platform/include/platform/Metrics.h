#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvBase/Export.h"
#include "OrvBase/Noncopyable.h"

/// Figures about the running system, for the operator's monitoring. Their names follow the conventions of Prometheus:
/// base units, "_total" at the end of a counter's, few labels, whose values come from tables and never from a client.
namespace platform {

enum class MetricType { kCounter, kGauge, kHistogram };

/// One series of a family at one moment.
struct MetricSample {
  /// Of a histogram: what was observed up to each upper bound, that of all before it included.
  struct Bucket {
    double upper_bound;
    std::uint64_t count;
  };
  std::vector<std::pair<std::string, std::string>> labels;
  /// Of a histogram: the sum of what was observed.
  double value = 0;
  /// Of a histogram: how many were observed.
  std::uint64_t count = 0;
  std::vector<Bucket> buckets{};
};

/// All series of one name.
struct MetricFamily {
  std::string name;
  std::string help;
  MetricType type = MetricType::kGauge;
  std::vector<MetricSample> samples;
};

using MetricFamilies = std::vector<MetricFamily>;

/// A label and all values that it can have.
struct MetricLabel {
  std::string name;
  std::vector<std::string> values;
};

/// Counters of one name, one for each combination of values of its labels. Counting is one atomic addition. Those that
/// never counted are left out when there is more than one label. Thread-safe.
class PLATFORM_API Counters : public Orv::Base::CNoncopyable {
 public:
  Counters(std::string name, std::string help, std::vector<MetricLabel> labels = {});

  /// `at` has the position of each label's value in its table.
  void Add(std::initializer_list<std::size_t> at = {}, std::uint64_t count = 1) noexcept {
    values_[IndexOf(at)].fetch_add(count, std::memory_order_relaxed);
  }

  [[nodiscard]] MetricFamily Collect() const;

 private:
  [[nodiscard]] std::size_t IndexOf(std::initializer_list<std::size_t> at) const noexcept;

  const std::string name_;
  const std::string help_;
  const std::vector<MetricLabel> labels_;
  std::vector<std::atomic<std::uint64_t>> values_;
};

/// Histograms of seconds of one name, one for each value of its label, or one without a label. Observing is two atomic
/// additions. Those that never observed anything are left out. Thread-safe.
class PLATFORM_API Histograms : public Orv::Base::CNoncopyable {
 public:
  /// `bounds`, in seconds and ascending, are the upper ends of the buckets.
  Histograms(std::string name, std::string help, std::span<const double> bounds, MetricLabel label = {});

  /// `at` is the position of the label's value.
  void Observe(std::uint64_t nanoseconds, std::size_t at = 0) noexcept;

  [[nodiscard]] MetricFamily Collect() const;

 private:
  const std::string name_;
  const std::string help_;
  const std::vector<double> bounds_;
  /// The same in nanoseconds.
  std::vector<std::uint64_t> ends_;
  const MetricLabel label_;
  /// Of each histogram: its buckets, one for what is beyond them, and the sum in nanoseconds.
  const std::size_t width_;
  std::vector<std::atomic<std::uint64_t>> values_;
};

/// The figures of this process, by who keeps them. Thread-safe.
class PLATFORM_API Metrics : public Orv::Base::CNoncopyable {
 public:
  /// Asked at each scrape, one scrape at a time. May wait for the database.
  using Source = std::function<MetricFamilies()>;

  /// While it lives its source is asked; its end waits for a scrape that is under way.
  class PLATFORM_API Registration : public Orv::Base::CNoncopyable {
   public:
    Registration(Metrics& metrics, Source source);
    ~Registration();

   private:
    friend class Metrics;
    Metrics& metrics_;
    const Source source_;
  };

  Metrics() = default;

  /// Those of this process, never destroyed.
  [[nodiscard]] static Metrics& Process();

  /// What all sources say now, sorted by name; families of one name are one. A source that throws says nothing, with a
  /// line in the log.
  [[nodiscard]] MetricFamilies Collect();

 private:
  std::mutex mutex_;
  // Under mutex_:
  std::vector<const Registration*> sources_;
};

}  // namespace platform
