#pragma once

// Every benchmark X has a floor X_Floor with the same arguments, measured in the same run: the
// bare cost of the same parse, copy or call. After the usual table this prints each figure's
// ratio to its floor, by real time.

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>

class FloorRatioReporter final : public benchmark::ConsoleReporter {
 public:
  FloorRatioReporter() : ConsoleReporter(OO_None) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) times_[run.benchmark_name()] = run.GetAdjustedRealTime();
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::ostream& out = GetOutputStream();
    for (const auto& [name, floor] : times_) {
      const auto at = name.find("_Floor");
      if (at == std::string::npos || floor <= 0) continue;
      const std::string figure = name.substr(0, at) + name.substr(at + 6);
      auto it = times_.find(figure);
      if (it == times_.end()) continue;
      out << "ratio " << figure << " to its floor: " << it->second / floor << "\n";
    }
  }

 private:
  std::map<std::string, double> times_;
};

#define TN_BENCHMARK_MAIN()                                           \
  int main(int argc, char** argv) {                                   \
    benchmark::Initialize(&argc, argv);                               \
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1; \
    FloorRatioReporter reporter;                                      \
    benchmark::RunSpecifiedBenchmarks(&reporter);                     \
    benchmark::Shutdown();                                            \
    return 0;                                                         \
  }
