// Runs a program's rows and prints each in a line: medians, what they come to, and the target.
#include <benchmark/benchmark.h>

#include <iomanip>
#include <set>
#include <string>

namespace {

constexpr int NAME_WIDTH = 42;
constexpr int FIGURE_WIDTH = 14;

class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override {
    GetOutputStream() << std::left << std::setw(NAME_WIDTH) << "row" << std::right
                      << std::setw(FIGURE_WIDTH) << "ns" << std::setw(FIGURE_WIDTH) << "floor ns"
                      << "  comes to\n";
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      PrintRow(run);
    }
    GetOutputStream().flush();
  }

 private:
  static std::string NameOf(const Run& run) {
    return run.run_name.args.empty() ? run.run_name.function_name
                                     : run.run_name.function_name + "/" + run.run_name.args;
  }

  void PrintFigure(const Run& run, const char* counter) {
    const auto found = run.counters.find(counter);
    GetOutputStream() << std::setw(FIGURE_WIDTH);
    if (found == run.counters.end()) {
      GetOutputStream() << "";
    } else {
      GetOutputStream() << found->second.value;
    }
  }

  void PrintRow(const Run& run) {
    static const std::set<std::string> OWN_COLUMNS = {"ns", "floor_ns", "target"};
    std::ostream& out = GetOutputStream();
    out << std::left << std::setw(NAME_WIDTH) << NameOf(run) << std::right << std::fixed
        << std::setprecision(1);
    PrintFigure(run, "ns");
    PrintFigure(run, "floor_ns");
    out << std::defaultfloat << std::setprecision(4) << " ";
    for (const auto& [name, counter] : run.counters) {
      if (OWN_COLUMNS.count(name) == 0) {
        out << " " << name << " " << counter.value;
      }
    }
    const auto target = run.counters.find("target");
    if (target != run.counters.end()) {
      out << " (at most " << target->second.value << ")";
    }
    out << " " << run.report_label << "\n";
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
