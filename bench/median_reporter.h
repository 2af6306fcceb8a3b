// The console reporter every benchmark here prints its closing table with:
// it keeps, per benchmark, the run that stands for it (the median when the
// benchmark was repeated, the single run otherwise), so that a bench's
// Finalize can set our times beside its peer's.
//
//   class RatioReporter : public MedianReporter {
//     void Finalize() override {
//       MedianReporter::Finalize();
//       std::printf("%.2f\n", CpuNs("BM_Peer/20") / CpuNs("BM_Ours/20"));
//     }
//   };
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <set>
#include <string>
#include <vector>

class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      const std::string name = r.run_name.str();
      if (r.run_type == Run::RT_Iteration && median_.count(name) == 0) {
        kept_.insert_or_assign(name, r);
      } else if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") {
        kept_.insert_or_assign(name, r);
        median_.insert(name);
      }
    }
  }

 protected:
  // The run kept for `name`; null when it did not run.
  const Run* Kept(const std::string& name) const {
    const auto it = kept_.find(name);
    return it == kept_.end() ? nullptr : &it->second;
  }
  // CPU ns per iteration (the machine may be shared, and other processes
  // inflate wall time unevenly); 0 when the benchmark did not run.
  double CpuNs(const std::string& name) const {
    const Run* r = Kept(name);
    return r == nullptr ? 0 : r->GetAdjustedCPUTime();
  }
  double RealNs(const std::string& name) const {
    const Run* r = Kept(name);
    return r == nullptr ? 0 : r->GetAdjustedRealTime();
  }
  // A counter of the kept run; 0 when either is missing.
  double Counter(const std::string& name, const char* counter) const {
    const Run* r = Kept(name);
    if (r == nullptr) return 0;
    const auto it = r->counters.find(counter);
    return it == r->counters.end() ? 0 : static_cast<double>(it->second);
  }

 private:
  std::map<std::string, Run> kept_;
  std::set<std::string> median_;
};
