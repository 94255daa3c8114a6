#include "metrics/ProcessFigures.h"

#include <microhttpd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace host {
namespace {

using platform::MetricFamily;
using platform::MetricType;

constexpr double kMicrosecondsOfASecond = 1e6;

MetricFamily One(const char* name, const char* help, MetricType type, double value) {
  return {name, help, type, {{{}, value}}};
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / kMicrosecondsOfASecond;
}

/// The fields of /proc/self/stat behind the program's name, which may hold anything: the state is the first, proc(5)'s
/// field 3.
std::vector<std::string> StatFields() {
  std::ifstream file("/proc/self/stat");
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 1));
  return {std::istream_iterator<std::string>(fields), {}};
}

double Number(const std::vector<std::string>& fields, std::size_t field_of_manual) {
  constexpr std::size_t kFirst = 3;
  const auto at = field_of_manual - kFirst;
  return at < fields.size() ? std::strtod(fields[at].c_str(), nullptr) : 0;
}

/// Seconds since 1970.
double BootTime() {
  std::ifstream file("/proc/stat");
  for (std::string word; file >> word;) {
    double time = 0;
    if (word == "btime" && file >> time) return time;
  }
  return 0;
}

double OpenDescriptors() {
  std::error_code error;
  const std::filesystem::directory_iterator open("/proc/self/fd", error);
  // Reading the folder takes one.
  return error ? 0 : static_cast<double>(std::distance(begin(open), end(open)) - 1);
}

}  // namespace

platform::MetricFamilies ProcessFigures() {
  constexpr std::size_t kThreads = 20;
  constexpr std::size_t kStart = 22;
  constexpr std::size_t kVirtual = 23;
  constexpr std::size_t kResident = 24;
  const auto fields = StatFields();
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  const auto start = BootTime() + Number(fields, kStart) / static_cast<double>(sysconf(_SC_CLK_TCK));
  const auto resident = Number(fields, kResident) * static_cast<double>(sysconf(_SC_PAGESIZE));
  using enum MetricType;
  return {
      One("process_cpu_seconds_total", "Processor time of the process.", kCounter,
          Seconds(usage.ru_utime) + Seconds(usage.ru_stime)),
      One("process_resident_memory_bytes", "Memory of the process that is in RAM.", kGauge, resident),
      One("process_virtual_memory_bytes", "Address space of the process.", kGauge, Number(fields, kVirtual)),
      One("process_start_time_seconds", "When the process started, in seconds since 1970.", kGauge, start),
      One("process_threads", "Threads of the process.", kGauge, Number(fields, kThreads)),
      One("process_open_fds", "Open descriptors.", kGauge, OpenDescriptors()),
      One("process_max_fds", "Descriptors that may be open.", kGauge, static_cast<double>(descriptors.rlim_cur)),
      {"evidence_build_info",
       "1; the labels tell what runs.",
       kGauge,
       {{{{"version", EVIDENCE_VERSION}, {"libmicrohttpd", MHD_get_version()}}, 1}}},
  };
}

}  // namespace host
